// What a plugin is: the record by which the plugin manager knows it, its private data, and the commands it takes. A
// plugin serves one extension of the platform with code of ours. Records are made by the plugins' own files, one row
// each in plugins/builtin.h; nothing here blocks or fails.
#ifndef KELVANE_PLUGINS_PLUGIN_H
#define KELVANE_PLUGINS_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

#include "core/base/json_owners.h"
#include "include/vm_status.h"

namespace kelvane {

enum PluginCommand : uint32_t {
  kPluginUnknown = 0,
  kPluginInstall = 1,
  kPluginUninstall = 2,
  kPluginUpdate = 3,
  kPluginEnable = 4,
  kPluginDisable = 5,
};

// The settings that come with update and enable; each text may be null. Borrowed for the length of the command.
struct PluginSettings {
  const char *runtime_settings;  // the whole document; no plugin reads it
  const char *public_settings;
  const char *protected_settings;  // encrypted, as received
  const char *thumbprint;          // of the certificate that protects them
};

// The states a plugin has of its own accord; one that the status file names otherwise is kept as it is.
inline constexpr const char kPluginStateInstalled[] = "installed";
inline constexpr const char kPluginStateEnabled[] = "enabled";

// The version of a plugin that is not installed: such a one takes a command for any version.
inline constexpr const char kPluginNoVersion[] = "0.0.0.0";

inline constexpr int32_t kPluginNoSequence = -1;
inline constexpr size_t kPluginVersionSize = 32;
inline constexpr size_t kPluginTextSize = 256;

// The head of every plugin's private data; what of it is saved, the status file says.
struct PluginData {
  uint32_t installed = 0;
  int32_t sequence_number = kPluginNoSequence;  // of the last enable that was acted on
  int64_t command_time = 0;                     // seconds since the epoch; 0 for none
  char extension_name[kPluginTextSize] = {};
  char message[kPluginTextSize] = {};
};

// Where the status operation formats what it hands out; the texts stay valid until the next one.
struct PluginScratch {
  char time_stamp[kPluginTextSize] = {};
  ExtStatus status = {};
};

// The private data of every plugin that needs nothing more.
struct PluginCommonData {
  PluginData head;
  PluginScratch scratch;
};

// Any operation may be null.
struct Plugin {
  const char *state = nullptr;  // null while absent
  const char *name = nullptr;   // the full extension name
  const char *short_name = nullptr;
  char version[kPluginVersionSize] = "0.0.0.0";
  PluginData *data = nullptr;
  void (*command)(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                  int32_t sequence_number, const PluginSettings *settings) = nullptr;
  void (*status)(Plugin *plugin, ExtStatus *status) = nullptr;
  void (*handler_status)(Plugin *plugin, ExtHandlerStatus *status) = nullptr;
  void (*cleanup)(Plugin *plugin) = nullptr;       // frees the record; null for the built-in plugins
  json_object *(*save)(Plugin *plugin) = nullptr;  // null without private data; with it, when memory runs out
  void (*load)(Plugin *plugin, json_object *config) = nullptr;
};

}  // namespace kelvane

#endif
