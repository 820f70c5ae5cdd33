#include "tests/fuzz/pass_world.h"

#include <cstdlib>
#include <cstring>

#include "core/base/json.h"
#include "core/base/xml.h"
#include "core/base/xml_gate.h"
#include "protocol/metadata/metadata_documents.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/status_blob.h"
#include "protocol/wire/status_document.h"
#include "telemetry/event_queue.h"
#include "tests/fuzz/properties.h"

namespace fuzz {

namespace {

std::string marker;
kelvane::ExtConfig config = {};

void require_json(const kelvane::JsonOwner &document) {
  require(is_json(json_object_to_json_string(document.get())), "a report is JSON");
}

int64_t get_ext_handlers(const kelvane::Protocol *, const char *, char **tag, kelvane::ExtHandlerList *list) {
  *tag = strdup(marker.c_str());
  *list = config.handlers;
  return 0;
}

int64_t report_vm_status(const kelvane::Protocol *, const kelvane::VMStatus *status) {
  require(status->handler_count >= 0 && status->handler_count <= 3, "three handlers are reported at the most");
  for (int32_t i = 0; i < status->handler_count; i++) {
    const kelvane::ExtHandlerStatus &one = status->handlers[i];
    require_field(one.name);
    require_field(one.version);
    require_field(one.status);
    require_field(one.message);
    require_field(one.extension_name);
  }
  require_json(kelvane::VMStatusToJSON(status));
  kelvane::status_blob_record_vm(status);
  const kelvane::Text document = kelvane::status_document_make(kelvane::status_blob());
  require(document.present() && is_json(document.get()), "the status document is JSON");
  kelvane::status_blob_clear();
  return 0;
}

int64_t report_ext_status(const kelvane::Protocol *, const char *name, char *extension_name,
                          const kelvane::ExtStatus *status) {
  for (const char *text : {static_cast<const char *>(extension_name), status->configuration_applied_time,
                           status->operation, status->status, status->message}) {
    require_text(text);
  }
  require_json(kelvane::ExtStatusToJSON(status));
  kelvane::status_blob_record_extension(name, status);
  return 0;
}

}  // namespace

void ask_for(const std::string &document) {
  marker = document;
  kelvane::ext_config_release(&config);
  const kelvane::XmlOwner tree = kelvane::xml_load(document.c_str(), document.size());
  if (tree.present()) {
    kelvane::ExtConfigParse(tree.get(), &config);
  }
}

const kelvane::Protocol *asking_protocol() {
  static const kelvane::Protocol protocol = [] {
    kelvane::Protocol made = {};
    made.get_ext_handlers = get_ext_handlers;
    made.report_vm_status = report_vm_status;
    made.report_ext_status = report_ext_status;
    return made;
  }();
  return &protocol;
}

void require_events_are_xml() {
  while (mxml_node_t *taken = kelvane::event_queue_take()) {
    const kelvane::XmlOwner event(taken);
    const kelvane::Text text = kelvane::Text::adopt(mxmlSaveAllocString(taken, MXML_NO_CALLBACK));
    require(text.present() && kelvane::xml_load(text.get(), strlen(text.get())).present(), "an event is XML");
  }
}

void forget_pass() {
  kelvane::ext_config_release(&config);
}

}  // namespace fuzz
