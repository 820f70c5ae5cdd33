// What the metadata service tells: identity, certificates, extension handlers, versions, and their ETags.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/fabric/metadata_client.h"
#include "tests/fabric/storage_client.h"

namespace kelvane::fabric_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Json = nlohmann::ordered_json;

// One key pair for all: a fabric keeps no certificate beyond its own life.
class Metadata : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { agent = new AgentCertificate; }
  static void TearDownTestSuite() { delete agent; }

  static Reply handlers(const FabricProgram &fabric) {
    return fetch_resource(fabric, "extensionHandlers", agent->header);
  }
  // What only the agent's key opens, in base64 on one line.
  static std::string opened(const std::string &data, const std::string &command) {
    write_file(agent->folder.file("b64"), data);
    return run_command("base64 -d " + agent->folder.file("b64") + " | openssl " + command + " -inform DER -inkey " +
                       agent->key + " -recip " + agent->certificate);
  }

  static AgentCertificate *agent;
};

AgentCertificate *Metadata::agent = nullptr;

TEST_F(Metadata, IsThereWhenTheScenarioHasIt) {
  FabricProgram without("{}");
  const Reply reply = fetch_resource(without, "identity");
  EXPECT_EQ(reply.status, 502);
  EXPECT_EQ(reply.body, "host: expected one of the services, came \"169.254.169.254\"\n");
  FabricProgram with(R"({"fabric":{"metadata":{},"goalStates":[{},{"metadata":false}]}})");
  EXPECT_EQ(fetch_resource(with, "identity").status, 200);
  EXPECT_EQ(Json::parse(with.journal().back())["service"], "metadata");
  EXPECT_EQ(with.get("/?comp=versions", "").status, 200);
  with.control("POST", "/_fabric/advance");
  EXPECT_EQ(fetch_resource(with, "identity").status, 502);
}

TEST_F(Metadata, MayBeThereWithoutAWireServer) {
  FabricProgram fabric(R"({"fabric":{"endpoint":"","metadata":{}}})");
  EXPECT_EQ(fabric.get("/?comp=versions", "").status, 502);
  EXPECT_EQ(fabric.exchange("GET /?comp=versions HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n").status, 502);
  EXPECT_EQ(fetch_resource(fabric, "identity").status, 200);
}

TEST_F(Metadata, TellsTheIdentity) {
  FabricProgram fabric(R"({"fabric":{"metadata":{}}})");
  const Reply reply = fetch_resource(fabric, "identity");
  EXPECT_EQ(reply.body, R"({"subscriptionId":"5d1f3a86-0c2b-4b7e-9a44-6e8f2c91d7b0","vmName":"kelvane-vm"})");
  EXPECT_THAT(reply.head, HasSubstr("\r\nContent-Type: application/json; charset=utf-8\r\n"));
  EXPECT_THAT(reply.head, Not(HasSubstr("ETag")));
}

TEST_F(Metadata, TellsAnyDocumentAsItIsGiven) {
  FabricProgram fabric(R"({"fabric":{"metadata":{"identity":{"vmName":7,"subscriptionId":null},
    "vmAgentVersions":"no {JSON","certificateList":{"certificates":[null,{"certificateDataUri":5}]},
    "extensionHandlers":{"not":"a list"}}}})");
  EXPECT_EQ(fetch_resource(fabric, "identity").body, R"({"vmName":7,"subscriptionId":null})");
  EXPECT_EQ(fetch_resource(fabric, "vmAgentVersions").body, "no {JSON");
  EXPECT_EQ(fetch_resource(fabric, "certificates").body, R"({"certificates":[null,{"certificateDataUri":5}]})");
  EXPECT_EQ(handlers(fabric).body, R"({"not":"a list"})");
}

TEST_F(Metadata, NamesADocumentForEachCertificate) {
  FabricProgram fabric(R"({"fabric":{"metadata":{},"tenant":{"certificates":[{"name":"a"},{"name":"b"},{"name":"c"}]},
    "goalStates":[{"certificates":["c","a"]}]}})");
  EXPECT_EQ(fetch_resource(fabric, "certificates").body,
            R"({"certificates":[{"certificateDataUri":"http://169.254.169.254/Microsoft.Compute/certificates/1?)"
            R"(api-version=2015-05-01-preview"},{"certificateDataUri":"http://169.254.169.254/Microsoft.Compute/)"
            R"(certificates/2?api-version=2015-05-01-preview"}]})");
}

TEST_F(Metadata, WrapsEachCertificateForTheOneOfTheRequest) {
  FabricProgram fabric(R"({"fabric":{"metadata":{},
    "tenant":{"certificates":[{"name":"first"},{"name":"second"}],"container":{"certificateCipher":"3des"}}}})",
                       {"--debug-keys"});
  const Json list = Json::parse(fetch_resource(fabric, "certificates").body)["certificates"];
  ASSERT_EQ(list.size(), 2u);
  const Json document = Json::parse(fetch(fabric, list[1]["certificateDataUri"], agent->header).body);
  EXPECT_EQ(document.size(), 1u);
  const std::string data = document["certificateData"];
  EXPECT_THAT(data, Not(HasSubstr("\n")));
  EXPECT_THAT(data, Not(HasSubstr("-----")));
  const std::string container = agent->folder.file("container");
  write_file(container, opened(data, "cms -decrypt -binary"));
  const std::string out = agent->folder.file("out");
  run_command("openssl pkcs12 -in " + container + " -nodes -passin pass: -out " + out + " 2>&1");
  EXPECT_EQ(run_command("openssl x509 -in " + out),
            run_command("openssl x509 -in " + fabric.folder().file("artifacts") + "/tenant/second.pem"));
  EXPECT_EQ(run_command("openssl pkey -in " + out),
            run_command("openssl pkey -in " + fabric.folder().file("artifacts") + "/tenant/second.key.pem"));
  EXPECT_EQ(run_command("grep -c 'BEGIN CERT' " + out), "1\n");
}

TEST_F(Metadata, MayPackCertificatesInOtherWays) {
  FabricProgram fabric(R"({"fabric":{"tenant":{"certificates":[{"name":"a"},{"name":"b"}],
      "container":{"certificateCipher":"none"}},
    "metadata":{"certificates":[{},{"container":{"wrap":"other-key"}},{"container":{"content":"not-cms"}},
      {"container":{"content":"not-pkcs12"}},{"container":{"content":"empty"}},{"document":{"certificateData":7}},
      {"document":"[]"},{"certificates":["b"]}]}}})");
  auto document = [&](int n) {
    return fetch_resource(fabric, "certificates/" + std::to_string(n), agent->header).body;
  };
  auto data = [&](int n) { return Json::parse(document(n))["certificateData"].get<std::string>(); };
  EXPECT_EQ(Json::parse(fetch_resource(fabric, "certificates").body)["certificates"].size(), 8u);
  const std::string container = agent->folder.file("all");
  write_file(container, opened(data(1), "cms -decrypt -binary"));
  EXPECT_EQ(run_command("openssl pkcs12 -in " + container + " -nodes -nokeys -passin pass: | grep -c 'BEGIN CERT'"),
            "2\n");
  EXPECT_THROW(opened(data(2), "cms -decrypt -binary"), std::runtime_error);
  EXPECT_EQ(data(3), "VGhpcyB0ZXh0IGlzIG5vIENNUyBtZXNzYWdlLCBhbmQgaXQgaXMgbWVhbnQgdG8gYmUgbm9uZS4=");
  EXPECT_EQ(opened(data(4), "cms -decrypt -binary"), "This text is no container.");
  EXPECT_EQ(data(5), "");
  EXPECT_EQ(document(6), R"({"certificateData":7})");
  EXPECT_EQ(document(7), "[]");
  write_file(container, opened(data(8), "cms -decrypt -binary"));
  EXPECT_EQ(run_command("openssl pkcs12 -in " + container + " -nodes -nokeys -passin pass: | grep -c 'BEGIN CERT'"),
            "1\n");
}

TEST_F(Metadata, TellsTheExtensionsAsHandlers) {
  FabricProgram fabric(R"({"fabric":{"metadata":{},"extensions":[
    {"name":"E","version":"1.2.3.4","state":"disabled","autoUpgrade":true,"location":"http://a/","failoverlocation":
     "http://b/","seqNo":3,"publicSettings":{"p":1},"protectedSettings":"sealed","thumbprint":"AB12"},
    {"name":"F","settings":false,"autoUpgrade":false}, {"name":"G","seqNo":false}]}})");
  EXPECT_EQ(handlers(fabric).body,
            R"([{"name":"E","properties":{"version":"1.2.3.4","state":"disabled","upgradePolicy":"auto","extensions":)"
            R"([{"name":"E","publicSettings":{"p":1},"protectedSettings":"sealed","certificateThumbprint":"AB12",)"
            R"("sequenceNumber":3}]},"versionUris":[{"uri":"http://a/"},{"uri":"http://b/"}]},)"
            R"({"name":"F","properties":{"version":"1.0.0.0","state":"enabled","upgradePolicy":"manual",)"
            R"("extensions":[]},"versionUris":[]},)"
            R"({"name":"G","properties":{"version":"1.0.0.0","state":"enabled","extensions":[{"name":"G"}]},)"
            R"("versionUris":[]}])");
}

TEST_F(Metadata, ChangesHandlersAsTheScenarioSays) {
  FabricProgram fabric(R"({"fabric":{"extensions":[{"name":"E","runtimeSettings":"no object"},{"name":"F"}],
    "metadata":{"handlers":{
      "E":{"upgradePolicy":"Auto","versionUris":["u1","u2",null,{"uri":4},7,"u6","u7"]},
      "F":{"upgradePolicy":8,"set":{"/name":null,"/properties/version":2,"/properties/extensions/0/name":"n"},
           "omit":["/properties/state","/versionUris"]}}}}})");
  EXPECT_EQ(handlers(fabric).body,
            R"([{"name":"E","properties":{"version":"1.0.0.0","state":"enabled","extensions":["no object"],)"
            R"("upgradePolicy":"Auto"},"versionUris":[{"uri":"u1"},{"uri":"u2"},null,{"uri":4},7,{"uri":"u6"},)"
            R"({"uri":"u7"}]},{"name":null,"properties":{"version":2,"extensions":[{"name":"n","sequenceNumber":0}],)"
            R"("upgradePolicy":8}}])");
}

TEST_F(Metadata, EncryptsProtectedSettings) {
  FabricProgram fabric(R"({"fabric":{"metadata":{},"extensions":[
    {"name":"E","transport":true,"protectedSettings":{"secret":"plum"}},
    {"name":"F","certificate":"tenant","protectedSettings":{"k":1}}]}})");
  const Json list = Json::parse(handlers(fabric).body);
  const Json settings = list[0]["properties"]["extensions"][0];
  EXPECT_EQ(opened(settings["protectedSettings"], "smime -decrypt -binary"), "{\"secret\":\"plum\"}");
  EXPECT_EQ(run_command("openssl x509 -outform DER -in " + agent->certificate +
                        " | openssl dgst -sha1 -r | cut -c1-40 | tr a-f A-F"),
            settings["certificateThumbprint"].get<std::string>() + "\n");
  EXPECT_THROW(opened(list[1]["properties"]["extensions"][0]["protectedSettings"], "smime -decrypt -binary"),
               std::runtime_error);
}

TEST_F(Metadata, ETagsFollowTheGoalState) {
  FabricProgram fabric(R"({"fabric":{"metadata":{},"goalStates":[{},{"incarnation":"b7"}]}})");
  EXPECT_THAT(handlers(fabric).head, HasSubstr("\r\nETag: \"handlers-1\"\r\n"));
  EXPECT_THAT(fetch_resource(fabric, "vmAgentVersions").head, HasSubstr("\r\nETag: \"versions-1\"\r\n"));
  EXPECT_THAT(fetch_resource(fabric, "certificates").head, Not(HasSubstr("ETag")));
  fabric.control("POST", "/_fabric/advance");
  EXPECT_THAT(handlers(fabric).head, HasSubstr("\r\nETag: \"handlers-b7\"\r\n"));
  EXPECT_THAT(fetch_resource(fabric, "vmAgentVersions").head, HasSubstr("\r\nETag: \"versions-b7\"\r\n"));
  EXPECT_EQ(fetch_resource(fabric, "vmAgentVersions").body, R"({"versions":["2.2.26"]})");
}

TEST_F(Metadata, ETagsStandAsTheScenarioSays) {
  FabricProgram fabric(R"({"fabric":{"metadata":{"extensionHandlersETag":"plain","vmAgentVersionsETag":false},
    "goalStates":[{},
      {"metadata":{"extensionHandlersETag":{"value":""},"vmAgentVersionsETag":{"name":"etag","value":"\"x\""}}},
      {"metadata":{"extensionHandlersETag":{"name":"ETAG","value":"A-B","separator":":"},
                   "vmAgentVersionsETag":{"value":"   ","separator":":"}}},
      {"metadata":{"extensionHandlersETag":{"value":"","separator":":"},"vmAgentVersionsETag":true}},
      {}]}})");
  auto head = [&](const char *resource) {
    return fetch_resource(fabric, resource, resource[0] == 'e' ? agent->header : "").head;
  };
  EXPECT_THAT(head("extensionHandlers"), HasSubstr("\r\nETag: plain\r\n"));
  EXPECT_THAT(head("vmAgentVersions"), Not(HasSubstr("ETag")));
  fabric.control("POST", "/_fabric/advance");
  EXPECT_THAT(head("extensionHandlers"), HasSubstr("\r\nETag: \r\n"));
  EXPECT_THAT(head("vmAgentVersions"), HasSubstr("\r\netag: \"x\"\r\n"));
  fabric.control("POST", "/_fabric/advance");
  EXPECT_THAT(head("extensionHandlers"), HasSubstr("\r\nETAG:A-B\r\n"));
  EXPECT_THAT(head("vmAgentVersions"), HasSubstr("\r\nETag:   \r\n"));
  fabric.control("POST", "/_fabric/advance");
  EXPECT_THAT(head("extensionHandlers"), HasSubstr("\r\nETag:\r\n"));
  EXPECT_THAT(head("vmAgentVersions"), HasSubstr("\r\nETag: \"versions-4\"\r\n"));
  fabric.control("POST", "/_fabric/advance");
  EXPECT_THAT(head("extensionHandlers"), HasSubstr("\r\nETag:\r\n"));
}

TEST_F(Metadata, GoalStatesKeepWhatTheyDoNotChange) {
  FabricProgram fabric(R"({"fabric":{"metadata":{"identity":"one","vmAgentVersions":"v"},
    "goalStates":[{"advanceOn":{"target":"*/vmAgentVersions*"}},{"metadata":{"identity":"two"}}]}})");
  EXPECT_EQ(fetch_resource(fabric, "identity").body, "one");
  EXPECT_EQ(fetch_resource(fabric, "vmAgentVersions").body, "v");
  EXPECT_EQ(fetch_resource(fabric, "identity").body, "two");
  EXPECT_EQ(fetch_resource(fabric, "vmAgentVersions").body, "v");
}

TEST_F(Metadata, FaultsBefallItsRequests) {
  FabricProgram fabric(R"({"fabric":{"metadata":{},"faults":[
    {"kind":"close","target":"http://169.254.169.254/*"},
    {"kind":"status","status":503,"target":"*/identity?*"},
    {"kind":"garbage-body","target":"*/vmAgentVersions?*"},
    {"kind":"header","header":"ETag","value":"other","target":"*/extensionHandlers?*"},
    {"kind":"cut","bytes":5,"contentLength":"cut","target":"*/certificates?*"}]}})");
  EXPECT_EQ(fetch_resource(fabric, "identity").status, 0);
  EXPECT_EQ(fetch_resource(fabric, "identity").status, 200);
  EXPECT_EQ(fetch_resource(fabric, "vmAgentVersions").body.size(), 512u);
  EXPECT_THAT(handlers(fabric).head, HasSubstr("\r\nETag: other\r\n"));
  EXPECT_EQ(fetch_resource(fabric, "certificates").body, "{\"cer");
}

std::string refused(const std::string &scenario) {
  TempDir folder;
  write_file(folder.file("s.json"), scenario);
  return run_fabric("--check --scenario " + folder.file("s.json")).output;
}

TEST(MetadataScenario, RefusesWhatItDoesNotUnderstand) {
  EXPECT_THAT(refused(R"({"fabric":{"metadata":{"identities":{}}}})"),
              HasSubstr("fabric.metadata: unknown key \"identities\"; known are: "));
  EXPECT_THAT(refused(R"({"fabric":{"metadata":{"handlers":{"X":{}}}}})"),
              HasSubstr("fabric.metadata.handlers: no extension is named \"X\""));
  EXPECT_THAT(refused(R"({"fabric":{"metadata":{"certificates":[{"certificates":["X"]}]}}})"),
              HasSubstr("fabric.metadata: no certificate is named \"X\""));
  EXPECT_THAT(refused(R"({"fabric":{"metadata":{"certificates":[{},{"container":{"wrap":"x"}}]}}})"),
              HasSubstr("fabric.metadata.certificates[1].container.wrap: \"x\" is none of: request, other-key"));
  EXPECT_THAT(refused(R"({"fabric":{"metadata":{"extensionHandlersETag":{"name":"E"}}}})"),
              HasSubstr("fabric.metadata.extensionHandlersETag.value: missing"));
  for (const char *pointer : {"name", "", "/~2"})
    EXPECT_THAT(refused(R"({"fabric":{"extensions":[{"name":"X"}],"metadata":{"handlers":{"X":{"omit":[")" +
                        std::string(pointer) + R"("]}}}}})"),
                HasSubstr("fabric.metadata.handlers.X.omit: \"" + std::string(pointer) + "\" is not the path"));
  EXPECT_THAT(refused(R"({"expect":{"metadata":{"status":{}}}})"),
              HasSubstr("expect.metadata: unknown key \"status\"; known are: "));
}

}  // namespace
}  // namespace kelvane::fabric_test
