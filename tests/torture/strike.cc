#include "tests/torture/strike.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

namespace torture {
namespace {

using Words = std::vector<std::string>;

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
  return leaves_questions() && blow != "FULL" && blow != "DEAD";
}

bool Strike::leaves_questions() const {
  return !kills() && blow.back() != '+' && site.call_class != "closing";
}

std::string Strike::second_fault() const {
  const Words parts = parts_of(second);
  return parts.at(0) + "::" + parts.at(2) + ":" + parts.at(1);
}

std::string Strike::second_blow() const {
  return second.empty() ? "" : parts_of(second).at(2);
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
