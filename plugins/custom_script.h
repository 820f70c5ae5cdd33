// The custom-script plugin. The appliance runs no scripts: the one command that it accepts writes the event-hub
// settings into the configuration database; every other command text is refused with a fixed transcript. Called by the
// plugin manager; blocks only in the platform's configuration calls.
#ifndef KELVANE_PLUGINS_CUSTOM_SCRIPT_H
#define KELVANE_PLUGINS_CUSTOM_SCRIPT_H

#include "plugins/plugin_common.h"

namespace kelvane {

// The static record.
Plugin *pluginManager_RegisterCustomScript();

// Saving and loading of its data, as of every plugin's.
inline constexpr auto &CustomScriptSave = plugin_save;
inline constexpr auto &CustomScriptLoad = plugin_load;

}  // namespace kelvane

#endif
