#include "tests/torture/sites.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

namespace torture {
namespace {

constexpr char kRequest[] = "request";

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

// Up to the first line that is the end.
std::vector<Site> read_up_to(const std::string &file, const std::function<bool(const std::string &)> &is_end) {
  std::ifstream stream(file);
  std::vector<Site> out;
  for (std::string line; std::getline(stream, line) && !is_end(line);) {
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

}  // namespace

std::vector<Site> read_sites(const std::string &file) {
  return read_up_to(file, [](const std::string &) { return false; });
}

std::vector<Site> read_sites_of_first_pass(const std::string &file) {
  bool in_loop = false;
  int passes = 0;
  return read_up_to(file, [&](const std::string &line) {
    in_loop = in_loop || line == "sleep 1";
    passes += in_loop && is_question(line) ? 1 : 0;
    return passes == 2;
  });
}

bool is_question(const std::string &line) {
  return line.find("comp=goalstate") != std::string::npos || line.find("/extensionHandlers") != std::string::npos;
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

bool in_front_of(const std::string &call, const std::vector<Site> &those, const Site &one) {
  const auto is_one = [&](const Site &site) { return site.call_class == one.call_class && site.number == one.number; };
  const auto is_call = [&](const Site &site) { return site.call == call; };
  return std::any_of(std::find_if(those.begin(), those.end(), is_one), those.end(), is_call);
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

}  // namespace torture
