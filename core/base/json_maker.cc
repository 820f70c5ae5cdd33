#include "core/base/json_maker.h"

#include "core/base/text.h"

namespace kelvane {

namespace {

json_object *made_or_failed(JsonMaker *maker, json_object *value) {
  maker->complete = maker->complete && value != nullptr;
  return value;
}

}  // namespace

json_object *json_make_object(JsonMaker *maker) {
  return made_or_failed(maker, json_object_new_object());
}

json_object *json_make_array(JsonMaker *maker) {
  return made_or_failed(maker, json_object_new_array());
}

json_object *json_make_text(JsonMaker *maker, const char *text) {
  return made_or_failed(maker, json_object_new_string(text));
}

json_object *json_make_number(JsonMaker *maker, int32_t number) {
  return made_or_failed(maker, json_object_new_int(number));
}

void json_add(JsonMaker *maker, json_object *object, const char *key, json_object *value) {
  if (object == nullptr || json_object_object_add(object, key, value) != 0) {
    maker->complete = false;
    json_object_put(value);
  }
}

void json_add_text(JsonMaker *maker, json_object *object, const char *key, const char *text) {
  json_add(maker, object, key, json_make_text(maker, text_or(text, "")));
}

void json_add_number(JsonMaker *maker, json_object *object, const char *key, int32_t number) {
  json_add(maker, object, key, json_make_number(maker, number));
}

void json_append(JsonMaker *maker, json_object *array, json_object *element) {
  if (array == nullptr || json_object_array_add(array, element) != 0) {
    maker->complete = false;
    json_object_put(element);
  }
}

}  // namespace kelvane
