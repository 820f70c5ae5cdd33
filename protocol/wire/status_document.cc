#include "protocol/wire/status_document.h"

#include <string.h>
#include <time.h>

#include "core/base/json_owners.h"
#include "core/base/utc_time.h"

namespace kelvane {

namespace {

constexpr char kDocumentVersion[] = "1.0";

// A document in the making. Once something could not be made, what follows is left out and the whole is given up.
struct Making {
  const StatusBlob *blob;
  bool complete;
};

json_object *made_or_failed(Making *making, json_object *value) {
  making->complete = making->complete && value != nullptr;
  return value;
}

json_object *make_object(Making *making) {
  return made_or_failed(making, json_object_new_object());
}

// Takes over the value, which may be JSON's null.
void add(Making *making, json_object *object, const char *key, json_object *value) {
  if (object == nullptr || json_object_object_add(object, key, value) != 0) {
    making->complete = false;
    json_object_put(value);
  }
}

void add_text(Making *making, json_object *object, const char *key, const char *text) {
  const bool given = text != nullptr && text[0] != '\0';
  add(making, object, key, given ? made_or_failed(making, json_object_new_string(text)) : nullptr);
}

void add_number(Making *making, json_object *object, const char *key, int32_t number) {
  add(making, object, key, made_or_failed(making, json_object_new_int(number)));
}

// Takes over the element.
void append(Making *making, json_object *array, json_object *element) {
  if (array == nullptr || json_object_array_add(array, element) != 0) {
    making->complete = false;
    json_object_put(element);
  }
}

void add_message(Making *making, json_object *object, const char *text) {
  json_object *message = make_object(making);
  add_text(making, message, "lang", "en-US");
  add_text(making, message, "message", text);
  add(making, object, "formattedMessage", message);
}

void add_now(Making *making, json_object *object) {
  UtcTime now;
  utc_time_format(time(nullptr), &now);
  add_text(making, object, "timestampUTC", now.text);
}

json_object *agent_status(Making *making) {
  const VMStatus *vm = &making->blob->vm;
  json_object *made = make_object(making);
  add_text(making, made, "version", vm->agent_version);
  add_text(making, made, "status", vm->status);
  add_message(making, made, vm->message);
  return made;
}

json_object *substatus_list(Making *making, const ExtStatus *status) {
  json_object *one = make_object(making);
  add_text(making, one, "name", status->substatus_name);
  add_text(making, one, "status", status->substatus_status);
  add_number(making, one, "code", status->substatus_code);
  add_message(making, one, status->substatus_message);
  json_object *list = made_or_failed(making, json_object_new_array());
  append(making, list, one);
  return list;
}

json_object *extension_status(Making *making, const StatusBlobExtension *extension) {
  const ExtStatus *status = &extension->status;
  json_object *made = make_object(making);
  add_text(making, made, "name", extension->name);
  add_text(making, made, "configurationAppliedTime", status->configuration_applied_time);
  add_text(making, made, "operation", status->operation);
  add_text(making, made, "status", status->status);
  add_number(making, made, "code", static_cast<int32_t>(status->code));
  add_message(making, made, status->message);
  if (status->substatus_count > 0) {
    add(making, made, "substatus", substatus_list(making, status));
  }
  return made;
}

json_object *settings_status(Making *making, const StatusBlobExtension *extension) {
  json_object *made = make_object(making);
  add(making, made, "status", extension_status(making, extension));
  add_text(making, made, "version", kDocumentVersion);
  add_now(making, made);
  return made;
}

// Stays an empty object, deliberately, when no recorded extension has the handler's extension name.
json_object *runtime_settings_status(Making *making, const char *extension_name) {
  json_object *made = make_object(making);
  for (int32_t i = 0; i < making->blob->extension_count; i++) {
    const StatusBlobExtension *extension = &making->blob->extensions[i];
    if (strcmp(extension->name, extension_name) == 0) {
      add(making, made, "settingsStatus", settings_status(making, extension));
      add_number(making, made, "sequenceNumber", extension->status.sequence_number);
      break;
    }
  }
  return made;
}

json_object *handler_status(Making *making, const ExtHandlerStatus *handler) {
  json_object *made = make_object(making);
  add_text(making, made, "handlerVersion", handler->version);
  add_text(making, made, "handlerName", handler->name);
  add_text(making, made, "status", handler->status);
  add_number(making, made, "code", handler->code);
  if (handler->message[0] != '\0') {
    add_message(making, made, handler->message);
  }
  if (making->blob->extension_count > 0) {
    add(making, made, "runtimeSettingsStatus", runtime_settings_status(making, handler->extension_name));
  }
  return made;
}

json_object *aggregate_status(Making *making) {
  json_object *made = make_object(making);
  json_object *handlers = made_or_failed(making, json_object_new_array());
  add(making, made, "guestAgentStatus", agent_status(making));
  for (int32_t i = 0; i < making->blob->vm.handler_count; i++) {
    append(making, handlers, handler_status(making, &making->blob->vm.handlers[i]));
  }
  add(making, made, "handlerAggregateStatus", handlers);
  return made;
}

}  // namespace

Text status_document_make(const StatusBlob *blob) {
  Making making = {.blob = blob, .complete = true};
  const JsonOwner top(make_object(&making));
  add(&making, top.get(), "aggregateStatus", aggregate_status(&making));
  add_text(&making, top.get(), "version", kDocumentVersion);
  add_now(&making, top.get());
  Text document;
  if (making.complete) {
    text_copy(&document, json_object_to_json_string(top.get()));
  }
  return document;
}

}  // namespace kelvane
