#include "core/base/json.h"

#include <string.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "core/base/utf8.h"

namespace kelvane {

namespace {

// Counts what may become a value, skipping string contents.
uint64_t count_values(const char *text) {
  uint64_t values = 1;
  bool in_string = false;
  for (const char *at = text; *at != '\0'; at++) {
    if (in_string && *at == '\\' && at[1] != '\0') {
      at++;
    } else if (*at == '"') {
      in_string = !in_string;
    } else if (!in_string && (*at == ',' || *at == '[' || *at == '{')) {
      values++;
    }
  }
  return values;
}

// json-c gives no value and tells no error when one of its allocations failed, and for JSON's null as well.
bool tells_no_memory(const char *text, json_tokener_error error) {
#if JSON_C_VERSION_NUM >= (17 << 8)
  if (error > json_tokener_error_size) {
    return true;  // newer versions have an error of its own for it, behind all others
  }
#endif
  return error == json_tokener_success && strchr("nN/", text[strspn(text, " \t\n\v\f\r")]) == nullptr;
}

// Whoever waits for the text's values learns nowhere else why they are missing.
JsonOwner refuse(const char *cap) {
  LOG_ABOVE(0, "[kelvane]: a JSON text is over a cap and is not read: %s\n", cap);
  return JsonOwner();
}

JsonOwner load(const char *text, bool *no_memory) {
  *no_memory = false;
  const size_t length = text != nullptr ? strlen(text) : 0;
  if (length > kJsonMaxBytes) {
    return refuse("bytes");
  }
  if (length == 0 || !utf8_valid(text, length)) {
    return JsonOwner();
  }
  if (count_values(text) > kJsonMaxValues) {
    return refuse("values");
  }
  json_tokener_error error = json_tokener_success;
  JsonOwner value(json_tokener_parse_verbose(text, &error));
  *no_memory = !value.present() && tells_no_memory(text, error);
  return error == json_tokener_error_depth ? refuse("levels") : static_cast<JsonOwner &&>(value);
}

}  // namespace

JsonOwner json_load(const char *text, bool *no_memory) {
  bool ignored = false;
  return load(text, no_memory != nullptr ? no_memory : &ignored);
}

json_object *json_member(json_object *value, const char *name, json_type type) {
  json_object *member = nullptr;
  if (!json_object_is_type(value, json_type_object) || !json_object_object_get_ex(value, name, &member) ||
      !json_object_is_type(member, type)) {
    return nullptr;
  }
  return member;
}

const char *json_member_text(json_object *value, const char *name) {
  json_object *member = json_member(value, name, json_type_string);
  return member != nullptr ? json_object_get_string(member) : nullptr;
}

int32_t json_replace_text(char **slot, json_object *value, const char *name) {
  json_object *member = nullptr;  // stays so for JSON's null
  if (json_object_is_type(value, json_type_object)) {
    json_object_object_get_ex(value, name, &member);
  }
  const char *text = json_object_get_string(member);
  const int32_t result = text_replace(slot, text);
  return member != nullptr && text == nullptr ? -1 : result;
}

}  // namespace kelvane
