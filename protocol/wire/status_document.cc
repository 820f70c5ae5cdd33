#include "protocol/wire/status_document.h"

#include <string.h>
#include <time.h>

#include "core/base/json_owners.h"
#include "core/base/utc_time.h"

namespace kelvane {

namespace {

constexpr char kDocumentVersion[] = "1.0";

// Takes over the value.
void add(json_object *object, const char *key, json_object *value) {
  if (json_object_object_add(object, key, value) != 0) {
    json_object_put(value);
  }
}

void add_text(json_object *object, const char *key, const char *text) {
  add(object, key, text != nullptr && text[0] != '\0' ? json_object_new_string(text) : nullptr);
}

json_object *formatted_message(const char *text) {
  json_object *made = json_object_new_object();
  add_text(made, "lang", "en-US");
  add_text(made, "message", text);
  return made;
}

void add_now(json_object *object) {
  UtcTime now;
  utc_time_format(time(nullptr), &now);
  add_text(object, "timestampUTC", now.text);
}

json_object *agent_status(const VMStatus *vm) {
  json_object *made = json_object_new_object();
  add_text(made, "version", vm->agent_version);
  add_text(made, "status", vm->status);
  add(made, "formattedMessage", formatted_message(vm->message));
  return made;
}

json_object *substatus_list(const ExtStatus *status) {
  json_object *one = json_object_new_object();
  add_text(one, "name", status->substatus_name);
  add_text(one, "status", status->substatus_status);
  add(one, "code", json_object_new_int(status->substatus_code));
  add(one, "formattedMessage", formatted_message(status->substatus_message));
  json_object *list = json_object_new_array();
  json_object_array_add(list, one);
  return list;
}

json_object *extension_status(const StatusBlobExtension *extension) {
  const ExtStatus *status = &extension->status;
  json_object *made = json_object_new_object();
  add_text(made, "name", extension->name);
  add_text(made, "configurationAppliedTime", status->configuration_applied_time);
  add_text(made, "operation", status->operation);
  add_text(made, "status", status->status);
  add(made, "code", json_object_new_int(static_cast<int32_t>(status->code)));
  add(made, "formattedMessage", formatted_message(status->message));
  if (status->substatus_count > 0) {
    add(made, "substatus", substatus_list(status));
  }
  return made;
}

json_object *settings_status(const StatusBlobExtension *extension) {
  json_object *made = json_object_new_object();
  add(made, "status", extension_status(extension));
  add_text(made, "version", kDocumentVersion);
  add_now(made);
  return made;
}

// Stays an empty object, deliberately, when no recorded extension has the handler's extension name.
json_object *runtime_settings_status(const StatusBlob *blob, const char *extension_name) {
  json_object *made = json_object_new_object();
  for (int32_t i = 0; i < blob->extension_count; i++) {
    const StatusBlobExtension *extension = &blob->extensions[i];
    if (strcmp(extension->name, extension_name) == 0) {
      add(made, "settingsStatus", settings_status(extension));
      add(made, "sequenceNumber", json_object_new_int(extension->status.sequence_number));
      break;
    }
  }
  return made;
}

json_object *handler_status(const StatusBlob *blob, const ExtHandlerStatus *handler) {
  json_object *made = json_object_new_object();
  add_text(made, "handlerVersion", handler->version);
  add_text(made, "handlerName", handler->name);
  add_text(made, "status", handler->status);
  add(made, "code", json_object_new_int(handler->code));
  if (handler->message[0] != '\0') {
    add(made, "formattedMessage", formatted_message(handler->message));
  }
  if (blob->extension_count > 0) {
    add(made, "runtimeSettingsStatus", runtime_settings_status(blob, handler->extension_name));
  }
  return made;
}

json_object *aggregate_status(const StatusBlob *blob) {
  json_object *handlers = json_object_new_array();
  for (int32_t i = 0; i < blob->vm.handler_count; i++) {
    json_object_array_add(handlers, handler_status(blob, &blob->vm.handlers[i]));
  }
  json_object *made = json_object_new_object();
  add(made, "guestAgentStatus", agent_status(&blob->vm));
  add(made, "handlerAggregateStatus", handlers);
  return made;
}

}  // namespace

Text status_document_make(const StatusBlob *blob) {
  JsonOwner top(json_object_new_object());
  Text document;
  if (top.present()) {
    add(top.get(), "aggregateStatus", aggregate_status(blob));
    add_text(top.get(), "version", kDocumentVersion);
    add_now(top.get());
    const char *text = json_object_to_json_string(top.get());
    if (text != nullptr) {
      text_copy(&document, text);
    }
  }
  return document;
}

}  // namespace kelvane
