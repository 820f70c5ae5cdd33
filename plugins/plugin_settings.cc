#include "plugins/plugin_settings.h"

#include "core/base/json.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "extensions/handler_settings.h"

namespace kelvane {

void plugin_log_settings(const PluginSettings *settings, int32_t threshold) {
  const PluginSettings none = {};
  const PluginSettings *given = settings != nullptr ? settings : &none;
  LOG_ABOVE(threshold, "[kelvane]: Enabled publicSettings: '%s'\n", text_or(given->public_settings, ""));
  LOG_ABOVE(threshold, "[kelvane]: Enabled protectedSettings: '%s'\n", text_or(given->protected_settings, ""));
}

bool plugin_open_settings(const PluginSettings *settings, PluginSettingsObjects *objects) {
  if (settings == nullptr || settings->public_settings == nullptr || settings->protected_settings == nullptr) {
    return false;
  }
  objects->public_object = json_load(settings->public_settings);
  objects->protected_object = HandlerUtilParseProtectedSettings(settings->protected_settings, settings->thumbprint);
  return true;
}

}  // namespace kelvane
