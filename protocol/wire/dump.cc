#include "protocol/wire/dump.h"

#include <string.h>

#include "core/base/json_owners.h"
#include "core/base/text.h"
#include "extensions/handler_settings.h"
#include "platform/platform.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/goal_state.h"

namespace kelvane {

namespace {

const char *shown(const Text &value) {
  return text_or(value.get(), "");
}

void dump_goal_state(const GoalState *goal) {
  message("Goal State:\n");
  if (!goal->incarnation.present()) {
    return;
  }
  message("  Incarnation      : %s\n", shown(goal->incarnation));
  message("  Expected State   : %s\n", shown(goal->expected_state));
  message("  Container ID     : %s\n", shown(goal->container_id));
  message("  Role Instance ID : %s\n", shown(goal->instance_id));
  message("  Role Config Name : %s\n", shown(goal->config_name));
  message("  LB Probe Port    : %s\n", shown(goal->probe_port));
  message("  Certs URI        : %s\n", shown(goal->certificates_uri));
  message("  Extension URI    : %s\n", shown(goal->extensions_config_uri));
  message("  Hosting Env URI  : %s\n", shown(goal->hosting_environment_uri));
  message("  Shared Conf URI  : %s\n", shown(goal->shared_config_uri));
}

void dump_settings(int32_t index, const char *runtime_settings) {
  const JsonSecretOwner parsed = HandlerUtilParseConfig(runtime_settings);
  if (parsed.present()) {
    char *listing = const_cast<char *>(json_object_to_json_string_ext(parsed.get(), JSON_C_TO_STRING_PRETTY));
    message("   [%2d]: %11s :\n%s", index, "Config", text_or(listing, ""));
    if (listing != nullptr) {
      wipe_memory(listing, strlen(listing));  // the library keeps it, and may have listed decrypted settings
    }
  } else if (runtime_settings != nullptr) {
    message("   [%2d]: %11s :\n%s", index, "Config", runtime_settings);
  }
}

void dump_handler(int32_t index, const ExtHandler *handler) {
  message("\n   [%2d]: %11s : %s\n", index, "Name", text_or(handler->name, ""));
  message("   [%2d]: %11s : %s\n", index, "Version", handler->version);
  for (int32_t i = 0; i < handler->uri_count; i++) {
    message("   [%2d]: %11s : %s\n", index, "URL", text_or(handler->uris[i], ""));
  }
  message("   [%2d]: %11s : %s\n", index, "State", text_or(handler->state, ""));
  message("   [%2d]: %11s : %d\n", index, "SeqNo", handler->sequence_number);
  // Deliberately the sequence number once more: readers of the listing know the line so.
  message("   [%2d]: %11s : %d\n", index, "UpgradeGuid", handler->sequence_number);
  dump_settings(index, handler->runtime_settings);
}

void dump_ext_config(const ExtConfig *config) {
  message("\nExtension Config:\n");
  message("  Incarnation       : %d\n", config->incarnation);
  message("  Status Upload URL : (%d) %s\n", static_cast<int32_t>(config->page_blob), shown(config->status_upload_url));
  if (config->handlers.handlers == nullptr) {
    return;
  }
  message("  Plugins:");
  for (int32_t i = 0; i < config->handlers.count; i++) {
    dump_handler(i, &config->handlers.handlers[i]);
  }
}

}  // namespace

void wire_dump() {
  dump_goal_state(goal_state());
  dump_ext_config(ext_config());
}

}  // namespace kelvane
