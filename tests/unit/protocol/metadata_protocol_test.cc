#include "protocol/metadata/metadata_protocol.h"

#include <cstring>

#include "tests/unit/protocol/spies.h"

namespace {

class MetadataProtocolTest : public WireTest {};

TEST_F(MetadataProtocolTest, AnswersAsAServiceThatCannotBeReached) {
  const kelvane::Protocol *protocol = kelvane::ProtocolGetMetaData();
  kelvane::VmInfo info;
  std::memset(&info, 'x', sizeof info);
  char *tag = nullptr;
  kelvane::ExtHandlerList list = {nullptr, 5};
  const kelvane::ProvisionStatus provision = {"Ready", nullptr, nullptr, "AB"};
  const kelvane::VMStatus vm = {};
  const kelvane::ExtStatus extension = {};
  char extension_name[128] = "e";
  EXPECT_EQ(protocol->detect(protocol), 0);
  EXPECT_EQ(protocol->get_vminfo(protocol, &info), 0);
  EXPECT_EQ(info.vm_name[0], 'x');
  EXPECT_EQ(protocol->get_vminfo(protocol, nullptr), -1);
  EXPECT_EQ(protocol->get_certs(protocol), -1);
  EXPECT_EQ(protocol->get_vmagent_manifests(protocol, nullptr, &tag), 0);
  EXPECT_EQ(protocol->get_vmagent_pkgs(protocol), 0);
  EXPECT_EQ(protocol->get_ext_handlers(protocol, nullptr, &tag, &list), 0);
  EXPECT_EQ(list.count, 5) << "without a document the list is left as it is";
  EXPECT_EQ(tag, nullptr);
  EXPECT_EQ(protocol->get_ext_handler_pkgs(protocol), 0);
  EXPECT_EQ(protocol->get_artifacts_profile(protocol), -1);
  EXPECT_EQ(protocol->download_ext_handler_pkg(protocol), 0);
  EXPECT_EQ(protocol->report_provision_status(protocol, &provision), 0);
  EXPECT_EQ(protocol->report_vm_status(protocol, &vm), 0);
  EXPECT_EQ(protocol->report_ext_status(protocol, "n", extension_name, &extension), 0);
  EXPECT_EQ(protocol->report_event(protocol, 0, nullptr), -1);
  EXPECT_EQ(protocol->dump_config(protocol, protocol), 0);
  protocol->release(protocol);
  EXPECT_EQ(spies::spies().performed, 0);
  EXPECT_EQ(spies::spies().event_passes, 0);
}

TEST_F(MetadataProtocolTest, IsOneTableForEver) {
  EXPECT_EQ(kelvane::ProtocolGetMetaData(), kelvane::ProtocolGetMetaData());
}

}  // namespace
