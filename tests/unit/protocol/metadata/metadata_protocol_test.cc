// The slots that fetch: identity, agent versions, extensions; what they keep, lend and return. And the empty ones.
#include "protocol/metadata/metadata_protocol.h"

#include <cstring>

#include "core/base/text.h"
#include "credentials/transport_cert.h"
#include "protocol/metadata/metadata_state.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/metadata/metadata_world.h"

using kelvane::ExtHandlerList;
using kelvane::JsonOwner;
using kelvane::metadata_state;
using kelvane::Text;
using kelvane::VmInfo;

namespace {

using Seconds = std::vector<unsigned>;

class MetadataProtocolTest : public MetadataTest {
 protected:
  ~MetadataProtocolTest() override { free(tag_); }

  static std::string target(const std::string &url) { return "GET " + url; }

  // Slot 3's document, or "(none)".
  std::string manifests(const char *previous_tag) {
    const JsonOwner document(
        reinterpret_cast<json_object *>(protocol_->get_vmagent_manifests(protocol_, previous_tag, &tag_)));
    return document.present() ? json_object_to_json_string(document.get()) : "(none)";
  }

  std::string etag() const { return kelvane::text_or(metadata_state()->etag.get(), "(absent)"); }

  static void set(char **slot, const char *text) { kelvane::text_replace(slot, text); }

  char *tag_ = nullptr;
  ExtHandlerList list_ = {};
};

// ---- slot 1 ----

TEST_F(MetadataProtocolTest, IdentityFillsTheRecord) {
  serve(kIdentityUrl, R"({"subscriptionId":"sub-1","vmName":"machine","extra":"ignored"})");
  VmInfo info;
  std::memset(&info, 'x', sizeof info);
  EXPECT_EQ(protocol_->get_vminfo(protocol_, &info), 0);
  EXPECT_EQ(std::string(info.subscription_id, 128), "sub-1" + std::string(123, '\0'));
  EXPECT_EQ(std::string(info.vm_name, 128), "machine" + std::string(121, '\0'));
  EXPECT_EQ(peer_->request_lines(), Lines{target(kIdentityUrl)});
  EXPECT_EQ(peer_->requests()[0].own_headers(), Lines{});
  EXPECT_STREQ(metadata_state()->identity.get(),
               "{\n  \"subscriptionId\":\"sub-1\",\n  \"vmName\":\"machine\",\n  \"extra\":\"ignored\"\n}");
}

TEST_F(MetadataProtocolTest, ATextThatFillsItsFieldHasNoTerminator) {
  const std::string text = std::string(127, 'a') + "z";
  serve(kIdentityUrl, "{\"subscriptionId\":\"" + text + "\",\"vmName\":\"" + text + "more\"}");
  VmInfo info = {};
  EXPECT_EQ(protocol_->get_vminfo(protocol_, &info), 0);
  EXPECT_EQ(std::string(info.subscription_id, 128), text);
  EXPECT_EQ(std::string(info.vm_name, 128), text);
  serve(kIdentityUrl, "{\"subscriptionId\":\"" + text.substr(0, 127) + "\"}");
  EXPECT_EQ(protocol_->get_vminfo(protocol_, &info), 0);
  EXPECT_EQ(std::string(info.subscription_id, 128), text.substr(0, 127) + std::string(1, '\0'));
  EXPECT_EQ(std::string(info.vm_name, 128), std::string(128, '\0'));
}

TEST_F(MetadataProtocolTest, AnIdentityOfAnotherShapeZeroesTheRecord) {
  for (const char *document : {"[]", "7", "\"text\"", "{}", R"({"subscriptionId":7,"vmName":["v"]})",
                               R"({"subscriptionId":null,"vmName":{}})"}) {
    serve(kIdentityUrl, document);
    VmInfo info;
    std::memset(&info, 'x', sizeof info);
    EXPECT_EQ(protocol_->get_vminfo(protocol_, &info), 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&info), sizeof info), std::string(256, '\0')) << document;
    EXPECT_TRUE(metadata_state()->identity.present());
  }
}

TEST_F(MetadataProtocolTest, AnUnreachableServiceLeavesTheIdentityUntouchedAfterThirtySeconds) {
  end_attempts({7, 7, 7});
  VmInfo info;
  std::memset(&info, 'x', sizeof info);
  EXPECT_EQ(protocol_->get_vminfo(protocol_, &info), 0);
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(&info), sizeof info), std::string(256, 'x'));
  EXPECT_EQ(performed(), 3);
  EXPECT_EQ(sleeps(), (Seconds{10, 10, 10}));
  EXPECT_FALSE(metadata_state()->identity.present());
}

TEST_F(MetadataProtocolTest, WithoutARecordNothingIsAsked) {
  EXPECT_EQ(protocol_->get_vminfo(protocol_, nullptr), -1);
  EXPECT_EQ(performed(), 0);
}

// ---- slot 0 ----

TEST_F(MetadataProtocolTest, DetectAsksForTheIdentityAndForTheCertificatesUntilTheyCome) {
  serve(kIdentityUrl, R"({"vmName":"v"})");
  serve(kCertificatesUrl, R"({"certificates":[]})");
  EXPECT_EQ(protocol_->detect(protocol_), 0);
  EXPECT_EQ(peer_->request_lines(), (Lines{target(kIdentityUrl), target(kCertificatesUrl)}));
  EXPECT_TRUE(metadata_state()->identity.present());
}

TEST_F(MetadataProtocolTest, DetectAsksForTheCertificatesThreeTimesAtTheMost) {
  EXPECT_EQ(protocol_->detect(protocol_), 0);
  EXPECT_EQ(peer_->request_lines(), (Lines{target(kIdentityUrl), target(kCertificatesUrl), target(kCertificatesUrl),
                                           target(kCertificatesUrl)}));
  EXPECT_EQ(sleeps(), Seconds{});
}

TEST_F(MetadataProtocolTest, DetectOfAnUnreachableServiceTakesTwoMinutesAndSucceeds) {
  end_attempts(std::vector<int>(12, 7));
  EXPECT_EQ(protocol_->detect(protocol_), 0);
  EXPECT_EQ(performed(), 12);
  EXPECT_EQ(sleeps(), Seconds(12, 10));
}

// ---- slot 3 ----

TEST_F(MetadataProtocolTest, ManifestsAreGivenWithoutAPreviousEtag) {
  serve(kAgentVersionsUrl, R"({"versions":["1"]})", {"ETag: \"5\""});
  EXPECT_EQ(manifests(nullptr), R"({ "versions": [ "1" ] })");
  EXPECT_STREQ(tag_, "\"5\"");
  EXPECT_EQ(etag(), "\"5\"");
  EXPECT_STREQ(metadata_state()->agent_versions.get(), "{\n  \"versions\":[\n    \"1\"\n  ]\n}");
}

TEST_F(MetadataProtocolTest, ManifestsAreGivenWhenThePreviousEtagSortsInFront) {
  const struct {
    const char *previous;
    const char *now;
    bool given;
  } cases[] = {
      {"\"5\"", "\"6\"", true},  {"\"6\"", "\"6\"", false},  {"\"7\"", "\"6\"", false}, {"\"9\"", "\"10\"", false},
      {"\"10\"", "\"9\"", true}, {"", "\"6\"", true},        {"A", "a", true},          {"a", "A", false},
      {"a", "a\xc3\xa9", true},  {"a\xc3\xa9", "az", false},
  };
  for (const auto &one : cases) {
    serve(kAgentVersionsUrl, "{}", {std::string("ETag: ") + one.now});
    EXPECT_EQ(manifests(one.previous), one.given ? "{ }" : "(none)") << one.previous << " " << one.now;
    EXPECT_EQ(etag(), one.now) << "kept either way";
    EXPECT_STREQ(tag_, one.now);
  }
}

TEST_F(MetadataProtocolTest, ManifestsWithoutANewEtagAreNotNewsButClearTheKeptOne) {
  serve(kAgentVersionsUrl, "{}", {"ETag: \"5\""});
  EXPECT_EQ(manifests(nullptr), "{ }");
  serve(kAgentVersionsUrl, "[1]");
  EXPECT_EQ(manifests("\"0\""), "(none)");
  EXPECT_EQ(etag(), "(absent)");
  EXPECT_STREQ(tag_, "\"5\"") << "the slot keeps what it held";
  EXPECT_STREQ(metadata_state()->agent_versions.get(), "[\n  1\n]");
  EXPECT_EQ(manifests(nullptr), "[ 1 ]");
}

TEST_F(MetadataProtocolTest, WithoutManifestsEverythingStays) {
  serve(kAgentVersionsUrl, "[1]", {"ETag: \"5\""});
  manifests(nullptr);
  serve(kAgentVersionsUrl, "no json", {"ETag: \"6\""});
  EXPECT_EQ(manifests(nullptr), "(none)");
  EXPECT_EQ(etag(), "\"5\"");
  EXPECT_STREQ(metadata_state()->agent_versions.get(), "[\n  1\n]");
  EXPECT_STREQ(tag_, "\"6\"") << "the caller sees what the server said";
}

TEST_F(MetadataProtocolTest, ManifestsAskForTheCertificatesFirst) {
  serve(kAgentVersionsUrl, "{}");
  manifests(nullptr);
  EXPECT_EQ(peer_->request_lines(), (Lines{target(kCertificatesUrl), target(kCertificatesUrl), target(kCertificatesUrl),
                                           target(kAgentVersionsUrl)}));
  peer_->forget_requests();
  serve(kCertificatesUrl, "{}");
  manifests(nullptr);
  EXPECT_EQ(peer_->request_lines(), (Lines{target(kCertificatesUrl), target(kAgentVersionsUrl)}));
  EXPECT_EQ(peer_->requests()[1].own_headers(), Lines{});
}

TEST_F(MetadataProtocolTest, ManifestsNeedNoSlotForTheEtag) {
  serve(kAgentVersionsUrl, "{}", {"ETag: \"5\""});
  const JsonOwner document(
      reinterpret_cast<json_object *>(protocol_->get_vmagent_manifests(protocol_, "\"4\"", nullptr)));
  EXPECT_TRUE(document.present());
  EXPECT_EQ(etag(), "\"5\"");
}

TEST_F(MetadataProtocolTest, ThePreviousEtagMayBeTheSlotsOwnText) {
  serve(kAgentVersionsUrl, "{}", {"ETag: \"5\""});
  set(&tag_, "\"4\"");
  EXPECT_EQ(manifests(tag_), "{ }");
  EXPECT_EQ(manifests(tag_), "(none)");
}

// ---- slot 5 ----

TEST_F(MetadataProtocolTest, ExtensionsAreConvertedAndLent) {
  serve(kExtensionsUrl, R"([{"name":"a"},{"name":"b"}])", {"ETag: \"5\""});
  EXPECT_EQ(protocol_->get_ext_handlers(protocol_, "whatever", &tag_, &list_), 0);
  ASSERT_EQ(list_.count, 2);
  EXPECT_STREQ(list_.handlers[1].name, "b");
  EXPECT_EQ(list_.handlers, metadata_state()->handlers.handlers);
  EXPECT_STREQ(tag_, "\"5\"");
  EXPECT_EQ(etag(), "\"5\"");
  EXPECT_STREQ(metadata_state()->extensions.get(), "[\n  {\n    \"name\":\"a\"\n  },\n  {\n    \"name\":\"b\"\n  }\n]");
  EXPECT_EQ(peer_->request_lines(), (Lines{target(kCertificatesUrl), target(kCertificatesUrl), target(kCertificatesUrl),
                                           target(kExtensionsUrl)}));
  EXPECT_EQ(peer_->requests()[3].own_headers(), Lines{}) << "without a transport certificate";
}

TEST_F(MetadataProtocolTest, ExtensionsAreAskedForWithTheTransportCertificate) {
  ASSERT_EQ(kelvane::TransportCertMake(), 0);
  kelvane::TransportCert transport = {};
  kelvane::TransportCertGet(&transport);
  serve(kCertificatesUrl, "{}");
  serve(kExtensionsUrl, "[]");
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_);
  ASSERT_EQ(peer_->requests().size(), 2u);
  EXPECT_EQ(peer_->requests()[0].own_headers(), Lines{});
  EXPECT_EQ(peer_->requests()[1].bytes, std::string("GET ") + kExtensionsUrl +
                                            " HTTP/1.1\r\n"
                                            "Host: 169.254.169.254\r\n"
                                            "Accept: */*\r\n"
                                            "Proxy-Connection: Keep-Alive\r\n"
                                            "x-ms-vmagent-public-x509-cert: " +
                                            transport.encoded_certificate + "\r\n\r\n");
  EXPECT_EQ(spies::spies().freed_lists.size(), 1u) << "without certificates there is one list";
}

TEST_F(MetadataProtocolTest, WithoutMemoryForTheHeaderTheExtensionsAreNotAskedFor) {
  ASSERT_EQ(kelvane::TransportCertMake(), 0);
  serve(kCertificatesUrl, "{}");
  serve(kExtensionsUrl, "[]");
  spies::spies().refuse_list_append = 1;
  EXPECT_EQ(protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_), 0);
  EXPECT_EQ(spies::spies().refuse_list_append, 0);
  EXPECT_EQ(peer_->request_lines(), Lines{std::string("GET ") + kCertificatesUrl});
  EXPECT_EQ(tag_, nullptr);
}

TEST_F(MetadataProtocolTest, ExtensionsThatThereIsNoMemoryForAreHandledByTheNextPass) {
  serve(kExtensionsUrl, R"([{"name":"a"}])", {"ETag: \"5\""});
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_);
  free(tag_);
  tag_ = nullptr;
  spies::refuse_calloc_of = sizeof(kelvane::ExtHandler);
  EXPECT_EQ(protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_), 0);
  spies::refuse_calloc_of = 0;
  EXPECT_EQ(list_.handlers, nullptr);
  EXPECT_EQ(list_.count, 0);
  EXPECT_EQ(tag_, nullptr) << "the next pass counts as changed";
  EXPECT_EQ(etag(), "\"5\"");
  EXPECT_EQ(protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_), 0);
  EXPECT_EQ(list_.count, 1);
  EXPECT_STREQ(tag_, "\"5\"");
}

TEST_F(MetadataProtocolTest, ExtensionsThatThereIsNoMemoryToReadAreHandledByTheNextPass) {
  serve(kCertificatesUrl, "{}");
  serve(kExtensionsUrl, R"([{"name":"a"}])", {"ETag: \"5\""});
  spies::spies().refuse_json_parse = 2;  // behind the certificates
  EXPECT_EQ(protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_), 0);
  EXPECT_EQ(spies::spies().refuse_json_parse, 0);
  EXPECT_EQ(list_.count, 0);
  EXPECT_EQ(tag_, nullptr) << "the next pass counts as changed";
  EXPECT_EQ(protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_), 0);
  EXPECT_EQ(list_.count, 1);
  EXPECT_STREQ(tag_, "\"5\"");
}

TEST_F(MetadataProtocolTest, AnObjectInsteadOfAListIsAnEmptyList) {
  serve(kExtensionsUrl, R"([{"name":"a"}])", {"ETag: \"5\""});
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_);
  serve(kExtensionsUrl, R"({"name":"a"})");
  EXPECT_EQ(protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_), 0);
  EXPECT_EQ(list_.handlers, nullptr);
  EXPECT_EQ(list_.count, 0);
  EXPECT_EQ(etag(), "(absent)");
  EXPECT_STREQ(metadata_state()->extensions.get(), "{\n  \"name\":\"a\"\n}");
}

TEST_F(MetadataProtocolTest, WithoutExtensionsTheListAndWhatIsKeptStay) {
  serve(kExtensionsUrl, R"([{"name":"a"}])", {"ETag: \"5\""});
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_);
  const ExtHandlerList before = list_;
  for (const char *body : {"", "no json", "null"}) {
    serve(kExtensionsUrl, body);
    EXPECT_EQ(protocol_->get_ext_handlers(protocol_, tag_, &tag_, &list_), 0);
    EXPECT_EQ(list_.handlers, before.handlers);
    EXPECT_EQ(list_.count, 1);
    EXPECT_STREQ(list_.handlers[0].name, "a");
    EXPECT_EQ(etag(), "\"5\"");
  }
  ExtHandlerList other = {nullptr, 5};
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &other);
  EXPECT_EQ(other.count, 5);
}

TEST_F(MetadataProtocolTest, TheEtagOfExtensionsThatAreNoneIsGivenAllTheSame) {
  serve(kExtensionsUrl, "no json", {"ETag: \"6\""});
  set(&tag_, "\"5\"");
  EXPECT_EQ(protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_), 0);
  EXPECT_STREQ(tag_, "\"6\"") << "the caller sees what the server said";
  EXPECT_EQ(etag(), "(absent)");
  EXPECT_FALSE(metadata_state()->extensions.present());
  EXPECT_EQ(list_.handlers, nullptr);
}

TEST_F(MetadataProtocolTest, APreviousEtagKeepsNothingFromBeingConverted) {
  serve(kExtensionsUrl, R"([{"name":"a"}])", {"ETag: \"5\""});
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_);
  for (const char *previous : {"\"5\"", "\"4\"", "\"6\"", ""}) {
    serve(kExtensionsUrl, R"([{"name":"b"},{"name":"c"}])", {"ETag: \"5\""});
    list_ = {};
    EXPECT_EQ(protocol_->get_ext_handlers(protocol_, previous, &tag_, &list_), 0);
    ASSERT_EQ(list_.count, 2) << previous;
    EXPECT_STREQ(list_.handlers[0].name, "b");
    serve(kExtensionsUrl, R"([{"name":"a"}])", {"ETag: \"5\""});
    protocol_->get_ext_handlers(protocol_, previous, &tag_, &list_);
    ASSERT_EQ(list_.count, 1) << previous;
    EXPECT_STREQ(list_.handlers[0].name, "a");
  }
}

TEST_F(MetadataProtocolTest, AnUnreachableServiceTakesTwoMinutesAPass) {
  end_attempts(std::vector<int>(12, 7));
  EXPECT_EQ(protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_), 0);
  EXPECT_EQ(performed(), 12);
  EXPECT_EQ(sleeps(), Seconds(12, 10));
  EXPECT_EQ(tag_, nullptr);
}

TEST_F(MetadataProtocolTest, AnEmptyEtagIsOne) {
  peer_->handler([](const support::PeerRequest &) {
    return support::PeerAnswer{"HTTP/1.1 200 OK\r\nETag:\r\nContent-Length: 2\r\n\r\n[]"};
  });
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_);
  EXPECT_STREQ(tag_, "");
  EXPECT_EQ(etag(), "");
}

// ---- the rest ----

// Certificate downloads aside, whose test stands with the certificates.
TEST_F(MetadataProtocolTest, NothingButTheExtensionsIsAskedForWithTheTransportCertificate) {
  ASSERT_EQ(kelvane::TransportCertMake(), 0);
  serve(kIdentityUrl, "{}");
  serve(kCertificatesUrl, "{}");
  serve(kAgentVersionsUrl, "{}");
  serve(kExtensionsUrl, "[]");
  protocol_->detect(protocol_);
  manifests(nullptr);
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_);
  const kelvane::ProvisionStatus provision = {};
  const kelvane::VMStatus machine = {};
  const kelvane::ExtStatus extension = {};
  const kelvane::TelemetryRecord event = {};
  char name[128] = "e";
  protocol_->report_provision_status(protocol_, &provision);
  protocol_->report_vm_status(protocol_, &machine);
  protocol_->report_ext_status(protocol_, "h", name, &extension);
  protocol_->report_event(protocol_, 1, &event);
  Lines with_it;
  for (const support::PeerRequest &request : peer_->requests()) {
    if (!request.header("x-ms-vmagent-public-x509-cert").empty()) {
      with_it.push_back(request.target);
    }
  }
  EXPECT_EQ(peer_->requests().size(), 10u);
  EXPECT_EQ(with_it, Lines{kExtensionsUrl});
}

TEST_F(MetadataProtocolTest, TheEmptySlotsDoNothing) {
  recording::set_debug_level(8);
  EXPECT_EQ(protocol_->get_vmagent_pkgs(protocol_), 0);
  EXPECT_EQ(protocol_->get_ext_handler_pkgs(protocol_), 0);
  EXPECT_EQ(protocol_->get_artifacts_profile(protocol_), -1);
  EXPECT_EQ(protocol_->download_ext_handler_pkg(protocol_), 0);
  EXPECT_EQ(performed(), 0);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(MetadataProtocolTest, ReleaseFreesEverythingAndMayBeRepeated) {
  serve(kIdentityUrl, "{}");
  serve(kAgentVersionsUrl, "{}");
  serve(kExtensionsUrl, R"([{"name":"a"}])", {"ETag: \"5\""});
  VmInfo info;
  protocol_->get_vminfo(protocol_, &info);
  manifests(nullptr);
  protocol_->get_ext_handlers(protocol_, nullptr, &tag_, &list_);
  for (int i = 0; i < 2; i++) {
    protocol_->release(protocol_);
    EXPECT_FALSE(metadata_state()->identity.present());
    EXPECT_FALSE(metadata_state()->agent_versions.present());
    EXPECT_FALSE(metadata_state()->extensions.present());
    EXPECT_FALSE(metadata_state()->etag.present());
    EXPECT_EQ(metadata_state()->handlers.handlers, nullptr);
    EXPECT_EQ(metadata_state()->handlers.count, 0);
  }
}

TEST_F(MetadataProtocolTest, IsOneTableWithEverySlot) {
  const kelvane::Protocol *table = kelvane::ProtocolGetMetaData();
  EXPECT_EQ(table, protocol_);
  void *slots[15];
  static_assert(sizeof slots == sizeof *table);
  std::memcpy(slots, table, sizeof slots);
  for (const void *slot : slots) {
    EXPECT_NE(slot, nullptr);
  }
}

}  // namespace
