#include "protocol/wire/status_document.h"

#include <string.h>
#include <time.h>

#include "core/base/json_maker.h"
#include "core/base/utc_time.h"

namespace kelvane {

namespace {

constexpr char kDocumentVersion[] = "1.0";

struct Making {
  const StatusBlob *blob;
  JsonMaker maker;
};

// Null for an absent or empty text.
void add_text(Making *making, json_object *object, const char *key, const char *text) {
  const bool given = text != nullptr && text[0] != '\0';
  json_add(&making->maker, object, key, given ? json_make_text(&making->maker, text) : nullptr);
}

void add_message(Making *making, json_object *object, const char *text) {
  json_object *message = json_make_object(&making->maker);
  add_text(making, message, "lang", "en-US");
  add_text(making, message, "message", text);
  json_add(&making->maker, object, "formattedMessage", message);
}

void add_now(Making *making, json_object *object) {
  UtcTime now;
  utc_time_format(time(nullptr), &now);
  add_text(making, object, "timestampUTC", now.text);
}

json_object *agent_status(Making *making) {
  const VMStatus *vm = &making->blob->vm;
  json_object *made = json_make_object(&making->maker);
  add_text(making, made, "version", vm->agent_version);
  add_text(making, made, "status", vm->status);
  add_message(making, made, vm->message);
  return made;
}

json_object *substatus_list(Making *making, const ExtStatus *status) {
  json_object *one = json_make_object(&making->maker);
  add_text(making, one, "name", status->substatus_name);
  add_text(making, one, "status", status->substatus_status);
  json_add_number(&making->maker, one, "code", status->substatus_code);
  add_message(making, one, status->substatus_message);
  json_object *list = json_make_array(&making->maker);
  json_append(&making->maker, list, one);
  return list;
}

json_object *extension_status(Making *making, const StatusBlobExtension *extension) {
  const ExtStatus *status = &extension->status;
  json_object *made = json_make_object(&making->maker);
  add_text(making, made, "name", extension->name);
  add_text(making, made, "configurationAppliedTime", status->configuration_applied_time);
  add_text(making, made, "operation", status->operation);
  add_text(making, made, "status", status->status);
  json_add_number(&making->maker, made, "code", static_cast<int32_t>(status->code));
  add_message(making, made, status->message);
  if (status->substatus_count > 0) {
    json_add(&making->maker, made, "substatus", substatus_list(making, status));
  }
  return made;
}

json_object *settings_status(Making *making, const StatusBlobExtension *extension) {
  json_object *made = json_make_object(&making->maker);
  json_add(&making->maker, made, "status", extension_status(making, extension));
  add_text(making, made, "version", kDocumentVersion);
  add_now(making, made);
  return made;
}

// Stays an empty object, deliberately, when no recorded extension has the handler's extension name.
json_object *runtime_settings_status(Making *making, const char *extension_name) {
  json_object *made = json_make_object(&making->maker);
  for (int32_t i = 0; i < making->blob->extension_count; i++) {
    const StatusBlobExtension *extension = &making->blob->extensions[i];
    if (strcmp(extension->name, extension_name) == 0) {
      json_add(&making->maker, made, "settingsStatus", settings_status(making, extension));
      json_add_number(&making->maker, made, "sequenceNumber", extension->status.sequence_number);
      break;
    }
  }
  return made;
}

json_object *handler_status(Making *making, const ExtHandlerStatus *handler) {
  json_object *made = json_make_object(&making->maker);
  add_text(making, made, "handlerVersion", handler->version);
  add_text(making, made, "handlerName", handler->name);
  add_text(making, made, "status", handler->status);
  json_add_number(&making->maker, made, "code", handler->code);
  if (handler->message[0] != '\0') {
    add_message(making, made, handler->message);
  }
  if (making->blob->extension_count > 0) {
    json_add(&making->maker, made, "runtimeSettingsStatus", runtime_settings_status(making, handler->extension_name));
  }
  return made;
}

json_object *aggregate_status(Making *making) {
  json_object *made = json_make_object(&making->maker);
  json_object *handlers = json_make_array(&making->maker);
  json_add(&making->maker, made, "guestAgentStatus", agent_status(making));
  for (int32_t i = 0; i < making->blob->vm.handler_count; i++) {
    json_append(&making->maker, handlers, handler_status(making, &making->blob->vm.handlers[i]));
  }
  json_add(&making->maker, made, "handlerAggregateStatus", handlers);
  return made;
}

}  // namespace

Text status_document_make(const StatusBlob *blob) {
  Making making = {.blob = blob, .maker = {}};
  const JsonOwner top(json_make_object(&making.maker));
  json_add(&making.maker, top.get(), "aggregateStatus", aggregate_status(&making));
  add_text(&making, top.get(), "version", kDocumentVersion);
  add_now(&making, top.get());
  Text document;
  if (making.maker.complete) {
    text_copy(&document, json_object_to_json_string(top.get()));
  }
  return document;
}

}  // namespace kelvane
