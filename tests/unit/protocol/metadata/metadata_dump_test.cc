// The dump before anything was fetched, and after.
#include "protocol/metadata/metadata_dump.h"

#include <cstdlib>

#include "tests/unit/protocol/metadata/metadata_world.h"

namespace {

class MetadataDumpTest : public MetadataTest {
 protected:
  // What the dump writes, at a level that gates everything else.
  std::string dumped() {
    recording::set_debug_level(0);
    recording::clear_trace();
    EXPECT_EQ(protocol_->dump_config(protocol_, protocol_), 0);
    return recording::log_text();
  }
};

constexpr char kUrls[] =
    "        Identity URI: http://169.254.169.254/Microsoft.Compute/identity?api-version=2015-05-01-preview\n"
    "            Cert URI: http://169.254.169.254/Microsoft.Compute/certificates?api-version=2015-05-01-preview\n"
    "       Extension URI: http://169.254.169.254/Microsoft.Compute/extensionHandlers?api-version=2015-05-01-preview\n"
    "         VMAgent URI: http://169.254.169.254/Microsoft.Compute/vmAgentVersions?api-version=2015-05-01-preview\n"
    "Provision Status URI: http://169.254.169.254/Microsoft.Compute/provisioningStatus?api-version=2015-05-01-preview\n"
    "       VM Status URI: http://169.254.169.254/Microsoft.Compute/status/vmagent?api-version=2015-05-01-preview\n"
    "Extension Status URI: "
    "http://169.254.169.254/Microsoft.Compute/status/extensions/%s?api-version=2015-05-01-preview\n"
    "           Event URI: http://169.254.169.254/Microsoft.Compute/status/telemetry?api-version=2015-05-01-preview\n";

TEST_F(MetadataDumpTest, BeforeAnythingWasFetchedThereAreTheUrlsOnly) {
  EXPECT_EQ(dumped(), kUrls);
  EXPECT_EQ(recording::messages().size(), 8u);
}

TEST_F(MetadataDumpTest, AnEtagWithoutACharacterIsShown) {
  peer_->handler([](const support::PeerRequest &) {
    return support::PeerAnswer{"HTTP/1.1 200 OK\r\nETag:\r\nContent-Length: 3\r\n\r\n[7]"};
  });
  char *tag = nullptr;
  kelvane::ExtHandlerList list = {};
  protocol_->get_ext_handlers(protocol_, nullptr, &tag, &list);
  free(tag);
  EXPECT_EQ(dumped(), std::string("                Etag: \n") + kUrls + "Extension Config:\n[\n  7\n]\n");
}

TEST_F(MetadataDumpTest, AfterwardsTheEtagAndTheLastDocumentsToo) {
  serve(kIdentityUrl, R"({"subscriptionId":"s","vmName":"v","other":[1,{"x":2}]})");
  serve(kAgentVersionsUrl, R"({"versions":"1"})", {"ETag: \"one\""});
  serve(kExtensionsUrl, R"([{"name":"a"}])", {"ETag: \"two%s\""});
  kelvane::VmInfo info;
  char *tag = nullptr;
  kelvane::ExtHandlerList list = {};
  protocol_->get_vminfo(protocol_, &info);
  json_object_put(reinterpret_cast<json_object *>(protocol_->get_vmagent_manifests(protocol_, nullptr, &tag)));
  EXPECT_EQ(dumped().substr(0, 28), "                Etag: \"one\"\n");
  protocol_->get_ext_handlers(protocol_, nullptr, &tag, &list);
  free(tag);
  EXPECT_EQ(dumped(),
            std::string("                Etag: \"two%s\"\n") + kUrls +
                "Identity Config:\n{\n  \"subscriptionId\":\"s\",\n  \"vmName\":\"v\",\n  \"other\":[\n    1,\n"
                "    {\n      \"x\":2\n    }\n  ]\n}\n"
                "VMAgent Config:\n{\n  \"versions\":\"1\"\n}\n"
                "Extension Config:\n[\n  {\n    \"name\":\"a\"\n  }\n]\n");
  protocol_->release(protocol_);
  EXPECT_EQ(dumped(), kUrls);
}

}  // namespace
