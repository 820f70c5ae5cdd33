#include "telemetry/event_upload.h"

#include <arpa/inet.h>
#include <cstdlib>

#include "core/base/buffer.h"
#include "protocol/wire/endpoint.h"
#include "telemetry/event_queue.h"
#include "telemetry/telemetry.h"
#include "tests/support/event_parameters.h"
#include "tests/unit/telemetry/telemetry_spies.h"

using kelvane::EventHandler_Process;
using support::answer;

namespace {

constexpr const char kUrl[] = "http://168.63.129.16/machine/?comp=telemetrydata";

class EventUpload : public TelemetryTest {
 protected:
  EventUpload() : peer_(std::make_unique<support::HttpPeer>()) {
    setenv("http_proxy", peer_->address().c_str(), 1);
    unsetenv("no_proxy");
    unsetenv("NO_PROXY");
    kelvane::WireProtocolSetEndpoint(inet_addr("168.63.129.16"));
    peer_->handler([](const support::PeerRequest &) { return answer(200, "ok"); });
    recording::clear_trace();
  }
  ~EventUpload() override { unsetenv("http_proxy"); }

  static void add(const std::string &name) { kelvane::AddExtensionEvent(name.c_str(), 3, 1, 0, "1.0", "text"); }

  // The heartbeat of this test's clock is sent and forgotten.
  void behind_the_heartbeat() {
    EXPECT_EQ(EventHandler_Process(), 0);
    peer_->forget_requests();
    recording::clear_trace();
  }

  // The names of the events of each request.
  std::vector<Lines> posted() const {
    std::vector<Lines> all;
    for (const support::PeerRequest &request : peer_->requests()) {
      Lines names;
      const std::string mark = "Name=\"Name\" T=\"mt:wstr\" Value=\"";
      for (size_t at = request.body.find(mark); at != std::string::npos; at = request.body.find(mark, at + 1)) {
        const size_t start = at + mark.size();
        names.push_back(request.body.substr(start, request.body.find('"', start) - start));
      }
      all.push_back(names);
    }
    return all;
  }

  size_t queued() { return take_all().size(); }

  std::unique_ptr<support::HttpPeer> peer_;
};

std::string number(int64_t value) {
  return std::to_string(value);
}

TEST_F(EventUpload, TheFirstCallPostsTheHeartbeat) {
  EXPECT_EQ(EventHandler_Process(), 0);
  ASSERT_EQ(peer_->request_lines(), Lines{std::string("POST ") + kUrl});
  const support::PeerRequest request = peer_->requests().at(0);
  EXPECT_EQ(request.own_headers(), (Lines{"x-ms-agent-name: TorvikGuest", "Content-Type: text/xml; charset=utf-8",
                                          "x-ms-version: 2012-11-30"}));
  EXPECT_EQ(
      request.body,
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
      "<TelemetryData version=\"1.0\">"
      "<Provider id=\"69B669B9-4AF8-4C50-BDC4-6006FA76E975\">"
      "<Event id=\"1\"><![CDATA[" +
          support::event_parameters({{"OperationSuccess", "True"}, {"Name", "TORV"}, {"Operation", "HeartBeat"}}) +
          "]]></Event></Provider></TelemetryData>\n");
}

TEST_F(EventUpload, TheHeartbeatStandsBehindWhatWasQueuedBefore) {
  add("1");
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(posted(), (std::vector<Lines>{{"1", "TORV"}}));
}

TEST_F(EventUpload, SevenEventsGoInThreesOldestFirst) {
  behind_the_heartbeat();
  for (int i = 1; i <= 7; i++) {
    add(number(i));
  }
  EXPECT_EQ(EventHandler_Process(), 1);
  EXPECT_EQ(EventHandler_Process(), 1);
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(posted(), (std::vector<Lines>{{"1", "2", "3"}, {"4", "5", "6"}, {"7"}}));
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(peer_->requests().size(), 3u);
}

TEST_F(EventUpload, ExactlyThreeLeaveNothing) {
  behind_the_heartbeat();
  for (int i = 1; i <= 3; i++) {
    add(number(i));
  }
  EXPECT_EQ(EventHandler_Process(), 0);
}

TEST_F(EventUpload, TheNextHeartbeatComesMoreThanTwelveHoursLater) {
  behind_the_heartbeat();
  spies_.now += 43200;
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(posted(), std::vector<Lines>{});
  spies_.now += 1;
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(posted(), (std::vector<Lines>{{"TORV"}}));
  // Counted from the last heartbeat, not from the last call.
  spies_.now += 43200;
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(peer_->requests().size(), 1u);
}

TEST_F(EventUpload, AClockSetBackOnlyDelaysTheHeartbeat) {
  behind_the_heartbeat();
  const int64_t start = spies_.now;
  spies_.now = 5;
  add("1");
  EXPECT_EQ(EventHandler_Process(), 0);
  spies_.now = start + 43201;
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(posted(), (std::vector<Lines>{{"1"}, {"TORV"}}));
}

TEST_F(EventUpload, AHeartbeatThatIsLostIsNotRepeated) {
  spies_.refuse_element = 1;
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(peer_->requests().size(), 0u);
}

TEST_F(EventUpload, TheAddressIsPrintedFirstOctetFirst) {
  kelvane::WireProtocolSetEndpoint(0x04030201);
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(peer_->request_lines(), Lines{"POST http://1.2.3.4/machine/?comp=telemetrydata"});
  kelvane::WireProtocolSetEndpoint(0xfffefdfc);
  add("1");
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(peer_->request_lines().back(), "POST http://252.253.254.255/machine/?comp=telemetrydata");
}

TEST_F(EventUpload, TheOptionsAreSetInThisOrderAndNoTimeOutIsAmongThem) {
  kelvane::BufferOwner response;
  EXPECT_EQ(kelvane::HttpPostWithHeaders(kUrl, "body", response.get()), 0);
  EXPECT_EQ(spies_.options,
            (Lines{std::string("URL ") + kUrl, "HTTPGET 1", "POST 1", "WRITEFUNCTION event_curl_recv_cb", "WRITEDATA",
                   "POSTFIELDSIZE 4", "POSTFIELDS body",
                   "HTTPHEADER x-ms-agent-name: TorvikGuest | Content-Type: text/xml; charset=utf-8 | "
                   "x-ms-version: 2012-11-30"}));
  ASSERT_NE(response.data(), nullptr);
  EXPECT_STREQ(response.data(), "ok");
  EXPECT_EQ(response.length(), 2u);
  EXPECT_EQ(peer_->requests().at(0).body, "body");
}

TEST_F(EventUpload, AnErrorStatusIsNoFailure) {
  recording::set_debug_level(6);
  peer_->script({answer(500, "why")});
  kelvane::BufferOwner response;
  EXPECT_EQ(kelvane::HttpPostWithHeaders(kUrl, "body", response.get()), 0);
  ASSERT_NE(response.data(), nullptr);
  EXPECT_STREQ(response.data(), "why");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(EventUpload, AFailedPostDropsItsEventsAndHasOneLine) {
  behind_the_heartbeat();
  for (const int32_t level : {1, 0}) {
    recording::set_debug_level(level);
    for (int i = 1; i <= 4; i++) {
      add(number(i));
    }
    peer_->script({support::reset_connection()});
    EXPECT_EQ(EventHandler_Process(), 1);
    EXPECT_EQ(queued(), 1u);
  }
  ASSERT_EQ(recording::messages().size(), 1u);
  // Which of libcurl's results a reset gives is libcurl's affair.
  EXPECT_THAT(recording::messages()[0],
              ::testing::MatchesRegex("\\[kelvane\\]: curl_error: HttpPostWithHeaders:353 res (52|55|56)\n"));
}

TEST_F(EventUpload, TheLinesOfAPost) {
  behind_the_heartbeat();
  add("1");
  add("2");
  recording::set_debug_level(7);
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(recording::messages(), (Lines{std::string("[kelvane]: HttpPostWithHeaders:322 URL: ") + kUrl + "\n",
                                          "[kelvane]: EVENT: Posted 2 events, res 0\n",
                                          "[kelvane]: EVENT: Posted details " + peer_->requests().at(0).body + "\n"}));
}

TEST_F(EventUpload, ASuccessfulPostIsSilentUpToLevelSix) {
  for (const int32_t level : {0, 1, 6}) {
    recording::set_debug_level(level);
    add("1");
    EXPECT_EQ(EventHandler_Process(), 0);
  }
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(EventUpload, WithoutAHandleNothingIsSentAndTheEventsAreGone) {
  behind_the_heartbeat();
  add("1");
  recording::set_debug_level(7);
  recording::clear_trace();
  spies_.refuse_handle = 1;
  EXPECT_EQ(EventHandler_Process(), 0);
  ASSERT_EQ(recording::messages().size(), 3u);
  EXPECT_EQ(recording::messages()[1], "[kelvane]: EVENT: Posted 1 events, res -1\n");
  EXPECT_EQ(peer_->requests().size(), 0u);
  EXPECT_EQ(queued(), 0u);
}

TEST_F(EventUpload, WithoutAHeaderListThePostGoesAllTheSame) {
  behind_the_heartbeat();
  for (int nth = 1; nth <= 3; nth++) {
    add("1");
    spies_.refuse_list = nth;
    EXPECT_EQ(EventHandler_Process(), 0);
    EXPECT_EQ(spies_.options.back(), "HTTPHEADER ");
  }
  EXPECT_EQ(peer_->requests().size(), 3u);
}

TEST_F(EventUpload, ADocumentThatCannotBeMadeLeavesTheQueue) {
  behind_the_heartbeat();
  recording::set_debug_level(1);
  for (int i = 1; i <= 4; i++) {
    add(number(i));
  }
  spies_.refuse_xml = 1;
  EXPECT_EQ(EventHandler_Process(), -1);
  spies_.refuse_element = 1;
  EXPECT_EQ(EventHandler_Process(), -1);
  spies_.refuse_element = 2;
  EXPECT_EQ(EventHandler_Process(), -1);
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(peer_->requests().size(), 0u);
  EXPECT_EQ(queued(), 4u);
}

TEST_F(EventUpload, ADocumentThatCannotBeWrittenLosesItsEvents) {
  behind_the_heartbeat();
  recording::set_debug_level(1);
  for (int i = 1; i <= 4; i++) {
    add(number(i));
  }
  spies_.refuse_save = 1;
  EXPECT_EQ(EventHandler_Process(), 1);
  spies_.refuse_save = 1;
  EXPECT_EQ(EventHandler_Process(), 0);
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(peer_->requests().size(), 0u);
}

}  // namespace
