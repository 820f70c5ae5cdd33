// The upload of a document as pages: requests to the byte, failures, and what is logged.
#include "protocol/wire/page_blob.h"

#include <algorithm>
#include <string>

#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/spies.h"

using support::answer;

namespace {

constexpr int64_t kNow = 1767323045;  // 2026-01-02T03:04:05Z
constexpr const char kUrl[] = "http://storage.test/c/status";
constexpr const char kCreated[] = "PUT http://storage.test/c/status";
constexpr const char kPaged[] = "PUT http://storage.test/c/status?comp=page";

std::string failure(int result) {
  return "[kelvane]: __StatusBlob_put_page_blob:271 'Failed to clean up page blob for status' -> res " +
         std::to_string(result) + "\n";
}

class PageBlob : public WireTest {
 protected:
  PageBlob() {
    spies::spies().now = kNow;
    recording::set_debug_level(6);
    peer_->handler([](const support::PeerRequest &) { return answer(201); });
  }
  ~PageBlob() override {
    spies::refuse_malloc = 0;
    spies::refuse_calloc_of = 0;
  }

  // A text of that many letters, no two neighbours alike.
  static std::string text(size_t length) {
    std::string made(length, ' ');
    for (size_t i = 0; i < length; i++) {
      made[i] = static_cast<char>('a' + i % 23);
    }
    return made;
  }

  void put(const std::string &document, const char *url = kUrl) {
    kelvane::__StatusBlob_put_page_blob(url, document.c_str());
  }

  static Lines create_headers(const std::string &length) {
    return {"x-ms-date: 2026-01-02T03:04:05Z", "x-ms-version: 2014-02-14", "x-ms-blob-type: PageBlob",
            "x-ms-blob-content-length: " + length};
  }

  static Lines page_headers(const std::string &range) {
    return {"x-ms-date: 2026-01-02T03:04:05Z", "x-ms-version: 2014-02-14", "x-ms-page-write: update",
            "x-ms-range: bytes=" + range};
  }
};

TEST_F(PageBlob, AThousandBytesAreOneWriteOfTwoPages) {
  put(text(1000));
  ASSERT_EQ(peer_->request_lines(), (Lines{kCreated, kPaged}));
  const auto requests = peer_->requests();
  EXPECT_EQ(requests[0].own_headers(), create_headers("1024"));
  EXPECT_EQ(requests[0].body, "");
  EXPECT_EQ(requests[1].own_headers(), page_headers("0-1023"));
  EXPECT_EQ(requests[1].body, text(1000) + std::string(24, '\0'));
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(PageBlob, ADocumentOfWholePagesLosesItsLastCharacter) {
  put(text(1024));
  ASSERT_EQ(peer_->requests().size(), 2u);
  EXPECT_EQ(peer_->requests()[0].own_headers(), create_headers("1024"));
  EXPECT_EQ(peer_->requests()[1].own_headers(), page_headers("0-1023"));
  EXPECT_EQ(peer_->requests()[1].body, text(1023) + std::string(1, '\0'));
}

TEST_F(PageBlob, OneByteMoreIsOnePageMore) {
  put(text(513));
  ASSERT_EQ(peer_->requests().size(), 2u);
  EXPECT_EQ(peer_->requests()[0].own_headers(), create_headers("1024"));
  EXPECT_EQ(peer_->requests()[1].body, text(513) + std::string(511, '\0'));
}

TEST_F(PageBlob, FiveMebibytesAreTwoWrites) {
  put(text(5242880));
  ASSERT_EQ(peer_->request_lines(), (Lines{kCreated, kPaged, kPaged}));
  const auto requests = peer_->requests();
  EXPECT_EQ(requests[0].own_headers(), create_headers("5242880"));
  EXPECT_EQ(requests[1].own_headers(), page_headers("0-4194303"));
  EXPECT_TRUE(requests[1].body == text(5242880).substr(0, 4194304));
  EXPECT_EQ(requests[2].own_headers(), page_headers("4194304-5242879"));
  EXPECT_TRUE(requests[2].body == text(5242879).substr(4194304) + std::string(1, '\0'));
}

TEST_F(PageBlob, TheLastWriteIsPaddedToPages) {
  put(text(4194305));
  const auto requests = peer_->requests();
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].own_headers(), create_headers("4194816"));
  EXPECT_EQ(requests[2].own_headers(), page_headers("4194304-4194815"));
  // Nothing of the chunk before is left in it.
  EXPECT_EQ(requests[2].body, text(4194305).substr(4194304) + std::string(511, '\0'));
}

TEST_F(PageBlob, FourMebibytesAreOneWrite) {
  put(text(4194304));
  const auto requests = peer_->requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[1].own_headers(), page_headers("0-4194303"));
}

TEST_F(PageBlob, AFullChunkIsLoggedToItsEndAndNotBeyond) {
  recording::set_debug_level(7);
  spies::spies().attempts = {{0, 201}, {0, 201}, {0, 201}};
  put(text(4194305));
  const std::string head = "[kelvane]: httpPut:309 Req Data (4194304): '";
  size_t size = 0;
  for (const std::string &line : recording::messages()) {
    size = line.rfind(head, 0) == 0 ? line.size() : size;
  }
  EXPECT_EQ(size, head.size() + 4194304 + 2);
}

TEST_F(PageBlob, AQueryIsContinued) {
  put("x", "http://storage.test/c/status?sv=1&sig=2");
  EXPECT_EQ(peer_->request_lines(), (Lines{"PUT http://storage.test/c/status?sv=1&sig=2",
                                           "PUT http://storage.test/c/status?sv=1&sig=2&comp=page"}));
}

TEST_F(PageBlob, AnEmptyDocumentIsABlobWithoutPages) {
  put("");
  ASSERT_EQ(peer_->request_lines(), Lines{kCreated});
  EXPECT_EQ(peer_->requests()[0].own_headers(), create_headers("0"));
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  spies::spies().attempts = {{0, 201}};
  put("");
  EXPECT_THAT(recording::messages(), ::testing::Not(::testing::Contains(::testing::HasSubstr("comp=page"))));
}

TEST_F(PageBlob, ItsLinesAboveLevelSix) {
  recording::set_debug_level(7);
  spies::spies().attempts = {{0, 201}, {0, 201}};
  put("x");
  const Lines &lines = recording::messages();
  EXPECT_EQ(lines.front(), "[kelvane]: start - __StatusBlob_put_page_blob:262\n");
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "[kelvane]: URL 'http://storage.test/c/status?comp=page'\n"), 1);
}

TEST_F(PageBlob, ARefusedCreationEndsTheUpload) {
  recording::set_debug_level(1);
  peer_->script({answer(403)});
  put(text(10));
  EXPECT_EQ(peer_->request_lines(), Lines{kCreated});
  EXPECT_EQ(recording::messages(), Lines{failure(0)});
}

TEST_F(PageBlob, AFailedCreationIsLoggedWithItsResult) {
  recording::set_debug_level(1);
  spies::spies().attempts.assign(9, {7, 0});
  put(text(10));
  EXPECT_EQ(spies::spies().performed, 9);
  EXPECT_EQ(recording::messages(), Lines{failure(7)});
}

TEST_F(PageBlob, AFailedCreationOfAnEmptyBlobIsLoggedToo) {
  recording::set_debug_level(1);
  peer_->script({answer(500)});
  put("");
  EXPECT_EQ(recording::messages(), Lines{failure(0)});
}

TEST_F(PageBlob, StatusesFrom200To299AreAccepted) {
  recording::set_debug_level(1);
  spies::spies().attempts = {{0, 200}, {0, 299}};
  put(text(10));
  EXPECT_EQ(spies::spies().performed, 2);
  EXPECT_EQ(recording::messages(), Lines{});
  spies::spies().attempts = {{0, 199}};
  put(text(10));
  spies::spies().attempts = {{0, 300}};
  put(text(10));
  EXPECT_EQ(spies::spies().performed, 4);
  spies::spies().attempts = {{0, 201}, {0, 300}};
  put(text(10));
  EXPECT_EQ(recording::messages(), (Lines{failure(0), failure(0), failure(0)}));
}

TEST_F(PageBlob, AFailureBetweenTwoWritesEndsTheUpload) {
  recording::set_debug_level(1);
  peer_->script({answer(201), answer(412)});
  put(text(4194305));
  EXPECT_EQ(peer_->requests().size(), 2u);
  EXPECT_EQ(recording::messages(), Lines{failure(0)});
}

TEST_F(PageBlob, AFailedSecondWriteIsLoggedWithItsResult) {
  recording::set_debug_level(1);
  spies::spies().attempts = {{0, 201}, {0, 201}};
  spies::spies().attempts.insert(spies::spies().attempts.end(), 9, {56, 0});
  put(text(4194305));
  EXPECT_EQ(spies::spies().performed, 11);
  EXPECT_EQ(recording::messages(), Lines{failure(56)});
}

TEST_F(PageBlob, FailuresAreSilentAtLevelZero) {
  recording::set_debug_level(0);
  peer_->script({answer(403), answer(201), answer(403)});
  put(text(10));
  put(text(10));
  EXPECT_EQ(peer_->requests().size(), 3u);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(PageBlob, WithoutMemoryForTheCopyOneLineAboveLevelOne) {
  spies::refuse_calloc_of = 1025;  // with the zero behind the bytes
  recording::set_debug_level(1);
  put(text(1000));
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(2);
  put(text(1000));
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: malloc failed ....\n"});
  EXPECT_EQ(peer_->request_lines(), (Lines{kCreated, kCreated}));
}

TEST_F(PageBlob, WithoutMemoryForTheChunkNothingIsSaid) {
  spies::refuse_calloc_of = 4194305;
  put(text(5242880));
  EXPECT_EQ(peer_->request_lines(), Lines{kCreated});
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(PageBlob, WithoutMemoryForTheHeadersNothingIsSent) {
  const std::string no_memory = "[kelvane]: no memory for the headers of a storage request, it is not sent\n";
  recording::set_debug_level(1);
  spies::refuse_malloc = 1;
  put(text(10));
  EXPECT_EQ(spies::refuse_malloc, 0);
  EXPECT_EQ(peer_->request_lines(), Lines{});
  EXPECT_EQ(recording::messages(), (Lines{no_memory, failure(-1)}));
}

TEST_F(PageBlob, WithoutMemoryForTheHeadersOfAPageItIsNotWritten) {
  const std::string no_memory = "[kelvane]: no memory for the headers of a storage request, it is not sent\n";
  recording::set_debug_level(1);
  for (int nth = 1; nth <= 4; nth++) {  // date, version, and two more
    peer_->forget_requests();
    recording::clear_trace();
    spies::spies().refuse_list_append = 4 + nth;
    put(text(10));
    EXPECT_EQ(spies::spies().refuse_list_append, 0);
    EXPECT_EQ(peer_->request_lines(), Lines{kCreated});
    EXPECT_EQ(recording::messages(), (Lines{no_memory, failure(-1)}));
  }
}

TEST_F(PageBlob, WithoutMemoryForTheUrlNothingIsSaid) {
  recording::set_debug_level(6);
  spies::refuse_malloc = 2;  // the date header is the first
  put(text(10));
  EXPECT_EQ(spies::refuse_malloc, 0);
  EXPECT_EQ(peer_->request_lines(), Lines{kCreated});
  EXPECT_EQ(recording::messages(), Lines{});
}

}  // namespace
