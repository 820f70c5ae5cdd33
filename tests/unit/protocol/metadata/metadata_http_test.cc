// The metadata protocol's requests: options and their order, bytes on the wire, attempts and pauses, the ETag, the log.
#include "protocol/metadata/metadata_http.h"

#include "protocol/metadata/metadata_protocol.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/metadata/metadata_world.h"

using kelvane::CurlListOwner;
using kelvane::JsonOwner;
using kelvane::metadata_get;
using kelvane::metadata_put;
using kelvane::Text;
using support::answer;

namespace {

using Seconds = std::vector<unsigned>;

CurlListOwner one_header() {
  return CurlListOwner(curl_slist_append(nullptr, "X-One: 1"));
}

std::string written(const JsonOwner &document) {
  return document.present() ? json_object_to_json_string(document.get()) : "(absent)";
}

class MetadataHttpTest : public MetadataTest {
 protected:
  static int32_t put(const std::string &document, CurlListOwner headers = CurlListOwner()) {
    const JsonOwner body = parsed(document);
    return metadata_put("http://169.254.169.254/p", &headers, body.get());
  }
};

// ---- options and bytes ----

TEST_F(MetadataHttpTest, GetSetsItsOptionsInThisOrder) {
  const CurlListOwner headers = one_header();
  Text etag;
  metadata_get("http://169.254.169.254/g", headers.get(), &etag);
  EXPECT_EQ(spies::spies().options, (Lines{
                                        "CURLOPT_TIMEOUT 10",
                                        "CURLOPT_URL http://169.254.169.254/g",
                                        "CURLOPT_HTTPGET 1",
                                        "CURLOPT_WRITEFUNCTION event_curl_recv_cb",
                                        "CURLOPT_WRITEDATA own buffer",
                                        "CURLOPT_HEADERFUNCTION metadata_header_recv_cb",
                                        "CURLOPT_HEADERDATA given",
                                        "CURLOPT_HTTPHEADER X-One: 1",
                                    }));
}

TEST_F(MetadataHttpTest, GetWithoutAnEtagSlotSetsNoHeaderCallback) {
  const CurlListOwner headers = one_header();
  metadata_get("http://169.254.169.254/g", headers.get(), nullptr);
  EXPECT_EQ(spies::spies().options, (Lines{
                                        "CURLOPT_TIMEOUT 10",
                                        "CURLOPT_URL http://169.254.169.254/g",
                                        "CURLOPT_HTTPGET 1",
                                        "CURLOPT_WRITEFUNCTION event_curl_recv_cb",
                                        "CURLOPT_WRITEDATA own buffer",
                                        "CURLOPT_HTTPHEADER X-One: 1",
                                    }));
}

TEST_F(MetadataHttpTest, GetWithoutAListSetsNoHeaders) {
  metadata_get("http://169.254.169.254/g", nullptr, nullptr);
  EXPECT_EQ(spies::spies().options.size(), 5u);
  EXPECT_EQ(spies::spies().options.back(), "CURLOPT_WRITEDATA own buffer");
}

TEST_F(MetadataHttpTest, PutSetsItsOptionsInThisOrder) {
  EXPECT_EQ(put("{\"a\":1}", one_header()), 0);
  EXPECT_EQ(spies::spies().options, (Lines{
                                        "CURLOPT_TIMEOUT 10",
                                        "CURLOPT_URL http://169.254.169.254/p",
                                        "CURLOPT_UPLOAD 1",
                                        "CURLOPT_READFUNCTION http_upload_read_cb",
                                        "CURLOPT_READDATA { \"a\": 1 } (10)",
                                        "CURLOPT_INFILESIZE 10",
                                        "CURLOPT_WRITEFUNCTION event_curl_recv_cb",
                                        "CURLOPT_WRITEDATA own buffer",
                                        "CURLOPT_HTTPHEADER X-One: 1 | Content-Type: application/json",
                                    }));
}

TEST_F(MetadataHttpTest, TheBytesOfAGet) {
  const CurlListOwner headers = one_header();
  metadata_get("http://169.254.169.254/g?api-version=1", headers.get(), nullptr);
  ASSERT_EQ(peer_->requests().size(), 1u);
  EXPECT_EQ(peer_->requests()[0].bytes,
            "GET http://169.254.169.254/g?api-version=1 HTTP/1.1\r\n"
            "Host: 169.254.169.254\r\n"
            "Accept: */*\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "X-One: 1\r\n"
            "\r\n");
}

TEST_F(MetadataHttpTest, TheBytesOfAPut) {
  EXPECT_EQ(put("{\"a\":\"b/c\",\"d\":[]}"), 0);
  ASSERT_EQ(peer_->requests().size(), 1u);
  EXPECT_EQ(bytes_of(peer_->requests()[0]),
            "PUT http://169.254.169.254/p HTTP/1.1\r\n"
            "Host: 169.254.169.254\r\n"
            "Accept: */*\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "Content-Type: application/json\r\n"
            "Content-Length: 25\r\n"
            "\r\n"
            "{ \"a\": \"b\\/c\", \"d\": [ ] }");
}

TEST_F(MetadataHttpTest, EveryAttemptOfAPutSendsTheWholeBody) {
  peer_->script({support::close_without_answer(), support::reset_connection(), answer(200, "ignored")});
  const std::string large = "[ \"" + std::string(300000, 'x') + "\" ]";
  EXPECT_EQ(put(large), 0);
  ASSERT_EQ(peer_->requests().size(), 3u);
  EXPECT_TRUE(peer_->requests()[0].body == large);
  EXPECT_TRUE(peer_->requests()[2].body == large);
  EXPECT_EQ(sleeps(), (Seconds{10, 10}));
}

TEST_F(MetadataHttpTest, ThePutsListStaysTheCallers) {
  CurlListOwner headers = one_header();
  const JsonOwner body = parsed("{}");
  EXPECT_EQ(metadata_put("http://169.254.169.254/p", &headers, body.get()), 0);
  EXPECT_EQ(spies::spies().freed_lists.size(), 0u);
  ASSERT_TRUE(headers.present());
  EXPECT_STREQ(headers.get()->data, "X-One: 1");
  EXPECT_STREQ(headers.get()->next->data, "Content-Type: application/json");
}

TEST_F(MetadataHttpTest, WithoutMemoryForItsContentTypeAPutGoesWithTheCallersHeaders) {
  CurlListOwner headers = one_header();
  const JsonOwner body = parsed("{}");
  spies::spies().refuse_list_append = 1;
  EXPECT_EQ(metadata_put("http://169.254.169.254/p", &headers, body.get()), 0);
  EXPECT_EQ(peer_->requests()[0].own_headers(), Lines{"X-One: 1"});
}

// ---- attempts and pauses ----

TEST_F(MetadataHttpTest, ThreeFailedAttemptsSleepTenSecondsEachTheLastIncluded) {
  end_attempts({7, 7, 7});
  EXPECT_FALSE(metadata_get("http://169.254.169.254/g", nullptr, nullptr).present());
  EXPECT_EQ(spies::spies().events, (Lines{"perform", "sleep 10", "perform", "sleep 10", "perform", "sleep 10"}));
  spies::spies().events.clear();
  end_attempts({52, 56, 7});
  EXPECT_EQ(put("{}"), 7);
  EXPECT_EQ(spies::spies().events,
            (Lines{"perform", "sleep 10", "perform", "sleep 10", "perform", "sleep 10", "free list"}));
}

TEST_F(MetadataHttpTest, NothingIsSleptAfterATimeOut) {
  end_attempts({28, 28, 28});
  EXPECT_FALSE(metadata_get("http://169.254.169.254/g", nullptr, nullptr).present());
  EXPECT_EQ(performed(), 3);
  EXPECT_EQ(sleeps(), Seconds{});
  end_attempts({28, 28, 28});
  EXPECT_EQ(put("{}"), 28);
  EXPECT_EQ(performed(), 3);
  EXPECT_EQ(sleeps(), Seconds{});
}

TEST_F(MetadataHttpTest, EachAttemptHasItsOwnPause) {
  end_attempts({28, 7, 28});
  metadata_get("http://169.254.169.254/g", nullptr, nullptr);
  EXPECT_EQ(spies::spies().events, (Lines{"perform", "perform", "sleep 10", "perform"}));
  spies::spies().events.clear();
  end_attempts({7, 28, 52});
  EXPECT_EQ(put("{}"), 52);
  EXPECT_EQ(spies::spies().events, (Lines{"perform", "sleep 10", "perform", "perform", "sleep 10", "free list"}));
}

TEST_F(MetadataHttpTest, TheFirstSuccessEndsTheAttempts) {
  serve("http://169.254.169.254/g", "[7]");
  end_attempts({7});
  EXPECT_EQ(written(metadata_get("http://169.254.169.254/g", nullptr, nullptr)), "[ 7 ]");
  EXPECT_EQ(performed(), 2);
  EXPECT_EQ(sleeps(), Seconds{10});
  EXPECT_EQ(put("{}"), 0);
  EXPECT_EQ(performed(), 1);
}

TEST_F(MetadataHttpTest, NoHandleIsAFailedAttempt) {
  recording::set_debug_level(7);
  spies::spies().refuse_handles = true;
  EXPECT_FALSE(metadata_get("http://169.254.169.254/g", nullptr, nullptr).present());
  EXPECT_EQ(spies::spies().events, (Lines{"no handle", "sleep 10", "no handle", "sleep 10", "no handle", "sleep 10"}));
  EXPECT_EQ(put("{}"), -1);
  EXPECT_EQ(sleeps(), (Seconds{10, 10, 10, 10, 10, 10}));
  EXPECT_EQ(recording::messages(), (Lines{
                                       "[kelvane]: httpGet:257 URL: http://169.254.169.254/g\n",
                                       "[kelvane]: httpGet:257 URL: http://169.254.169.254/g\n",
                                       "[kelvane]: httpGet:257 URL: http://169.254.169.254/g\n",
                                       "[kelvane]: httpPut:324 URL: http://169.254.169.254/p\n",
                                       "[kelvane]: httpPut:324 URL: http://169.254.169.254/p\n",
                                       "[kelvane]: httpPut:324 URL: http://169.254.169.254/p\n",
                                   }));
}

TEST_F(MetadataHttpTest, ADocumentThatCannotBeWrittenIsNotSent) {
  spies::spies().refuse_json_text = true;
  EXPECT_EQ(put("{}"), -1);
  EXPECT_EQ(performed(), 0);
  EXPECT_EQ(sleeps(), Seconds{});
}

// ---- documents ----

TEST_F(MetadataHttpTest, AnErrorStatusIsNoFailureAndItsJsonIsADocument) {
  peer_->script({answer(500, "{\"error\": true}"), answer(404, "<html>"), answer(403)});
  EXPECT_EQ(written(metadata_get("http://169.254.169.254/g", nullptr, nullptr)), "{ \"error\": true }");
  EXPECT_EQ(written(metadata_get("http://169.254.169.254/g", nullptr, nullptr)), "(absent)");
  EXPECT_EQ(put("{}"), 0);
  EXPECT_EQ(performed(), 3);
  EXPECT_EQ(sleeps(), Seconds{});
}

TEST_F(MetadataHttpTest, WhatABrokenOffAttemptLeftIsNoPartOfTheDocument) {
  peer_->script({support::answer_with_length(200, "{\"a\": 1", 100), answer(200, "{\"b\": 2}")});
  EXPECT_EQ(written(metadata_get("http://169.254.169.254/g", nullptr, nullptr)), "{ \"b\": 2 }");
  EXPECT_EQ(sleeps(), Seconds{10});
}

TEST_F(MetadataHttpTest, ABrokenOffAnswerIsNoDocumentEvenWhenItParses) {
  for (int i = 0; i < 3; i++) {
    peer_->script({support::answer_with_length(200, "{\"a\": 1}", 100)});
  }
  EXPECT_EQ(written(metadata_get("http://169.254.169.254/g", nullptr, nullptr)), "(absent)");
  EXPECT_EQ(performed(), 3);
}

TEST_F(MetadataHttpTest, WhatIsNoJsonIsNoDocumentAndIsNotAskedForAgain) {
  for (const std::string &body :
       {std::string(), std::string(" "), std::string("null"), std::string("{"), std::string("\xff\xfe"),
        std::string("\0{}", 3), std::string(100, '['), std::string(200000, ',')}) {
    peer_->script({answer(200, body)});
    EXPECT_EQ(written(metadata_get("http://169.254.169.254/g", nullptr, nullptr)), "(absent)") << body.substr(0, 20);
    EXPECT_EQ(performed(), 1);
  }
  EXPECT_EQ(sleeps(), Seconds{});
}

TEST_F(MetadataHttpTest, WithoutMemoryForTheBodyTheAttemptsFail) {
  serve("http://169.254.169.254/g", "{}");
  spies::refuse_realloc = 1;
  EXPECT_EQ(written(metadata_get("http://169.254.169.254/g", nullptr, nullptr)), "{ }");
  EXPECT_EQ(performed(), 2);
  EXPECT_EQ(sleeps(), Seconds{10});
}

TEST_F(MetadataHttpTest, WithoutMemoryToReadAnAnswerItHasNoEtagAndALineSaysSo) {
  serve("http://169.254.169.254/g", "{}", {"ETag: one"});
  recording::set_debug_level(1);
  const Lines line = {"[kelvane]: no memory for the answer of http://169.254.169.254/g, it is not read\n"};
  const std::string with_query = "http://169.254.169.254/g?sig=a-token&a=b?c";
  serve(with_query, "{}");
  Text etag;
  spies::spies().refuse_json_parse = 1;
  EXPECT_EQ(written(metadata_get("http://169.254.169.254/g", nullptr, &etag)), "(absent)");
  EXPECT_FALSE(etag.present());
  EXPECT_EQ(recording::messages(), line);
  spies::spies().refuse_json_parse = 1;
  EXPECT_EQ(written(metadata_get(with_query.c_str(), nullptr, nullptr)), "(absent)");
  EXPECT_EQ(recording::messages(), (Lines{line[0], line[0]})) << "the query is not told";
  recording::set_debug_level(0);
  spies::spies().refuse_json_parse = 1;
  EXPECT_EQ(written(metadata_get("http://169.254.169.254/g", nullptr, &etag)), "(absent)");
  EXPECT_EQ(recording::messages().size(), 2u);
  EXPECT_EQ(sleeps(), Seconds{});
}

// ---- the ETag ----

TEST_F(MetadataHttpTest, TheHeaderCallbackKeepsTheEtagAsSent) {
  const struct {
    const char *line;
    const char *kept;  // "before" is what the slot held
  } cases[] = {
      {"ETag: \"abc\"\r\n", "\"abc\""},
      {"ETag: W/\"abc\"\r\n", "W/\"abc\""},
      {"ETAG: ABC\r\n", "ABC"},
      {"etag:abc\r\n", "abc"},
      {"eTaG:     a b \r\n", "a b "},
      {"ETag: a\rb\r\n", "a"},
      {"ETag: abc", "abc"},
      {"ETag: abc\n", "abc\n"},  // no carriage return: to the end of the data
      {"ETag:\r\n", ""},
      {"ETag:", "before"},
      {"ETag: ", "before"},
      {"ETag:    ", "before"},
      {"ETag:    \r\n", "before"},
      {"ETag:\t\r\n", "\t"},
      {"ETag : abc\r\n", "before"},
      {"ETag", "before"},
      {"X-ETag: abc\r\n", "before"},
      {" ETag: abc\r\n", "before"},
      {"\r\n", "before"},
      {"", "before"},
  };
  for (const auto &one : cases) {
    Text etag;
    kelvane::text_copy(&etag, "before");
    std::string line = one.line;
    EXPECT_EQ(kelvane::metadata_header_recv_cb(line.data(), 1, line.size(), &etag), line.size()) << line;
    EXPECT_STREQ(etag.get(), one.kept) << line;
  }
}

TEST_F(MetadataHttpTest, TheHeaderCallbackReadsNoFurtherThanTheLine) {
  Text etag;
  char line[] = "ETag: abcdef\r\n";
  EXPECT_EQ(kelvane::metadata_header_recv_cb(line, 3, 3, &etag), 9u);
  EXPECT_STREQ(etag.get(), "abc");
  EXPECT_EQ(kelvane::metadata_header_recv_cb(line, 1, 4, &etag), 4u);
  EXPECT_EQ(kelvane::metadata_header_recv_cb(line, 0, 4, &etag), 0u);
  EXPECT_STREQ(etag.get(), "abc");
}

TEST_F(MetadataHttpTest, WithoutMemoryTheEtagStaysAndTheLineIsAccepted) {
  Text etag;
  kelvane::text_copy(&etag, "before");
  std::string line = "ETag: abc\r\n";
  spies::refuse_malloc = 1;
  EXPECT_EQ(kelvane::metadata_header_recv_cb(line.data(), 1, line.size(), &etag), line.size());
  spies::refuse_malloc = 0;
  EXPECT_STREQ(etag.get(), "before");
}

TEST_F(MetadataHttpTest, TheLastEtagOfAnAnswerCounts) {
  serve("http://169.254.169.254/g", "{}", {"ETag: one", "X: y", "etag: two"});
  Text etag;
  metadata_get("http://169.254.169.254/g", nullptr, &etag);
  EXPECT_STREQ(etag.get(), "two");
}

TEST_F(MetadataHttpTest, TheEtagOfAnAnswerWithoutADocumentIsKeptAllTheSame) {
  serve("http://169.254.169.254/g", "no json", {"ETag: one"});
  Text etag;
  EXPECT_FALSE(metadata_get("http://169.254.169.254/g", nullptr, &etag).present());
  EXPECT_STREQ(etag.get(), "one");
}

// ---- the log ----

TEST_F(MetadataHttpTest, NothingIsLoggedAtLevelSix) {
  recording::set_debug_level(6);
  serve("http://169.254.169.254/g", "{}", {"ETag: one"});
  Text etag;
  metadata_get("http://169.254.169.254/g", nullptr, &etag);
  put("{}");
  end_attempts({7, 7, 7});
  put("{}");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(MetadataHttpTest, GetLogsUrlHeadersAndResultAboveLevelSix) {
  recording::set_debug_level(7);
  peer_->script({{"HTTP/1.1 200 Fine\r\nETag: \"x\"\r\nContent-Length: 2\r\n\r\n{}"}});
  end_attempts({28});
  Text etag;
  metadata_get("http://169.254.169.254/g", nullptr, &etag);
  EXPECT_EQ(recording::messages(), (Lines{
                                       "[kelvane]: httpGet:257 URL: http://169.254.169.254/g\n",
                                       "[kelvane]: curl_error: httpGet:281 res 28\n",
                                       "[kelvane]: httpGet:257 URL: http://169.254.169.254/g\n",
                                       "[kelvane]: __curl_header_recv_cb:217 CURL HDR: 'HTTP/1.1 200 Fine\r\n'",
                                       "[kelvane]: __curl_header_recv_cb:217 CURL HDR: 'ETag: \"x\"\r\n'",
                                       "[kelvane]: __curl_header_recv_cb:217 CURL HDR: 'Content-Length: 2\r\n'",
                                       "[kelvane]: curl_error: httpGet:281 res 0\n",
                                   }));
}

TEST_F(MetadataHttpTest, LinesThatBeginWithWhiteSpaceAreNotLogged) {
  recording::set_debug_level(7);
  Text etag;
  for (std::string line : {" a: b\r\n", "\ta: b\r\n", "\r\n", "\n", ""}) {
    kelvane::metadata_header_recv_cb(line.data(), 1, line.size(), &etag);
  }
  EXPECT_EQ(recording::messages(), Lines{});
  std::string line = "100%s: b\r\nbehind the line";
  kelvane::metadata_header_recv_cb(line.data(), 1, 10, &etag);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: __curl_header_recv_cb:217 CURL HDR: '100%s: b\r\n'"});
}

TEST_F(MetadataHttpTest, WithoutAnEtagSlotNoHeaderIsLogged) {
  recording::set_debug_level(7);
  serve("http://169.254.169.254/g", "{}", {"ETag: one"});
  metadata_get("http://169.254.169.254/g", nullptr, nullptr);
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: httpGet:257 URL: http://169.254.169.254/g\n",
                                          "[kelvane]: curl_error: httpGet:281 res 0\n"}));
}

TEST_F(MetadataHttpTest, PutLogsUrlBodyAndResultAboveLevelSix) {
  recording::set_debug_level(7);
  end_attempts({7});
  put("{\"a\":\"100%s\"}");
  EXPECT_EQ(recording::messages(), (Lines{
                                       "[kelvane]: httpPut:324 URL: http://169.254.169.254/p\n",
                                       "[kelvane]: httpPut:343 Req Data (16): '{ \"a\": \"100%s\" }'\n",
                                       "[kelvane]: curl_error: httpPut:352 res 7\n",
                                       "[kelvane]: httpPut:324 URL: http://169.254.169.254/p\n",
                                       "[kelvane]: httpPut:343 Req Data (16): '{ \"a\": \"100%s\" }'\n",
                                       "[kelvane]: curl_error: httpPut:352 res 0\n",
                                   }));
}

}  // namespace
