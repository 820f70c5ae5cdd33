#include "core/base/json_owners.h"

#include "core/base/text.h"

namespace kelvane {

void json_release(json_object *object) {
  json_object_put(object);
}

namespace {

// As deep as json-c parses, 32 levels.
void wipe(json_object *value) {
  if (json_object_is_type(value, json_type_string)) {
    wipe_memory(const_cast<char *>(json_object_get_string(value)),
                static_cast<size_t>(json_object_get_string_len(value)));
  } else if (json_object_is_type(value, json_type_array)) {
    for (size_t i = 0; i < json_object_array_length(value); i++) {
      wipe(json_object_array_get_idx(value, i));
    }
  } else if (json_object_is_type(value, json_type_object)) {
    json_object_iterator at = json_object_iter_begin(value);
    const json_object_iterator end = json_object_iter_end(value);
    for (; !json_object_iter_equal(&at, &end); json_object_iter_next(&at)) {
      wipe(json_object_iter_peek_value(&at));
    }
  }
}

}  // namespace

void json_wipe_and_release(json_object *object) {
  wipe(object);
  json_object_put(object);
}

}  // namespace kelvane
