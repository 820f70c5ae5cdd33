#include "tests/torture/places.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>

namespace torture {
namespace {

using Names = std::map<std::string, std::string>;  // of the functions, by address

// The addresses in "malloc(240 at 0x1a2b < 0x3c4d)".
std::vector<std::string> addresses_of(const std::string &call) {
  std::vector<std::string> out;
  for (size_t at = call.find("0x"); at != std::string::npos; at = call.find("0x", at + 1)) {
    out.push_back(call.substr(at, call.find_first_of(" )", at) - at));
  }
  return out;
}

// "int32_t kelvane::(anonymous namespace)::retry<T>(char const*)" is "retry".
std::string plain(std::string name) {
  for (const char *space : {"(anonymous namespace)::", "kelvane::"}) {
    for (size_t at = name.find(space); at != std::string::npos; at = name.find(space)) {
      name.erase(at, std::string(space).size());
    }
  }
  name = name.substr(0, name.find_first_of("(<\n"));
  const size_t blank = name.rfind(' ');
  return blank != std::string::npos ? name.substr(blank + 1) : name;
}

// An address is where a call returns to, which may be in the next function already.
std::string in_front_of(const std::string &address) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%llx", std::stoull(address, nullptr, 16) - 1);
  return text;
}

// Without what is in libraries, and no further than to the agent's main.
std::string names_of(const std::vector<std::string> &addresses, const Names &names) {
  std::string out;
  for (const std::string &address : addresses) {
    const std::string &name = names.at(address);
    if (name != "??") {
      out += (out.empty() ? "" : " < ") + name;
    }
    if (name == "main") {
      break;
    }
  }
  return out;
}

Names functions_at(const std::string &program, const std::set<std::string> &addresses) {
  std::string command = "addr2line -f -C -e '" + program + "'";
  for (const std::string &address : addresses) {
    command += " " + in_front_of(address);
  }
  FILE *pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    throw std::runtime_error("cannot run addr2line");
  }
  Names out;
  char name[4096], place[4096];
  for (const std::string &address : addresses) {
    if (std::fgets(name, sizeof name, pipe) == nullptr || std::fgets(place, sizeof place, pipe) == nullptr) {
      break;
    }
    out[address] = plain(name);
  }
  if (pclose(pipe) != 0 || out.size() != addresses.size()) {
    throw std::runtime_error("addr2line fails for " + program);
  }
  return out;
}

}  // namespace

void name_places(const std::string &program, std::vector<Site> &sites) {
  static std::map<std::string, Names> known;  // by program
  Names &names = known[program];
  std::set<std::string> unknown;
  for (const Site &site : sites) {
    if (site.call_class == "memory") {
      const std::vector<std::string> more = addresses_of(site.call);
      std::copy_if(more.begin(), more.end(), std::inserter(unknown, unknown.end()),
                   [&](const std::string &address) { return names.count(address) == 0; });
    }
  }
  if (!unknown.empty()) {  // addr2line would wait for some at its standard input
    names.merge(functions_at(program, unknown));
  }
  for (Site &site : sites) {
    if (site.call_class != "memory") {
      continue;
    }
    site.call = site.call.substr(0, site.call.find('(') + 1) + names_of(addresses_of(site.call), names) + ")";
  }
}

}  // namespace torture
