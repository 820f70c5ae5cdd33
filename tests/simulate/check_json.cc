#include "tests/simulate/check_json.h"

#include <algorithm>
#include <cstring>

namespace simulate {

Json parse_json(const char *what, std::string_view bytes) {
  Json parsed = Json::parse(bytes, nullptr, false);
  if (parsed.is_discarded()) {
    const std::string_view end = bytes.substr(bytes.size() - std::min<size_t>(bytes.size(), 200));
    broken("the %s of %zu bytes is no JSON: ...%s", what, bytes.size(), std::string(end).c_str());
  }
  return parsed;
}

void same_json(const std::string &what, const Json &is, const Json &should) {
  if (is != should) {
    broken("%s is %s and should be %s", what.c_str(), is.dump().c_str(), should.dump().c_str());
  }
}

std::string cut(const char *text, size_t length) {
  return std::string(text).substr(0, length);
}

bool has_status(const Wanted &wanted, const Expected &plugin) {
  return wanted.version[0] != '\0' && std::strcmp(plugin.version, wanted.version) == 0;
}

}  // namespace simulate
