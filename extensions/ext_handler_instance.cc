#include "extensions/ext_handler_instance.h"

#include <strings.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "core/base/version_text.h"
#include "plugins/plugin_manager.h"

namespace kelvane {

namespace {

void launch(ExtHandlerInstance *instance, uint32_t command, const PluginSettings *settings) {
  const ExtHandler *handler = &instance->handler;
  pluginManager_LaunchCommand(handler->name, handler->version, command, handler->settings_name,
                              handler->sequence_number, settings);
}

PluginSettings settings_block(const ExtHandlerInstance *instance) {
  const ExtHandler *handler = &instance->handler;
  return {
      .runtime_settings = handler->runtime_settings,
      .public_settings = handler->public_settings,
      .protected_settings = handler->protected_settings,
      .thumbprint = handler->protected_settings_thumbprint,
  };
}

int32_t __ExtHandlerInstance_collect_ext_status(ExtHandlerInstance *instance, const ExtHandler *, ExtStatus *status) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", "__ExtHandlerInstance_collect_ext_status", 58);
  return pluginManager_GetStatus(instance->handler.name, instance->handler.version, status);
}

}  // namespace

int32_t ExtHandlerInstance_Make(const ExtHandler *record, const Protocol *protocol, ExtHandlerInstance *instance) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", "ExtHandlerInstance_Make", 13);
  *instance = ExtHandlerInstance{.protocol = protocol, .installed = 0, .handler = *record, .newer_version = 0};
  return 0;
}

int32_t ExtHandlerInstance_GetHandlerState(ExtHandlerInstance *instance) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", "ExtHandlerInstance_GetHandlerState", 26);
  const char *state = pluginManager_GetState(instance->handler.name, instance->handler.version);
  if (state == nullptr) {
    return kHandlerNotInstalled;
  }
  if (strcasecmp(state, kPluginStateInstalled) == 0) {
    return kHandlerInstalled;
  }
  return strcasecmp(state, kPluginStateEnabled) == 0 ? kHandlerEnabled : kHandlerNotInstalled;
}

int32_t ExtHandlerInstance_GetHandlerStatus(ExtHandlerInstance *instance, ExtHandlerStatus *status) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", "ExtHandlerInstance_GetHandlerStatus", 50);
  return pluginManager_GetHandlerStatus(instance->handler.name, instance->handler.version, status);
}

int32_t ExtHandlerInstance_DecideVersion(ExtHandlerInstance *instance) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", "ExtHandlerInstance_DecideVersion", 67);
  const int32_t newer = pluginManager_CheckNewerVersion(instance->handler.name, instance->handler.version);
  if (newer > 0) {
    instance->newer_version = 1;
  }
  return newer;
}

int32_t ExtHandlerInstance_VersionGT(const ExtHandlerInstance *a, const ExtHandlerInstance *b) {
  VersionNumbers left;
  VersionNumbers right;
  if (!version_parse(a->handler.version, &left) || !version_parse(b->handler.version, &right)) {
    return 0;
  }
  return version_greater(&left, &right) ? 1 : 0;
}

int32_t ExtHandlerInstance_GetInstalledExtHandler(const ExtHandlerInstance *instance, ExtHandlerInstance *installed) {
  *installed = *instance;
  text_copy_field(installed->handler.version, "");
  installed->installed = 0;
  installed->newer_version = 0;
  pluginManager_FindCurrentVersion(instance->handler.name, installed->handler.version,
                                   sizeof installed->handler.version);
  if (installed->handler.version[0] != '\0') {
    installed->installed = 1;
  }
  return 0;
}

int32_t ExtHandlerInstance_Install(ExtHandlerInstance *instance) {
  launch(instance, kPluginInstall, nullptr);
  return ExtHandlerInstance_SetHandlerState(instance, kHandlerInstalled);
}

int32_t ExtHandlerInstance_Uninstall(ExtHandlerInstance *instance) {
  launch(instance, kPluginUninstall, nullptr);
  return 0;
}

int32_t ExtHandlerInstance_Update(ExtHandlerInstance *instance) {
  const PluginSettings settings = settings_block(instance);
  launch(instance, kPluginUpdate, &settings);
  return 0;
}

int32_t ExtHandlerInstance_Enable(ExtHandlerInstance *instance) {
  const PluginSettings settings = settings_block(instance);
  launch(instance, kPluginEnable, &settings);
  return ExtHandlerInstance_SetHandlerState(instance, kHandlerEnabled);
}

int32_t ExtHandlerInstance_Disable(ExtHandlerInstance *instance) {
  launch(instance, kPluginDisable, nullptr);
  return ExtHandlerInstance_SetHandlerState(instance, kHandlerInstalled);
}

int32_t ExtHandlerInstance_UpdateWithInstall(ExtHandlerInstance *instance) {
  return ExtHandlerInstance_Install(instance);
}

int32_t ExtHandlerInstance_ReportExtStatus(ExtHandlerInstance *instance, char *extension_name, size_t) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", "ExtHandlerInstance_ReportExtStatus", 185);
  const ExtHandler *handler = &instance->handler;
  for (uint32_t attempt = 0; attempt < handler->has_runtime_settings; attempt++) {
    ExtStatus status = {};
    if (__ExtHandlerInstance_collect_ext_status(instance, handler, &status) == 0) {
      instance->protocol->report_ext_status(instance->protocol, handler->name, extension_name, &status);
      break;
    }
  }
  return 0;
}

int32_t ExtHandlerInstance_SetHandlerState(ExtHandlerInstance *, int32_t) {
  return 0;
}

int32_t ExtHandlerInstance_Download(ExtHandlerInstance *) {
  return 0;
}

int32_t ExtHandlerInstance_UpdateSettings(ExtHandlerInstance *) {
  return 0;
}

int32_t ExtHandlerInstance_CopyStatusFiles(ExtHandlerInstance *, ExtHandlerInstance *) {
  return 0;
}

}  // namespace kelvane
