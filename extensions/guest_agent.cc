#include "extensions/guest_agent.h"

#include <string.h>
#include <strings.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "extensions/ext_handler_instance.h"
#include "include/agent_version.h"

namespace kelvane {

namespace {

// The report's record has room for four handlers; that three are reported is deliberate.
constexpr int32_t kReportedHandlers = 3;

// The change marker of the previous pass.
Text gsPreviousMarker;

// Without a new marker nothing can be called unchanged.
bool unchanged(const char *marker) {
  return gsPreviousMarker.present() && marker != nullptr && strcmp(gsPreviousMarker.get(), marker) == 0;
}

void upgrade(ExtHandlerInstance *target, ExtHandlerInstance *installed) {
  ExtHandlerInstance_Disable(installed);
  ExtHandlerInstance_CopyStatusFiles(target, installed);
  ExtHandlerInstance_Update(target);
  ExtHandlerInstance_Uninstall(installed);
  ExtHandlerInstance_UpdateWithInstall(target);
}

void bring_in(ExtHandlerInstance *target, ExtHandlerInstance *installed, int32_t installed_state) {
  ExtHandlerInstance_SetHandlerState(target, kHandlerNotInstalled);
  ExtHandlerInstance_Download(target);
  ExtHandlerInstance_UpdateSettings(target);
  if (installed_state == kHandlerNotInstalled) {
    ExtHandlerInstance_Install(target);
  } else if (ExtHandlerInstance_VersionGT(target, installed) != 0) {
    upgrade(target, installed);
  }
}

void handle_enabled(ExtHandlerInstance *target) {
  ExtHandlerInstance installed;
  ExtHandlerInstance_GetInstalledExtHandler(target, &installed);
  const int32_t installed_state = ExtHandlerInstance_GetHandlerState(&installed);
  if (ExtHandlerInstance_GetHandlerState(target) == kHandlerNotInstalled) {
    bring_in(target, &installed, installed_state);
  } else {
    ExtHandlerInstance_UpdateSettings(target);
  }
  // On every pass in which the handler is not skipped.
  ExtHandlerInstance_Enable(target);
}

void handle_disabled(ExtHandlerInstance *target) {
  if (ExtHandlerInstance_GetHandlerState(target) == kHandlerEnabled) {
    ExtHandlerInstance_Disable(target);
  }
}

void handle_uninstall(ExtHandlerInstance *target) {
  const int32_t state = ExtHandlerInstance_GetHandlerState(target);
  if (state == kHandlerNotInstalled) {
    return;
  }
  if (state == kHandlerEnabled) {
    ExtHandlerInstance_Disable(target);
  }
  ExtHandlerInstance_Uninstall(target);
}

struct StateRow {
  const char *state;
  void (*handle)(ExtHandlerInstance *target);
};

constexpr StateRow kRequestedStates[] = {
    {.state = "enabled", .handle = handle_enabled},
    {.state = "disabled", .handle = handle_disabled},
    {.state = "uninstall", .handle = handle_uninstall},
};

void handle(const ExtHandler *record, const Protocol *protocol, const char *marker) {
  ExtHandlerInstance instance;
  ExtHandlerInstance_Make(record, protocol, &instance);
  ExtHandlerInstance_DecideVersion(&instance);
  if ((instance.newer_version == 0 && unchanged(marker)) || record->state == nullptr) {
    return;
  }
  for (const StateRow &row : kRequestedStates) {
    if (strcasecmp(record->state, row.state) == 0) {
      row.handle(&instance);
    }
  }
}

void __report_ext_handler_status(const ExtHandler *record, const Protocol *protocol, VMStatus *vm_status) {
  ExtHandlerInstance instance;
  ExtHandlerInstance_Make(record, protocol, &instance);
  ExtHandlerStatus status = {};
  if (ExtHandlerInstance_GetHandlerStatus(&instance, &status) != 0) {
    return;
  }
  const int32_t state = ExtHandlerInstance_GetHandlerState(&instance);
  LOG_ABOVE(6, "[kelvane]: %s:%d ext_hdl_name:%s, state:%d\n", "__report_ext_handler_status", 136,
            text_or(record->name, ""), state);
  if (state != kHandlerNotInstalled) {
    ExtHandlerInstance_ReportExtStatus(&instance, status.extension_name, sizeof status.extension_name);
  }
  if (vm_status->handler_count < kReportedHandlers) {
    vm_status->handlers[vm_status->handler_count++] = status;
  }
}

void report(const ExtHandlerList *list, const Protocol *protocol) {
  VMStatus vm_status = {};
  vm_status.agent_version = kAgentVersion;
  vm_status.status = "Ready";
  vm_status.message = "Guest Agent is running";
  for (int32_t i = 0; i < list->count; i++) {
    __report_ext_handler_status(&list->handlers[i], protocol, &vm_status);
  }
  protocol->report_vm_status(protocol, &vm_status);
}

}  // namespace

void GuestAgent_HandlerExtension(const Protocol *protocol) {
  LOG_ABOVE(6, "[kelvane]: %s: Running extension handler\n", "GuestAgent_HandlerExtension");
  char *marker = nullptr;
  ExtHandlerList list = {};
  protocol->get_ext_handlers(protocol, gsPreviousMarker.get(), &marker, &list);
  for (int32_t i = 0; i < list.count; i++) {
    handle(&list.handlers[i], protocol, marker);
  }
  gsPreviousMarker = Text::adopt(marker);
  report(&list, protocol);
}

void GuestAgent_HandlerMonitor(const Protocol *) {}

void GuestAgent_HandlerExtensionCleanup() {
  gsPreviousMarker.reset();
}

}  // namespace kelvane
