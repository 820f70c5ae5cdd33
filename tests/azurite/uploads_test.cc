// The upload of a document as a block blob and as pages, to a storage service that knows nothing of this tree: what it
// holds afterwards, read back through its own API, and what happens when it refuses.
#include <curl/curl.h>
#include <stdlib.h>

#include <functional>
#include <memory>

#include "protocol/wire/http_client.h"
#include "protocol/wire/page_blob.h"
#include "protocol/wire/status_upload.h"
#include "tests/azurite/azurite_program.h"
#include "tests/support/recording_fixture.h"

using azurite::Azurite;
using azurite::Grant;
using Statuses = std::vector<long>;

namespace {

struct Spies {
  Statuses statuses;             // of the agent's requests, in order
  std::vector<unsigned> sleeps;  // seconds
  size_t interfere_before = 0;   // before the request of this number, from 1 ...
  std::function<void()> interfere;
};

Spies &spies() {
  static Spies all;
  return all;
}

}  // namespace

extern "C" {

unsigned __wrap_sleep(unsigned seconds);
CURLcode __real_curl_easy_perform(CURL *handle);
CURLcode __wrap_curl_easy_perform(CURL *handle);

unsigned __wrap_sleep(unsigned seconds) {
  spies().sleeps.push_back(seconds);
  return 0;
}

CURLcode __wrap_curl_easy_perform(CURL *handle) {
  if (spies().statuses.size() + 1 == spies().interfere_before) {
    spies().interfere();
  }
  const CURLcode result = __real_curl_easy_perform(handle);
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  spies().statuses.push_back(status);
  return result;
}
}

namespace {

constexpr size_t kMebibyte = 1048576;

// A text of that many letters, no two neighbours alike; no two pages, nor two chunks, begin alike.
std::string document(size_t length) {
  std::string made(length, ' ');
  for (size_t i = 0; i < length; i++) {
    made[i] = static_cast<char>('a' + i % 23);
  }
  return made;
}

std::string zeros(size_t count) {
  return std::string(count, '\0');
}

// Compared without printing megabytes.
void expect_bytes(const std::string &got, const std::string &expected) {
  ASSERT_EQ(got.size(), expected.size());
  for (size_t i = 0; i < got.size(); i++) {
    ASSERT_EQ(got[i], expected[i]) << "at byte " << i;
  }
}

const Lines kFailure = {
    "[kelvane]: __StatusBlob_put_page_blob:271 'Failed to clean up page blob for status' -> res 0\n"};

class Upload : public RecordingTest {
 protected:
  static void SetUpTestSuite() {
    curl_global_init(CURL_GLOBAL_ALL);
    for (const char *name : {"http_proxy", "all_proxy", "ALL_PROXY"}) {
      unsetenv(name);
    }
    if (Azurite::missing().empty()) {
      service_ = std::make_unique<Azurite>();
    }
  }
  static void TearDownTestSuite() {
    service_.reset();
    curl_global_cleanup();
  }

  void SetUp() override {
    if (service_ == nullptr) {
      GTEST_SKIP() << Azurite::missing();
    }
    spies() = Spies();
    recording::set_debug_level(1);
  }
  void TearDown() override {
    kelvane::captured_blob_type_clear();
    spies() = Spies();
  }

  // A name that no other case uses.
  static std::string blob(const char *container = azurite::kPrivate) {
    return std::string(container) + "/" + ::testing::UnitTest::GetInstance()->current_test_info()->name();
  }

  static void put_block(const std::string &address, const std::string &text) {
    kelvane::__StatusBlob_put_block_blob(address.c_str(), text.c_str());
  }
  static void put_pages(const std::string &address, const std::string &text) {
    kelvane::__StatusBlob_put_page_blob(address.c_str(), text.c_str());
  }
  static std::string type_of(const std::string &address) {
    const char *type = kelvane::__StatusBlob_get_blob_type(address.c_str());
    return type == nullptr ? "(none)" : type;
  }
  static void before_request(size_t number, std::function<void()> what) {
    spies().interfere_before = number;
    spies().interfere = std::move(what);
  }

  static void expect_blob(const std::string &name, const std::string &type, const std::string &bytes) {
    const azurite::Answer answer = service_->get(name);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.blob_type, type);
    expect_bytes(answer.body, bytes);
  }
  // Nine attempts that were refused alike, behind requests that were answered as said, and a pause after each.
  static void expect_repeated(Statuses behind, long status) {
    behind.insert(behind.end(), 9, status);
    EXPECT_EQ(spies().statuses, behind);
    EXPECT_EQ(spies().sleeps, std::vector<unsigned>(9, 10));
  }
  static void expect_once(const Statuses &statuses) {
    EXPECT_EQ(spies().statuses, statuses);
    EXPECT_EQ(spies().sleeps, std::vector<unsigned>());
  }

  static std::unique_ptr<Azurite> service_;
};

std::unique_ptr<Azurite> Upload::service_;

// ---- block blobs ----

TEST_F(Upload, ABlockBlobOfAThousandBytesIsTheDocument) {
  put_block(service_->signed_address(blob()), document(1000));
  expect_once({201});
  expect_blob(blob(), "BlockBlob", document(1000));
}

TEST_F(Upload, ABlockBlobOfWholePagesKeepsItsLastCharacter) {
  put_block(service_->signed_address(blob()), document(1024));
  expect_once({201});
  expect_blob(blob(), "BlockBlob", document(1024));
}

TEST_F(Upload, ABlockBlobOfFiveMebibytesIsOneRequest) {
  put_block(service_->signed_address(blob()), document(5 * kMebibyte));
  expect_once({201});
  expect_blob(blob(), "BlockBlob", document(5 * kMebibyte));
}

TEST_F(Upload, ABlockBlobTakesThePlaceOfALongerOne) {
  service_->put_block_blob(blob(), document(3000));
  put_block(service_->signed_address(blob()), "short");
  expect_once({201});
  expect_blob(blob(), "BlockBlob", "short");
}

// ---- page blobs ----

TEST_F(Upload, AThousandBytesAreTwoPagesWithZerosAtTheEnd) {
  put_pages(service_->signed_address(blob()), document(1000));
  expect_once({201, 201});
  expect_blob(blob(), "PageBlob", document(1000) + zeros(24));
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(Upload, ADocumentOfWholePagesEndsInAZeroInPlaceOfItsLastCharacter) {
  put_pages(service_->signed_address(blob()), document(1024));
  expect_once({201, 201});
  expect_blob(blob(), "PageBlob", document(1023) + zeros(1));
}

TEST_F(Upload, FiveMebibytesAreTwoWrites) {
  put_pages(service_->signed_address(blob()), document(5 * kMebibyte));
  expect_once({201, 201, 201});
  expect_blob(blob(), "PageBlob", document(5 * kMebibyte - 1) + zeros(1));
}

TEST_F(Upload, FourMebibytesAreOneWrite) {
  put_pages(service_->signed_address(blob()), document(4 * kMebibyte));
  expect_once({201, 201});
  expect_blob(blob(), "PageBlob", document(4 * kMebibyte - 1) + zeros(1));
}

TEST_F(Upload, OneByteMoreThanAWriteIsAnotherWriteOfOnePage) {
  put_pages(service_->signed_address(blob()), document(4 * kMebibyte + 1));
  expect_once({201, 201, 201});
  expect_blob(blob(), "PageBlob", document(4 * kMebibyte + 1) + zeros(511));
}

TEST_F(Upload, OneByteIsOnePage) {
  put_pages(service_->signed_address(blob()), "x");
  expect_once({201, 201});
  expect_blob(blob(), "PageBlob", "x" + zeros(511));
}

TEST_F(Upload, AnEmptyDocumentIsABlobWithoutPages) {
  put_pages(service_->signed_address(blob()), "");
  expect_once({201});
  expect_blob(blob(), "PageBlob", "");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(Upload, NothingIsLeftOfALongerPageBlob) {
  put_pages(service_->signed_address(blob()), document(3000));
  put_pages(service_->signed_address(blob()), document(600));
  expect_once({201, 201, 201, 201});
  expect_blob(blob(), "PageBlob", document(600) + zeros(424));
}

// ---- the type that the service tells ----

TEST_F(Upload, TheServiceTellsTheTypeOfABlob) {
  service_->put_block_blob(blob() + "1", "old");
  service_->put_page_blob(blob() + "2", 512);
  service_->put_append_blob(blob() + "3");
  EXPECT_EQ(type_of(service_->signed_address(blob() + "1")), "BlockBlob");
  EXPECT_EQ(type_of(service_->signed_address(blob() + "2")), "PageBlob");
  EXPECT_EQ(type_of(service_->signed_address(blob() + "3")), "AppendBlob");
  expect_once({200, 200, 200});
}

TEST_F(Upload, ABlobThatIsNotThereHasNoType) {
  EXPECT_EQ(type_of(service_->signed_address(blob())), "(none)");
  expect_repeated({}, 404);
}

TEST_F(Upload, NorHasOneInAContainerThatIsNotThere) {
  EXPECT_EQ(type_of(service_->signed_address("nowhere/status")), "(none)");
  expect_repeated({}, 404);
}

TEST_F(Upload, AnAddressThatHasExpiredTellsNoType) {
  service_->put_block_blob(blob(), "old");
  EXPECT_EQ(type_of(service_->signed_address(blob(), {.expiry = "2020-01-01T00:00:00Z"})), "(none)");
  expect_repeated({}, 403);
}

TEST_F(Upload, AWrongSignatureTellsNoType) {
  service_->put_block_blob(blob(), "old");
  EXPECT_EQ(type_of(service_->signed_address(blob(), {.signed_for = "status/another"})), "(none)");
  expect_repeated({}, 403);
}

TEST_F(Upload, WithoutASignatureOnlyAPublicBlobTellsItsType) {
  service_->put_page_blob(blob(azurite::kPublic), 512);
  service_->put_page_blob(blob(), 512);
  EXPECT_EQ(type_of(service_->address(blob(azurite::kPublic))), "PageBlob");
  EXPECT_EQ(type_of(service_->address(blob())), "(none)");
  expect_repeated({200}, 403);
}

// ---- refusals: a write that is answered is not repeated, whatever the answer ----

// A bare address ends behind the first request: nobody writes without a signature, not even into a public container.
TEST_F(Upload, WithoutASignatureNoBlockIsWritten) {
  service_->put_block_blob(blob(azurite::kPublic), "old");
  put_block(service_->address(blob(azurite::kPublic)), document(1000));
  expect_once({403});
  EXPECT_EQ(recording::messages(), Lines{}) << "a block blob's failure is not told";
  EXPECT_EQ(service_->get_anonymously(blob(azurite::kPublic)).body, "old");
}

TEST_F(Upload, WithoutASignatureNoPageIsWritten) {
  service_->put_block_blob(blob(azurite::kPublic), "old");
  put_pages(service_->address(blob(azurite::kPublic)), document(1000));
  expect_once({403});
  EXPECT_EQ(recording::messages(), kFailure);
  EXPECT_EQ(service_->get_anonymously(blob(azurite::kPublic)).body, "old");
}

TEST_F(Upload, AnAddressThatHasExpiredWritesNothing) {
  service_->put_block_blob(blob(), "old");
  const std::string address = service_->signed_address(blob(), {.expiry = "2020-01-01T00:00:00Z"});
  put_block(address, document(1000));
  expect_once({403});
  expect_blob(blob(), "BlockBlob", "old");
}

TEST_F(Upload, AWrongSignatureWritesNothing) {
  service_->put_page_blob(blob(), 512);
  put_pages(service_->signed_address(blob(), {.signed_for = "status/another"}), document(1000));
  expect_once({403});
  EXPECT_EQ(recording::messages(), kFailure);
  expect_blob(blob(), "PageBlob", zeros(512));
}

TEST_F(Upload, AnAddressForReadingWritesNothing) {
  service_->put_block_blob(blob(), "old");
  put_block(service_->signed_address(blob(), {.permissions = "r"}), document(1000));
  expect_once({403});
  expect_blob(blob(), "BlockBlob", "old");
}

TEST_F(Upload, AnAddressForCreatingLeavesABlobWithoutItsPages) {
  put_pages(service_->signed_address(blob(), {.permissions = "c"}), document(1000));
  expect_once({201, 403});
  EXPECT_EQ(recording::messages(), kFailure);
  expect_blob(blob(), "PageBlob", zeros(1024));
}

TEST_F(Upload, AContainerThatIsNotThereTakesNothing) {
  put_pages(service_->signed_address("nowhere/status"), document(1000));
  expect_once({404});
  EXPECT_EQ(recording::messages(), kFailure);
}

TEST_F(Upload, ABlobThatGoesAwayBetweenTwoWritesEndsTheUpload) {
  before_request(3, [] { service_->remove(blob()); });
  put_pages(service_->signed_address(blob()), document(5 * kMebibyte));
  expect_once({201, 201, 404});
  EXPECT_EQ(recording::messages(), kFailure);
  EXPECT_EQ(service_->get(blob()).status, 404);
}

TEST_F(Upload, ABlobThatBecomesABlockBlobTakesNoPages) {
  before_request(2, [] { service_->put_block_blob(blob(), "another's"); });
  put_pages(service_->signed_address(blob()), document(1000));
  expect_once({201, 409});
  EXPECT_EQ(recording::messages(), kFailure);
  expect_blob(blob(), "BlockBlob", "another's");
}

TEST_F(Upload, ABlobThatBecomesShorterTakesNoPagesBeyondItsEnd) {
  before_request(3, [] { service_->put_page_blob(blob(), 4 * kMebibyte); });
  put_pages(service_->signed_address(blob()), document(5 * kMebibyte));
  expect_once({201, 201, 416});
  EXPECT_EQ(recording::messages(), kFailure);
  expect_blob(blob(), "PageBlob", zeros(4 * kMebibyte));
}

}  // namespace
