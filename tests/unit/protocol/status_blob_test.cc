#include "protocol/wire/status_blob.h"

#include <cstdint>
#include <string>

#include "protocol/wire/wire_protocol.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/spies.h"

using kelvane::ExtStatus;
using kelvane::VMStatus;

namespace {

class StatusBlobTest : public WireTest {
 protected:
  static ExtStatus status(int32_t sequence_number) {
    ExtStatus record = {};
    record.sequence_number = sequence_number;
    return record;
  }

  int64_t report(const char *name, const ExtStatus &record) {
    char extension_name[128] = "untouched";
    const int64_t result = protocol_->report_ext_status(protocol_, name, extension_name, &record);
    EXPECT_STREQ(extension_name, "untouched");
    return result;
  }

  const kelvane::Protocol *protocol_ = kelvane::ProtocolGetWire();
};

TEST_F(StatusBlobTest, AnExtensionIsRecordedUnderACopyOfItsName) {
  char name[] = "Ext.A";
  EXPECT_EQ(report(name, status(3)), 0);
  name[0] = 'X';
  EXPECT_EQ(kelvane::status_blob()->extension_count, 1);
  EXPECT_STREQ(kelvane::status_blob()->extensions[0].name, "Ext.A");
  EXPECT_EQ(kelvane::status_blob()->extensions[0].status.sequence_number, 3);
}

TEST_F(StatusBlobTest, ARepeatedNameReplacesTheEarlierRecord) {
  report("A", status(1));
  report("B", status(2));
  report("A", status(3));
  report("a", status(4));
  EXPECT_EQ(kelvane::status_blob()->extension_count, 3);
  EXPECT_EQ(kelvane::status_blob()->extensions[0].status.sequence_number, 3);
  EXPECT_EQ(kelvane::status_blob()->extensions[1].status.sequence_number, 2);
  EXPECT_STREQ(kelvane::status_blob()->extensions[2].name, "a");
}

TEST_F(StatusBlobTest, ANameThatCannotBeCopiedIsDropped) {
  spies::refuse_malloc = 1;
  EXPECT_EQ(report("A", status(1)), 0);
  EXPECT_EQ(spies::refuse_malloc, 0);
  EXPECT_EQ(kelvane::status_blob()->extension_count, 0);
}

TEST_F(StatusBlobTest, TheSeventhNameIsDroppedButAKnownOneStillReplaced) {
  for (int32_t i = 1; i <= 7; i++) {
    EXPECT_EQ(report(("E" + std::to_string(i)).c_str(), status(i)), 0);
  }
  EXPECT_EQ(kelvane::status_blob()->extension_count, 6);
  EXPECT_STREQ(kelvane::status_blob()->extensions[5].name, "E6");
  report("E6", status(60));
  EXPECT_EQ(kelvane::status_blob()->extensions[5].status.sequence_number, 60);
}

TEST_F(StatusBlobTest, TheVmStatusIsCopiedWholeAndTheExtensionsStay) {
  report("A", status(1));
  VMStatus vm = {};
  vm.agent_version = "2.2.26";
  vm.handler_count = 3;
  vm.handlers[3].code = 99;
  EXPECT_EQ(protocol_->report_vm_status(protocol_, &vm), 0);
  EXPECT_STREQ(kelvane::status_blob()->vm.agent_version, "2.2.26");
  EXPECT_EQ(kelvane::status_blob()->vm.handler_count, 3);
  EXPECT_EQ(kelvane::status_blob()->vm.handlers[3].code, 99);
  EXPECT_EQ(kelvane::status_blob()->extension_count, 1);
  EXPECT_EQ(peer_->requests().size(), 0u);
}

TEST_F(StatusBlobTest, NullArgumentsAreIgnored) {
  EXPECT_EQ(protocol_->report_vm_status(protocol_, nullptr), 0);
  EXPECT_EQ(protocol_->report_ext_status(protocol_, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(protocol_->report_ext_status(protocol_, "A", nullptr, nullptr), 0);
  EXPECT_EQ(kelvane::status_blob()->extension_count, 0);
}

TEST_F(StatusBlobTest, BothSlotsLogTheirStartAboveLevelSix) {
  const VMStatus vm = {};
  recording::set_debug_level(6);
  report("A", status(1));
  protocol_->report_vm_status(protocol_, &vm);
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  report("A", status(1));
  protocol_->report_vm_status(protocol_, &vm);
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: start - WireProtocol_report_ext_status:1127\n",
                                          "[kelvane]: start - WireProtocol_report_vm_status:1118\n"}));
}

TEST_F(StatusBlobTest, ClearFreesTheNamesAndZeroesTheRecord) {
  report("A", status(1));
  VMStatus vm = {};
  vm.handler_count = 2;
  kelvane::status_blob_record_vm(&vm);
  kelvane::status_blob_clear();
  EXPECT_EQ(kelvane::status_blob()->extension_count, 0);
  EXPECT_EQ(kelvane::status_blob()->extensions[0].name, nullptr);
  EXPECT_EQ(kelvane::status_blob()->vm.handler_count, 0);
}

TEST_F(StatusBlobTest, TheReportedFlagIsWhatItWasSetTo) {
  EXPECT_FALSE(kelvane::blob_type_reported());
  kelvane::blob_type_reported_set(true);
  EXPECT_TRUE(kelvane::blob_type_reported());
}

}  // namespace
