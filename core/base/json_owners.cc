#include "core/base/json_owners.h"

namespace kelvane {

void json_release(json_object *object) {
  json_object_put(object);
}

}  // namespace kelvane
