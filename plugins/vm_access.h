// The VM-access plugin: creates administrator accounts, changes passwords, installs SSH keys, removes accounts and
// restarts the SSH daemon, as the protected settings of an enable ask. Called by the plugin manager; blocks in the
// platform only. A failure ends in one log line and the status "Enable failed."; partial work is not undone.
#ifndef KELVANE_PLUGINS_VM_ACCESS_H
#define KELVANE_PLUGINS_VM_ACCESS_H

#include "plugins/plugin.h"

namespace kelvane {

// The static record.
Plugin *pluginManager_RegisterVMAccessForLinux();

json_object *VMAccessForLinuxSave(Plugin *plugin);
void VMAccessForLinuxLoad(Plugin *plugin, json_object *config);

}  // namespace kelvane

#endif
