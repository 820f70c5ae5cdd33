// The built-in plugins, one row each, in the order of their registration.
#ifndef KELVANE_PLUGINS_BUILTIN_H
#define KELVANE_PLUGINS_BUILTIN_H

#include <stddef.h>

#include "plugins/acknowledging.h"
#include "plugins/custom_script.h"
#include "plugins/plugin.h"
#include "plugins/vm_access.h"

namespace kelvane {

inline constexpr Plugin *(*kBuiltinPlugins[])() = {
    pluginManager_RegisterCustomScript,
    pluginManager_RegisterLinuxAsm,
    pluginManager_RegisterLinuxDiagnostic,
    pluginManager_RegisterVMAccessForLinux,
};

inline constexpr size_t kBuiltinPluginCount = sizeof kBuiltinPlugins / sizeof kBuiltinPlugins[0];

}  // namespace kelvane

#endif
