// The HTTP client at its edges: without a body to send, when memory runs out, and callbacks that are handed odd sizes
// and bytes.
#include <cstdint>
#include <string>

#include "core/base/buffer.h"
#include "protocol/http_request.h"
#include "protocol/wire/http_client.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/spies.h"

using kelvane::BufferOwner;
using support::answer;

namespace {

class HttpEdgesTest : public WireTest {
 protected:
  ~HttpEdgesTest() override {
    spies::refuse_malloc = 0;
    spies::refuse_realloc = 0;
  }

  BufferOwner buffer_;
  int64_t code_ = -7;
};

std::string captured() {
  return kelvane::captured_blob_type() != nullptr ? kelvane::captured_blob_type() : "(none)";
}

TEST_F(HttpEdgesTest, AResponseOfNoItemsIsAnsweredWithZeroAndChangesNothing) {
  char data[] = "abc";
  kelvane::__makeBuffer(buffer_.get(), "kept");
  EXPECT_EQ(kelvane::event_curl_recv_cb(data, 1, 0, buffer_.get()), 0u);
  EXPECT_STREQ(buffer_.data(), "kept");
}

TEST_F(HttpEdgesTest, AResponseOfItemsWithoutBytesAddsNothingAndReturnsTheirCount) {
  char data[] = "abc";
  EXPECT_EQ(kelvane::event_curl_recv_cb(data, 0, 3, buffer_.get()), 3u);
  EXPECT_EQ(buffer_.length(), 0u);
  kelvane::__makeBuffer(buffer_.get(), "kept");
  EXPECT_EQ(kelvane::event_curl_recv_cb(data, 0, 3, buffer_.get()), 3u);
  EXPECT_EQ(buffer_.length(), 4u);
  EXPECT_STREQ(buffer_.data(), "kept");
}

TEST_F(HttpEdgesTest, AnAbsentBodyIsPostedAsTheEmptyText) {
  peer_->script({answer(200)});
  EXPECT_EQ(kelvane::httpPost("http://a.test/", nullptr, buffer_.get(), &code_), 0);
  ASSERT_EQ(spies::spies().options.size(), 11u);
  EXPECT_EQ(spies::spies().options[5], "CURLOPT_INFILESIZE 0");
  EXPECT_EQ(spies::spies().options[6], "CURLOPT_POSTFIELDSIZE 0");
  EXPECT_EQ(spies::spies().options[7], "CURLOPT_POSTFIELDS ");
}

TEST_F(HttpEdgesTest, AnAbsentBodyIsUploadedAsNoBytes) {
  peer_->script({answer(201)});
  EXPECT_EQ(kelvane::httpPut("http://a.test/", nullptr, buffer_.get(), &code_), 0);
  ASSERT_EQ(spies::spies().options.size(), 10u);
  EXPECT_EQ(spies::spies().options[5], "CURLOPT_READDATA none (0)");
  EXPECT_EQ(spies::spies().options[6], "CURLOPT_INFILESIZE 0");
  EXPECT_EQ(peer_->requests()[0].header("Content-Length"), "0");
}

TEST_F(HttpEdgesTest, AResponseThatCannotGrowEndsTheTransferAndTheBufferKeepsWhatItHeld) {
  peer_->script({answer(200, "hello")});
  kelvane::__makeBuffer(buffer_.get(), "kept");
  spies::refuse_realloc = 1;
  EXPECT_EQ(kelvane::httpGet("http://a.test/", nullptr, buffer_.get(), &code_), 23);
  EXPECT_EQ(code_, 200);
  EXPECT_EQ(buffer_.length(), 4u);
  EXPECT_STREQ(buffer_.data(), "kept");
}

TEST_F(HttpEdgesTest, AResponseWhoseFirstBytesFindNoMemoryEndsTheTransferToo) {
  peer_->script({answer(200, "hello")});
  spies::refuse_realloc = 1;
  EXPECT_EQ(kelvane::httpGet("http://a.test/", nullptr, buffer_.get(), &code_), 23);
  EXPECT_EQ(buffer_.data(), nullptr);
  EXPECT_EQ(buffer_.length(), 0u);
}

TEST_F(HttpEdgesTest, ABlobTypeThatCannotBeCopiedKeepsTheEarlierOne) {
  char first[] = "x-ms-blob-type: BlockBlob\r\n";
  char second[] = "x-ms-blob-type: PageBlob\r\n";
  kelvane::__curl_header_recv_cb(first, 1, sizeof first - 1, nullptr);
  spies::refuse_malloc = 1;
  EXPECT_EQ(kelvane::__curl_header_recv_cb(second, 1, sizeof second - 1, nullptr), 26u);
  EXPECT_EQ(captured(), "BlockBlob");
}

TEST_F(HttpEdgesTest, TheHeaderCallbackReadsSizeTimesCountBytesAndReturnsTheCount) {
  char line[] = "x-ms-blob-type: PageBlob\r\n";
  EXPECT_EQ(kelvane::__curl_header_recv_cb(line, 2, 13, nullptr), 13u);
  EXPECT_EQ(captured(), "PageBlob");
}

TEST_F(HttpEdgesTest, AHeaderOfItemsWithoutBytesIsNotReadAndTheirCountIsReturned) {
  recording::set_debug_level(7);
  char line[] = "x-ms-blob-type: PageBlob\r\n";
  EXPECT_EQ(kelvane::__curl_header_recv_cb(line, 0, 5, nullptr), 5u);
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(captured(), "(none)");
}

TEST_F(HttpEdgesTest, OnlySpacesAreSkippedInFrontOfTheBlobType) {
  char line[] = "x-ms-blob-type: \tPageBlob\r\n";
  kelvane::__curl_header_recv_cb(line, 1, sizeof line - 1, nullptr);
  EXPECT_EQ(captured(), "\tPageBlob");
}

TEST_F(HttpEdgesTest, ABlobTypeEndsAtAZeroByte) {
  char nothing[] = "x-ms-blob-type: \0PageBlob\r\n";
  kelvane::__curl_header_recv_cb(nothing, 1, sizeof nothing - 1, nullptr);
  EXPECT_EQ(captured(), "(none)");
  char half[] = "x-ms-blob-type: Page\0Blob\r\n";
  kelvane::__curl_header_recv_cb(half, 1, sizeof half - 1, nullptr);
  EXPECT_EQ(captured(), "Page");
}

TEST_F(HttpEdgesTest, AnUploadIntoRoomBeyondAllSizesCopiesWhatIsLeft) {
  constexpr size_t kHalf = SIZE_MAX / 2 + 1;
  kelvane::HttpUpload upload = {"abcd", 4};
  char to[4] = {};
  EXPECT_EQ(kelvane::http_upload_read_cb(to, kHalf, 2, &upload), 4u) << "the product is not taken for 0";
  EXPECT_EQ(std::string(to, 4), "abcd");
}

TEST_F(HttpEdgesTest, AnUploadIntoNoRoomCopiesNothing) {
  kelvane::HttpUpload upload = {"abcd", 4};
  char to = 'x';
  EXPECT_EQ(kelvane::http_upload_read_cb(&to, 0, 4, &upload), 0u);
  EXPECT_EQ(kelvane::http_upload_read_cb(&to, 1, 0, &upload), 0u);
  EXPECT_EQ(to, 'x');
  EXPECT_EQ(upload.left, 4u);
}

}  // namespace
