// The JSON status document, to the byte.
#include "protocol/wire/status_document.h"

#include <string>

#include "tests/unit/protocol/spies.h"

using kelvane::ExtStatus;
using kelvane::VMStatus;

namespace {

constexpr int64_t kNow = 1767323045;  // 2026-01-02T03:04:05Z

class StatusDocument : public WireTest {
 protected:
  StatusDocument() {
    spies::spies().now = kNow;
    vm_.agent_version = "2.2.26";
    vm_.status = "Ready";
    vm_.message = "Guest Agent is running";
  }

  void handler(const char *name, const char *version, const char *status, int32_t code, const char *message,
               const char *extension_name) {
    kelvane::ExtHandlerStatus *entry = &vm_.handlers[vm_.handler_count++];
    kelvane::text_copy_field(entry->name, name);
    kelvane::text_copy_field(entry->version, version);
    kelvane::text_copy_field(entry->status, status);
    entry->code = code;
    kelvane::text_copy_field(entry->message, message);
    kelvane::text_copy_field(entry->extension_name, extension_name);
  }

  std::string document() {
    kelvane::status_blob_record_vm(&vm_);
    const kelvane::Text text = kelvane::status_document_make(kelvane::status_blob());
    return text.present() ? text.get() : "(absent)";
  }

  static std::string whole(const std::string &handlers) {
    return "{ \"aggregateStatus\": { \"guestAgentStatus\": { \"version\": \"2.2.26\", \"status\": \"Ready\", "
           "\"formattedMessage\": { \"lang\": \"en-US\", \"message\": \"Guest Agent is running\" } }, "
           "\"handlerAggregateStatus\": [ " +
           handlers + "] }, \"version\": \"1.0\", \"timestampUTC\": \"2026-01-02T03:04:05Z\" }";
  }

  VMStatus vm_ = {};
};

TEST_F(StatusDocument, NoHandler) {
  EXPECT_EQ(document(), whole(""));
}

TEST_F(StatusDocument, AHandlerWithoutMessageAndWithoutAnyExtensionStatus) {
  handler("Ext.A", "1.2.3.4", "NotReady", -7, "", "Ext.A");
  EXPECT_EQ(document(), whole("{ \"handlerVersion\": \"1.2.3.4\", \"handlerName\": \"Ext.A\", \"status\": "
                              "\"NotReady\", \"code\": -7 } "));
}

TEST_F(StatusDocument, ThreeHandlersWithStatusSubstatusAndWithoutAMatch) {
  handler("Ext.A", "1.0.0.0", "Ready", 0, "", "Ext.A");
  handler("Ext.B", "2.0.0.0", "Ready", 1, "hello", "B's name");
  handler("Ext.C", "3.0.0.0", "NotReady", 2, "", "ext.a");
  const ExtStatus plain = {.configuration_applied_time = "2026-01-01T00:00:00Z",
                           .operation = "Enable",
                           .status = "success",
                           .sequence_number = 4,
                           .code = 0,
                           .message = "done",
                           .substatus_name = "ignored",
                           .substatus_status = "ignored",
                           .substatus_code = 1,
                           .substatus_message = "ignored",
                           .substatus_count = 0};
  const ExtStatus deep = {.configuration_applied_time = "2026-01-01T00:00:01Z",
                          .operation = "Daemon",
                          .status = "error",
                          .sequence_number = -1,
                          .code = 4294967295u,
                          .message = "\"quoted\"",
                          .substatus_name = "sub",
                          .substatus_status = "transitioning",
                          .substatus_code = -3,
                          .substatus_message = "below",
                          .substatus_count = 5};
  kelvane::status_blob_record_extension("Ext.A", &plain);
  kelvane::status_blob_record_extension("B's name", &deep);
  EXPECT_EQ(
      document(),
      whole("{ \"handlerVersion\": \"1.0.0.0\", \"handlerName\": \"Ext.A\", \"status\": \"Ready\", \"code\": 0, "
            "\"runtimeSettingsStatus\": { \"settingsStatus\": { \"status\": { \"name\": \"Ext.A\", "
            "\"configurationAppliedTime\": \"2026-01-01T00:00:00Z\", \"operation\": \"Enable\", \"status\": "
            "\"success\", \"code\": 0, \"formattedMessage\": { \"lang\": \"en-US\", \"message\": \"done\" } }, "
            "\"version\": \"1.0\", \"timestampUTC\": \"2026-01-02T03:04:05Z\" }, \"sequenceNumber\": 4 } }, "
            "{ \"handlerVersion\": \"2.0.0.0\", \"handlerName\": \"Ext.B\", \"status\": \"Ready\", \"code\": 1, "
            "\"formattedMessage\": { \"lang\": \"en-US\", \"message\": \"hello\" }, "
            "\"runtimeSettingsStatus\": { \"settingsStatus\": { \"status\": { \"name\": \"B's name\", "
            "\"configurationAppliedTime\": \"2026-01-01T00:00:01Z\", \"operation\": \"Daemon\", \"status\": "
            "\"error\", \"code\": -1, \"formattedMessage\": { \"lang\": \"en-US\", \"message\": \"\\\"quoted\\\"\" }, "
            "\"substatus\": [ { \"name\": \"sub\", \"status\": \"transitioning\", \"code\": -3, \"formattedMessage\": "
            "{ \"lang\": \"en-US\", \"message\": \"below\" } } ] }, "
            "\"version\": \"1.0\", \"timestampUTC\": \"2026-01-02T03:04:05Z\" }, \"sequenceNumber\": -1 } }, "
            "{ \"handlerVersion\": \"3.0.0.0\", \"handlerName\": \"Ext.C\", \"status\": \"NotReady\", \"code\": 2, "
            "\"runtimeSettingsStatus\": { } } "));
}

TEST_F(StatusDocument, AbsentAndEmptyTextsAreNull) {
  vm_.agent_version = nullptr;
  vm_.status = "";
  vm_.message = nullptr;
  handler("", "", "", 0, "", "e");
  ExtStatus status = {};
  status.message = "";
  status.substatus_count = 1;
  kelvane::status_blob_record_extension("e", &status);
  EXPECT_EQ(document(),
            "{ \"aggregateStatus\": { \"guestAgentStatus\": { \"version\": null, \"status\": null, "
            "\"formattedMessage\": { \"lang\": \"en-US\", \"message\": null } }, \"handlerAggregateStatus\": [ "
            "{ \"handlerVersion\": null, \"handlerName\": null, \"status\": null, \"code\": 0, "
            "\"runtimeSettingsStatus\": { \"settingsStatus\": { \"status\": { \"name\": \"e\", "
            "\"configurationAppliedTime\": null, \"operation\": null, \"status\": null, \"code\": 0, "
            "\"formattedMessage\": { \"lang\": \"en-US\", \"message\": null }, \"substatus\": [ { \"name\": null, "
            "\"status\": null, \"code\": 0, \"formattedMessage\": { \"lang\": \"en-US\", \"message\": null } } ] }, "
            "\"version\": \"1.0\", \"timestampUTC\": \"2026-01-02T03:04:05Z\" }, \"sequenceNumber\": 0 } } ] }, "
            "\"version\": \"1.0\", \"timestampUTC\": \"2026-01-02T03:04:05Z\" }");
}

TEST_F(StatusDocument, IsAbsentWhenAnyValueCannotBeMade) {
  handler("A", "1", "Ready", 0, "m", "A");
  ExtStatus status = {};
  status.message = "m";
  status.substatus_name = "n";
  status.substatus_count = 1;
  kelvane::status_blob_record_extension("A", &status);
  const std::string complete = document();
  int nth = 1;
  for (;; nth++) {
    spies::spies().refuse_json = nth;
    const std::string made = document();
    if (spies::spies().refuse_json != 0) {
      EXPECT_EQ(made, complete);
      break;
    }
    EXPECT_EQ(made, "(absent)") << nth;
  }
  EXPECT_EQ(nth, 14 + 18 + 4 + 1);  // objects and arrays, texts, numbers; then none was refused
  spies::spies().refuse_json = 0;
}

}  // namespace
