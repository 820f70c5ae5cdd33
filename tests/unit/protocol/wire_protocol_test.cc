// The operations table: the order of its slots, the placeholders, telemetry and release.
#include "protocol/wire/wire_protocol.h"

#include <cstring>
#include <string>

#include "core/base/buffer.h"
#include "core/base/xml.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/goal_state.h"
#include "protocol/wire/http_client.h"
#include "protocol/wire/status_blob.h"
#include "tests/unit/protocol/spies.h"

using kelvane::Protocol;

namespace {

class WireProtocolTest : public WireTest {
 protected:
  const Protocol *protocol_ = kelvane::ProtocolGetWire();
};

TEST_F(WireProtocolTest, IsOneTableForEver) {
  EXPECT_EQ(kelvane::ProtocolGetWire(), protocol_);
}

TEST_F(WireProtocolTest, ObtainingTheTableHasNoSideEffects) {
  recording::set_debug_level(10);
  kelvane::ProtocolGetWire();
  EXPECT_EQ(recording::trace(), Lines{});
  EXPECT_EQ(spies::spies().performed, 0);
}

TEST_F(WireProtocolTest, TheFifteenSlotsStandInThisOrder) {
  const size_t slot = sizeof(void (*)());
  EXPECT_EQ(sizeof(Protocol), 15 * slot);
  EXPECT_EQ(offsetof(Protocol, detect), 0 * slot);
  EXPECT_EQ(offsetof(Protocol, get_vminfo), 1 * slot);
  EXPECT_EQ(offsetof(Protocol, get_certs), 2 * slot);
  EXPECT_EQ(offsetof(Protocol, get_vmagent_manifests), 3 * slot);
  EXPECT_EQ(offsetof(Protocol, get_vmagent_pkgs), 4 * slot);
  EXPECT_EQ(offsetof(Protocol, get_ext_handlers), 5 * slot);
  EXPECT_EQ(offsetof(Protocol, get_ext_handler_pkgs), 6 * slot);
  EXPECT_EQ(offsetof(Protocol, get_artifacts_profile), 7 * slot);
  EXPECT_EQ(offsetof(Protocol, download_ext_handler_pkg), 8 * slot);
  EXPECT_EQ(offsetof(Protocol, report_provision_status), 9 * slot);
  EXPECT_EQ(offsetof(Protocol, report_vm_status), 10 * slot);
  EXPECT_EQ(offsetof(Protocol, report_ext_status), 11 * slot);
  EXPECT_EQ(offsetof(Protocol, report_event), 12 * slot);
  EXPECT_EQ(offsetof(Protocol, dump_config), 13 * slot);
  EXPECT_EQ(offsetof(Protocol, release), 14 * slot);
}

TEST_F(WireProtocolTest, ThePlaceholdersLogTheirStartAndTouchNothing) {
  kelvane::VmInfo info;
  std::memset(&info, 'x', sizeof info);
  char *tag = nullptr;
  const auto run = [&] {
    EXPECT_EQ(protocol_->get_vminfo(protocol_, &info), 0);
    EXPECT_EQ(protocol_->get_vminfo(protocol_, nullptr), 0);
    EXPECT_EQ(protocol_->get_certs(protocol_), 0);
    EXPECT_EQ(protocol_->get_vmagent_manifests(protocol_, nullptr, &tag), 0);
    EXPECT_EQ(protocol_->get_vmagent_pkgs(protocol_), 0);
    EXPECT_EQ(protocol_->get_ext_handler_pkgs(protocol_), 0);
    EXPECT_EQ(protocol_->get_artifacts_profile(protocol_), 0);
    EXPECT_EQ(protocol_->download_ext_handler_pkg(protocol_), 0);
  };
  recording::set_debug_level(6);
  run();
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  run();
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: start - WireProtocol_get_vminfo:1034\n",
                                          "[kelvane]: start - WireProtocol_get_vminfo:1034\n",
                                          "[kelvane]: start - WireProtocol_get_certs:1041\n",
                                          "[kelvane]: start - WireProtocol_get_vmagent_manifests:1048\n",
                                          "[kelvane]: start - WireProtocol_get_vmagent_pkgs:1055\n",
                                          "[kelvane]: start - WireProtocol_get_ext_handler_pkgs:1079\n",
                                          "[kelvane]: start - WireProtocol_get_artifacts_profile:1086\n",
                                          "[kelvane]: start - WireProtocol_download_ext_handler_pkg:1093\n"}));
  EXPECT_EQ(tag, nullptr);
  EXPECT_EQ(info.vm_name[0], 'x');
  EXPECT_EQ(spies::spies().performed, 0);
}

TEST_F(WireProtocolTest, ReportEventIsOneTelemetryPassWhoseResultIsReturned) {
  for (const int result : {1, 0, -1}) {
    spies::spies().event_result = result;
    EXPECT_EQ(protocol_->report_event(protocol_, 0, nullptr), result);
  }
  EXPECT_EQ(spies::spies().event_passes, 3);
}

TEST_F(WireProtocolTest, ReleaseEmptiesEveryCache) {
  kelvane::BufferOwner goal;
  kelvane::__makeBuffer(goal.get(), "<G><Incarnation>1</Incarnation><Port>2</Port></G>");
  kelvane::goal_state_parse(goal.get());
  const std::string extensions =
      "<Extensions><StatusUploadBlob>u</StatusUploadBlob><Plugins><Plugin name=\"A\"/></Plugins></Extensions>";
  const kelvane::XmlOwner xml = kelvane::xml_load(extensions.data(), extensions.size());
  kelvane::ExtConfigParse(xml.get(), kelvane::ext_config());
  char header[] = "x-ms-blob-type: PageBlob\r\n";
  kelvane::__curl_header_recv_cb(header, 1, sizeof header - 1, nullptr);
  const kelvane::ExtStatus status = {};
  kelvane::status_blob_record_extension("A", &status);

  protocol_->release(protocol_);

  EXPECT_FALSE(kelvane::goal_state()->incarnation.present());
  EXPECT_FALSE(kelvane::goal_state()->probe_port.present());
  EXPECT_FALSE(kelvane::ext_config()->status_upload_url.present());
  EXPECT_EQ(kelvane::ext_config()->handlers.handlers, nullptr);
  EXPECT_EQ(kelvane::ext_config()->handlers.count, 0);
  EXPECT_EQ(kelvane::captured_blob_type(), nullptr);
  EXPECT_EQ(kelvane::status_blob()->extension_count, 0);
  protocol_->release(protocol_);
}

}  // namespace
