// What is fetched when: versions, goal state, certificates and extensions configuration, through slots 0 and 5.
#include "protocol/wire/wire_client.h"

#include <unistd.h>
#include <cstdlib>
#include <cstring>
#include <string>

#include "credentials/transport_cert.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/goal_state.h"
#include "protocol/wire/status_blob.h"
#include "protocol/wire/wire_protocol.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/spies.h"

extern "C" {
mxml_node_t *__real_mxmlLoadString(mxml_node_t *top, const char *text, mxml_load_cb_t callback);
mxml_node_t *__wrap_mxmlLoadString(mxml_node_t *top, const char *text, mxml_load_cb_t callback);
}

// Of a document with this in it the library makes no tree.
static const char *gsNoTreeOf = nullptr;

mxml_node_t *__wrap_mxmlLoadString(mxml_node_t *top, const char *text, mxml_load_cb_t callback) {
  const bool refused = gsNoTreeOf != nullptr && strstr(text, gsNoTreeOf) != nullptr;
  return refused ? nullptr : __real_mxmlLoadString(top, text, callback);
}

using kelvane::ExtHandlerList;
using support::answer;
using support::PeerAnswer;
using support::PeerRequest;

namespace {

constexpr const char kVersions[] = "GET http://168.63.129.16/?comp=versions";
constexpr const char kGoalState[] = "GET http://168.63.129.16/machine/?comp=goalstate";
constexpr const char kCertificates[] = "GET http://168.63.129.16/certs?i=1";
constexpr const char kExtensions[] = "GET http://168.63.129.16/exts?i=1";

class WireClientTest : public WireTest {
 protected:
  WireClientTest() {
    kelvane::TransportCertCleanup();
    goal_state_ = goal_state("1");
    extensions_ = extensions("first");
    peer_->handler([this](const PeerRequest &request) { return serve(request); });
  }

  static std::string goal_state(const std::string &incarnation) {
    return "<?xml version=\"1.0\"?><GoalState><Incarnation>" + incarnation +
           "</Incarnation><Certificates>http://168.63.129.16/certs?i=1</Certificates>"
           "<ExtensionsConfig>http://168.63.129.16/exts?i=1</ExtensionsConfig></GoalState>";
  }

  static std::string extensions(const std::string &name) {
    return "<?xml version=\"1.0\"?><Extensions><Plugins><Plugin name=\"" + name + "\" version=\"1.0\"/></Plugins>" +
           "</Extensions>";
  }

  PeerAnswer serve(const PeerRequest &request) const {
    const std::string line = request.method + " " + request.target;
    if (line == kVersions) {
      return answer(200, "<Versions/>");
    }
    if (line == kGoalState) {
      return goal_state_answer_.bytes.empty() ? answer(200, goal_state_) : goal_state_answer_;
    }
    if (line == kCertificates) {
      return answer(200, "<CertificateFile/>");
    }
    return line == kExtensions ? answer(200, extensions_) : answer(404);
  }

  int64_t detect() { return protocol_->detect(protocol_); }

  // Slot 5 with the tag and list below.
  void get_ext_handlers() { EXPECT_EQ(protocol_->get_ext_handlers(protocol_, "ignored", &tag_, &list_), 0); }

  std::string first_name() const { return list_.handlers != nullptr ? list_.handlers[0].name : "(none)"; }

  ~WireClientTest() override { free(tag_); }

  const kelvane::Protocol *protocol_ = kelvane::ProtocolGetWire();
  std::string goal_state_;
  std::string extensions_;
  PeerAnswer goal_state_answer_;
  char *tag_ = nullptr;
  ExtHandlerList list_ = {nullptr, 77};
};

// ---- slot 0 ----

TEST_F(WireClientTest, DetectFetchesEverythingInOrder) {
  EXPECT_EQ(detect(), 0);
  EXPECT_EQ(peer_->request_lines(), (Lines{kVersions, kGoalState, kCertificates, kExtensions}));
}

TEST_F(WireClientTest, EachRequestCarriesItsHeaders) {
  detect();
  const auto requests = peer_->requests();
  ASSERT_EQ(requests.size(), 4u);
  EXPECT_EQ(requests[0].own_headers(), Lines{});
  EXPECT_EQ(requests[1].own_headers(), (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30"}));
  EXPECT_EQ(requests[2].own_headers(),
            (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30", "x-ms-cipher-name: DES_EDE3_CBC"}));
  EXPECT_EQ(requests[3].own_headers(), (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30"}));
}

TEST_F(WireClientTest, DetectFetchesEverythingAgainThoughTheIncarnationIsTheSame) {
  recording::set_debug_level(6);
  detect();
  peer_->forget_requests();
  detect();
  EXPECT_EQ(peer_->request_lines(), (Lines{kVersions, kGoalState, kCertificates, kExtensions}));
  for (const std::string &line : recording::messages()) {
    EXPECT_EQ(line.find("Incarnation changed"), std::string::npos);
  }
}

TEST_F(WireClientTest, DetectReturnsTheResultOfTheVersionsRequestAndGoesOn) {
  peer_->script(std::vector<PeerAnswer>(9, answer(404)));
  EXPECT_EQ(detect(), 22);
  EXPECT_EQ(peer_->requests().size(), 12u);
  EXPECT_EQ(first_name(), "(none)");
  get_ext_handlers();
  EXPECT_EQ(first_name(), "first");
}

TEST_F(WireClientTest, DetectSucceedsThoughTheGoalStateFails) {
  goal_state_answer_ = answer(410);
  EXPECT_EQ(detect(), 0);
  EXPECT_EQ(peer_->request_lines(), ([] {
              Lines lines(10, kGoalState);
              lines[0] = kVersions;
              return lines;
            }()));
}

TEST_F(WireClientTest, DetectLogsItsStartAboveLevelSix) {
  recording::set_debug_level(6);
  detect();
  EXPECT_EQ(recording::log_text().find("WireProtocol_detect"), std::string::npos);
  recording::set_debug_level(7);
  detect();
  EXPECT_NE(recording::log_text().find("[kelvane]: start - WireProtocol_detect:1021\n"), std::string::npos);
}

TEST_F(WireClientTest, TheVersionsDocumentIsAcceptedUnread) {
  EXPECT_EQ(kelvane::VersionInfo_parse(nullptr, nullptr), -1);
}

// ---- slot 5 ----

TEST_F(WireClientTest, BeforeAnyGoalStateSlotFiveLeavesTheTagAndGivesAnEmptyList) {
  goal_state_answer_ = answer(500);
  tag_ = strdup("before");
  get_ext_handlers();
  EXPECT_STREQ(tag_, "before");
  EXPECT_EQ(list_.handlers, nullptr);
  EXPECT_EQ(list_.count, 0);
  EXPECT_EQ(peer_->request_lines(), Lines(9, kGoalState));
}

TEST_F(WireClientTest, TheFirstRefreshFetchesEverythingAndLogsTheChangeFromNothing) {
  recording::set_debug_level(6);
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(), (Lines{kGoalState, kCertificates, kExtensions}));
  ASSERT_FALSE(recording::messages().empty());
  EXPECT_EQ(recording::messages()[0],
            "[kelvane]: __WireClient_update_goal_state:913 - Incarnation changed: '' => '1'\n");
  EXPECT_STREQ(tag_, "1");
  EXPECT_EQ(first_name(), "first");
}

TEST_F(WireClientTest, TheSameIncarnationIsFetchedAgainButNothingElse) {
  get_ext_handlers();
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(), (Lines{kGoalState, kCertificates, kExtensions, kGoalState}));
  EXPECT_EQ(first_name(), "first");
}

TEST_F(WireClientTest, AfterDetectTheSameIncarnationFetchesNothingElse) {
  detect();
  peer_->forget_requests();
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(), Lines{kGoalState});
  EXPECT_EQ(first_name(), "first");
}

TEST_F(WireClientTest, ANewIncarnationFetchesAllAndReplacesTheList) {
  get_ext_handlers();
  goal_state_ = goal_state("2");
  extensions_ = extensions("second");
  peer_->forget_requests();
  recording::set_debug_level(5);
  get_ext_handlers();
  for (const std::string &line : recording::messages()) {
    EXPECT_EQ(line.find("Incarnation changed"), std::string::npos) << "prints above level 5 only";
  }
  recording::set_debug_level(6);
  EXPECT_EQ(peer_->request_lines(), (Lines{kGoalState, kCertificates, kExtensions}));
  EXPECT_STREQ(tag_, "2");
  EXPECT_EQ(first_name(), "second");
  goal_state_ = goal_state("1");
  get_ext_handlers();
  EXPECT_NE(
      recording::log_text().find("[kelvane]: __WireClient_update_goal_state:913 - Incarnation changed: '2' => '1'\n"),
      std::string::npos);
}

TEST_F(WireClientTest, IncarnationsAreComparedExactly) {
  goal_state_ = goal_state("a");
  get_ext_handlers();
  goal_state_ = goal_state("A");
  get_ext_handlers();
  EXPECT_EQ(peer_->requests().size(), 6u);
}

TEST_F(WireClientTest, WithoutAnIncarnationEverythingIsFetchedEachTime) {
  goal_state_ =
      "<G><Certificates>http://168.63.129.16/certs?i=1</Certificates>"
      "<ExtensionsConfig>http://168.63.129.16/exts?i=1</ExtensionsConfig></G>";
  recording::set_debug_level(6);
  get_ext_handlers();
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(),
            (Lines{kGoalState, kCertificates, kExtensions, kGoalState, kCertificates, kExtensions}));
  EXPECT_EQ(recording::messages()[0],
            "[kelvane]: __WireClient_update_goal_state:913 - Incarnation changed: '' => ''\n");
  EXPECT_EQ(tag_, nullptr);
}

TEST_F(WireClientTest, AnIncarnationOf63CharactersIsComparedAndOneMoreAlwaysCountsAsChanged) {
  goal_state_ = goal_state(std::string(63, '7'));
  get_ext_handlers();
  get_ext_handlers();
  EXPECT_EQ(peer_->requests().size(), 4u);
  goal_state_ = goal_state(std::string(64, '8'));
  peer_->forget_requests();
  get_ext_handlers();
  get_ext_handlers();
  EXPECT_EQ(peer_->requests().size(), 6u);
  EXPECT_EQ(std::string(tag_), std::string(64, '8')) << "the tag is the whole text";
}

TEST_F(WireClientTest, TheTagIsAFreshCopyThatReplacesTheOldOne) {
  tag_ = strdup("old");
  get_ext_handlers();
  char *first = tag_;
  EXPECT_STREQ(first, "1");
  first[0] = 'x';  // the caller's own
  get_ext_handlers();
  EXPECT_STREQ(tag_, "1");
}

TEST_F(WireClientTest, ATagThatCannotBeCopiedLeavesTheOldOneAndTheListIsLentAllTheSame) {
  detect();
  goal_state_answer_ = answer(500);
  tag_ = strdup("old");
  spies::refuse_malloc = 1;
  get_ext_handlers();
  EXPECT_EQ(spies::refuse_malloc, 0) << "the copy was refused";
  spies::refuse_malloc = 0;
  EXPECT_STREQ(tag_, "old");
  EXPECT_EQ(first_name(), "first");
}

TEST_F(WireClientTest, WhatThereWasNoMemoryForIsAskedForAgainAndHandledByTheNextPass) {
  spies::refuse_calloc_of = sizeof(kelvane::ExtHandler);
  get_ext_handlers();
  EXPECT_EQ(list_.handlers, nullptr);
  EXPECT_EQ(list_.count, 0);
  EXPECT_EQ(tag_, nullptr) << "the next pass counts as changed";
  spies::refuse_calloc_of = 0;
  peer_->forget_requests();
  recording::set_debug_level(6);
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(), (Lines{kGoalState, kCertificates, kExtensions}));
  EXPECT_EQ(recording::log_text().find("Incarnation changed"), std::string::npos) << "it is the same";
  EXPECT_STREQ(tag_, "1");
  EXPECT_EQ(first_name(), "first");
  peer_->forget_requests();
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(), Lines{kGoalState});
}

TEST_F(WireClientTest, ADocumentThatTheLibraryHadNoMemoryForIsAskedForAgain) {
  detect();
  extensions_ = extensions("second");
  goal_state_ = goal_state("2");
  gsNoTreeOf = "<Extensions>";
  get_ext_handlers();
  gsNoTreeOf = nullptr;
  EXPECT_EQ(first_name(), "first");
  EXPECT_EQ(tag_, nullptr) << "the next pass counts as changed";
  get_ext_handlers();
  EXPECT_EQ(first_name(), "second");
  EXPECT_STREQ(tag_, "2");
}

TEST_F(WireClientTest, AGoalStateThatTheLibraryHadNoMemoryForIsTakenByTheNextPass) {
  detect();
  extensions_ = extensions("second");
  goal_state_ = goal_state("2");
  recording::set_debug_level(1);
  recording::clear_trace();
  gsNoTreeOf = "<GoalState>";
  get_ext_handlers();
  gsNoTreeOf = nullptr;
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: no memory for the goal state, the next pass takes it again\n"});
  EXPECT_EQ(tag_, nullptr) << "the next pass counts as changed";
  EXPECT_EQ(first_name(), "first");
  get_ext_handlers();
  EXPECT_STREQ(tag_, "2");
  EXPECT_EQ(first_name(), "second");
}

TEST_F(WireClientTest, WithoutMemoryForAnyValueOfAGoalStateTheNextPassTakesIt) {
  detect();
  int refused = 0;
  std::string address;
  peer_->handler([&](const PeerRequest &request) {
    if (request.target.find("goalstate") != std::string::npos) {
      spies::refuse_malloc = refused;
    }
    return request.target == address ? answer(200, extensions(address)) : serve(request);
  });
  for (int nth = 1; nth <= 3; nth++) {
    const std::string before = nth == 1 ? "first" : first_name();
    const std::string incarnation = std::to_string(nth + 1);
    address = "http://168.63.129.16/exts?i=" + incarnation;
    goal_state_ = goal_state(incarnation);
    goal_state_.replace(goal_state_.find("/exts?i=1"), 9, "/exts?i=" + incarnation);
    refused = nth;
    peer_->forget_requests();
    get_ext_handlers();
    EXPECT_EQ(spies::refuse_malloc, 0) << nth;
    EXPECT_EQ(peer_->request_lines(), Lines{kGoalState}) << "with the old incarnation nothing has changed";
    EXPECT_EQ(first_name(), before);
    refused = 0;
    peer_->forget_requests();
    get_ext_handlers();
    EXPECT_EQ(peer_->request_lines(), (Lines{kGoalState, kCertificates, "GET " + address}));
    EXPECT_EQ(first_name(), address);
    EXPECT_EQ(tag_, incarnation);
  }
}

TEST_F(WireClientTest, WhatThereWasNoMemoryForAtTheStartIsFetchedByTheNextPass) {
  bool refused = false;
  peer_->handler([&](const PeerRequest &request) {
    if (!refused && request.target.find("goalstate") != std::string::npos) {
      spies::refuse_malloc = 2;  // the certificates' address, behind that of the extensions
      refused = true;
    }
    return serve(request);
  });
  detect();
  EXPECT_EQ(spies::refuse_malloc, 0);
  EXPECT_EQ(peer_->request_lines(), (Lines{kVersions, kGoalState, kExtensions}));
  peer_->forget_requests();
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(), (Lines{kGoalState, kCertificates, kExtensions}));
  EXPECT_STREQ(tag_, "1");
  peer_->forget_requests();
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(), Lines{kGoalState});
}

// Else the pass that has them at last would take them for those of the last pass.
TEST_F(WireClientTest, WithoutMemoryForTheExtensionsAddressAtTheStartThePassThatHasThemCountsAsChanged) {
  peer_->handler([&](const PeerRequest &request) {
    if (request.target.find("goalstate") != std::string::npos) {
      spies::refuse_malloc = 1;
    }
    return serve(request);
  });
  detect();
  get_ext_handlers();
  EXPECT_EQ(list_.count, 0);
  EXPECT_EQ(tag_, nullptr);
  peer_->handler([&](const PeerRequest &request) { return serve(request); });
  goal_state_answer_ = answer(500);
  get_ext_handlers();
  EXPECT_EQ(tag_, nullptr) << "a goal state that fails does not complete the last one";
  goal_state_answer_ = {};
  get_ext_handlers();
  EXPECT_STREQ(tag_, "1");
  EXPECT_EQ(first_name(), "first");
}

TEST_F(WireClientTest, AnExtensionsConfigurationThatCannotBeReadIsNamedAndTheLastOneStays) {
  detect();
  for (const char *document : {"<Extensions", "no XML"}) {
    extensions_ = document;
    recording::set_debug_level(1);
    recording::clear_trace();
    detect();
    get_ext_handlers();
    EXPECT_EQ(recording::messages(),
              Lines{"[kelvane]: the extensions configuration cannot be read, the last one stays\n"});
    EXPECT_EQ(first_name(), "first");
    recording::set_debug_level(0);
    recording::clear_trace();
    detect();
    EXPECT_EQ(recording::messages(), Lines{});
  }
}

TEST_F(WireClientTest, WhatIsOverACapIsNamedFirst) {
  const std::string deep =
      "<a><a><a><a><a><a><a><a><a><a><a><a><a><a><a><a><a/></a></a></a></a></a></a></a></a></a></a></a></a>"
      "</a></a></a></a>";
  const std::string line = "[kelvane]: an XML document is over a cap and is not read: ";
  detect();
  recording::set_debug_level(1);
  recording::clear_trace();
  extensions_ = "<Extensions>" + deep + "</Extensions>";
  detect();
  get_ext_handlers();
  EXPECT_EQ(recording::messages(),
            (Lines{line + "levels\n", "[kelvane]: the extensions configuration cannot be read, the last one stays\n"}));
  EXPECT_EQ(first_name(), "first");
  recording::clear_trace();
  kelvane::BufferOwner goal;
  kelvane::__makeBuffer(goal.get(), std::string(3 << 20, ' ').c_str());
  kelvane::goal_state_parse(goal.get());
  EXPECT_EQ(recording::messages(), Lines{line + "bytes\n"});
}

TEST_F(WireClientTest, TheListIsLentFromTheCache) {
  get_ext_handlers();
  EXPECT_EQ(list_.handlers, kelvane::ext_config()->handlers.handlers);
  EXPECT_EQ(list_.count, 1);
}

TEST_F(WireClientTest, SlotFiveClearsTheReportedFlagThoughNothingChanged) {
  get_ext_handlers();
  kelvane::blob_type_reported_set(true);
  get_ext_handlers();
  EXPECT_FALSE(kelvane::blob_type_reported());
}

TEST_F(WireClientTest, EachExtensionsDocumentClearsTheReportedFlagEvenABrokenOne) {
  kelvane::blob_type_reported_set(true);
  extensions_ = "<broken";
  detect();
  EXPECT_FALSE(kelvane::blob_type_reported());
  kelvane::blob_type_reported_set(true);
  extensions_ = "";
  detect();
  EXPECT_TRUE(kelvane::blob_type_reported()) << "no body, no document";
}

// ---- failures ----

TEST_F(WireClientTest, AFailedGoalStateChangesNothingAndFetchesNothing) {
  detect();
  peer_->forget_requests();
  goal_state_answer_ = answer(503, goal_state("2"));
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(), Lines(9, kGoalState));
  EXPECT_STREQ(tag_, "1");
  EXPECT_EQ(first_name(), "first");
}

TEST_F(WireClientTest, AGoalStateThatBreaksOffIsAFailureAndNotRead) {
  detect();
  const std::string whole = goal_state("2");
  goal_state_answer_ = support::answer_with_length(200, whole, whole.size() + 1);
  get_ext_handlers();
  EXPECT_STREQ(tag_, "1");
}

TEST_F(WireClientTest, AnEmptyGoalStateLeavesTheIncarnationAndFetchesNothing) {
  detect();
  peer_->forget_requests();
  goal_state_ = "";
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(), Lines{kGoalState});
  EXPECT_STREQ(tag_, "1");
}

TEST_F(WireClientTest, AGoalStateThatIsNoXmlChangesNothing) {
  detect();
  peer_->forget_requests();
  for (const char *hostile : {"<html><body>oops", "{}", "\xFF\xFE", "<GoalState><Incarnation>2</Incarnation>"}) {
    goal_state_ = hostile;
    get_ext_handlers();
    EXPECT_STREQ(tag_, "1") << hostile;
  }
  EXPECT_EQ(peer_->request_lines(), Lines(4, kGoalState));
}

TEST_F(WireClientTest, AGoalStateThatLosesItsUrisUsesTheOldOnes) {
  detect();
  goal_state_ = "<GoalState><Incarnation>2</Incarnation></GoalState>";
  peer_->forget_requests();
  get_ext_handlers();
  EXPECT_EQ(peer_->request_lines(), (Lines{kGoalState, kCertificates, kExtensions}));
}

TEST_F(WireClientTest, WithoutUrisNeitherIsFetched) {
  goal_state_ = "<GoalState><Incarnation>2</Incarnation></GoalState>";
  detect();
  EXPECT_EQ(peer_->request_lines(), (Lines{kVersions, kGoalState}));
}

TEST_F(WireClientTest, FailedCertificatesDoNotKeepTheExtensionsFromBeingFetched) {
  goal_state_ = goal_state("1");
  goal_state_.replace(goal_state_.find("/certs"), 6, "/gone_");
  detect();
  EXPECT_EQ(peer_->requests().size(), 2u + 9u + 1u);
  EXPECT_EQ(peer_->request_lines().back(), kExtensions);
}

TEST_F(WireClientTest, OnlyTheBodyOfTheExtensionsRequestCountsNotItsResult) {
  const std::string whole = extensions("cut");
  peer_->handler([&](const PeerRequest &request) {
    return request.target.find("/exts") == std::string::npos ? serve(request) : support::answer_with_length(200, "", 5);
  });
  spies::spies().attempts.clear();
  // All nine answers break off: the last of them carries the whole document.
  int count = 0;
  peer_->handler([&](const PeerRequest &request) {
    if (request.target.find("/exts") == std::string::npos) {
      return serve(request);
    }
    return support::answer_with_length(200, ++count == 9 ? whole : "", whole.size() + 1);
  });
  get_ext_handlers();
  EXPECT_EQ(first_name(), "cut");
}

TEST_F(WireClientTest, ExtensionsThatAreNoDocumentKeepThePreviousConfiguration) {
  detect();
  for (const char *hostile : {"", "<html><body>x", "{}", "<Extensions><Plugins>", "<Other/>"}) {
    extensions_ = hostile;
    detect();
    get_ext_handlers();
    EXPECT_EQ(first_name(), "first") << hostile;
  }
}

// ---- the copies under /tmp ----

TEST_F(WireClientTest, TheFirstCopyOfEachDocumentIsKeptByteForByte) {
  detect();
  EXPECT_EQ(copy("kelvane_versioninfo.xml"), "<Versions/>");
  EXPECT_EQ(copy("kelvane_goalstate.xml"), goal_state("1"));
  EXPECT_EQ(copy("kelvane_certificates.xml"), "<CertificateFile/>");
  EXPECT_EQ(copy("kelvane_ext_uri.xml"), extensions("first"));
  EXPECT_EQ(support::mode_of(folder_.file("kelvane_certificates.xml")), 0600);
}

TEST_F(WireClientTest, LaterDocumentsAreNotWritten) {
  folder_.write("kelvane_versioninfo.xml", "mine");
  detect();
  goal_state_ = goal_state("2");
  extensions_ = extensions("second");
  detect();
  EXPECT_EQ(copy("kelvane_versioninfo.xml"), "mine");
  EXPECT_EQ(copy("kelvane_goalstate.xml"), goal_state("1"));
  EXPECT_EQ(copy("kelvane_ext_uri.xml"), extensions("first"));
}

TEST_F(WireClientTest, AnEmptyDocumentIsNotWritten) {
  goal_state_ = "";
  detect();
  EXPECT_EQ(copy("kelvane_goalstate.xml"), "(none)");
}

TEST_F(WireClientTest, ACopyIsNeverWrittenThroughALink) {
  const std::string target = folder_.file("target");
  ASSERT_EQ(symlink(target.c_str(), folder_.file("kelvane_goalstate.xml").c_str()), 0);
  detect();
  EXPECT_FALSE(support::exists(target));
}

TEST_F(WireClientTest, ACopyThatCannotBeWrittenIsNoFailure) {
  spies::spies().refuse_files = true;
  EXPECT_EQ(detect(), 0);
  get_ext_handlers();
  EXPECT_EQ(first_name(), "first");
  EXPECT_EQ(copy("kelvane_goalstate.xml"), "(none)");
}

TEST_F(WireClientTest, DocumentsThatDoNotParseAreWrittenAllTheSame) {
  goal_state_ = "garbage";
  detect();
  EXPECT_EQ(copy("kelvane_goalstate.xml"), "garbage");
}

TEST_F(WireClientTest, TheBodyOfAFailedVersionsRequestIsWrittenToo) {
  peer_->script(std::vector<PeerAnswer>(9, support::answer_with_length(200, "ab", 3)));
  EXPECT_EQ(detect(), 18);
  EXPECT_EQ(copy("kelvane_versioninfo.xml"), "ababababababababab");
}

// ---- nothing leaks when lists cannot be made ----

TEST_F(WireClientTest, RequestsAreMadeWithoutHeadersWhenTheListCannotBeMade) {
  spies::spies().refuse_list_append = 1;
  EXPECT_EQ(detect(), 0);
  EXPECT_EQ(peer_->requests()[1].own_headers(), Lines{});
  EXPECT_EQ(peer_->request_lines().size(), 4u);
}

}  // namespace
