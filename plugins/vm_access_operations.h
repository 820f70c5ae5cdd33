// What the VM-access plugin does to the appliance: the operations that its settings ask for, one after the other.
// Called by the plugin's enable; blocks in the platform only. Failures are logged here, a line for each step that
// fails.
#ifndef KELVANE_PLUGINS_VM_ACCESS_OPERATIONS_H
#define KELVANE_PLUGINS_VM_ACCESS_OPERATIONS_H

#include <stdint.h>

#include "core/base/json_owners.h"

namespace kelvane {

// Applies the operations of the protected settings; either object may be null. 0; -1 at the first that failed, what was
// done before it stays done.
int32_t vm_access_apply(json_object *public_object, json_object *protected_object);

}  // namespace kelvane

#endif
