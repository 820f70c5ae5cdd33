#include "plugins/event_hub_command.h"

#include <string.h>

#include "core/base/json.h"
#include "core/base/log.h"
#include "core/base/secret.h"
#include "core/base/text.h"
#include "platform/platform.h"

namespace kelvane {

namespace {

constexpr uint32_t kEventHubEvent = 11008801;
constexpr int32_t kEventSuccess = 1;
constexpr int32_t kEventFailure = 2;

// An operation identifier that fills this is none.
constexpr size_t kOperationSize = 128;

// The word in front of the run of blanks that ends at last_blank, if a blank stands before it.
void operation_identifier(const char *text, const char *last_blank, char (&identifier)[kOperationSize]) {
  identifier[0] = '\0';
  const char *end = last_blank;
  while (end > text && *end == ' ') {
    end--;
  }
  const auto *before = static_cast<const char *>(memrchr(text, ' ', static_cast<size_t>(end - text)));
  if (before == nullptr) {
    return;
  }
  const auto length = static_cast<size_t>(end - before);
  if (length < kOperationSize) {
    memcpy(identifier, before + 1, length);
    identifier[length] = '\0';
  }
}

void copy_setting(json_object *object, const char *name, char (&field)[NCFG_EVENT_HUB_TEXT_SIZE]) {
  const char *value = json_member_text(object, name);
  if (value != nullptr) {
    text_copy_field(field, value);
  }
}

// Deliberately in clear, the key included, at the level that is only raised by hand.
void log_settings(const ncfg_event_hub *settings) {
  LOG_ABOVE(6, "[kelvane]: Event hub configuration\n");
  LOG_ABOVE(6, "[kelvane]: ApplianceID  : %s\n", settings->appliance_id);
  LOG_ABOVE(6, "[kelvane]: Policy SASKey: %s\n", settings->policy_sas_key);
  LOG_ABOVE(6, "[kelvane]: Policy Name  : %s\n", settings->policy_name);
  LOG_ABOVE(6, "[kelvane]: Eventhub Name: %s\n", settings->event_hub_name);
  LOG_ABOVE(6, "[kelvane]: ServiceBus NS: %s\n", settings->service_bus_namespace);
}

bool complete(const ncfg_event_hub *settings) {
  return settings->appliance_id[0] != '\0' && settings->policy_sas_key[0] != '\0' && settings->policy_name[0] != '\0' &&
         settings->event_hub_name[0] != '\0' && settings->service_bus_namespace[0] != '\0';
}

int32_t store(const ncfg_event_hub *settings) {
  cmf_query *query = cmf_query_create(NCFG_TABLE_EVENT_HUB);
  if (query != nullptr) {
    void *record = cmf_query_update(query);
    if (record != nullptr) {
      memcpy(record, settings, sizeof *settings);
      cmf_query_commit(query);
    }
    cmf_query_free(query);
  }
  return cmf_write_config(cmf_get_cur_domain_id());
}

void report(int32_t written) {
  const bool success = written == 0;
  log_system_event(kEventHubEvent, 1, 6, "daemon", 1, success ? kEventSuccess : kEventFailure,
                   success ? "Config eventhub success." : "Config eventhub fails.");
}

}  // namespace

void CustomScript_ParseLogSettings(const char *token, ncfg_event_hub *settings) {
  LOG_ABOVE(6, "[kelvane]: start __parse_log_settings, %s\n", token);
  const size_t length = strlen(token);
  Secret decoded;
  if (decoded.allocate(length + 1) != 0) {
    LOG_ABOVE(6, "[kelvane]: miglib_b64_pton err, len:%d\n", static_cast<int>(length));
    return;
  }
  // The decoder's result is deliberately not examined: what it left is JSON or it is not.
  miglib_b64_pton(token, decoded.bytes(), length);
  JsonSecretOwner document(json_load(decoded.text()).release());
  if (!document.present()) {
    LOG_ABOVE(6, "[kelvane]: json_tokener_parse err\n");
    return;
  }
  json_object *logging = json_member(document.get(), "Logging", json_type_object);
  if (logging == nullptr) {
    LOG_ABOVE(6, "[kelvane]: json_object_object_get err\n");
    return;
  }
  copy_setting(logging, "ApplianceID", settings->appliance_id);
  json_object *connection = json_member(logging, "Connection", json_type_object);
  copy_setting(connection, "PolicySASKey", settings->policy_sas_key);
  copy_setting(connection, "PolicyName", settings->policy_name);
  copy_setting(connection, "EventHubName", settings->event_hub_name);
  copy_setting(connection, "ServiceBusNamespace", settings->service_bus_namespace);
}

void CustomScript_ConfigEventHub(const char *command, char *message_field, size_t message_size) {
  const char *last_blank = strrchr(command, ' ');
  if (last_blank == nullptr) {
    return;
  }
  char operation[kOperationSize];
  operation_identifier(command, last_blank, operation);
  ncfg_event_hub settings = {};
  CustomScript_ParseLogSettings(last_blank + 1, &settings);
  log_settings(&settings);
  if (complete(&settings)) {
    settings.enabled = 1;
    report(store(&settings));
    // The same transcript either way: a failure is deliberately seen only in the system event log.
    Text transcript;
    if (text_format(&transcript,
                    "Command is finished.\n---stdout---\nAzure Security configuration script.\nOperation ID: "
                    "%s\n\n---errout---\n\n",
                    operation) == 0) {
      text_copy_field(message_field, message_size, transcript.get());
    }
  }
  wipe_memory(&settings, sizeof settings);
}

}  // namespace kelvane
