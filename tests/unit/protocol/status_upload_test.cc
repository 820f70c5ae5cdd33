// The upload of the status: which kind of blob, what is sent, what is kept, and the report of the blob's type.
#include "protocol/wire/status_upload.h"

#include <curl/curl.h>
#include <mxml.h>
#include <algorithm>
#include <cstdlib>
#include <string>

#include "protocol/wire/ext_config.h"
#include "protocol/wire/http_client.h"
#include "protocol/wire/status_blob.h"
#include "protocol/wire/wire_protocol.h"
#include "telemetry/event_queue.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/spies.h"

using support::answer;
using support::PeerAnswer;

namespace {

constexpr int64_t kNow = 1767323045;  // 2026-01-02T03:04:05Z
// From 7.76.0 libcurl hands on the headers of an answer that CURLOPT_FAILONERROR turns down.
constexpr unsigned int kCurlTellsHeadersOfErrors = 0x074c00;
constexpr const char kHead[] = "HEAD http://storage.test/c/status?sv=1";
constexpr const char kPut[] = "PUT http://storage.test/c/status?sv=1";
constexpr const char kPage[] = "PUT http://storage.test/c/status?sv=1&comp=page";

constexpr const char kDocument[] =
    "{ \"aggregateStatus\": { \"guestAgentStatus\": { \"version\": \"2.2.26\", \"status\": null, "
    "\"formattedMessage\": { \"lang\": \"en-US\", \"message\": null } }, \"handlerAggregateStatus\": [ ] }, "
    "\"version\": \"1.0\", \"timestampUTC\": \"2026-01-02T03:04:05Z\" }";

class StatusUpload : public WireTest {
 protected:
  StatusUpload() {
    spies::spies().now = kNow;
    recording::set_debug_level(6);
    events();
    mxmlSetWrapMargin(0);  // as start-up sets it
    url("http://storage.test/c/status?sv=1");
    blob_is("BlockBlob");
  }
  ~StatusUpload() override { events(); }

  static void url(const char *text) { kelvane::text_copy(&kelvane::ext_config()->status_upload_url, text); }

  // What the storage service says of the blob; "" for nothing.
  void blob_is(const std::string &type, int status = 200) {
    peer_->handler([type, status](const support::PeerRequest &request) {
      if (request.method != "HEAD") {
        return answer(201);
      }
      return type.empty() ? answer(status) : answer(status, "", {"x-ms-blob-type: " + type});
    });
  }

  void record_extension(const char *name = "E") {
    const kelvane::ExtStatus status = {};
    kelvane::status_blob_record_extension(name, &status);
  }

  // Slot 10.
  void report() {
    kelvane::VMStatus vm = {};
    vm.agent_version = "2.2.26";
    EXPECT_EQ(protocol_->report_vm_status(protocol_, &vm), 0);
  }

  static std::string value(const std::string &event, const std::string &name) {
    const std::string key = "Name=\"" + name + "\" T=\"";
    const size_t at = event.find("Value=\"", event.find(key)) + 7;
    return event.substr(at, event.find('"', at) - at);
  }

  // Takes every queued event: "name, operation, success, duration, version, message".
  static Lines events() {
    Lines all;
    while (mxml_node_t *event = kelvane::event_queue_take()) {
      char *text = mxmlSaveAllocString(event, MXML_NO_CALLBACK);
      all.push_back(value(text, "Name") + ", " + value(text, "Operation") + ", " + value(text, "OperationSuccess") +
                    ", " + value(text, "Duration") + ", " + value(text, "Version") + ", " + value(text, "Message"));
      free(text);
      mxmlDelete(event);
    }
    return all;
  }

  const kelvane::Protocol *protocol_ = kelvane::ProtocolGetWire();
};

const std::string kMatch = "TorvikGuest, HealthCheck, True, 0, 2.2.26, Blob type match ";
const std::string kMismatch = "TorvikGuest, HealthCheck, False, 0, 2.2.26, Blob type mismatch ";

// ---- which blob ----

TEST_F(StatusUpload, ABlockBlobIsPutInOne) {
  report();
  ASSERT_EQ(peer_->request_lines(), (Lines{kHead, kPut}));
  EXPECT_EQ(peer_->requests()[0].own_headers(), (Lines{"x-ms-date: 2026-01-02T03:04:05Z", "x-ms-version: 2014-02-14"}));
  EXPECT_EQ(peer_->requests()[1].own_headers(),
            (Lines{"x-ms-date: 2026-01-02T03:04:05Z", "x-ms-version: 2014-02-14", "x-ms-blob-type: BlockBlob"}));
  EXPECT_EQ(peer_->requests()[1].body, kDocument);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(StatusUpload, APageBlobIsPutInPages) {
  blob_is("PageBlob");
  report();
  ASSERT_EQ(peer_->request_lines(), (Lines{kHead, kPut, kPage}));
  std::string body = kDocument;
  body.resize(512, '\0');
  EXPECT_EQ(peer_->requests()[2].body, body);
}

TEST_F(StatusUpload, AnyOtherTypeUploadsNothing) {
  for (const char *type : {"AppendBlob", "blockblob", "PAGEBLOB", "BlockBlobs", ""}) {
    peer_->forget_requests();
    blob_is(type);
    record_extension();
    report();
    EXPECT_EQ(peer_->request_lines(), Lines{kHead});
    EXPECT_EQ(kelvane::status_blob()->extension_count, 0);
  }
}

TEST_F(StatusUpload, AHeadThatFailsYieldsNoType) {
  blob_is("BlockBlob", 404);
  record_extension();
  report();
  EXPECT_THAT(peer_->request_lines(), ::testing::Each(kHead));
  EXPECT_EQ(kelvane::captured_blob_type(), nullptr);
  EXPECT_EQ(kelvane::status_blob()->extension_count, 0);
  EXPECT_EQ(events(), Lines{});
  EXPECT_FALSE(kelvane::blob_type_reported());
}

TEST_F(StatusUpload, AtLevelZeroAHeadWithoutMemoryForItsHeadersIsSilent) {
  recording::set_debug_level(0);
  spies::spies().refuse_list_append = 1;
  report();
  EXPECT_EQ(peer_->request_lines(), Lines{});
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(StatusUpload, AHeadWithoutMemoryForItsHeadersIsNotMade) {
  const std::string no_memory = "[kelvane]: no memory for the headers of a storage request, it is not sent\n";
  record_extension();
  spies::spies().refuse_list_append = 1;
  report();
  EXPECT_EQ(peer_->request_lines(), Lines{});
  EXPECT_EQ(recording::messages(), Lines{no_memory});
  EXPECT_EQ(kelvane::status_blob()->extension_count, 0);
}

TEST_F(StatusUpload, ABlockBlobWithoutMemoryForItsHeadersIsNotPut) {
  spies::spies().refuse_list_append = 5;  // the HEAD has two, the PUT three
  report();
  EXPECT_EQ(spies::spies().refuse_list_append, 0);
  EXPECT_EQ(peer_->request_lines(), Lines{kHead});
}

// The answer of an attempt that failed is one that a HEAD has seen: what a later one lacks does not undo it.
TEST_F(StatusUpload, ATypeThatAFailedAttemptToldCountsWhenTheNextSucceedsWithoutOne) {
  if (curl_version_info(CURLVERSION_NOW)->version_num < kCurlTellsHeadersOfErrors) {
    GTEST_SKIP() << "this libcurl ends an attempt at its status, before the headers of the answer";
  }
  int heads = 0;
  peer_->handler([&heads](const support::PeerRequest &request) {
    if (request.method != "HEAD") {
      return answer(201);
    }
    return ++heads == 1 ? answer(503, "", {"x-ms-blob-type: PageBlob"}) : answer(200);
  });
  report();
  EXPECT_EQ(peer_->request_lines(), (Lines{kHead, kHead, kPut, kPage}));
  EXPECT_EQ(events(), Lines{kMismatch + "[HEAD PageBlob], [CONFIG BlockBlob]"});
}

TEST_F(StatusUpload, TheLastAttemptsTypeCounts) {
  int heads = 0;
  peer_->handler([&heads](const support::PeerRequest &request) {
    if (request.method != "HEAD") {
      return answer(201);
    }
    return ++heads == 1 ? answer(503, "", {"x-ms-blob-type: PageBlob"})
                        : answer(200, "", {"x-ms-blob-type: BlockBlob"});
  });
  report();
  EXPECT_EQ(peer_->request_lines(), (Lines{kHead, kHead, kPut}));
  EXPECT_EQ(events(), Lines{kMatch + "[BlockBlob]"});
}

TEST_F(StatusUpload, ATypeOfTheLastUploadDoesNotCount) {
  report();
  blob_is("");
  peer_->forget_requests();
  report();
  EXPECT_EQ(peer_->request_lines(), Lines{kHead});
}

// ---- what is kept ----

TEST_F(StatusUpload, TheBlobIsClearedAfterAnUpload) {
  record_extension();
  report();
  EXPECT_EQ(kelvane::status_blob()->extension_count, 0);
  EXPECT_EQ(kelvane::status_blob()->extensions[0].name, nullptr);
  EXPECT_EQ(kelvane::status_blob()->vm.agent_version, nullptr);
}

TEST_F(StatusUpload, AFailedUploadIsNotRepeatedAndSaysNothing) {
  recording::set_debug_level(6);
  record_extension();
  peer_->script({answer(200, "", {"x-ms-blob-type: BlockBlob"}), answer(403)});
  report();
  EXPECT_EQ(peer_->request_lines(), (Lines{kHead, kPut}));
  EXPECT_EQ(kelvane::status_blob()->extension_count, 0);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(StatusUpload, WhileNoUrlIsKnownTheBlobKeepsItsContent) {
  url(nullptr);
  record_extension();
  report();
  EXPECT_EQ(peer_->requests().size(), 0u);
  EXPECT_EQ(kelvane::status_blob()->extension_count, 1);
  EXPECT_STREQ(kelvane::status_blob()->vm.agent_version, "2.2.26");
  url("");
  report();
  EXPECT_EQ(peer_->requests().size(), 0u);
  EXPECT_EQ(kelvane::status_blob()->extension_count, 1);
}

TEST_F(StatusUpload, ADocumentThatCannotBeBuiltLeavesTheBlob) {
  record_extension();
  spies::spies().refuse_json = 3;
  report();
  EXPECT_EQ(peer_->requests().size(), 0u);
  EXPECT_EQ(kelvane::status_blob()->extension_count, 1);
  EXPECT_EQ(events(), Lines{});
}

// ---- the report of the type ----

// One of the pass's allocations is the report's text.
TEST_F(StatusUpload, AReportWithoutMemoryForItsTextHasNone) {
  Lines reported;
  for (int nth = 1; nth <= 20; nth++) {
    kelvane::blob_type_reported_set(false);
    spies::refuse_malloc = nth;
    report();
    for (const std::string &event : events()) {
      reported.push_back(event);
    }
  }
  spies::refuse_malloc = 0;
  EXPECT_EQ(std::count(reported.begin(), reported.end(), "TorvikGuest, HealthCheck, True, 0, 2.2.26, "), 1);
}

TEST_F(StatusUpload, AMatchIsReportedOnce) {
  report();
  EXPECT_EQ(events(), Lines{kMatch + "[BlockBlob]"});
  EXPECT_TRUE(kelvane::blob_type_reported());
  report();
  EXPECT_EQ(events(), Lines{});
}

TEST_F(StatusUpload, AMatchOfPageBlobs) {
  blob_is("PageBlob");
  kelvane::ext_config()->page_blob = 1;
  report();
  EXPECT_EQ(events(), Lines{kMatch + "[PageBlob]"});
}

TEST_F(StatusUpload, AMismatchIsReportedOnce) {
  kelvane::ext_config()->page_blob = 1;
  report();
  report();
  EXPECT_EQ(events(), Lines{kMismatch + "[HEAD BlockBlob], [CONFIG PageBlob]"});
}

TEST_F(StatusUpload, WithoutAnAnnouncedTypeABlockBlobIsExpected) {
  blob_is("AppendBlob");
  report();
  EXPECT_EQ(events(), Lines{kMismatch + "[HEAD AppendBlob], [CONFIG BlockBlob]"});
}

TEST_F(StatusUpload, TheNextHandingOutOfHandlersAllowsANewReport) {
  report();
  EXPECT_EQ(events().size(), 1u);
  kelvane::ExtHandlerList list = {};
  char *tag = nullptr;
  protocol_->get_ext_handlers(protocol_, nullptr, &tag, &list);
  free(tag);
  report();
  EXPECT_EQ(events(), Lines{kMatch + "[BlockBlob]"});
}

TEST_F(StatusUpload, TheMessageHasAtMost255Characters) {
  blob_is(std::string(300, 'x'));
  report();
  // "Blob type mismatch [HEAD " is of 25 characters.
  EXPECT_EQ(events(), Lines{kMismatch + "[HEAD " + std::string(230, 'x')});
}

TEST_F(StatusUpload, TheMessageIsCutBetweenCharacters) {
  std::string umlauts;
  for (int i = 0; i < 114; i++) {
    umlauts += "\xc3\xa9";
  }
  blob_is("x" + umlauts + "\xc3\xa9" + umlauts);
  report();
  EXPECT_EQ(events(), Lines{kMismatch + "[HEAD x" + umlauts});
}

// ---- its lines ----

TEST_F(StatusUpload, BothRequestsLogTheirStartAboveLevelSix) {
  recording::set_debug_level(7);
  report();
  Lines starts;
  for (const std::string &line : recording::messages()) {
    if (line.find("StatusBlob") != std::string::npos) {
      starts.push_back(line);
    }
  }
  EXPECT_EQ(starts, (Lines{"[kelvane]: start - __StatusBlob_get_blob_type:214\n",
                           "[kelvane]: start - __StatusBlob_put_block_blob:239\n"}));
}

}  // namespace
