#include "tests/torture/strike.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

namespace torture {
namespace {

using Words = std::vector<std::string>;

constexpr char kRequest[] = "request";

// Which blows fall on a call of a class; "*" stands for every other call of it.
struct Row {
  const char *call_class;
  const char *call;
  Words blows;
};

const std::vector<Row> &failures() {
  static const std::vector<Row> kRows = {
      {"memory", "*", {"ENOMEM", "ENOMEM+"}},
      {"file", "open", {"EIO", "ENOSPC", "EACCES", "EINTR", "EMFILE", "DEAD"}},
      {"file", "access", {"EIO", "EACCES", "DEAD"}},
      {"file", "mkdir", {"EIO", "ENOSPC", "EACCES", "FULL", "DEAD"}},
      {"file", "*", {"EIO", "ENOSPC", "EACCES", "DEAD"}},
      {"bytes", "read", {"EIO", "EINTR", "SHORT", "DEAD"}},
      {"bytes", "write", {"EIO", "ENOSPC", "EINTR", "SHORT", "FULL", "DEAD"}},
      {"bytes", "sync", {"DEAD"}},  // it has no result
      {"bytes", "*", {"EIO", "DEAD"}},
      // What has no result, and no way to fail that anybody would see.
      {"system", "tzset", {}},
      {"system", "unsetenv", {}},
      {"system", "dup2", {"EINTR", "EMFILE"}},
      {"platform", "cmf_query_free", {}},
      {"platform", "conf_end", {}},
      {"platform", "copy_cmdb_default", {}},
      {"platform", "ncfg_active_dayst", {}},
      {"system", "*", {"EIO", "EPERM"}},
      {"platform", "*", {"EIO"}},
      {"database", "write", {"EIO", "ENOSPC", "SHORT", "FULL", "DEAD"}},
      {"database", "sync", {"EIO", "ENOSPC", "DEAD"}},
      {"database", "*", {"EIO", "DEAD"}},
      {"inside", "open", {"EIO", "ENOSPC", "EACCES", "EINTR", "EMFILE", "DEAD"}},
      {"inside", "read", {"EIO", "EINTR", "SHORT", "DEAD"}},
      {"inside", "write", {"EIO", "ENOSPC", "EINTR", "SHORT", "FULL", "DEAD"}},
      {"inside", "fsync", {"EIO", "ENOSPC", "DEAD"}},
      {"inside", "fstat", {"EIO", "DEAD"}},
      {"inside", "fchmod", {"EIO", "DEAD"}},
      {"inside", "*", {"EIO", "ENOSPC", "EACCES", "DEAD"}},
      {"closing", "write", {"EIO", "ENOSPC", "SHORT", "FULL", "DEAD"}},
      {"closing", "*", {"EIO", "DEAD"}},
      // 7: refused, 28: timed out, 56: reset. The rest comes over the network.
      {"request",
       "*",
       {"7", "28", "56", "fabric:reset:0", "fabric:reset:100", "fabric:cut", "fabric:empty", "fabric:wrong-length:7",
        "fabric:wrong-length:-7", "fabric:status:404", "fabric:status:503", "fabric:html"}},
  };
  return kRows;
}

const Words kEveryEnd = {"KILL", "POWER", "POWER1", "POWER2", "POWER3"};

const std::vector<Row> &kills() {
  static const std::vector<Row> kRows = {
      // What changes nothing on the disc is not lost either: the next call that writes has the same losses of power.
      {"memory", "*", {"KILL"}},
      {"file", "access", {"KILL"}},
      {"file", "stat", {"KILL"}},
      {"file", "*", kEveryEnd},
      {"bytes", "read", {"KILL"}},
      {"bytes", "fstat", {"KILL"}},
      {"bytes", "*", kEveryEnd},
      {"system", "*", {"KILL"}},
      {"platform", "cmf_write_config", kEveryEnd},
      {"platform", "ncfg_copyfile", kEveryEnd},
      {"platform", "ssh_pubkey_data_set", kEveryEnd},
      {"platform", "*", {"KILL"}},
      {"database", "read", {"KILL"}},
      {"database", "*", kEveryEnd},
      {"inside", "read", {"KILL"}},
      {"inside", "fstat", {"KILL"}},
      {"inside", "fchmod", {"KILL"}},
      {"inside", "*", kEveryEnd},
      {"closing", "*", kEveryEnd},
      {"request", "*", {"KILL", "POWER"}},
  };
  return kRows;
}

std::string name_of(const std::string &call) {
  return call.substr(0, call.find('('));
}

const Words &blows_of(const std::vector<Row> &rows, const Site &site) {
  static const Words kNone;
  const auto found = std::find_if(rows.begin(), rows.end(), [&](const Row &row) {
    return site.call_class == row.call_class && (row.call == std::string("*") || row.call == name_of(site.call));
  });
  return found != rows.end() ? found->blows : kNone;
}

Words parts_of(const std::string &text) {
  std::istringstream stream(text);
  Words out;
  for (std::string part; std::getline(stream, part, ':');) {
    out.push_back(part);
  }
  return out;
}

// Without a number for a line that is of no call.
Site site_of(const std::string &line) {
  std::istringstream words(line);
  Site site;
  const bool whole = words >> site.call_class >> site.number && words.get() == ' ' && std::getline(words, site.call);
  return whole ? site : Site();
}

bool is_like(const Site &one, const Site &other) {
  return one.call_class == other.call_class && one.call == other.call;
}

// How many requests were made before a call, and which of the calls like it since then it is: an answer that came in
// more pieces than the time before moves no call behind the next request.
struct Place {
  size_t requests = 0;
  size_t occurrence = 0;  // 1 is the first

  bool operator==(const Place &other) const { return requests == other.requests && occurrence == other.occurrence; }
};

Place place_of(const std::vector<Site> &sites, const Site &one) {
  Place out;
  for (const Site &site : sites) {
    out.occurrence += is_like(site, one) ? 1 : 0;
    if (site.call_class == one.call_class && site.number == one.number) {
      return out;
    }
    out = site.call_class == kRequest ? Place{out.requests + 1, 0} : out;
  }
  return out;
}

// Among others the call that is this one of those; null for none.
const Site *counterpart(const std::vector<Site> &those, const Site &one, const std::vector<Site> &others) {
  const Place place = place_of(those, one);
  const auto found = std::find_if(others.begin(), others.end(), [&](const Site &site) {
    return is_like(site, one) && place_of(others, site) == place;
  });
  return found != others.end() ? &*found : nullptr;
}

// As good as chance, and the same for the same text in every play.
size_t lot(const std::string &text) {
  return std::hash<std::string>()(text);
}

// "platform:12:KILL"
std::string as_second(const Strike &strike) {
  return strike.site.call_class + ":" + std::to_string(strike.site.number) + ":" + strike.blow;
}

Strike pair_of(Strike first, const Strike &second) {
  first.second = as_second(second);
  return first;
}

// Null for none.
template <typename Which>
const Strike *find(const std::vector<Strike> &all, Which &&which) {
  const auto found = std::find_if(all.begin(), all.end(), which);
  return found != all.end() ? &*found : nullptr;
}

}  // namespace

std::string Strike::address() const {
  return protocol + "/" + site.call_class + "/" + std::to_string(site.number) + "/" + blow +
         (second.empty() ? "" : "@" + second);
}

std::string Strike::fault() const {
  if (blow.rfind("fabric:", 0) == 0) {
    return "";
  }
  const bool later_too = blow.back() == '+';
  return site.call_class + "::" + blow.substr(0, blow.size() - (later_too ? 1 : 0)) + ":" +
         std::to_string(site.number) + (later_too ? "+" : "");
}

std::string Strike::fabric_fault() const {
  const Words parts = parts_of(blow);
  if (parts[0] != "fabric") {
    return "";
  }
  std::string text =
      R"({"kind": ")" + parts.at(1) + R"(", "name": "strike", "occurrence": )" + std::to_string(site.number);
  if (parts.size() > 2) {
    const char *field = parts[1] == "status" ? "status" : parts[1] == "wrong-length" ? "lengthChange" : "bytes";
    text += std::string(", \"") + field + "\": " + parts[2];
  }
  return text + "}";
}

bool Strike::kills() const {
  return blow == "KILL" || blow.rfind("POWER", 0) == 0;
}

bool Strike::leaves_a_loop() const {
  return !kills() && blow != "FULL" && blow != "DEAD" && blow.back() != '+' && site.call_class != "closing";
}

std::vector<Site> read_sites(const std::string &file) {
  std::ifstream stream(file);
  std::vector<Site> out;
  for (std::string line; std::getline(stream, line);) {
    const Site site = site_of(line);
    if (site.number != 0) {
      out.push_back(site);
    }
  }
  if (out.empty()) {
    throw std::runtime_error("no sites in " + file);
  }
  return out;
}

std::vector<Site> read_to_strike(const std::string &file) {
  std::ifstream stream(file);
  std::vector<Site> all;
  for (std::string line; std::getline(stream, line);) {
    if (line.rfind(kStruckLine, 0) != 0) {
      all.push_back(site_of(line));
      continue;
    }
    const Site site = site_of(line.substr(sizeof kStruckLine - 1));
    const auto is_other = [&](const Site &other) {
      return other.call_class != site.call_class && other.call_class != kRequest;
    };
    all.erase(std::remove_if(all.begin(), all.end(), is_other), all.end());
    return all;
  }
  return {};
}

std::string in_words(const std::vector<Site> &sites, const Site &one) {
  const Place place = place_of(sites, one);
  return one.call + " for the time no. " + std::to_string(place.occurrence) + " behind " +
         std::to_string(place.requests) + " requests";
}

bool ends_with_call(const std::vector<Site> &to_strike, const std::vector<Site> &those, const Site &one) {
  return !to_strike.empty() && is_like(to_strike.back(), one) &&
         place_of(to_strike, to_strike.back()) == place_of(those, one);
}

size_t aimed_anew(const std::vector<Site> &those, const Site &one, const std::vector<Site> &to_strike,
                  const std::vector<Site> &whole) {
  for (size_t left = to_strike.size(); left > 0; --left) {
    const Site &last = to_strike[left - 1];
    const Site *known = last.call_class == one.call_class ? counterpart(to_strike, last, those) : nullptr;
    if (known != nullptr) {
      const size_t aim = one.number + to_strike.back().number;
      return aim > known->number ? aim - known->number : 1;
    }
  }
  const Site *there = counterpart(those, one, whole);
  return there != nullptr ? there->number : one.number;
}

std::string Strike::second_fault() const {
  const Words parts = parts_of(second);
  return parts.at(0) + "::" + parts.at(2) + ":" + parts.at(1);
}

std::string Strike::second_blow() const {
  return second.empty() ? "" : parts_of(second).at(2);
}

std::vector<Strike> twice(const std::vector<Strike> &all, size_t every) {
  std::vector<Strike> out;
  for (const Strike &first : all) {
    if (lot(first.address()) % every != 0) {
      continue;
    }
    const auto second = std::max_element(all.begin(), all.end(), [&](const Strike &one, const Strike &other) {
      return lot(first.address() + as_second(one)) < lot(first.address() + as_second(other));
    });
    out.push_back(pair_of(first, *second));
  }
  return out;
}

std::vector<Strike> with_addresses(const std::vector<Strike> &all, const std::string &addresses) {
  std::vector<Strike> out;
  std::istringstream list(addresses);
  for (std::string address; std::getline(list, address, ',');) {
    const size_t at = address.find('@');
    const Strike *first = find(all, [&](const Strike &one) { return one.address() == address.substr(0, at); });
    const Strike *second = at == std::string::npos || first == nullptr ? nullptr : find(all, [&](const Strike &one) {
      return one.protocol == first->protocol && one.kills() && as_second(one) == address.substr(at + 1);
    });
    if (first == nullptr || (at != std::string::npos && (second == nullptr || !first->kills()))) {
      throw std::runtime_error("there is no strike " + address);
    }
    out.push_back(second != nullptr ? pair_of(*first, *second) : *first);
  }
  return out;
}

std::vector<Strike> strikes_of(const std::string &protocol, const std::vector<Site> &sites, bool kill) {
  std::vector<Strike> out;
  for (const Site &site : sites) {
    const std::string place = in_words(sites, site);
    for (const std::string &blow : blows_of(kill ? kills() : failures(), site)) {
      out.push_back({protocol, site, blow, "", place});
    }
  }
  return out;
}

}  // namespace torture
