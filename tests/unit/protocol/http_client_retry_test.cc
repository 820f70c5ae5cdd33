// The two layers of retries, their pauses, the header lists, and who frees them.
#include <cstdlib>
#include <ctime>

#include "core/base/curl_owners.h"
#include "credentials/transport_cert.h"
#include "protocol/wire/http_client.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/spies.h"

using kelvane::Buffer;
using kelvane::BufferOwner;
using kelvane::CurlListOwner;
using spies::Attempt;
using support::answer;

namespace {

using Seconds = std::vector<unsigned>;

class RetryTest : public WireTest {
 protected:
  // Attempts that are not made, but have these results and statuses.
  static void attempts(const std::vector<Attempt> &list) { spies::spies().attempts.assign(list.begin(), list.end()); }
  static int performed() { return spies::spies().performed; }
  static Lines &events() { return spies::spies().events; }

  int32_t get(int32_t keep = 1) {
    return kelvane::__get_data("http://a.test/", nullptr, response_.get(), &code_, keep);
  }
  int32_t call_get() {
    return kelvane::__WireClient_call_wireserver(0, "http://a.test/", nullptr, request_.get(), response_.get());
  }
  int32_t call_storage(int32_t kind) {
    return kelvane::__WireClient_call_storage_service(kind, "http://a.test/", nullptr, request_.get(), response_.get(),
                                                      &code_);
  }

  BufferOwner request_;
  BufferOwner response_;
  int64_t code_ = 0;
};

curl_slist *one_header() {
  return curl_slist_append(nullptr, "X-One: 1");
}

// ---- three attempts ----

TEST_F(RetryTest, TheFirstSuccessEndsIt) {
  attempts({{0, 200}});
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(events(), Lines{"perform"});
  EXPECT_EQ(code_, 200);
}

TEST_F(RetryTest, TenSecondsAfterEachFailureAlsoTheThird) {
  attempts({{7, 0}, {22, 500}, {22, 404}});
  EXPECT_EQ(get(), 22);
  EXPECT_EQ(events(), (Lines{"perform", "sleep 10", "perform", "sleep 10", "perform", "sleep 10"}));
  EXPECT_EQ(code_, 404);
}

TEST_F(RetryTest, ATimeOutIsRetriedAtOnce) {
  attempts({{28, 0}, {28, 0}, {28, 0}});
  EXPECT_EQ(get(), 28);
  EXPECT_EQ(events(), (Lines{"perform", "perform", "perform"}));
}

TEST_F(RetryTest, PausesFollowOnlyTheFailuresThatAreNoTimeOut) {
  attempts({{28, 0}, {56, 0}, {0, 200}});
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(events(), (Lines{"perform", "perform", "sleep 10", "perform"}));
}

TEST_F(RetryTest, ARefusedConnectionPausesThreeTimes) {
  setenv("http_proxy", "http://127.0.0.1:1", 1);
  EXPECT_EQ(get(), 7);
  EXPECT_EQ(sleeps(), (Seconds{10, 10, 10}));
}

TEST_F(RetryTest, NoHandleIsAFailureLikeAnyOther) {
  spies::spies().refuse_handles = true;
  EXPECT_EQ(get(), -1);
  EXPECT_EQ(events(), (Lines{"no handle", "sleep 10", "no handle", "sleep 10", "no handle", "sleep 10"}));
}

TEST_F(RetryTest, AllFourRetryAlike) {
  struct {
    const char *method;
    int32_t (*run)(Buffer *, int64_t *);
  } const kinds[] = {
      {"HEAD", [](Buffer *b, int64_t *c) { return kelvane::__get_head_data("http://a.test/", nullptr, b, c, 1); }},
      {"GET", [](Buffer *b, int64_t *c) { return kelvane::__get_data("http://a.test/", nullptr, b, c, 1); }},
      {"POST", [](Buffer *b, int64_t *c) { return kelvane::__post_data("http://a.test/", b, nullptr, c, 1); }},
      {"PUT", [](Buffer *b, int64_t *c) { return kelvane::__put_data("http://a.test/", b, nullptr, c, 1); }},
  };
  for (const auto &kind : kinds) {
    peer_->forget_requests();
    sleeps().clear();
    BufferOwner buffer;
    peer_->script({support::close_without_answer(), support::close_without_answer(), answer(200)});
    EXPECT_EQ(kind.run(buffer.get(), &code_), 0) << kind.method;
    EXPECT_EQ(peer_->request_lines(), Lines(3, std::string(kind.method) + " http://a.test/"));
    EXPECT_EQ(sleeps(), (Seconds{10, 10})) << kind.method;
    sleeps().clear();
    peer_->script({support::close_without_answer(), support::close_without_answer(), support::close_without_answer(),
                   answer(200)});
    EXPECT_EQ(kind.run(buffer.get(), &code_), 52) << kind.method;
    EXPECT_EQ(sleeps(), (Seconds{10, 10, 10})) << kind.method;
    peer_->script({});
    EXPECT_EQ(kind.run(buffer.get(), &code_), 0) << "takes the answer that is left";
  }
}

TEST_F(RetryTest, EveryAttemptUploadsTheWholeBody) {
  kelvane::__makeBuffer(request_.get(), "document");
  peer_->script({support::close_without_answer(), answer(201)});
  EXPECT_EQ(kelvane::__put_data("http://a.test/", request_.get(), nullptr, &code_, 1), 0);
  EXPECT_EQ(peer_->requests()[0].body, "document");
  EXPECT_EQ(peer_->requests()[1].body, "document");
}

TEST_F(RetryTest, TheResponseIsNotClearedBetweenAttempts) {
  peer_->script({support::answer_with_length(200, "half", 8), answer(200, "whole")});
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(bytes_of(response_), "halfwhole");
}

TEST_F(RetryTest, EveryAttemptHasAHandleOfItsOwn) {
  attempts({{7, 0}, {7, 0}, {7, 0}});
  get();
  EXPECT_EQ(spies::spies().handles_made, 3);
  EXPECT_EQ(spies::spies().handles_open, 0);
}

TEST_F(RetryTest, WrappersLogTheirStartAboveLevelSix) {
  recording::set_debug_level(6);
  attempts(std::vector<Attempt>(8, Attempt{0, 200}));
  const auto run = [&] {
    kelvane::__get_head_data("http://a.test/", nullptr, response_.get(), &code_, 1);
    kelvane::__get_data("http://a.test/", nullptr, response_.get(), &code_, 1);
    kelvane::__post_data("http://a.test/", request_.get(), nullptr, &code_, 1);
    kelvane::__put_data("http://a.test/", request_.get(), nullptr, &code_, 1);
  };
  run();
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  run();
  EXPECT_EQ(
      recording::messages(),
      (Lines{"[kelvane]: start - __get_head_data:331\n", "[kelvane]: httpHead:171 URL: http://a.test/\n",
             "[kelvane]: curl_error: httpHead:196 res 0, code 200\n", "[kelvane]: start - __get_data:356\n",
             "[kelvane]: httpGet:212 URL: http://a.test/\n", "[kelvane]: curl info: httpGet:234 res 0, code 200\n",
             "[kelvane]: start - __post_data:381\n", "[kelvane]: httpPost:251 URL: http://a.test/\n",
             "[kelvane]: curl_error: httpPost:275 res 0, code 200\n", "[kelvane]: start - __put_data:406\n",
             "[kelvane]: httpPut:290 URL: http://a.test/\n", "[kelvane]: curl_error: httpPut:316 res 0, code 200\n"}));
}

TEST_F(RetryTest, TheResultsOfFailedRequestsAreLogged) {
  recording::set_debug_level(7);
  attempts({{7, 0}, {22, 404}, {56, 0}});
  kelvane::httpHead("http://a.test/", nullptr, response_.get(), &code_);
  kelvane::httpPost("http://a.test/", nullptr, request_.get(), &code_);
  kelvane::httpPut("http://a.test/", nullptr, request_.get(), &code_);
  EXPECT_EQ(
      recording::messages(),
      (Lines{"[kelvane]: httpHead:171 URL: http://a.test/\n", "[kelvane]: curl_error: httpHead:196 res 7, code 0\n",
             "[kelvane]: httpPost:251 URL: http://a.test/\n", "[kelvane]: curl_error: httpPost:275 res 22, code 404\n",
             "[kelvane]: httpPut:290 URL: http://a.test/\n", "[kelvane]: curl_error: httpPut:316 res 56, code 0\n"}));
}

// ---- who frees the list ----

TEST_F(RetryTest, WithoutTheKeepFlagTheWrapperFreesTheListAfterTheLastAttempt) {
  attempts({{7, 0}, {0, 200}});
  EXPECT_EQ(kelvane::__get_data("http://a.test/", one_header(), response_.get(), &code_, 0), 0);
  EXPECT_EQ(events(), (Lines{"perform", "sleep 10", "perform", "free list"}));
}

TEST_F(RetryTest, TheOtherWrappersFreeTheListWithoutTheKeepFlagToo) {
  attempts(std::vector<Attempt>(3, Attempt{0, 200}));
  kelvane::__get_head_data("http://a.test/", one_header(), response_.get(), &code_, 0);
  kelvane::__post_data("http://a.test/", request_.get(), one_header(), &code_, 0);
  kelvane::__put_data("http://a.test/", request_.get(), one_header(), &code_, 0);
  EXPECT_EQ(events(), (Lines{"perform", "free list", "perform", "free list", "perform", "free list"}));
}

TEST_F(RetryTest, WithTheKeepFlagTheListStaysTheCallers) {
  attempts(std::vector<Attempt>(4, Attempt{0, 200}));
  const CurlListOwner list(one_header());
  kelvane::__get_head_data("http://a.test/", list.get(), response_.get(), &code_, 1);
  kelvane::__get_data("http://a.test/", list.get(), response_.get(), &code_, 1);
  kelvane::__post_data("http://a.test/", request_.get(), list.get(), &code_, 1);
  kelvane::__put_data("http://a.test/", request_.get(), list.get(), &code_, 1);
  EXPECT_TRUE(spies::spies().freed_lists.empty());
}

TEST_F(RetryTest, TheServiceCallersFreeTheListOnceAfterTheLastCycle) {
  attempts(std::vector<Attempt>(9, Attempt{28, 0}));
  kelvane::__WireClient_call_wireserver(1, "http://a.test/", one_header(), request_.get(), response_.get());
  EXPECT_EQ(spies::spies().freed_lists.size(), 1u);
  EXPECT_EQ(events().back(), "free list");
  attempts({{0, 200}});
  kelvane::__WireClient_call_storage_service(kelvane::kStorageHead, "http://a.test/", one_header(), request_.get(),
                                             response_.get(), &code_);
  EXPECT_EQ(spies::spies().freed_lists.size(), 2u);
  kelvane::__WireClient_call_storage_service(5, "http://a.test/", one_header(), request_.get(), response_.get(),
                                             &code_);
  EXPECT_EQ(spies::spies().freed_lists.size(), 3u);
}

// ---- the wire server's cycles ----

TEST_F(RetryTest, AWireServerCallIsAGetOrAPost) {
  kelvane::__makeBuffer(request_.get(), "body");
  peer_->script({answer(200, "got"), answer(200, "posted")});
  EXPECT_EQ(call_get(), 0);
  EXPECT_EQ(bytes_of(response_), "got");
  EXPECT_EQ(kelvane::__WireClient_call_wireserver(1, "http://a.test/p", nullptr, request_.get(), response_.get()), 0);
  EXPECT_EQ(bytes_of(response_), "got") << "what a POST is answered is discarded";
  EXPECT_EQ(peer_->request_lines(), (Lines{"GET http://a.test/", "POST http://a.test/p"}));
  EXPECT_EQ(peer_->requests()[1].body, "body");
}

TEST_F(RetryTest, AWireServerCallMakesNineRequestsAtMost) {
  attempts(std::vector<Attempt>(20, Attempt{7, 0}));
  EXPECT_EQ(call_get(), 7);
  EXPECT_EQ(performed(), 9);
  EXPECT_EQ(sleeps(), Seconds(9, 10));
}

TEST_F(RetryTest, TheWireServerIsGivenFifteenSecondsBetweenCyclesOn403And503) {
  for (const long status : {403L, 503L}) {
    sleeps().clear();
    attempts(std::vector<Attempt>(9, Attempt{22, status}));
    EXPECT_EQ(call_get(), 22);
    EXPECT_EQ(sleeps(), (Seconds{10, 10, 10, 15, 10, 10, 10, 15, 10, 10, 10})) << status;
  }
}

TEST_F(RetryTest, OtherStatusesArePausedForByTheWrapperOnly) {
  for (const long status : {0L, 400L, 402L, 404L, 410L, 500L, 502L, 504L}) {
    sleeps().clear();
    attempts(std::vector<Attempt>(9, Attempt{22, status}));
    EXPECT_EQ(call_get(), 22);
    EXPECT_EQ(sleeps(), Seconds(9, 10)) << status;
  }
}

TEST_F(RetryTest, TheWireServerCallEndsWithTheCycleThatSucceeds) {
  attempts({{22, 503}, {22, 503}, {22, 503}, {22, 403}, {0, 200}});
  EXPECT_EQ(call_get(), 0);
  EXPECT_EQ(sleeps(), (Seconds{10, 10, 10, 15, 10}));
}

TEST_F(RetryTest, TheWireServerCallTakesTheLastAttemptsStatus) {
  attempts({{22, 500}, {22, 500}, {22, 403}, {22, 403}, {22, 403}, {22, 500}, {0, 200}});
  EXPECT_EQ(call_get(), 0);
  EXPECT_EQ(sleeps(), (Seconds{10, 10, 10, 15, 10, 10, 10}));
}

TEST_F(RetryTest, ACycleThatTimesOutIsNeitherLoggedNorPausedFor) {
  recording::set_debug_level(6);
  attempts(std::vector<Attempt>(9, Attempt{28, 503}));
  EXPECT_EQ(call_get(), 28);
  EXPECT_EQ(performed(), 9);
  EXPECT_EQ(sleeps(), Seconds{});
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(RetryTest, EachFailedWireServerCycleLogsItsStatusAboveLevelZero) {
  recording::set_debug_level(0);
  attempts(std::vector<Attempt>(9, Attempt{22, 503}));
  call_get();
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(1);
  attempts(std::vector<Attempt>(9, Attempt{22, 410}));
  call_get();
  EXPECT_EQ(recording::messages(), Lines(3, "[kelvane]: __WireClient_call_wireserver:447, response_code=410\n"));
}

// ---- the storage service's cycles ----

TEST_F(RetryTest, AStorageCallIsAGetAHeadOrAPut) {
  kelvane::__makeBuffer(request_.get(), "blob");
  peer_->script({answer(200, "got"), answer(202, "", {"x-ms-blob-type: PageBlob"}), answer(201)});
  EXPECT_EQ(call_storage(kelvane::kStorageGet), 0);
  EXPECT_EQ(bytes_of(response_), "got");
  EXPECT_EQ(code_, 200);
  EXPECT_EQ(call_storage(kelvane::kStorageHead), 0);
  EXPECT_EQ(code_, 202);
  EXPECT_STREQ(kelvane::captured_blob_type(), "PageBlob");
  EXPECT_EQ(call_storage(kelvane::kStoragePut), 0);
  EXPECT_EQ(code_, 201);
  EXPECT_EQ(peer_->request_lines(), (Lines{"GET http://a.test/", "HEAD http://a.test/", "PUT http://a.test/"}));
  EXPECT_EQ(peer_->requests()[2].body, "blob");
}

TEST_F(RetryTest, TheKindsOfStorageCallsAreNumbered) {
  EXPECT_EQ(kelvane::kStorageGet, 0);
  EXPECT_EQ(kelvane::kStorageHead, 1);
  EXPECT_EQ(kelvane::kStoragePut, 2);
}

TEST_F(RetryTest, AnotherKindMakesNoRequestAndSucceeds) {
  for (const int32_t kind : {-1, 3, 100}) {
    EXPECT_EQ(call_storage(kind), 0);
  }
  EXPECT_EQ(performed(), 0);
  EXPECT_EQ(sleeps(), Seconds{});
}

TEST_F(RetryTest, TheStorageServiceIsGivenFifteenSecondsAfterEachCycleOn503) {
  attempts(std::vector<Attempt>(20, Attempt{22, 503}));
  EXPECT_EQ(call_storage(kelvane::kStorageHead), 22);
  EXPECT_EQ(performed(), 9);
  EXPECT_EQ(sleeps(), (Seconds{10, 10, 10, 15, 10, 10, 10, 15, 10, 10, 10, 15}));
  EXPECT_EQ(code_, 503);
}

TEST_F(RetryTest, TheStorageServiceIsNotGivenThemOn403) {
  attempts(std::vector<Attempt>(9, Attempt{22, 403}));
  EXPECT_EQ(call_storage(kelvane::kStorageGet), 22);
  EXPECT_EQ(sleeps(), Seconds(9, 10));
}

TEST_F(RetryTest, AStorageCycleThatTimesOutIsPausedForWhenTheCodeIs503) {
  attempts(std::vector<Attempt>(9, Attempt{28, 503}));
  EXPECT_EQ(call_storage(kelvane::kStorageGet), 28);
  EXPECT_EQ(sleeps(), (Seconds{15, 15, 15}));
}

TEST_F(RetryTest, AStorageCallLogsItsStartWithTheKindAboveLevelSix) {
  recording::set_debug_level(6);
  call_storage(9);
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  call_storage(9);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: start - __WireClient_call_storage_service:466 - 9\n"});
}

TEST_F(RetryTest, AFailedStorageCycleLogsNoStatus) {
  recording::set_debug_level(6);
  attempts(std::vector<Attempt>(9, Attempt{22, 404}));
  call_storage(kelvane::kStorageGet);
  EXPECT_EQ(recording::messages(), Lines{});
}

// ---- header lists ----

Lines texts_of(const CurlListOwner &list) {
  Lines texts;
  for (const curl_slist *at = list.get(); at != nullptr; at = at->next) {
    texts.push_back(at->data);
  }
  return texts;
}

TEST_F(RetryTest, TheWireHeaders) {
  EXPECT_EQ(texts_of(CurlListOwner(kelvane::wire_get_headers())),
            (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30"}));
  EXPECT_EQ(
      texts_of(CurlListOwner(kelvane::wire_post_headers())),
      (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30", "Content-Type: text/xml;charset=utf-8"}));
}

TEST_F(RetryTest, EachCallMakesAFreshList) {
  const CurlListOwner one(kelvane::wire_get_headers());
  const CurlListOwner two(kelvane::wire_get_headers());
  EXPECT_NE(one.get(), two.get());
}

TEST_F(RetryTest, TheCertificatesHeadersGoWithoutTheCertificateWhileThereIsNone) {
  kelvane::TransportCertCleanup();
  EXPECT_EQ(texts_of(CurlListOwner(kelvane::wire_certificates_headers())),
            (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30", "x-ms-cipher-name: DES_EDE3_CBC"}));
}

TEST_F(RetryTest, ACertificateHeaderThatCannotBeAllocatedIsLeftOut) {
  ASSERT_EQ(kelvane::TransportCertMake(), 0);
  EXPECT_EQ(texts_of(CurlListOwner(kelvane::wire_certificates_headers())).size(), 4u);
  spies::refuse_malloc = 1;
  EXPECT_EQ(texts_of(CurlListOwner(kelvane::wire_certificates_headers())),
            (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30", "x-ms-cipher-name: DES_EDE3_CBC"}));
  spies::refuse_malloc = 0;
  spies::spies().refuse_list_append = 4;
  EXPECT_EQ(texts_of(CurlListOwner(kelvane::wire_certificates_headers())).size(), 3u);
  kelvane::TransportCertCleanup();
}

TEST_F(RetryTest, ListsThatCannotBeMadeAreNone) {
  for (int nth = 1; nth <= 3; nth++) {
    spies::spies().refuse_list_append = nth;
    EXPECT_EQ(CurlListOwner(kelvane::wire_post_headers()).get(), nullptr) << nth;
    EXPECT_EQ(spies::spies().freed_lists.size(), nth == 1 ? 0u : static_cast<size_t>(nth) - 1)
        << "what was made is freed";
  }
}

TEST_F(RetryTest, ADateHeaderThatCannotBeAllocatedIsNone) {
  spies::refuse_malloc = 1;
  EXPECT_EQ(CurlListOwner(kelvane::wire_date_header()).get(), nullptr);
  EXPECT_EQ(spies::refuse_malloc, 0);
}

TEST_F(RetryTest, TheCertificateDoesNotGoWithoutTheLinesInFrontOfIt) {
  ASSERT_EQ(kelvane::TransportCertMake(), 0);
  for (int nth = 1; nth <= 3; nth++) {
    spies::spies().refuse_list_append = nth;
    EXPECT_EQ(CurlListOwner(kelvane::wire_certificates_headers()).get(), nullptr) << nth;
  }
  kelvane::TransportCertCleanup();
}

TEST_F(RetryTest, TheDateHeaderIsTheTimeInUtc) {
  setenv("TZ", "Asia/Tokyo", 1);
  tzset();
  const time_t before = time(nullptr);
  const Lines texts = texts_of(CurlListOwner(kelvane::wire_date_header()));
  const time_t after = time(nullptr);
  unsetenv("TZ");
  tzset();
  ASSERT_EQ(texts.size(), 1u);
  ASSERT_EQ(texts[0].size(), std::string("x-ms-date: 2026-01-02T03:04:05Z").size());
  EXPECT_EQ(texts[0].substr(0, 11), "x-ms-date: ");
  EXPECT_EQ(texts[0].back(), 'Z');
  std::tm parsed = {};
  ASSERT_NE(strptime(texts[0].c_str() + 11, "%Y-%m-%dT%H:%M:%SZ", &parsed), nullptr) << texts[0];
  const time_t stated = timegm(&parsed);
  EXPECT_GE(stated, before);
  EXPECT_LE(stated, after);
}

}  // namespace
