#include "protocol/metadata/metadata_documents.h"

#include <inttypes.h>
#include <stddef.h>
#include <stdio.h>

#include "core/base/json_maker.h"
#include "core/base/log.h"

namespace kelvane {

namespace {

JsonOwner finished(const JsonMaker *maker, json_object *document) {
  JsonOwner owner(document);
  return maker->complete ? static_cast<JsonOwner &&>(owner) : JsonOwner();
}

int32_t at_most(int32_t count, int32_t capacity) {
  return count < capacity ? count : capacity;
}

json_object *agent_status(JsonMaker *maker, const VMStatus *status) {
  json_object *made = json_make_object(maker);
  json_add_text(maker, made, "version", status->agent_version);
  json_add_text(maker, made, "status", status->status);
  json_add_text(maker, made, "message", status->message);
  return made;
}

json_object *handler_status(JsonMaker *maker, const ExtHandlerStatus *entry) {
  LOG_ABOVE(7, "[kelvane]: %s:%d saving object '%s'\n", "VMStatusToJSON", 1131, entry->name);
  json_object *made = json_make_object(maker);
  json_add_text(maker, made, "name", entry->name);
  json_add_text(maker, made, "version", entry->version);
  json_add_text(maker, made, "status", entry->status);
  json_add_text(maker, made, "message", entry->message);
  json_object *extensions = json_make_array(maker);
  json_append(maker, extensions, json_make_text(maker, entry->extension_name));
  json_add(maker, made, "extensions", extensions);
  return made;
}

json_object *substatus(JsonMaker *maker, const ExtStatus *status) {
  json_object *one = json_make_object(maker);
  json_add_text(maker, one, "name", status->substatus_name);
  json_add_text(maker, one, "status", status->substatus_status);
  json_add_number(maker, one, "code", status->substatus_code);
  json_add_text(maker, one, "message", status->substatus_message);
  json_object *list = json_make_array(maker);
  json_append(maker, list, one);
  return list;
}

// The code travels as text here, unlike in the status blob.
void add_code(JsonMaker *maker, json_object *object, uint32_t code) {
  char text[16];
  snprintf(text, sizeof text, "%" PRIu32, code);
  json_add_text(maker, object, "code", text);
}

json_object *event(JsonMaker *maker, const TelemetryRecord *record) {
  constexpr int32_t kCapacity = sizeof record->parameters / sizeof record->parameters[0];
  json_object *made = json_make_object(maker);
  json_add_text(maker, made, "eventId", record->event_id);
  json_add_text(maker, made, "providerId", record->provider_id);
  json_object *parameters = json_make_array(maker);
  for (int32_t i = 0; i < at_most(record->parameter_count, kCapacity); i++) {
    json_object *parameter = json_make_object(maker);
    json_add_text(maker, parameter, "name", record->parameters[i].name);
    json_add_text(maker, parameter, "value", record->parameters[i].value);
    json_append(maker, parameters, parameter);
  }
  json_add(maker, made, "parameters", parameters);
  return made;
}

}  // namespace

JsonOwner ProvisionStatusToJSON(const ProvisionStatus *status) {
  JsonMaker maker;
  json_object *document = json_make_object(&maker);
  json_add_text(&maker, document, "status", status->state);
  json_add_text(&maker, document, "subStatus", status->substatus);
  json_add_text(&maker, document, "description", status->description);
  json_object *properties = json_make_object(&maker);
  json_add_text(&maker, properties, "certificateThumbprint", status->thumbprint);
  json_add(&maker, document, "properties", properties);
  return finished(&maker, document);
}

JsonOwner VMStatusToJSON(const VMStatus *status) {
  constexpr int32_t kCapacity = sizeof status->handlers / sizeof status->handlers[0];
  LOG_ABOVE(6, "[kelvane]: %s:%d count %d\n", "VMStatusToJSON", 1126, status->handler_count);
  JsonMaker maker;
  json_object *document = json_make_object(&maker);
  json_add(&maker, document, "vmAgent", agent_status(&maker, status));
  json_object *handlers = json_make_array(&maker);
  for (int32_t i = 0; i < at_most(status->handler_count, kCapacity); i++) {
    json_append(&maker, handlers, handler_status(&maker, &status->handlers[i]));
  }
  json_add(&maker, document, "extensionHandlers", handlers);
  return finished(&maker, document);
}

JsonOwner ExtStatusToJSON(const ExtStatus *status) {
  JsonMaker maker;
  json_object *document = json_make_object(&maker);
  json_add_text(&maker, document, "configurationAppliedTime", status->configuration_applied_time);
  json_add_text(&maker, document, "operation", status->operation);
  json_add_text(&maker, document, "status", status->status);
  json_add_number(&maker, document, "sequenceNumber", status->sequence_number);
  add_code(&maker, document, status->code);
  json_add_text(&maker, document, "message", status->message);
  if (status->substatus_count > 0) {
    json_add(&maker, document, "substatus", substatus(&maker, status));
  }
  return finished(&maker, document);
}

JsonOwner TelemetryToJSON(int32_t count, const TelemetryRecord *records) {
  JsonMaker maker;
  json_object *document = json_make_array(&maker);
  for (int32_t i = 0; i < count; i++) {
    json_append(&maker, document, event(&maker, &records[i]));
  }
  return finished(&maker, document);
}

}  // namespace kelvane
