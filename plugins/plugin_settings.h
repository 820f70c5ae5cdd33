// The settings that an enable brings, for the plugins: their log lines, and the two texts as JSON objects. Called by
// the plugins' enable steps. Never blocks. The protected settings are a secret once they are decrypted: they are wiped
// with the object that holds them.
#ifndef KELVANE_PLUGINS_PLUGIN_SETTINGS_H
#define KELVANE_PLUGINS_PLUGIN_SETTINGS_H

#include <stdint.h>

#include "core/base/json_owners.h"
#include "plugins/plugin.h"

namespace kelvane {

// Logs the two settings texts as received, the protected one encrypted still, above the threshold.
void plugin_log_settings(const PluginSettings *settings, int32_t threshold);

struct PluginSettingsObjects {
  JsonOwner public_object;
  JsonSecretOwner protected_object;
};

// Parses the public text, and decrypts and parses the protected one; either object may be absent afterwards. False, and
// nothing is parsed, unless the settings are given with both texts.
bool plugin_open_settings(const PluginSettings *settings, PluginSettingsObjects *objects);

}  // namespace kelvane

#endif
