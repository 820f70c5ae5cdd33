// The four documents, as json-c's default format writes them.
#include "protocol/metadata/metadata_documents.h"

#include <climits>
#include <cstring>

#include "tests/unit/protocol/metadata/metadata_world.h"

using kelvane::ExtStatus;
using kelvane::JsonOwner;
using kelvane::ProvisionStatus;
using kelvane::TelemetryRecord;
using kelvane::VMStatus;

namespace {

std::string written(const JsonOwner &document) {
  return document.present() ? json_object_to_json_string(document.get()) : "(absent)";
}

class MetadataDocumentsTest : public MetadataTest {
 protected:
  ~MetadataDocumentsTest() override { spies::spies().refuse_json = 0; }

  static void fill_handler(kelvane::ExtHandlerStatus *entry, const std::string &name) {
    std::strcpy(entry->name, name.c_str());
    std::strcpy(entry->version, "1.2.3.4");
    std::strcpy(entry->status, "Ready");
    entry->code = 9;
    std::strcpy(entry->message, "m");
    std::strcpy(entry->extension_name, (name + "-ext").c_str());
  }

  // Refuses each value of a document in turn: it is then absent. How many values it has.
  template <typename Make>
  static int values_of(Make make) {
    for (int nth = 1;; nth++) {
      spies::spies().refuse_json = nth;
      const JsonOwner made = make();
      if (spies::spies().refuse_json != 0) {
        EXPECT_TRUE(made.present());
        spies::spies().refuse_json = 0;
        return nth - 1;
      }
      EXPECT_FALSE(made.present()) << nth;
    }
  }
};

TEST_F(MetadataDocumentsTest, TheProvisioningStatus) {
  const ProvisionStatus status = {"NotReady", "Provisioning", "Starting", "AB12"};
  EXPECT_EQ(written(kelvane::ProvisionStatusToJSON(&status)),
            R"({ "status": "NotReady", "subStatus": "Provisioning", "description": "Starting", )"
            R"("properties": { "certificateThumbprint": "AB12" } })");
  const ProvisionStatus none = {};
  EXPECT_EQ(written(kelvane::ProvisionStatusToJSON(&none)),
            R"({ "status": "", "subStatus": "", "description": "", "properties": { "certificateThumbprint": "" } })");
  const ProvisionStatus empty = {"", "", "", ""};
  EXPECT_EQ(written(kelvane::ProvisionStatusToJSON(&empty)), written(kelvane::ProvisionStatusToJSON(&none)));
}

TEST_F(MetadataDocumentsTest, TheVmStatus) {
  VMStatus status = {};
  status.agent_version = "2.2.26";
  status.status = "Ready";
  status.message = "Guest Agent is running";
  status.handler_count = 2;
  fill_handler(&status.handlers[0], "A");
  EXPECT_EQ(written(kelvane::VMStatusToJSON(&status)),
            R"({ "vmAgent": { "version": "2.2.26", "status": "Ready", "message": "Guest Agent is running" }, )"
            R"("extensionHandlers": [ )"
            R"({ "name": "A", "version": "1.2.3.4", "status": "Ready", "message": "m", "extensions": [ "A-ext" ] }, )"
            R"({ "name": "", "version": "", "status": "", "message": "", "extensions": [ "" ] } ] })");
  const VMStatus none = {};
  EXPECT_EQ(written(kelvane::VMStatusToJSON(&none)),
            R"({ "vmAgent": { "version": "", "status": "", "message": "" }, "extensionHandlers": [ ] })");
}

TEST_F(MetadataDocumentsTest, TheVmStatusHoldsNoMoreHandlersThanTheRecord) {
  VMStatus status = {};
  for (auto &entry : status.handlers) {
    fill_handler(&entry, "A");
  }
  status.handler_count = 4;
  const std::string four = written(kelvane::VMStatusToJSON(&status));
  const std::string one =
      R"({ "name": "A", "version": "1.2.3.4", "status": "Ready", "message": "m", "extensions": [ "A-ext" ] })";
  EXPECT_EQ(four, R"({ "vmAgent": { "version": "", "status": "", "message": "" }, "extensionHandlers": [ )" + one +
                      ", " + one + ", " + one + ", " + one + " ] }");
  status.handler_count = INT_MAX;
  EXPECT_EQ(written(kelvane::VMStatusToJSON(&status)), four);
  status.handler_count = -1;
  EXPECT_EQ(written(kelvane::VMStatusToJSON(&status)),
            R"({ "vmAgent": { "version": "", "status": "", "message": "" }, "extensionHandlers": [ ] })");
}

TEST_F(MetadataDocumentsTest, TheVmStatusLogsItsCountAboveSixAndItsEntriesAboveSeven) {
  VMStatus status = {};
  status.handler_count = 2;
  fill_handler(&status.handlers[0], "A");
  fill_handler(&status.handlers[1], "B%s");
  recording::set_debug_level(6);
  kelvane::VMStatusToJSON(&status);
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  kelvane::VMStatusToJSON(&status);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: VMStatusToJSON:1126 count 2\n"});
  recording::clear_trace();
  recording::set_debug_level(8);
  kelvane::VMStatusToJSON(&status);
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: VMStatusToJSON:1126 count 2\n", "[kelvane]: VMStatusToJSON:1131 saving object 'A'\n",
                   "[kelvane]: VMStatusToJSON:1131 saving object 'B%s'\n"}));
}

TEST_F(MetadataDocumentsTest, TheExtensionStatus) {
  ExtStatus status = {
      "2026-01-31T23:59:59Z", "Enable", "success", -2, 4294967295u, "done", "sub", "error", -5, "why", 0};
  EXPECT_EQ(written(kelvane::ExtStatusToJSON(&status)),
            R"({ "configurationAppliedTime": "2026-01-31T23:59:59Z", "operation": "Enable", "status": "success", )"
            R"("sequenceNumber": -2, "code": "4294967295", "message": "done" })");
  status.substatus_count = 1;
  status.code = 0;
  const std::string with_substatus =
      R"({ "configurationAppliedTime": "2026-01-31T23:59:59Z", "operation": "Enable", "status": "success", )"
      R"("sequenceNumber": -2, "code": "0", "message": "done", )"
      R"("substatus": [ { "name": "sub", "status": "error", "code": -5, "message": "why" } ] })";
  EXPECT_EQ(written(kelvane::ExtStatusToJSON(&status)), with_substatus);
  status.substatus_count = 9;
  EXPECT_EQ(written(kelvane::ExtStatusToJSON(&status)), with_substatus);
  status.substatus_count = -1;
  EXPECT_EQ(written(kelvane::ExtStatusToJSON(&status)).find("substatus"), std::string::npos);
}

TEST_F(MetadataDocumentsTest, AnEmptyExtensionStatus) {
  ExtStatus status = {};
  EXPECT_EQ(written(kelvane::ExtStatusToJSON(&status)),
            R"({ "configurationAppliedTime": "", "operation": "", "status": "", "sequenceNumber": 0, "code": "0", )"
            R"("message": "" })");
  status.substatus_count = 1;
  EXPECT_EQ(written(kelvane::ExtStatusToJSON(&status)),
            R"({ "configurationAppliedTime": "", "operation": "", "status": "", "sequenceNumber": 0, "code": "0", )"
            R"("message": "", "substatus": [ { "name": "", "status": "", "code": 0, "message": "" } ] })");
}

TEST_F(MetadataDocumentsTest, TheTelemetry) {
  TelemetryRecord records[2] = {};
  records[0] = {"1", "provider", 2, {{"n1", "v1"}, {"n2", nullptr}, {"not counted", "x"}}};
  EXPECT_EQ(written(kelvane::TelemetryToJSON(1, records)),
            R"([ { "eventId": "1", "providerId": "provider", "parameters": [ { "name": "n1", "value": "v1" }, )"
            R"({ "name": "n2", "value": "" } ] } ])");
  EXPECT_EQ(written(kelvane::TelemetryToJSON(2, records)),
            R"([ { "eventId": "1", "providerId": "provider", "parameters": [ { "name": "n1", "value": "v1" }, )"
            R"({ "name": "n2", "value": "" } ] }, { "eventId": "", "providerId": "", "parameters": [ ] } ])");
}

TEST_F(MetadataDocumentsTest, AnEventHoldsNoMoreParametersThanTheRecord) {
  TelemetryRecord record = {};
  for (auto &parameter : record.parameters) {
    parameter = {"n", "v"};
  }
  record.parameter_count = 10;
  const std::string ten = written(kelvane::TelemetryToJSON(1, &record));
  EXPECT_EQ(ten.size(), 53 + 10 * 29 + 9 * 2 + 6u);
  record.parameter_count = INT_MAX;
  EXPECT_EQ(written(kelvane::TelemetryToJSON(1, &record)), ten);
  record.parameter_count = INT_MIN;
  EXPECT_EQ(written(kelvane::TelemetryToJSON(1, &record)),
            R"([ { "eventId": "", "providerId": "", "parameters": [ ] } ])");
}

TEST_F(MetadataDocumentsTest, WithoutMemoryForAnyOfItsValuesADocumentIsAbsent) {
  const ProvisionStatus provision = {};
  EXPECT_EQ(values_of([&] { return kelvane::ProvisionStatusToJSON(&provision); }), 6);
  VMStatus vm = {};
  vm.handler_count = 2;
  EXPECT_EQ(values_of([&] { return kelvane::VMStatusToJSON(&vm); }), 1 + 4 + 1 + 2 * 7);
  ExtStatus extension = {};
  extension.substatus_count = 1;
  EXPECT_EQ(values_of([&] { return kelvane::ExtStatusToJSON(&extension); }), 7 + 6);
  const TelemetryRecord record = {"e", "p", 1, {{"n", "v"}}};
  EXPECT_EQ(values_of([&] { return kelvane::TelemetryToJSON(1, &record); }), 1 + 4 + 3);
}

}  // namespace
