// The owner of json-c's objects: one reference, given back at the end.
#ifndef KELVANE_CORE_BASE_JSON_OWNERS_H
#define KELVANE_CORE_BASE_JSON_OWNERS_H

#include <json-c/json.h>

#include "core/base/owned.h"

namespace kelvane {

void json_release(json_object *object);
using JsonOwner = Owned<json_object, json_release>;

}  // namespace kelvane

#endif
