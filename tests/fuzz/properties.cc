#include "tests/fuzz/properties.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>

#include "core/base/json_owners.h"
#include "core/base/utf8.h"

namespace fuzz {

void require(bool holds, const char *property) {
  if (!holds) {
    std::fprintf(stderr, "broken: %s\n", property);
    std::abort();
  }
}

std::string bytes_of(const uint8_t *data, size_t size) {
  return std::string(reinterpret_cast<const char *>(data), size);
}

std::string text_of(const uint8_t *data, size_t size) {
  return bytes_of(data, size).c_str();
}

bool is_utf8(const std::string &bytes) {
  return kelvane::utf8_valid(bytes.data(), bytes.size());
}

void require_text(const char *text) {
  require(text == nullptr || kelvane::utf8_valid(text, std::strlen(text)), "a text is UTF-8");
}

namespace {

bool parses(const char *text, int flags) {
  static json_tokener *const tokener = json_tokener_new_ex(128);
  json_tokener_reset(tokener);
  json_tokener_set_flags(tokener, flags);
  json_object *value = json_tokener_parse_ex(tokener, text, -1);
  const bool good = json_tokener_get_error(tokener) == json_tokener_success;
  json_object_put(value);
  return good;
}

}  // namespace

// Most inputs lead to one of a few texts: those are not read each time.
bool is_json(const char *text) {
  constexpr size_t kKept = 32;
  static std::set<std::string> known;
  if (known.count(text) != 0) {
    return true;
  }
  const bool good = parses(text, JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
  if (known.size() == kKept) {
    known.clear();
  }
  if (good) {
    known.insert(text);
  }
  return good;
}

bool is_loose_json(const char *text) {
  return parses(text, JSON_TOKENER_VALIDATE_UTF8);
}

void require_from(const std::string &document, const char *text) {
  if (text == nullptr) {
    return;
  }
  require(*text != '\0' && is_utf8(text), "a text of a document is not empty, and UTF-8");
  for (const char *changing : {"&", "<!", "\xEF\xBB\xBF"}) {
    if (document.find(changing) != std::string::npos) {
      return;
    }
  }
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    require(document.find(word) != std::string::npos, "each word of a text stands in the document");
  }
}

bool is_thumbprint(const std::string &text) {
  return text.size() == 40 && text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

}  // namespace fuzz
