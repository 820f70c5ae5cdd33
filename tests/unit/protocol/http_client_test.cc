// Single attempts: which options are set, in which order, what goes over the wire, what is logged, what comes back; and
// the callbacks.
#include "protocol/wire/http_client.h"

#include <cstring>

#include "core/base/buffer.h"
#include "core/base/curl_owners.h"
#include "protocol/http_request.h"
#include "tests/unit/protocol/spies.h"

using kelvane::Buffer;
using kelvane::BufferOwner;
using kelvane::CurlListOwner;
using support::answer;

namespace {

class HttpClientTest : public WireTest {
 protected:
  HttpClientTest() { spies::spies().expected_response = response_.get(); }

  BufferOwner response_;
  int64_t code_ = -7;
};

CurlListOwner two_headers() {
  return CurlListOwner(curl_slist_append(curl_slist_append(nullptr, "X-One: 1"), "X-Two: 2"));
}

BufferOwner &fill(BufferOwner &buffer, const std::string &text) {
  kelvane::__makeBuffer(buffer.get(), text.c_str());
  return buffer;
}

// ---- options ----

TEST_F(HttpClientTest, HeadSetsItsOptionsInThisOrder) {
  peer_->script({answer(200)});
  const CurlListOwner headers = two_headers();
  EXPECT_EQ(kelvane::httpHead("http://storage.test/a", headers.get(), response_.get(), &code_), 0);
  EXPECT_EQ(spies::spies().options, (Lines{
                                        "CURLOPT_SSL_VERIFYPEER 0",
                                        "CURLOPT_TIMEOUT 10",
                                        "CURLOPT_URL http://storage.test/a",
                                        "CURLOPT_HTTPGET 1",
                                        "CURLOPT_FAILONERROR 1",
                                        "CURLOPT_NOBODY 1",
                                        "CURLOPT_WRITEFUNCTION event_curl_recv_cb",
                                        "CURLOPT_WRITEDATA response",
                                        "CURLOPT_HEADERFUNCTION __curl_header_recv_cb",
                                        "CURLOPT_HEADERDATA none",
                                        "CURLOPT_HTTPHEADER X-One: 1 | X-Two: 2",
                                    }));
}

TEST_F(HttpClientTest, HeadWithoutAListSetsNoHeaders) {
  peer_->script({answer(200)});
  EXPECT_EQ(kelvane::httpHead("http://storage.test/a", nullptr, response_.get(), &code_), 0);
  EXPECT_EQ(spies::spies().options.size(), 10u);
  EXPECT_EQ(spies::spies().options.back(), "CURLOPT_HEADERDATA none");
}

TEST_F(HttpClientTest, GetSetsItsOptionsInThisOrder) {
  peer_->script({answer(200)});
  const CurlListOwner headers = two_headers();
  EXPECT_EQ(kelvane::httpGet("http://168.63.129.16/x", headers.get(), response_.get(), &code_), 0);
  EXPECT_EQ(spies::spies().options, (Lines{
                                        "CURLOPT_SSL_VERIFYPEER 0",
                                        "CURLOPT_TIMEOUT 10",
                                        "CURLOPT_URL http://168.63.129.16/x",
                                        "CURLOPT_HTTPGET 1",
                                        "CURLOPT_FAILONERROR 1",
                                        "CURLOPT_WRITEFUNCTION event_curl_recv_cb",
                                        "CURLOPT_WRITEDATA response",
                                        "CURLOPT_HTTPHEADER X-One: 1 | X-Two: 2",
                                    }));
}

TEST_F(HttpClientTest, GetWithoutAListSetsNoHeaders) {
  peer_->script({answer(200)});
  EXPECT_EQ(kelvane::httpGet("http://168.63.129.16/x", nullptr, response_.get(), &code_), 0);
  EXPECT_EQ(spies::spies().options.size(), 7u);
  EXPECT_EQ(spies::spies().options.back(), "CURLOPT_WRITEDATA response");
}

TEST_F(HttpClientTest, PostSetsItsOptionsInThisOrder) {
  peer_->script({answer(200)});
  const CurlListOwner headers = two_headers();
  BufferOwner body;
  EXPECT_EQ(kelvane::httpPost("http://168.63.129.16/p", headers.get(), fill(body, "<a/>").get(), &code_), 0);
  EXPECT_EQ(spies::spies().options, (Lines{
                                        "CURLOPT_SSL_VERIFYPEER 0",
                                        "CURLOPT_TIMEOUT 10",
                                        "CURLOPT_URL http://168.63.129.16/p",
                                        "CURLOPT_FAILONERROR 1",
                                        "CURLOPT_POST 1",
                                        "CURLOPT_INFILESIZE 4",
                                        "CURLOPT_POSTFIELDSIZE 4",
                                        "CURLOPT_POSTFIELDS <a/>",
                                        "CURLOPT_WRITEFUNCTION event_curl_recv_cb",
                                        "CURLOPT_WRITEDATA own buffer",
                                        "CURLOPT_HTTPHEADER X-One: 1 | X-Two: 2",
                                    }));
}

TEST_F(HttpClientTest, PostSetsHeadersEvenWithoutAList) {
  peer_->script({answer(200)});
  BufferOwner body;
  EXPECT_EQ(kelvane::httpPost("http://168.63.129.16/p", nullptr, fill(body, "x").get(), &code_), 0);
  EXPECT_EQ(spies::spies().options.size(), 11u);
  EXPECT_EQ(spies::spies().options.back(), "CURLOPT_HTTPHEADER none");
}

TEST_F(HttpClientTest, PutSetsItsOptionsInThisOrder) {
  peer_->script({answer(201)});
  const CurlListOwner headers = two_headers();
  BufferOwner body;
  EXPECT_EQ(kelvane::httpPut("http://storage.test/b", headers.get(), fill(body, "{}").get(), &code_), 0);
  EXPECT_EQ(spies::spies().options, (Lines{
                                        "CURLOPT_SSL_VERIFYPEER 0",
                                        "CURLOPT_TIMEOUT 10",
                                        "CURLOPT_URL http://storage.test/b",
                                        "CURLOPT_UPLOAD 1",
                                        "CURLOPT_READFUNCTION http_upload_read_cb",
                                        "CURLOPT_READDATA {} (2)",
                                        "CURLOPT_INFILESIZE 2",
                                        "CURLOPT_WRITEFUNCTION event_curl_recv_cb",
                                        "CURLOPT_WRITEDATA own buffer",
                                        "CURLOPT_HTTPHEADER X-One: 1 | X-Two: 2",
                                    }));
  EXPECT_EQ(code_, 201);
}

TEST_F(HttpClientTest, PutSetsHeadersEvenWithoutAList) {
  peer_->script({answer(201)});
  BufferOwner body;
  EXPECT_EQ(kelvane::httpPut("http://storage.test/b", nullptr, fill(body, "x").get(), &code_), 0);
  EXPECT_EQ(spies::spies().options.size(), 10u);
  EXPECT_EQ(spies::spies().options.back(), "CURLOPT_HTTPHEADER none");
}

// ---- over the wire ----

TEST_F(HttpClientTest, GetSendsTheListAndCollectsTheBody) {
  peer_->script({answer(200, "hello")});
  const CurlListOwner headers = two_headers();
  EXPECT_EQ(kelvane::httpGet("http://168.63.129.16/x?a=b", headers.get(), response_.get(), &code_), 0);
  EXPECT_EQ(code_, 200);
  EXPECT_EQ(bytes_of(response_), "hello");
  EXPECT_EQ(peer_->request_lines(), Lines{"GET http://168.63.129.16/x?a=b"});
  EXPECT_EQ(peer_->requests()[0].own_headers(), (Lines{"X-One: 1", "X-Two: 2"}));
  EXPECT_EQ(peer_->requests()[0].body, "");
}

TEST_F(HttpClientTest, HeadAsksForNoBody) {
  peer_->script({answer(200, "not sent")});
  EXPECT_EQ(kelvane::httpHead("http://storage.test/a", nullptr, response_.get(), &code_), 0);
  EXPECT_EQ(peer_->request_lines(), Lines{"HEAD http://storage.test/a"});
  EXPECT_EQ(bytes_of(response_), "");
}

TEST_F(HttpClientTest, PostSendsTheBodyAndDiscardsTheAnswer) {
  peer_->script({answer(200, "ignored")});
  const CurlListOwner headers = two_headers();
  BufferOwner body;
  EXPECT_EQ(kelvane::httpPost("http://168.63.129.16/p", headers.get(), fill(body, "<a>1</a>").get(), &code_), 0);
  EXPECT_EQ(peer_->request_lines(), Lines{"POST http://168.63.129.16/p"});
  EXPECT_EQ(peer_->requests()[0].body, "<a>1</a>");
  EXPECT_EQ(peer_->requests()[0].header("Content-Length"), "8");
}

TEST_F(HttpClientTest, PostOfAnEmptyBodySendsTheHeadersAndLogsNoBody) {
  recording::set_debug_level(7);
  peer_->script({answer(200)});
  const CurlListOwner headers = two_headers();
  BufferOwner body;
  EXPECT_EQ(kelvane::httpPost("http://168.63.129.16/p", headers.get(), body.get(), &code_), 0);
  EXPECT_EQ(peer_->request_lines(), Lines{"POST http://168.63.129.16/p"});
  EXPECT_EQ(peer_->requests()[0].header("Content-Length"), "0");
  EXPECT_EQ(peer_->requests()[0].header("X-Two"), "2");
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: httpPost:251 URL: http://168.63.129.16/p\n",
                                          "[kelvane]: curl_error: httpPost:275 res 0, code 200\n"}));
}

TEST_F(HttpClientTest, PutUploadsBytesThatAreNoText) {
  peer_->script({answer(201, "ignored")});
  char bytes[] = "ab\0cd";
  Buffer body = {bytes, 5};
  EXPECT_EQ(kelvane::httpPut("http://storage.test/b", nullptr, &body, &code_), 0);
  EXPECT_EQ(peer_->request_lines(), Lines{"PUT http://storage.test/b"});
  EXPECT_EQ(peer_->requests()[0].body, std::string("ab\0cd", 5));
  EXPECT_EQ(peer_->requests()[0].header("Content-Length"), "5");
}

TEST_F(HttpClientTest, PutUploadsMoreThanOneReadWholeAndInOrder) {
  peer_->script({answer(201)});
  std::string large;
  for (int i = 0; large.size() < 3000000; i++) {
    large += std::to_string(i) + ",";
  }
  BufferOwner body;
  EXPECT_EQ(kelvane::httpPut("http://storage.test/b", nullptr, fill(body, large).get(), &code_), 0);
  ASSERT_EQ(peer_->requests().size(), 1u);
  EXPECT_TRUE(peer_->requests()[0].body == large);
}

TEST_F(HttpClientTest, PutOfAnEmptyBodySendsNone) {
  peer_->script({answer(201)});
  BufferOwner body;
  EXPECT_EQ(kelvane::httpPut("http://storage.test/b", nullptr, body.get(), &code_), 0);
  EXPECT_EQ(peer_->requests()[0].body, "");
}

// ---- failures ----

TEST_F(HttpClientTest, AStatusOf400AndAboveIsResult22WithoutABody) {
  for (const int status : {400, 403, 404, 500, 503}) {
    peer_->script({answer(status, "an explanation")});
    EXPECT_EQ(kelvane::httpGet("http://168.63.129.16/x", nullptr, response_.get(), &code_), 22) << status;
    EXPECT_EQ(code_, status);
    EXPECT_EQ(bytes_of(response_), "");
  }
}

TEST_F(HttpClientTest, EveryMethodFailsOnAnErrorStatusButPut) {
  BufferOwner body;
  fill(body, "x");
  peer_->handler([](const support::PeerRequest &) { return answer(500); });
  EXPECT_EQ(kelvane::httpHead("http://a.test/", nullptr, response_.get(), &code_), 22);
  EXPECT_EQ(kelvane::httpPost("http://a.test/", nullptr, body.get(), &code_), 22);
  EXPECT_EQ(code_, 500);
  // Fail-on-error is not among the options of PUT: its callers look at the status.
  EXPECT_EQ(kelvane::httpPut("http://a.test/", nullptr, body.get(), &code_), 0);
  EXPECT_EQ(code_, 500);
}

TEST_F(HttpClientTest, NoHandleIsMinusOneAndLeavesTheCodeAlone) {
  spies::spies().refuse_handles = true;
  BufferOwner body;
  EXPECT_EQ(kelvane::httpHead("http://a.test/", nullptr, response_.get(), &code_), -1);
  EXPECT_EQ(kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_), -1);
  EXPECT_EQ(kelvane::httpPost("http://a.test/", nullptr, body.get(), &code_), -1);
  EXPECT_EQ(kelvane::httpPut("http://a.test/", nullptr, body.get(), &code_), -1);
  EXPECT_EQ(code_, -7);
  EXPECT_EQ(peer_->requests().size(), 0u);
}

TEST_F(HttpClientTest, AConnectionClosedWithoutAnAnswerIsResult52) {
  peer_->script({support::close_without_answer()});
  EXPECT_EQ(kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_), 52);
  EXPECT_EQ(code_, 0);
}

TEST_F(HttpClientTest, AResetConnectionIsResult56) {
  peer_->script({support::reset_connection()});
  EXPECT_EQ(kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_), 56);
}

TEST_F(HttpClientTest, ABodyShorterThanItsLengthIsResult18AndWhatCameIsKept) {
  peer_->script({support::answer_with_length(200, "half", 8)});
  EXPECT_EQ(kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_), 18);
  EXPECT_EQ(bytes_of(response_), "half");
  EXPECT_EQ(code_, 200);
}

TEST_F(HttpClientTest, ABodyLongerThanItsLengthIsCut) {
  peer_->script({support::answer_with_length(200, "too long", 3)});
  EXPECT_EQ(kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_), 0);
  EXPECT_EQ(bytes_of(response_), "too");
}

TEST_F(HttpClientTest, AThousandHeadersAreNoMatter) {
  std::vector<std::string> many;
  for (int i = 0; i < 1000; i++) {
    many.push_back("X-Header-" + std::to_string(i) + ": " + std::string(50, 'v'));
  }
  peer_->script({answer(200, "body", many)});
  EXPECT_EQ(kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_), 0);
  EXPECT_EQ(bytes_of(response_), "body");
}

TEST_F(HttpClientTest, AnAnswerThatIsNoHttpIsAFailureOrABodyButNoCrash) {
  peer_->script({{"\0\1\2garbage\r\n\r\n"}, {"<html>"}});
  EXPECT_NE(kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_), 0);
  EXPECT_NE(kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_), 0);
}

TEST_F(HttpClientTest, ASilentServerTimesOutAfterTenSeconds) {
  peer_->script({support::stay_silent()});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_), 28);
  const auto passed = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
  EXPECT_GE(passed.count(), 9);
  EXPECT_LE(passed.count(), 18);  // a busy machine is late, but not by another time-out
}

TEST_F(HttpClientTest, TheResponseIsAppendedToWhatTheBufferHolds) {
  peer_->script({answer(200, "one"), answer(200, "two")});
  kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_);
  kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_);
  EXPECT_EQ(bytes_of(response_), "onetwo");
}

// ---- log ----

TEST_F(HttpClientTest, GetLogsUrlAndInfoAboveLevelSix) {
  recording::set_debug_level(7);
  peer_->script({answer(200, "x"), answer(404)});
  kelvane::httpGet("http://a.test/1", nullptr, response_.get(), &code_);
  kelvane::httpGet("http://a.test/2", nullptr, response_.get(), &code_);
  EXPECT_EQ(
      recording::messages(),
      (Lines{"[kelvane]: httpGet:212 URL: http://a.test/1\n", "[kelvane]: curl info: httpGet:234 res 0, code 200\n",
             "[kelvane]: httpGet:212 URL: http://a.test/2\n", "[kelvane]: curl info: httpGet:234 res 22, code 404\n"}));
}

TEST_F(HttpClientTest, PutLogsTheBodyBeforeAndTheResultAfter) {
  recording::set_debug_level(7);
  peer_->script({answer(201)});
  BufferOwner body;
  kelvane::httpPut("http://a.test/1", nullptr, fill(body, "{\"a\": 1}").get(), &code_);
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: httpPut:290 URL: http://a.test/1\n",
                                          "[kelvane]: httpPut:309 Req Data (8): '{\"a\": 1}'\n",
                                          "[kelvane]: curl_error: httpPut:316 res 0, code 201\n"}));
}

TEST_F(HttpClientTest, PostLogsTheBodyBeforeAndTheResultAfter) {
  recording::set_debug_level(7);
  peer_->script({answer(200)});
  BufferOwner body;
  kelvane::httpPost("http://a.test/1", nullptr, fill(body, "<a/>").get(), &code_);
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: httpPost:251 URL: http://a.test/1\n", "[kelvane]: httpPost:268 Req Data (4): '<a/>'\n",
                   "[kelvane]: curl_error: httpPost:275 res 0, code 200\n"}));
}

TEST_F(HttpClientTest, HeadLogsUrlResultAndHeaders) {
  recording::set_debug_level(7);
  peer_->script({{"HTTP/1.1 200 OK\r\nX-Some: thing\r\n\r\n"}});
  kelvane::httpHead("http://a.test/1", nullptr, response_.get(), &code_);
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: httpHead:171 URL: http://a.test/1\n",
                                          "[kelvane]: __curl_header_recv_cb:123 CURL HDR: HTTP/1.1 200 OK\r\n",
                                          "[kelvane]: __curl_header_recv_cb:123 CURL HDR: X-Some: thing\r\n",
                                          "[kelvane]: curl_error: httpHead:196 res 0, code 200\n"}));
}

// Neither a body nor a result: nothing was sent.
TEST_F(HttpClientTest, AnAttemptWithoutAHandleLogsItsUrlAlone) {
  recording::set_debug_level(7);
  spies::spies().refuse_handles = true;
  BufferOwner body;
  fill(body, "x");
  kelvane::httpHead("http://a.test/1", nullptr, response_.get(), &code_);
  kelvane::httpGet("http://a.test/2", nullptr, response_.get(), &code_);
  kelvane::httpPost("http://a.test/3", nullptr, body.get(), &code_);
  kelvane::httpPut("http://a.test/4", nullptr, body.get(), &code_);
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: httpHead:171 URL: http://a.test/1\n", "[kelvane]: httpGet:212 URL: http://a.test/2\n",
                   "[kelvane]: httpPost:251 URL: http://a.test/3\n", "[kelvane]: httpPut:290 URL: http://a.test/4\n"}));
}

TEST_F(HttpClientTest, NothingIsLoggedAtLevelSix) {
  recording::set_debug_level(6);
  peer_->handler([](const support::PeerRequest &) { return answer(404); });
  BufferOwner body;
  fill(body, "x");
  kelvane::httpHead("http://a.test/", nullptr, response_.get(), &code_);
  kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_);
  kelvane::httpPost("http://a.test/", nullptr, body.get(), &code_);
  kelvane::httpPut("http://a.test/", nullptr, body.get(), &code_);
  EXPECT_EQ(recording::messages(), Lines{});
}

// ---- the header callback ----

size_t header(const std::string &line) {
  // Exactly as long as the line: a read beyond it is found.
  std::vector<char> bytes(line.begin(), line.end());
  return kelvane::__curl_header_recv_cb(bytes.data(), 1, bytes.size(), nullptr);
}

std::string captured() {
  return kelvane::captured_blob_type() != nullptr ? kelvane::captured_blob_type() : "(none)";
}

TEST_F(HttpClientTest, AHeaderOfNoCharactersIsAnsweredWithZeroWhateverTheLine) {
  char line[] = "x-ms-blob-type: PageBlob\r\n";
  recording::set_debug_level(7);
  EXPECT_EQ(kelvane::__curl_header_recv_cb(line, 1, 0, nullptr), 0u);
  EXPECT_EQ(kelvane::__curl_header_recv_cb(nullptr, 1, 0, nullptr), 0u);
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(captured(), "(none)");
}

TEST_F(HttpClientTest, AnAbsentHeaderLineIsMinusOneAndLoggedAtLevelThree) {
  recording::set_debug_level(2);
  EXPECT_EQ(kelvane::__curl_header_recv_cb(nullptr, 1, 5, nullptr), static_cast<size_t>(-1));
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(3);
  EXPECT_EQ(kelvane::__curl_header_recv_cb(nullptr, 1, 5, nullptr), static_cast<size_t>(-1));
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: __curl_header_recv_cb:118 CURL HDR: ptr is nil"});
}

TEST_F(HttpClientTest, AHeaderLineThatBeginsWithWhiteSpaceIsNotLogged) {
  recording::set_debug_level(7);
  EXPECT_EQ(header("\r\n"), 2u);
  EXPECT_EQ(header(" folded\r\n"), 9u);
  EXPECT_EQ(header("\tfolded\r\n"), 9u);
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(header("A: b\r\n"), 6u);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: __curl_header_recv_cb:123 CURL HDR: A: b\r\n"});
}

TEST_F(HttpClientTest, TheBlobTypeIsCapturedWithoutRegardToCaseSpacesOrLineEnd) {
  EXPECT_EQ(header("X-MS-BLOB-TYPE:   PageBlob\r\n"), 28u);
  EXPECT_EQ(captured(), "PageBlob");
  EXPECT_EQ(header("x-ms-blob-type:BlockBlob"), 24u);
  EXPECT_EQ(captured(), "BlockBlob");
  EXPECT_EQ(header("x-Ms-bLob-type: AppendBlob\n"), 27u);
  EXPECT_EQ(captured(), "AppendBlob");
  EXPECT_EQ(header("x-ms-blob-type: Page Blob \r\nrest"), 32u);
  EXPECT_EQ(captured(), "Page Blob ");
}

TEST_F(HttpClientTest, OtherHeadersCaptureNothing) {
  header("x-ms-blob-type: PageBlob\r\n");
  for (const char *line : {"x-ms-blob-typ: A\r\n", "x-ms-blob-type-x: A\r\n", "x-ms-blob-type : A\r\n",
                           " x-ms-blob-type: A", "x-ms-blob-type", "y-ms-blob-type: A\r\n"}) {
    EXPECT_EQ(header(line), std::strlen(line));
    EXPECT_EQ(captured(), "PageBlob") << line;
  }
}

TEST_F(HttpClientTest, AHeaderWithoutAValueStoresNothing) {
  for (const char *line : {"x-ms-blob-type:", "x-ms-blob-type:   ", "x-ms-blob-type:\r\n", "x-ms-blob-type:  \r\n"}) {
    kelvane::captured_blob_type_clear();
    header(line);
    EXPECT_EQ(captured(), "(none)") << line;
    header("x-ms-blob-type: PageBlob\r\n");
    header(line);
    EXPECT_EQ(captured(), "PageBlob") << line;
  }
}

TEST_F(HttpClientTest, HeadCapturesTheBlobTypeAndKeepsItWhenTheNextAnswerHasNone) {
  peer_->script({answer(200, "", {"x-ms-blob-type: BlockBlob"}), answer(200, "", {"x-ms-version: 1"})});
  kelvane::httpHead("http://a.test/", nullptr, response_.get(), &code_);
  EXPECT_EQ(captured(), "BlockBlob");
  kelvane::httpHead("http://a.test/", nullptr, response_.get(), &code_);
  EXPECT_EQ(captured(), "BlockBlob");
  kelvane::captured_blob_type_clear();
  EXPECT_EQ(captured(), "(none)");
}

TEST_F(HttpClientTest, OnlyHeadCaptures) {
  peer_->script({answer(200, "", {"x-ms-blob-type: BlockBlob"})});
  kelvane::httpGet("http://a.test/", nullptr, response_.get(), &code_);
  EXPECT_EQ(captured(), "(none)");
}

// ---- the read callback ----

TEST(UploadReadCallback, CopiesWhatFitsThenTheRestThenNothing) {
  kelvane::HttpUpload upload = {"abcdefgh", 8};
  char to[8] = {};
  EXPECT_EQ(kelvane::http_upload_read_cb(to, 1, 3, &upload), 3u);
  EXPECT_EQ(std::string(to, 3), "abc");
  EXPECT_EQ(kelvane::http_upload_read_cb(to, 2, 2, &upload), 4u);
  EXPECT_EQ(std::string(to, 4), "defg");
  EXPECT_EQ(kelvane::http_upload_read_cb(to, 1, 8, &upload), 1u);
  EXPECT_EQ(to[0], 'h');
  EXPECT_EQ(kelvane::http_upload_read_cb(to, 1, 8, &upload), 0u);
  EXPECT_EQ(kelvane::http_upload_read_cb(to, 1, 8, &upload), 0u);
}

TEST(UploadReadCallback, CopiesAllWhenTheRoomIsExact) {
  kelvane::HttpUpload upload = {"abcd", 4};
  char to[4] = {};
  EXPECT_EQ(kelvane::http_upload_read_cb(to, 4, 1, &upload), 4u);
  EXPECT_EQ(std::string(to, 4), "abcd");
  EXPECT_EQ(upload.left, 0u);
}

TEST(UploadReadCallback, AnAbsentBodyIsTheEnd) {
  kelvane::HttpUpload upload = {nullptr, 0};
  char to[4] = {};
  EXPECT_EQ(kelvane::http_upload_read_cb(to, 1, 4, &upload), 0u);
}

TEST(SocketOptionCallback, DoesNothingAndAccepts) {
  EXPECT_EQ(kelvane::curl_sock_vf_func(nullptr, 3, CURLSOCKTYPE_IPCXN), 0);
}

}  // namespace
