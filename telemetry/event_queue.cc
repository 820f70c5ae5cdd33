#include "telemetry/event_queue.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "core/base/xml.h"
#include "telemetry/telemetry.h"

namespace kelvane {

namespace {

// The version that events carry deliberately differs from the one that the status reports carry.
constexpr char kEventAgentVersion[] = "TorvikGuest-2.0.16";

constexpr char kDataOpen[] = "<DATA>";
constexpr char kDataClose[] = "</DATA>";

// Indexed by TelemetryOperation.
constexpr const char *kOperationNames[] = {
    "Unknown", "HeartBeat", "Provision", "Install", "UnInstall",   "Disable",
    "Enable",  "Download",  "Upgrade",   "Update",  "HealthCheck", "Restart",
};

struct QueueEntry {
  mxml_node_t *event;
  QueueEntry *previous;
  QueueEntry *next;
};

QueueEntry *gsQueueHead = nullptr;
QueueEntry *gsQueueTail = nullptr;

struct NumberText {
  char text[24];
};

NumberText unsigned_text(uint64_t number) {
  NumberText made = {};
  snprintf(made.text, sizeof made.text, "%" PRIu64, number);
  return made;
}

NumberText signed_text(int32_t number) {
  NumberText made = {};
  snprintf(made.text, sizeof made.text, "%" PRId32, number);
  return made;
}

struct EventParam {
  const char *name;
  const char *type;
  const char *value;
};

// A child that cannot be made is left out.
void add_param(mxml_node_t *data, const EventParam *param) {
  mxml_node_t *child = mxmlNewElement(data, "Param");
  if (child != nullptr) {
    mxmlElementSetAttr(child, "Name", param->name);
    mxmlElementSetAttr(child, "T", param->type);
    mxmlElementSetAttr(child, "Value", text_or(param->value, ""));
  }
}

// The element's children as text: what stands between its two tags. Absent when it cannot be written.
Text inner_text(mxml_node_t *data) {
  Text whole = Text::adopt(mxmlSaveAllocString(data, MXML_NO_CALLBACK));
  const char *close = whole.present() ? strstr(whole.get(), kDataClose) : nullptr;
  Text inner;
  if (close != nullptr) {
    const char *start = whole.get() + strlen(kDataOpen);
    text_copy_span(&inner, start, static_cast<size_t>(close - start));
  }
  return inner;
}

mxml_node_t *make_event(const char *params) {
  XmlOwner event(mxmlNewElement(nullptr, "Event"));
  if (!event.present()) {
    return nullptr;
  }
  mxmlElementSetAttr(event.get(), "id", "1");
  return mxmlNewCDATA(event.get(), params) != nullptr ? event.release() : nullptr;
}

void append(XmlOwner event) {
  auto *entry = static_cast<QueueEntry *>(calloc(1, sizeof(QueueEntry)));
  if (entry == nullptr) {
    return;
  }
  entry->event = event.release();
  entry->previous = gsQueueTail;
  if (gsQueueTail != nullptr) {
    gsQueueTail->next = entry;
  } else {
    gsQueueHead = entry;
  }
  gsQueueTail = entry;
}

}  // namespace

void AddExtensionEvent(const char *name, int32_t operation, int32_t success, uint64_t duration, const char *version,
                       const char *message_text) {
  XmlOwner data(mxmlNewElement(nullptr, "DATA"));
  if (!data.present()) {
    return;
  }
  // The operation number is an index without a range test: callers pass 0 to 11.
  const char *operation_name = kOperationNames[operation];
  LOG_ABOVE(6, "[kelvane]: EVENT: Add Event Operation(%s) Success(%d) - Message(%s)\n", operation_name, success,
            text_or(message_text, ""));
  const TelemetryContext context = telemetry_context();
  const NumberText processors = signed_text(context.processors);
  const NumberText ram = unsigned_text(context.ram_mebibytes);
  const NumberText took = unsigned_text(duration);
  const EventParam params[] = {
      {"OpcodeName", "mt:wstr", ""},
      {"IsInternal", "mt:bool", "False"},
      {"ExecutionMode", "mt:wstr", "IAAS"},
      {"KeywordName", "mt:wstr", ""},
      {"TaskName", "mt:wstr", ""},
      {"ExtensionType", "mt:wstr", ""},
      {"GAVersion", "mt:wstr", kEventAgentVersion},
      {"OSVersion", "mt:wstr", context.os_version},
      {"ContainerId", "mt:wstr", context.container_id},
      {"TenantName", "mt:wstr", context.tenant_name},
      {"Processors", "mt:uint64", processors.text},
      {"RoleName", "mt:wstr", context.role_name},
      {"RoleInstanceName", "mt:wstr", context.role_instance_name},
      {"RAM", "mt:uint64", ram.text},
      {"OperationSuccess", "mt:bool", success != 0 ? "True" : "False"},
      {"Version", "mt:wstr", version},
      {"Name", "mt:wstr", name},
      {"Message", "mt:wstr", message_text},
      {"Operation", "mt:wstr", operation_name},
      {"Duration", "mt:uint64", took.text},
  };
  for (const EventParam &param : params) {
    add_param(data.get(), &param);
  }
  const Text inner = inner_text(data.get());
  XmlOwner event(inner.present() ? make_event(inner.get()) : nullptr);
  if (event.present()) {
    append(static_cast<XmlOwner &&>(event));
  }
}

mxml_node_t *event_queue_take() {
  QueueEntry *first = gsQueueHead;
  if (first == nullptr) {
    return nullptr;
  }
  gsQueueHead = first->next;
  if (gsQueueHead != nullptr) {
    gsQueueHead->previous = nullptr;
  } else {
    gsQueueTail = nullptr;
  }
  mxml_node_t *event = first->event;
  free(first);
  return event;
}

bool event_queue_waiting() {
  return gsQueueHead != nullptr;
}

}  // namespace kelvane
