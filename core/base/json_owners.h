// The owners of json-c's objects: one reference, given back at the end.
#ifndef KELVANE_CORE_BASE_JSON_OWNERS_H
#define KELVANE_CORE_BASE_JSON_OWNERS_H

#include <json-c/json.h>

#include "core/base/owned.h"

namespace kelvane {

void json_release(json_object *object);
using JsonOwner = Owned<json_object, json_release>;

// For documents that hold decrypted settings: overwrites every text below the object before the reference is given
// back. The owner's must be the only reference.
void json_wipe_and_release(json_object *object);
using JsonSecretOwner = Owned<json_object, json_wipe_and_release>;

}  // namespace kelvane

#endif
