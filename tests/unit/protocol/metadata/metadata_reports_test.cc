// The slots that report: where each document goes, with which bytes, and what of it the caller learns.
#include <cstring>

#include "tests/unit/protocol/metadata/metadata_world.h"

using kelvane::ExtStatus;
using kelvane::ProvisionStatus;
using kelvane::TelemetryRecord;
using kelvane::VMStatus;

namespace {

class MetadataReportsTest : public MetadataTest {
 protected:
  MetadataReportsTest() {
    peer_->handler([](const support::PeerRequest &) { return support::answer(200, "ignored"); });
  }
  ~MetadataReportsTest() override { spies::spies().refuse_json = 0; }

  static std::string put(const std::string &resource, const std::string &body) {
    return "PUT http://169.254.169.254/Microsoft.Compute/" + resource +
           "?api-version=2015-05-01-preview HTTP/1.1\r\n"
           "Host: 169.254.169.254\r\n"
           "Accept: */*\r\n"
           "Proxy-Connection: Keep-Alive\r\n"
           "Content-Type: application/json\r\n"
           "Content-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
  }

  // The bytes of the only request since the last call.
  std::string request() {
    const auto requests = peer_->requests();
    EXPECT_EQ(requests.size(), 1u);
    peer_->forget_requests();
    return requests.empty() ? "" : bytes_of(requests[0]);
  }

  // All four reports; their results.
  std::vector<int64_t> report_all() {
    char name[128] = "e";
    return {protocol_->report_provision_status(protocol_, &provision_), protocol_->report_vm_status(protocol_, &vm_),
            protocol_->report_ext_status(protocol_, "h", name, &extension_),
            protocol_->report_event(protocol_, 1, &record_)};
  }

  ProvisionStatus provision_ = {};
  VMStatus vm_ = {};
  ExtStatus extension_ = {};
  TelemetryRecord record_ = {};
};

TEST_F(MetadataReportsTest, TheProvisioningStatusIsPut) {
  provision_ = {"Ready", nullptr, nullptr, "AB12"};
  EXPECT_EQ(protocol_->report_provision_status(protocol_, &provision_), 0);
  EXPECT_EQ(request(), put("provisioningStatus", R"({ "status": "Ready", "subStatus": "", "description": "", )"
                                                 R"("properties": { "certificateThumbprint": "AB12" } })"));
}

TEST_F(MetadataReportsTest, TheVmStatusIsPut) {
  vm_.agent_version = "2.2.26";
  vm_.status = "Ready";
  vm_.message = "m";
  EXPECT_EQ(protocol_->report_vm_status(protocol_, &vm_), 0);
  EXPECT_EQ(
      request(),
      put("status/vmagent",
          R"({ "vmAgent": { "version": "2.2.26", "status": "Ready", "message": "m" }, "extensionHandlers": [ ] })"));
}

TEST_F(MetadataReportsTest, AnExtensionStatusIsPutUnderTheExtensionsName) {
  const std::string body =
      R"({ "configurationAppliedTime": "", "operation": "", "status": "", "sequenceNumber": 0, "code": "0", )"
      R"("message": "" })";
  char name[128] = "Torvik.Ext";
  EXPECT_EQ(protocol_->report_ext_status(protocol_, "the handler", name, &extension_), 0);
  EXPECT_EQ(request(), put("status/extensions/Torvik.Ext", body));
  char format[128] = "a%s%n/100%d";
  EXPECT_EQ(protocol_->report_ext_status(protocol_, nullptr, format, &extension_), 0);
  EXPECT_EQ(request(), put("status/extensions/a%s%n/100%d", body));
}

TEST_F(MetadataReportsTest, ANameOfThreeThousandCharactersIsCut) {
  std::string name(3000, 'n');
  EXPECT_EQ(protocol_->report_ext_status(protocol_, nullptr, name.data(), &extension_), 0);
  ASSERT_EQ(peer_->requests().size(), 1u);
  EXPECT_EQ(peer_->requests()[0].target,
            "http://169.254.169.254/Microsoft.Compute/status/extensions/" + std::string(2047 - 59, 'n'));
}

TEST_F(MetadataReportsTest, EventsArePut) {
  const TelemetryRecord records[2] = {{"1", "p", 1, {{"n", "v"}}}, {"2", "p", 0, {}}};
  EXPECT_EQ(protocol_->report_event(protocol_, 2, records), 0);
  EXPECT_EQ(request(),
            put("status/telemetry",
                R"([ { "eventId": "1", "providerId": "p", "parameters": [ { "name": "n", "value": "v" } ] }, )"
                R"({ "eventId": "2", "providerId": "p", "parameters": [ ] } ])"));
}

TEST_F(MetadataReportsTest, WithoutEventsNothingIsSent) {
  EXPECT_EQ(protocol_->report_event(protocol_, 0, nullptr), -1);
  EXPECT_EQ(protocol_->report_event(protocol_, 0, &record_), -1);
  EXPECT_EQ(protocol_->report_event(protocol_, -1, &record_), -1);
  EXPECT_EQ(protocol_->report_event(protocol_, 1, nullptr), -1);
  EXPECT_EQ(performed(), 0);
  EXPECT_EQ(spies::spies().event_passes, 0) << "telemetry's queue is not drained";
}

TEST_F(MetadataReportsTest, AFailedRequestIsNotReported) {
  end_attempts(std::vector<int>(12, 7));
  EXPECT_EQ(report_all(), (std::vector<int64_t>{0, 0, 0, 0}));
  EXPECT_EQ(performed(), 12);
  EXPECT_EQ(sleeps(), std::vector<unsigned>(12, 10));
}

TEST_F(MetadataReportsTest, ARefusalIsNotReportedAndNotRepeated) {
  peer_->handler([](const support::PeerRequest &) { return support::answer(500); });
  EXPECT_EQ(report_all(), (std::vector<int64_t>{0, 0, 0, 0}));
  EXPECT_EQ(performed(), 4);
}

TEST_F(MetadataReportsTest, ADocumentThatCannotBeWrittenIsNotReportedEither) {
  spies::spies().refuse_json_text = true;
  EXPECT_EQ(report_all(), (std::vector<int64_t>{0, 0, 0, 0}));
  EXPECT_EQ(performed(), 0);
}

TEST_F(MetadataReportsTest, ADocumentThatCannotBeBuiltFailsTheReportOfAStatus) {
  char name[128] = "e";
  spies::spies().refuse_json = 2;
  EXPECT_EQ(protocol_->report_provision_status(protocol_, &provision_), -1);
  spies::spies().refuse_json = 2;
  EXPECT_EQ(protocol_->report_vm_status(protocol_, &vm_), -1);
  spies::spies().refuse_json = 2;
  EXPECT_EQ(protocol_->report_ext_status(protocol_, "h", name, &extension_), -1);
  spies::spies().refuse_json = 2;
  EXPECT_EQ(protocol_->report_event(protocol_, 1, &record_), 0);
  EXPECT_EQ(performed(), 0);
}

TEST_F(MetadataReportsTest, EveryReportFreesItsHeaders) {
  report_all();
  EXPECT_EQ(spies::spies().freed_lists.size(), 4u);
}

}  // namespace
