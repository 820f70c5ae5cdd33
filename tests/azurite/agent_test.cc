// Whole runs of the agent in the sandbox: the fabric is the wire server, but the status blob is in a storage service
// that knows nothing of this tree. What the blob holds in the end is read back through the service's own API.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "tests/azurite/azurite_program.h"

using azurite::Azurite;
using Json = nlohmann::json;
using Lines = std::vector<std::string>;
using Events = std::vector<Json>;

namespace {

// Of the agent's two passes in a run the second is the one whose status stays; it starts at 22:13:20.
constexpr int kTwoPasses = 70;

struct Extension {
  std::string name = "Contoso.Nothing";
  std::string version = "1.0.0.0";
};

std::string escaped(const std::string &name) {
  std::string out;
  for (const char one : name) {
    out += one == '/' ? "\\/" : std::string(1, one);
  }
  return out;
}

// The status after the second pass, for an extension that no plugin knows.
std::string status_of(const Extension &extension) {
  const std::string name = escaped(extension.name);
  return R"({ "aggregateStatus": { "guestAgentStatus": { "version": "2.2.26", "status": "Ready", )"
         R"("formattedMessage": { "lang": "en-US", "message": "Guest Agent is running" } }, )"
         R"("handlerAggregateStatus": [ { "handlerVersion": ")" +
         extension.version + R"(", "handlerName": ")" + name +
         R"(", "status": "Ready", "code": 0, )"
         R"("formattedMessage": { "lang": "en-US", "message": "Plugin enabled" }, )"
         R"("runtimeSettingsStatus": { "settingsStatus": { "status": { "name": ")" +
         name +
         R"(", "configurationAppliedTime": "2023-11-14T22:13:45Z", "operation": "Enable", "status": "error", )"
         R"("code": 0, "formattedMessage": { "lang": "en-US", "message": "Not supported." } }, "version": "1.0", )"
         R"("timestampUTC": "2023-11-14T22:14:10Z" }, "sequenceNumber": 0 } } ] }, "version": "1.0", )"
         R"("timestampUTC": "2023-11-14T22:14:10Z" })";
}

// An extension for which the status is so many bytes long. The name stands in it twice and each slash of it as "\/"; a
// name of letters alone would be longer than the agent keeps.
Extension extension_for(size_t length) {
  Extension extension;
  extension.name += std::string((length - status_of(extension).size()) / 4, '/');
  return extension;
}

std::string zeros(size_t count) {
  return std::string(count, '\0');
}

Json health_event(bool success, const std::string &message) {
  return {{"operation", "HealthCheck"}, {"success", success}, {"message", message}};
}

class Agent : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (Azurite::missing().empty()) {
      service_ = std::make_unique<Azurite>();
    }
  }
  static void TearDownTestSuite() { service_.reset(); }

  void SetUp() override {
    if (service_ == nullptr) {
      GTEST_SKIP() << Azurite::missing();
    }
  }

  static std::string blob(const char *container = azurite::kPrivate) {
    return std::string(container) + "/" + ::testing::UnitTest::GetInstance()->current_test_info()->name();
  }

  // The lines of the trace for requests to the service.
  static std::string head(const std::string &address, const std::string &result) {
    return "request HEAD " + address + " = " + result;
  }
  static std::string put(const std::string &address, const std::string &result) {
    return "request PUT " + address + " = " + result;
  }

  // Two passes of the agent with that address of the status blob, announced to be of that type. `requests` are all that
  // reach the service, `events` those among the telemetry that tell of health, in order and complete.
  void run_agent(const std::string &address, const std::string &announced, const Lines &requests, const Events &events,
                 const Extension &extension = {}, int seconds = kTwoPasses) {
    const Json scenario = {
        {"name", "a status blob in another service"},
        {"fabric",
         {{"extensions", {{{"name", extension.name}, {"version", extension.version}}}},
          {"statusUploadBlob", {{"url", address}, {"type", announced}}}}},
        {"agent",
         {{{"stop_after", seconds},
           {"no_proxy", "127.0.0.1"},
           {"expect",
            {{"events",
              {{"of", {"request HEAD http://127.0.0.1", "request PUT http://127.0.0.1"}}, {"lines", requests}}}}}}}},
        {"expect", {{"events", {{"inOrder", events}}}}}};
    const std::string file = folder_.write("scenario.json", scenario.dump(2));
    const std::string artifacts = folder_.file("artifacts");
    const support::CommandResult ran = support::run_command(
        {SCENARIO_PROGRAM, file, "--artifacts", artifacts, "--sandbox", SANDBOX_PROGRAM, "--fabric", FABRIC_PROGRAM},
        "", 200);
    EXPECT_EQ(ran.status, 0) << ran.out << ran.err;
    EXPECT_EQ(storage_requests(artifacts), 0) << "of the fabric";
    EXPECT_EQ(health_events(artifacts), events.size());
  }

  static void expect_blob(const std::string &name, const std::string &type, const std::string &bytes) {
    const azurite::Answer answer = service_->get(name);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.blob_type, type);
    EXPECT_EQ(answer.body, bytes);
  }

  static std::unique_ptr<Azurite> service_;
  support::TempDir folder_;

 private:
  static int count_in_journal(const std::string &artifacts, const std::string &text) {
    const std::string journal = support::read_file(artifacts + "/fabric/journal.jsonl");
    int count = 0;
    for (size_t at = journal.find(text); at != std::string::npos; at = journal.find(text, at + 1)) {
      count++;
    }
    return count;
  }
  static int storage_requests(const std::string &artifacts) {
    return count_in_journal(artifacts, R"("service":"storage")");
  }
  static size_t health_events(const std::string &artifacts) {
    return static_cast<size_t>(count_in_journal(artifacts, "Blob type "));
  }
};

std::unique_ptr<Azurite> Agent::service_;

TEST_F(Agent, ABlockBlobIsTheStatusOfTheLastPass) {
  service_->put_block_blob(blob(), "what was there before");
  const std::string url = service_->signed_address(blob());
  run_agent(url, "BlockBlob", {head(url, "0 200"), put(url, "0 201"), head(url, "0 200"), put(url, "0 201")},
            {health_event(true, "Blob type match [BlockBlob]")});
  expect_blob(blob(), "BlockBlob", status_of({}));
}

TEST_F(Agent, APageBlobIsTheStatusAndZerosToTheEndOfItsLastPage) {
  service_->put_page_blob(blob(), 0);
  const std::string url = service_->signed_address(blob());
  const std::string pages = url + "&comp=page";
  run_agent(url, "PageBlob",
            {head(url, "0 200"), put(url, "0 201"), put(pages, "0 201"), head(url, "0 200"), put(url, "0 201"),
             put(pages, "0 201")},
            {health_event(true, "Blob type match [PageBlob]")});
  const std::string status = status_of({});
  ASSERT_EQ(status.size(), 768u);
  expect_blob(blob(), "PageBlob", status + zeros(256));
}

TEST_F(Agent, AStatusOfAThousandBytes) {
  service_->put_page_blob(blob(), 4096);
  const std::string url = service_->signed_address(blob());
  const std::string pages = url + "&comp=page";
  const Extension extension = extension_for(1000);
  const std::string status = status_of(extension);
  ASSERT_EQ(status.size(), 1000u);
  run_agent(url, "PageBlob",
            {head(url, "0 200"), put(url, "0 201"), put(pages, "0 201"), head(url, "0 200"), put(url, "0 201"),
             put(pages, "0 201")},
            {health_event(true, "Blob type match [PageBlob]")}, extension);
  expect_blob(blob(), "PageBlob", status + zeros(24));
}

TEST_F(Agent, AStatusOfTwoWholePagesEndsInAZeroInPlaceOfItsLastBracket) {
  service_->put_page_blob(blob(), 0);
  const std::string url = service_->signed_address(blob());
  const std::string pages = url + "&comp=page";
  const Extension extension = extension_for(1024);
  const std::string status = status_of(extension);
  ASSERT_EQ(status.size(), 1024u);
  run_agent(url, "PageBlob",
            {head(url, "0 200"), put(url, "0 201"), put(pages, "0 201"), head(url, "0 200"), put(url, "0 201"),
             put(pages, "0 201")},
            {health_event(true, "Blob type match [PageBlob]")}, extension);
  expect_blob(blob(), "PageBlob", status.substr(0, 1023) + zeros(1));
}

TEST_F(Agent, WhatTheServiceSaysCountsAndNotWhatWasAnnounced) {
  service_->put_block_blob(blob(), "");
  const std::string url = service_->signed_address(blob());
  run_agent(url, "PageBlob", {head(url, "0 200"), put(url, "0 201"), head(url, "0 200"), put(url, "0 201")},
            {health_event(false, "Blob type mismatch [HEAD BlockBlob], [CONFIG PageBlob]")});
  expect_blob(blob(), "BlockBlob", status_of({}));
}

TEST_F(Agent, ABlobOfAThirdTypeIsLeftAlone) {
  service_->put_append_blob(blob());
  const std::string url = service_->signed_address(blob());
  run_agent(url, "BlockBlob", {head(url, "0 200"), head(url, "0 200")},
            {health_event(false, "Blob type mismatch [HEAD AppendBlob], [CONFIG BlockBlob]")});
  expect_blob(blob(), "AppendBlob", "");
}

// ---- refusals: nine attempts to learn the type, with pauses of ten seconds, then nothing is uploaded and nothing
// told; the tenth is that of the next pass. A write that is answered is not repeated, whatever the answer ----

TEST_F(Agent, ABlobThatIsNotThereIsNotMade) {
  const std::string url = service_->signed_address(blob());
  run_agent(url, "BlockBlob", Lines(10, head(url, "22 404")), {}, {}, 120);
  EXPECT_EQ(service_->get(blob()).error_code, "BlobNotFound");
}

TEST_F(Agent, NorIsAContainer) {
  const std::string url = service_->signed_address("nowhere/status");
  run_agent(url, "PageBlob", Lines(10, head(url, "22 404")), {}, {}, 120);
  EXPECT_EQ(service_->get("nowhere/status").error_code, "ContainerNotFound");
}

TEST_F(Agent, AnAddressThatHasExpiredUploadsNothing) {
  service_->put_block_blob(blob(), "old");
  const std::string url = service_->signed_address(blob(), {.expiry = "2020-01-01T00:00:00Z"});
  run_agent(url, "BlockBlob", Lines(10, head(url, "22 403")), {}, {}, 120);
  expect_blob(blob(), "BlockBlob", "old");
}

TEST_F(Agent, AWrongSignatureUploadsNothing) {
  service_->put_block_blob(blob(), "old");
  const std::string url = service_->signed_address(blob(), {.signed_for = "status/another"});
  run_agent(url, "BlockBlob", Lines(10, head(url, "22 403")), {}, {}, 120);
  expect_blob(blob(), "BlockBlob", "old");
}

// Anybody may read this blob's type, nobody may write it without a signature.
TEST_F(Agent, AnAddressWithoutAQueryFindsTheTypeAndUploadsNothing) {
  service_->put_page_blob(blob(azurite::kPublic), 512);
  const std::string url = service_->address(blob(azurite::kPublic));
  run_agent(url, "PageBlob", {head(url, "0 200"), put(url, "0 403"), head(url, "0 200"), put(url, "0 403")},
            {health_event(true, "Blob type match [PageBlob]")});
  expect_blob(blob(azurite::kPublic), "PageBlob", zeros(512));
}

}  // namespace
