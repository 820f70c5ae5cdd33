// A hostile service, and no memory: whatever is answered and whichever allocation fails, nothing crashes or leaks, and
// the next undisturbed run ends where it should.
#include <openssl/err.h>

#include <cstring>
#include <random>

#include "credentials/cert_store.h"
#include "protocol/metadata/metadata_state.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/metadata/metadata_world.h"
#include "tests/unit/protocol/tenant.h"

namespace {

constexpr char kCertificate[] = "http://certificates.test/1";
constexpr char kIdentity[] = R"({"subscriptionId":"s","vmName":"v"})";
constexpr char kCertificates[] = R"({"certificates":[{"certificateDataUri":"http://certificates.test/1"}]})";
constexpr char kVersions[] = R"({"versions":[]})";
constexpr char kExtensions[] = R"([{"name":"a","properties":{"version":"1.0.0.0","state":"enabled",
  "upgradePolicy":"auto","extensions":[{"name":"e","publicSettings":{},"protectedSettings":"p",
  "certificateThumbprint":"t","sequenceNumber":1}]},"versionUris":[{"uri":"u"}]}])";

class MetadataHostileTest : public MetadataTest {
 protected:
  ~MetadataHostileTest() override {
    spies::refuse_malloc = 0;
    spies::refuse_realloc = 0;
    spies::spies().refuse_json = 0;
    kelvane::CertStoreClear();
    free(tag_);
  }

  void serve_everything() {
    serve(kIdentityUrl, kIdentity);
    serve(kCertificatesUrl, kCertificates);
    serve(kCertificate, "{\"certificateData\":\"AAAA\"}");
    serve(kAgentVersionsUrl, kVersions, {"ETag: \"1\""});
    serve(kExtensionsUrl, kExtensions, {"ETag: \"2\""});
  }

  // Every operation once, at the level at which everything is logged.
  void run() {
    recording::set_debug_level(8);
    testing::internal::CaptureStdout();
    protocol_->detect(protocol_);
    kelvane::VmInfo info = {};
    protocol_->get_vminfo(protocol_, &info);
    json_object_put(reinterpret_cast<json_object *>(protocol_->get_vmagent_manifests(protocol_, "\"0\"", &tag_)));
    kelvane::ExtHandlerList list = {};
    protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list);
    count_ = list.count;
    for (int32_t i = 0; i < list.count; i++) {
      EXPECT_LT(strnlen(list.handlers[i].version, 64), 64u);
    }
    const kelvane::ProvisionStatus provision = {"Ready", nullptr, nullptr, "AB"};
    kelvane::VMStatus vm = {};
    vm.handler_count = 1;
    kelvane::ExtStatus extension = {};
    extension.substatus_count = 1;
    char name[128] = "e";
    const kelvane::TelemetryRecord record = {"e", "p", 1, {{"n", "v"}}};
    protocol_->report_provision_status(protocol_, &provision);
    protocol_->report_vm_status(protocol_, &vm);
    protocol_->report_ext_status(protocol_, "h", name, &extension);
    protocol_->report_event(protocol_, 1, &record);
    protocol_->dump_config(protocol_, protocol_);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(ERR_peek_error(), 0u);
    recording::clear_trace();
    spies::spies().events.clear();
    spies::spies().sleeps.clear();
  }

  void expect_a_good_run() {
    serve_everything();
    run();
    EXPECT_EQ(count_, 1);
    EXPECT_STREQ(tag_, "\"2\"");
    EXPECT_STREQ(kelvane::metadata_state()->etag.get(), "\"2\"");
    EXPECT_TRUE(kelvane::metadata_state()->identity.present());
    EXPECT_TRUE(kelvane::metadata_state()->agent_versions.present());
    EXPECT_TRUE(kelvane::metadata_state()->extensions.present());
  }

  // Answers every request with this body.
  void serve_all(const std::string &body) {
    for (const char *url : {kIdentityUrl, kCertificatesUrl, kCertificate, kAgentVersionsUrl, kExtensionsUrl}) {
      serve(url, body, {"ETag: \"9\""});
    }
  }

  char *tag_ = nullptr;
  int32_t count_ = 0;
};

TEST_F(MetadataHostileTest, EachAllocationOfTheProtocolMayFailOnce) {
  serve_everything();
  int nth = 1;
  for (; nth < 500; nth++) {
    spies::refuse_malloc = nth;
    run();
    if (spies::refuse_malloc != 0) {
      break;
    }
  }
  spies::refuse_malloc = 0;
  EXPECT_GT(nth, 15);
  EXPECT_LT(nth, 500);
  for (nth = 1; nth < 500; nth++) {
    spies::refuse_realloc = nth;
    run();
    if (spies::refuse_realloc != 0) {
      break;
    }
  }
  spies::refuse_realloc = 0;
  EXPECT_GT(nth, 8);
  expect_a_good_run();
}

TEST_F(MetadataHostileTest, EachListAndEachJsonValueMayFailOnce) {
  serve_everything();
  ASSERT_EQ(kelvane::TransportCertMake(), 0);
  for (int nth = 1; nth <= 10; nth++) {
    spies::spies().refuse_list_append = nth;
    run();
  }
  spies::spies().refuse_list_append = 0;
  for (int nth = 1; nth <= 60; nth++) {
    spies::spies().refuse_json = nth;
    run();
  }
  spies::spies().refuse_json = 0;
  expect_a_good_run();
}

TEST_F(MetadataHostileTest, DocumentsOfEveryWrongShapeDoNoHarm) {
  const std::string deep_array = std::string(31, '[') + std::string(31, ']');
  const std::string values[] = {"null",
                                "true",
                                "7",
                                "-1e999",
                                "\"\"",
                                "\"text\"",
                                "\"\\u0000\"",
                                "\"\\ud800\"",
                                "\"%s%n\"",
                                "[]",
                                "[[]]",
                                "[null]",
                                "{}",
                                "{\"a\":{}}",
                                deep_array,
                                "\"" + std::string(100000, 'x') + "\"",
                                "[" + std::string(2000, ' ') + "]"};
  const std::string members[] = {"name", "properties", "versionUris", "certificates", "certificateData"};
  for (const std::string &value : values) {
    serve_all(value);
    run();
    serve_all("[" + value + "," + value + "]");
    run();
    std::string object;
    for (const std::string &member : members) {
      object += (object.empty() ? "" : ",") + ("\"" + member + "\":" + value);
    }
    serve_all("[{" + object + "}]");
    run();
    std::string inner;
    for (const char *member : {"version", "state", "upgradePolicy"}) {
      inner += "\"" + std::string(member) + "\":" + value + ",";
    }
    for (const char *member :
         {"name", "publicSettings", "protectedSettings", "certificateThumbprint", "sequenceNumber"}) {
      serve_all("[{\"properties\":{" + inner + "\"extensions\":[{\"" + member + "\":" + value +
                "}]},\"versionUris\":[" + value + ",{\"uri\":" + value + "}]}]");
      run();
    }
    serve_all("{\"subscriptionId\":" + value + ",\"vmName\":" + value +
              ",\"certificates\":[{\"certificateDataUri\":" + value + "}],\"certificateData\":" + value + "}");
    run();
  }
  expect_a_good_run();
}

TEST_F(MetadataHostileTest, GarbageDoesNoHarm) {
  std::mt19937 random(5);
  const std::string good[] = {kIdentity, kCertificates, kVersions, kExtensions};
  for (int i = 0; i < 150; i++) {
    std::string body = good[i % 4];
    for (int change = 0; change < 1 + i % 5; change++) {
      body[random() % body.size()] = static_cast<char>(random());
    }
    serve_all(body.substr(0, random() % 3 == 0 ? random() % body.size() : body.size()));
    run();
  }
  for (const std::string &body : {std::string("\0", 1), std::string(1000, '\xff'), std::string(100000, '['),
                                  std::string(100000, '{'), std::string("\xef\xbb\xbf{}"), std::string("<html>")}) {
    serve_all(body);
    run();
  }
  expect_a_good_run();
}

TEST_F(MetadataHostileTest, AHugeListIsConvertedOrRefusedWhole) {
  std::string body = "[{}";
  for (int i = 0; i < 8000; i++) {
    body += ",7";
  }
  serve(kExtensionsUrl, body + "]");
  kelvane::ExtHandlerList list = {};
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list);
  EXPECT_EQ(list.count, 8001);
  for (int i = 0; i < 12000; i++) {
    body += ",7";
  }
  serve(kExtensionsUrl, body + "]");
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list);
  EXPECT_EQ(list.count, 8001) << "over the gate's cap: no document";
  serve(kExtensionsUrl, "[{\"name\":\"" + std::string(9 * 1024 * 1024, 'x') + "\"}]");
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list);
  EXPECT_EQ(list.count, 8001);
}

}  // namespace
