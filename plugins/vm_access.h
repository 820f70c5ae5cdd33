// The VM-access plugin: creates administrator accounts, changes passwords, installs SSH keys, removes accounts and
// restarts the SSH daemon, as the protected settings of an enable ask. Called by the plugin manager; blocks in the
// platform only. A failure is named in the log and ends in the status "Enable failed."; partial work is not undone.
#ifndef KELVANE_PLUGINS_VM_ACCESS_H
#define KELVANE_PLUGINS_VM_ACCESS_H

#include "plugins/plugin_common.h"

namespace kelvane {

// The static record.
Plugin *pluginManager_RegisterVMAccessForLinux();

// Saving and loading of its data, as of every plugin's.
inline constexpr auto &VMAccessForLinuxSave = plugin_save;
inline constexpr auto &VMAccessForLinuxLoad = plugin_load;

}  // namespace kelvane

#endif
