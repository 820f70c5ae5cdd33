// Making JSON documents. A JsonMaker watches over one document in the making: once something could not be made, what
// follows is left out and `complete` says that the whole is to be given up. Used by every room that reports in JSON.
// Never blocks, never logs; fails only when memory runs out. Every value that is handed over is taken over, also when
// it finds no place.
#ifndef KELVANE_CORE_BASE_JSON_MAKER_H
#define KELVANE_CORE_BASE_JSON_MAKER_H

#include <stdint.h>

#include "core/base/json_owners.h"

namespace kelvane {

struct JsonMaker {
  bool complete = true;
};

// A fresh value, the caller's; null (and the document incomplete) when it cannot be made.
json_object *json_make_object(JsonMaker *maker);
json_object *json_make_array(JsonMaker *maker);
json_object *json_make_text(JsonMaker *maker, const char *text);
json_object *json_make_number(JsonMaker *maker, int32_t number);

// Adds a member, whose value may be null: JSON's null.
void json_add(JsonMaker *maker, json_object *object, const char *key, json_object *value);

// The same with a text, "" for a null one, or a number.
void json_add_text(JsonMaker *maker, json_object *object, const char *key, const char *text);
void json_add_number(JsonMaker *maker, json_object *object, const char *key, int32_t number);

// Adds an element at an array's end.
void json_append(JsonMaker *maker, json_object *array, json_object *element);

}  // namespace kelvane

#endif
