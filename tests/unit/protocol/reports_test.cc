// The provisioning reports of slot 9: exact documents, URLs, headers, and their order.
#include <string>

#include "core/base/buffer.h"
#include "protocol/wire/goal_state.h"
#include "protocol/wire/wire_protocol.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/spies.h"

using kelvane::ProvisionStatus;
using support::answer;

namespace {

constexpr const char kHealthLine[] = "POST http://168.63.129.16/machine/?comp=health";
constexpr const char kRoleLine[] = "POST http://168.63.129.16/machine/?comp=roleProperties";

class ReportsTest : public WireTest {
 protected:
  ReportsTest() {
    peer_->handler([](const support::PeerRequest &) { return answer(200); });
    know("1", "container", "role_IN_0");
  }

  static void know(const std::string &incarnation, const std::string &container, const std::string &instance) {
    kelvane::BufferOwner document;
    kelvane::__makeBuffer(document.get(), ("<G><Incarnation>" + incarnation + "</Incarnation><ContainerId>" +
                                           container + "</ContainerId><InstanceId>" + instance + "</InstanceId></G>")
                                              .c_str());
    kelvane::goal_state_parse(document.get());
  }

  void report(const ProvisionStatus &status) { EXPECT_EQ(protocol_->report_provision_status(protocol_, &status), 0); }

  // The body of the n-th request, from 0.
  std::string body(size_t n) const { return peer_->requests().size() > n ? peer_->requests()[n].body : "(none)"; }

  const kelvane::Protocol *protocol_ = kelvane::ProtocolGetWire();
};

TEST_F(ReportsTest, NotReadyWithSubStatusAndDescription) {
  report({"NotReady", "Provisioning", "Starting", nullptr});
  EXPECT_EQ(peer_->request_lines(), Lines{kHealthLine});
  EXPECT_EQ(body(0),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
            "<Health xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
            "<GoalStateIncarnation>1</GoalStateIncarnation><Container><ContainerId>container</ContainerId>"
            "<RoleInstanceList><Role><InstanceId>role_IN_0</InstanceId><Health><State>NotReady</State>"
            "<Details><SubStatus>Provisioning</SubStatus><Description>Starting</Description></Details>"
            "</Health></Role></RoleInstanceList></Container></Health>");
  EXPECT_EQ(peer_->requests()[0].own_headers(), (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30",
                                                       "Content-Type: text/xml;charset=utf-8"}));
}

TEST_F(ReportsTest, ReadyWithoutSubStatusHasNoDetails) {
  report({"Ready", nullptr, "ignored without a substatus", nullptr});
  EXPECT_EQ(body(0),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
            "<Health xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
            "<GoalStateIncarnation>1</GoalStateIncarnation><Container><ContainerId>container</ContainerId>"
            "<RoleInstanceList><Role><InstanceId>role_IN_0</InstanceId><Health><State>Ready</State>"
            "</Health></Role></RoleInstanceList></Container></Health>");
}

TEST_F(ReportsTest, StateAndThumbprintSendTwoPostsHealthFirst) {
  report({"Ready", nullptr, nullptr, "0123456789ABCDEF0123456789ABCDEF01234567"});
  EXPECT_EQ(peer_->request_lines(), (Lines{kHealthLine, kRoleLine}));
  EXPECT_EQ(body(1),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><RoleProperties><Container><ContainerId>container</ContainerId>"
            "<RoleInstances><RoleInstance><Id>role_IN_0</Id><Properties><Property name=\"CertificateThumbprint\" "
            "value=\"0123456789ABCDEF0123456789ABCDEF01234567\" /></Properties></RoleInstance></RoleInstances>"
            "</Container></RoleProperties>");
  EXPECT_EQ(peer_->requests()[1].own_headers(), (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30",
                                                       "Content-Type: text/xml;charset=utf-8"}));
}

TEST_F(ReportsTest, AThumbprintAloneSendsTheRolePropertiesOnly) {
  report({nullptr, "Provisioning", "Starting", "AB"});
  EXPECT_EQ(peer_->request_lines(), Lines{kRoleLine});
}

TEST_F(ReportsTest, NothingGivenSendsNothing) {
  report({nullptr, nullptr, nullptr, nullptr});
  report({nullptr, "Provisioning", "Starting", nullptr});
  EXPECT_EQ(peer_->requests().size(), 0u);
}

TEST_F(ReportsTest, AnEmptySubStatusStillHasDetailsAndAnAbsentDescriptionIsEmpty) {
  report({"NotReady", "", nullptr, nullptr});
  EXPECT_NE(
      body(0).find("<State>NotReady</State><Details><SubStatus></SubStatus><Description></Description></Details>"),
      std::string::npos);
}

TEST_F(ReportsTest, ValuesAreSentUnescaped) {
  know("1", "c&amp;o&lt;n", "i&gt;d");
  report({"a&b<c", "s&<", "d\"'>", "t&<"});
  EXPECT_NE(body(0).find("<ContainerId>c&o<n</ContainerId>"), std::string::npos);
  EXPECT_NE(body(0).find("<InstanceId>i>d</InstanceId><Health><State>a&b<c</State><Details><SubStatus>s&<</SubStatus>"
                         "<Description>d\"'></Description></Details></Health>"),
            std::string::npos);
  EXPECT_NE(body(1).find("value=\"t&<\" />"), std::string::npos);
}

TEST_F(ReportsTest, GoalStateValuesThatAreNotKnownAreEmpty) {
  kelvane::goal_state_release();
  report({"Ready", nullptr, nullptr, "AB"});
  EXPECT_NE(body(0).find("<GoalStateIncarnation></GoalStateIncarnation><Container><ContainerId></ContainerId>"
                         "<RoleInstanceList><Role><InstanceId></InstanceId>"),
            std::string::npos);
  EXPECT_NE(body(1).find("<ContainerId></ContainerId><RoleInstances><RoleInstance><Id></Id>"), std::string::npos);
}

TEST_F(ReportsTest, DocumentsAreCutToTheirBuffers) {
  const std::string long_text(5000, 's');
  report({long_text.c_str(), nullptr, nullptr, long_text.c_str()});
  EXPECT_EQ(body(0).size(), 4095u);
  EXPECT_EQ(body(0).back(), 's');
  EXPECT_EQ(body(1).size(), 2047u);
  EXPECT_EQ(body(1).back(), 's');
}

TEST_F(ReportsTest, TheDetailsAreCutToTheirBuffer) {
  const std::string long_text(3000, 'd');
  report({"NotReady", "Sub", long_text.c_str(), nullptr});
  const std::string document = body(0);
  const size_t start = document.find("<Details>");
  const size_t end = document.find("</Health></Role>");
  ASSERT_NE(start, std::string::npos);
  ASSERT_NE(end, std::string::npos);
  EXPECT_EQ(end - start, 2047u);
  EXPECT_EQ(document[end - 1], 'd');
}

TEST_F(ReportsTest, AFailureIsRetriedAndNotTold) {
  peer_->handler([](const support::PeerRequest &) { return answer(500); });
  report({"Ready", nullptr, nullptr, "AB"});
  EXPECT_EQ(peer_->requests().size(), 18u);
  EXPECT_EQ(peer_->request_lines()[8], kHealthLine);
  EXPECT_EQ(peer_->request_lines()[9], kRoleLine);
  EXPECT_EQ(body(8), body(0));
}

TEST_F(ReportsTest, AReportWithoutMemoryIsNotSentAndOneLineSaysSo) {
  recording::set_debug_level(1);
  spies::refuse_malloc = 1;
  report({"Ready", nullptr, nullptr, "AB"});
  EXPECT_EQ(spies::refuse_malloc, 0);
  EXPECT_EQ(peer_->request_lines(), Lines{kRoleLine});
  spies::refuse_malloc = 2;
  report({"Ready", nullptr, nullptr, "AB"});
  EXPECT_EQ(spies::refuse_malloc, 0);
  EXPECT_EQ(peer_->request_lines(), (Lines{kRoleLine, kHealthLine}));
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: no memory for a report to http://168.63.129.16/machine/?comp=health, it is not sent\n",
                   "[kelvane]: no memory for a report to http://168.63.129.16/machine/?comp=roleProperties, it is not "
                   "sent\n"}));
}

TEST_F(ReportsTest, AtLevelZeroAReportWithoutMemoryIsSilent) {
  spies::refuse_malloc = 1;
  report({"Ready", nullptr, nullptr, "AB"});
  EXPECT_EQ(peer_->request_lines(), Lines{kRoleLine});
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(ReportsTest, TheStartIsLoggedAboveLevelSix) {
  recording::set_debug_level(6);
  report({nullptr, nullptr, nullptr, nullptr});
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  report({nullptr, nullptr, nullptr, nullptr});
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: start - WireProtocol_report_provision_status:1101\n"});
}

}  // namespace
