// One extension handler as a pass works on it: its record, what the plugin manager knows of it, and the operations that
// turn decisions into plugin commands. Built afresh for every handler on every pass and never kept. Called by the pass
// (guest_agent) only; blocks for as long as a plugin's command does. No operation reports a failure upward.
#ifndef KELVANE_EXTENSIONS_EXT_HANDLER_INSTANCE_H
#define KELVANE_EXTENSIONS_EXT_HANDLER_INSTANCE_H

#include <stddef.h>
#include <stdint.h>

#include "include/ext_handler.h"
#include "include/vm_status.h"
#include "protocol/protocol.h"

namespace kelvane {

struct ExtHandlerInstance {
  const Protocol *protocol;
  uint32_t installed;      // the plugin manager reports a version of this handler
  ExtHandler handler;      // a copy; its texts are the list's
  uint32_t newer_version;  // the requested version is newer than the plugin's
};

// A handler's state as the plugin manager tells it; any other text counts as not installed.
enum HandlerState : int32_t {
  kHandlerNotInstalled = 0,
  kHandlerInstalled = 1,
  kHandlerEnabled = 2,
};

// Fills an instance from a record. 0.
int32_t ExtHandlerInstance_Make(const ExtHandler *record, const Protocol *protocol, ExtHandlerInstance *instance);

// The handler's state, a HandlerState.
int32_t ExtHandlerInstance_GetHandlerState(ExtHandlerInstance *instance);

// Has the plugin fill its handler status. 0, or -1.
int32_t ExtHandlerInstance_GetHandlerStatus(ExtHandlerInstance *instance, ExtHandlerStatus *status);

// Whether the requested version is newer than the plugin's: above 0 (and newer_version set) when it is.
int32_t ExtHandlerInstance_DecideVersion(ExtHandlerInstance *instance);

// 1 when a's version is greater than b's; 0 also when either is not of four numbers.
int32_t ExtHandlerInstance_VersionGT(const ExtHandlerInstance *a, const ExtHandlerInstance *b);

// Copies the instance and puts the version that the plugin manager reports in place of the requested one. 0.
int32_t ExtHandlerInstance_GetInstalledExtHandler(const ExtHandlerInstance *instance, ExtHandlerInstance *installed);

// The plugin commands. 0; what the plugin manager answers is ignored.
int32_t ExtHandlerInstance_Install(ExtHandlerInstance *instance);
int32_t ExtHandlerInstance_Uninstall(ExtHandlerInstance *instance);
int32_t ExtHandlerInstance_Update(ExtHandlerInstance *instance);
int32_t ExtHandlerInstance_Enable(ExtHandlerInstance *instance);
int32_t ExtHandlerInstance_Disable(ExtHandlerInstance *instance);
int32_t ExtHandlerInstance_UpdateWithInstall(ExtHandlerInstance *instance);

// Hands the extension's status to the protocol, when the record has runtime settings and the plugin has a status.
// extension_name is a text slot of size bytes that goes with it. 0.
int32_t ExtHandlerInstance_ReportExtStatus(ExtHandlerInstance *instance, char *extension_name, size_t size);

// Deliberately empty, kept for the shape of the procedure: the plugin manager keeps the state, and nothing is
// downloaded or copied. 0.
int32_t ExtHandlerInstance_SetHandlerState(ExtHandlerInstance *instance, int32_t state);
int32_t ExtHandlerInstance_Download(ExtHandlerInstance *instance);
int32_t ExtHandlerInstance_UpdateSettings(ExtHandlerInstance *instance);
int32_t ExtHandlerInstance_CopyStatusFiles(ExtHandlerInstance *instance, ExtHandlerInstance *from);

}  // namespace kelvane

#endif
