// The strictness of the metadata service, request by request, and what a scenario may expect of its documents.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/fabric/metadata_client.h"
#include "tests/fabric/storage_client.h"

namespace kelvane::fabric_test {
namespace {

using ::testing::HasSubstr;

const std::string kProvisioning = R"({ "status": "NotReady", "subStatus": "Provisioning", "description": "Starting", )"
                                  R"("properties": { "certificateThumbprint": "" } })";

const std::string kVmStatus =
    R"({ "vmAgent": { "version": "2.2.26", "status": "Ready", "message": "Guest Agent is running" }, )"
    R"("extensionHandlers": [ { "name": "E", "version": "1.0.0.0", "status": "Ready", "message": "", )"
    R"("extensions": [ "E-status" ] } ] })";

const std::string kExtensionStatus =
    R"({ "configurationAppliedTime": "2026-01-31T12:00:00Z", "operation": "Enable", "status": "success", )"
    R"("sequenceNumber": 0, "code": "4294967295", "message": "", "substatus": [ { "name": "", "status": "success", )"
    R"("code": -1, "message": "done" } ] })";

const std::string kEvents =
    R"([ { "eventId": "1", "providerId": "p", "parameters": [ { "name": "a", "value": "b" } ] } ])";

// One fabric for all of them: it keeps nothing from a refused request.
class MetadataJudge : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    fabric = new FabricProgram(R"({"fabric":{"metadata":{}}})");
    agent = new AgentCertificate;
  }
  static void TearDownTestSuite() {
    delete fabric;
    delete agent;
  }

  // What the answer says of the request; empty when it was taken.
  static std::string said(const Reply &reply) { return reply.status == 200 ? "" : reply.body; }
  static std::string get(const std::string &resource, const std::string &headers = "") {
    return said(fetch_resource(*fabric, resource, headers));
  }
  static std::string put(const std::string &resource, const std::string &body) {
    return said(put_resource(*fabric, resource, body));
  }
  static std::string vm_status(const std::string &from, const std::string &to) {
    return put("status/vmagent", replaced(kVmStatus, from, to));
  }
  static std::string extension_status(const std::string &from, const std::string &to) {
    return put("status/extensions/E", replaced(kExtensionStatus, from, to));
  }
  static std::string provisioning(const std::string &from, const std::string &to) {
    return put("provisioningStatus", replaced(kProvisioning, from, to));
  }

  static FabricProgram *fabric;
  static AgentCertificate *agent;
};

FabricProgram *MetadataJudge::fabric = nullptr;
AgentCertificate *MetadataJudge::agent = nullptr;

TEST_F(MetadataJudge, TakesTheRequestsOfAGoodAgent) {
  for (const char *resource : {"identity", "certificates", "vmAgentVersions"}) EXPECT_EQ(get(resource), "") << resource;
  EXPECT_EQ(get("certificates/1", agent->header), "");
  EXPECT_EQ(get("extensionHandlers", agent->header), "");
  EXPECT_EQ(put("provisioningStatus", kProvisioning), "");
  EXPECT_EQ(put("status/vmagent", kVmStatus), "");
  EXPECT_EQ(put("status/extensions/E-status", kExtensionStatus), "");
  EXPECT_EQ(put("status/telemetry", kEvents), "");
}

TEST_F(MetadataJudge, TellsWhatWasExpectedAndWhatCame) {
  const Reply reply = put_resource(*fabric, "status/telemetry", kEvents, "Content-Type: text/json\r\n");
  EXPECT_EQ(reply.status, 400);
  EXPECT_EQ(reply.body, "header Content-Type: expected \"application/json\", came \"text/json\"\n");
  auto line = nlohmann::json::parse(fabric->journal().back());
  EXPECT_EQ(line["service"], "metadata");
  EXPECT_EQ(line["judgement"].dump(),
            R"({"held":false,"violations":[{"came":"\"text/json\"","expected":"\"application/json\"",)"
            R"("what":"header Content-Type"}]})");
}

TEST_F(MetadataJudge, KnowsNoOtherResources) {
  for (const char *resource :
       {"", "Identity", "identity/", "certificates/", "status", "status/extensions/", "x/identity"}) {
    const Reply reply = fetch_resource(*fabric, resource);
    EXPECT_EQ(reply.status, 404) << resource;
    EXPECT_EQ(reply.body, "target: expected a resource of the metadata service, came \"" + kMetadataRoot + resource +
                              kMetadataVersion + "\"\n");
  }
  EXPECT_EQ(fetch(*fabric, "http://169.254.169.254/identity" + kMetadataVersion).status, 404);
}

TEST_F(MetadataJudge, KnowsTheCertificatesOfTheListAlone) {
  for (const char *number : {"0", "2", "one", "1x"})
    EXPECT_EQ(
        get("certificates/" + std::string(number), agent->header),
        "target: expected one of the 1 certificates of the list, came \"certificates/" + std::string(number) + "\"\n");
}

TEST_F(MetadataJudge, WantsTheVersionInTheAddress) {
  const std::string expected = "query: expected \"api-version=2015-05-01-preview\", came ";
  EXPECT_EQ(said(fetch(*fabric, kMetadataRoot + "identity")), expected + "\"\"\n");
  EXPECT_EQ(said(fetch(*fabric, kMetadataRoot + "identity?api-version=2016")), expected + "\"api-version=2016\"\n");
  EXPECT_EQ(said(fetch(*fabric, kMetadataRoot + "identity" + kMetadataVersion + "&x=1")),
            expected + "\"api-version=2015-05-01-preview&x=1\"\n");
}

TEST_F(MetadataJudge, WantsTheMethodOfTheResource) {
  for (const char *resource : {"identity", "certificates", "vmAgentVersions"})
    EXPECT_EQ(put(resource, "{}"), "method: expected GET, came PUT\n") << resource;
  for (const char *resource : {"extensionHandlers", "certificates/1"})
    EXPECT_THAT(put(resource, "{}"), HasSubstr("method: expected GET, came PUT\n")) << resource;
  for (const char *resource : {"provisioningStatus", "status/vmagent", "status/extensions/E", "status/telemetry"})
    EXPECT_THAT(get(resource), HasSubstr("method: expected PUT, came GET\n")) << resource;
}

TEST_F(MetadataJudge, WantsTheCertificateWhereItBelongs) {
  const std::string expected =
      "header x-ms-vmagent-public-x509-cert: expected a self-signed RSA certificate, its DER in base64 on one line, "
      "came ";
  for (const char *resource : {"certificates/1", "extensionHandlers"}) {
    EXPECT_EQ(get(resource), expected + "no such header\n");
    EXPECT_EQ(get(resource, "x-ms-vmagent-public-x509-cert: AAAA\r\n"), expected + "no certificate: \"AAAA\"\n");
    EXPECT_EQ(get(resource, "x-ms-vmagent-public-x509-cert: -----BEGIN\r\n"),
              expected + "no certificate: \"-----BEGIN\"\n");
  }
}

TEST_F(MetadataJudge, RefusesACertificateThatIsNotItsOwnIssuer) {
  const std::string at = agent->folder.path();
  run_command("cd " + at +
              " && openssl req -newkey rsa:2048 -nodes -keyout k2 -out r2 -subj /CN=agent && "
              "openssl x509 -req -in r2 -CA cert.pem -CAkey key.pem -CAcreateserial -out c2 -days 2");
  const std::string der = run_command("openssl x509 -in " + at + "/c2 -outform DER | base64 -w0");
  EXPECT_THAT(get("extensionHandlers", "x-ms-vmagent-public-x509-cert: " + der + "\r\n"),
              HasSubstr("came another certificate: "));
}

TEST_F(MetadataJudge, RefusesTheCertificateElsewhere) {
  const std::string unexpected = "header x-ms-vmagent-public-x509-cert: expected none, came \"MII";
  for (const char *resource : {"identity", "certificates", "vmAgentVersions"})
    EXPECT_THAT(get(resource, agent->header), HasSubstr(unexpected)) << resource;
  EXPECT_THAT(
      said(put_resource(*fabric, "status/vmagent", kVmStatus, "Content-Type: application/json\r\n" + agent->header)),
      HasSubstr(unexpected));
}

TEST_F(MetadataJudge, RefusesTheWireServersHeaders) {
  EXPECT_EQ(get("identity", kAgent),
            "header x-ms-agent-name: expected none, came \"TorvikGuest\"\n"
            "header x-ms-version: expected none, came \"2012-11-30\"\n");
  EXPECT_THAT(get("extensionHandlers", agent->header + "X-MS-Cipher-Name: DES_EDE3_CBC\r\n"),
              HasSubstr("header X-MS-Cipher-Name: expected none, came \"DES_EDE3_CBC\"\n"));
}

TEST_F(MetadataJudge, WantsNeitherTypeNorBodyWithAGet) {
  EXPECT_EQ(get("identity", "Content-Type: application/json\r\n"),
            "header Content-Type: expected none, came \"application/json\"\n");
  EXPECT_EQ(said(fabric->exchange("GET " + kMetadataRoot + "identity" + kMetadataVersion +
                                  " HTTP/1.1\r\nContent-Length: 2\r\n\r\nhi")),
            "body: expected none, came 2 bytes\n");
}

TEST_F(MetadataJudge, WantsTypeAndLengthWithAPut) {
  EXPECT_EQ(said(put_resource(*fabric, "status/telemetry", kEvents, "")),
            "header Content-Type: expected \"application/json\", came no such header\n");
  EXPECT_EQ(said(put_resource(*fabric, "status/telemetry", kEvents,
                              "Content-Type: application/json\r\nContent-Type: application/json\r\n")),
            "header Content-Type: expected one, came 2\n");
  EXPECT_EQ(
      said(put_resource(*fabric, "status/telemetry", kEvents, "Content-Type: application/json; charset=utf-8\r\n")),
      "header Content-Type: expected \"application/json\", came \"application/json; charset=utf-8\"\n");
  EXPECT_EQ(said(fabric->exchange("PUT " + kMetadataRoot + "provisioningStatus" + kMetadataVersion +
                                  " HTTP/1.1\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n" +
                                  "7f\r\n" + kProvisioning + "\r\n0\r\n\r\n")),
            "header Content-Length: expected \"127\", came no such header\n");
}

TEST_F(MetadataJudge, WantsJson) {
  for (const char *resource : {"provisioningStatus", "status/vmagent", "status/extensions/E", "status/telemetry"}) {
    EXPECT_EQ(put(resource, "<xml/>"), "body: expected JSON, came \"<xml/>\"\n") << resource;
    EXPECT_EQ(put(resource, ""), "body: expected JSON, came \"\"\n") << resource;
    EXPECT_EQ(put(resource, "{} {}"), "body: expected JSON, came \"{} {}\"\n") << resource;
    EXPECT_THAT(put(resource, "7"), HasSubstr(", came 7\n")) << resource;
  }
  EXPECT_EQ(provisioning("\"subStatus\"", "\"status\""), "body: expected every member once, came \"status\" twice\n");
  EXPECT_THAT(provisioning("Starting", "\xff"), HasSubstr("body: expected JSON, came "));
}

TEST_F(MetadataJudge, WantsTheProvisioningStatus) {
  EXPECT_EQ(provisioning("NotReady", "Ready"), "");
  EXPECT_EQ(provisioning("NotReady", "Fine"), "body $.status: expected \"NotReady\" or \"Ready\", came \"Fine\"\n");
  EXPECT_EQ(provisioning("\"Starting\"", "null"), "body $.description: expected \"<text>\", came null\n");
  EXPECT_EQ(provisioning("\"certificateThumbprint\": \"\"", "\"certificateThumbprint\": 1"),
            "body $.properties.certificateThumbprint: expected \"<text>\", came 1\n");
  EXPECT_EQ(provisioning("\"certificateThumbprint\": \"\"", ""),
            "body $.properties: expected the members [certificateThumbprint], came []\n");
  EXPECT_EQ(provisioning(", \"subStatus\": \"Provisioning\"", ""),
            "body $: expected the members [status, subStatus, description, properties], came [status, description, "
            "properties]\n");
  EXPECT_EQ(put("provisioningStatus",
                R"({"subStatus":"","status":"Ready","description":"","properties":{"certificateThumbprint":""}})"),
            "body $: expected the members [status, subStatus, description, properties], came [subStatus, status, "
            "description, properties]\n");
}

TEST_F(MetadataJudge, WantsTheVmStatus) {
  EXPECT_EQ(vm_status("2.2.26", "2.0.16"), "body $.vmAgent.version: expected \"2.2.26\", came \"2.0.16\"\n");
  EXPECT_EQ(vm_status("\"status\": \"Ready\", \"message\": \"Guest", "\"status\": \"NotReady\", \"message\": \"Guest"),
            "body $.vmAgent.status: expected \"Ready\", came \"NotReady\"\n");
  EXPECT_EQ(vm_status("Agent is running", "Agent"),
            "body $.vmAgent.message: expected \"Guest Agent is running\", came \"Guest Agent\"\n");
  EXPECT_EQ(vm_status("\"name\": \"E\"", "\"name\": 1"),
            "body $.extensionHandlers[0].name: expected \"<text>\", came 1\n");
  EXPECT_EQ(vm_status("\"E-status\"", "{ }"),
            "body $.extensionHandlers[0].extensions[0]: expected \"<text>\", came {}\n");
  EXPECT_EQ(vm_status("\"E-status\"", "\"a\", \"b\""),
            "body $.extensionHandlers[0].extensions: expected [\"<text>\"], came [\"a\",\"b\"]\n");
  EXPECT_EQ(vm_status(", \"extensions\": [ \"E-status\" ]", ""),
            "body $.extensionHandlers[0]: expected the members [name, version, status, message, extensions], came "
            "[name, version, status, message]\n");
}

TEST_F(MetadataJudge, WantsAtMostThreeHandlers) {
  const std::string agent_part =
      R"({"vmAgent":{"version":"2.2.26","status":"Ready","message":"Guest Agent is running"},)";
  const std::string handler = R"({"name":"","version":"","status":"","message":"","extensions":[""]})";
  EXPECT_EQ(put("status/vmagent", agent_part + R"("extensionHandlers":[]})"), "");
  const std::string three = handler + "," + handler + "," + handler;
  EXPECT_EQ(put("status/vmagent", agent_part + R"("extensionHandlers":[)" + three + "]}"), "");
  EXPECT_EQ(put("status/vmagent", agent_part + R"("extensionHandlers":[)" + three + "," + handler + "]}"),
            "body $.extensionHandlers: expected at most 3, came 4\n");
}

TEST_F(MetadataJudge, WantsTheExtensionStatus) {
  EXPECT_EQ(extension_status("\"sequenceNumber\": 0", "\"sequenceNumber\": \"0\""),
            "body $.sequenceNumber: expected \"<n>\", came \"0\"\n");
  EXPECT_EQ(extension_status("\"sequenceNumber\": 0", "\"sequenceNumber\": 2147483648"),
            "body $.sequenceNumber: expected -2147483648 to 2147483647, came 2147483648\n");
  EXPECT_EQ(extension_status("\"4294967295\"", "0"), "body $.code: expected \"<digits>\", came 0\n");
  EXPECT_EQ(extension_status("\"4294967295\"", "\"-1\""), "body $.code: expected \"<digits>\", came \"-1\"\n");
  EXPECT_EQ(extension_status("\"4294967295\"", "\"4294967296\""),
            "body $.code: expected 0 to 4294967295, came 4294967296\n");
  EXPECT_EQ(extension_status("\"code\": -1", "\"code\": \"-1\""),
            "body $.substatus[0].code: expected \"<n>\", came \"-1\"\n");
  EXPECT_EQ(extension_status("\"done\" } ]", "\"done\" }, 7 ]").substr(0, 36),
            "body $.substatus: expected [{\"name\":");
  EXPECT_THAT(
      extension_status("\"operation\": \"Enable\", ", ""),
      HasSubstr("body $: expected the members [configurationAppliedTime, operation, status, sequenceNumber, code, "
                "message, substatus], came [configurationAppliedTime, status, "));
  EXPECT_EQ(
      put("status/extensions/E",
          R"({"configurationAppliedTime":"","operation":"","status":"","sequenceNumber":-1,"code":"0","message":""})"),
      "");
}

TEST_F(MetadataJudge, WantsTheEvents) {
  EXPECT_EQ(put("status/telemetry", "[]"), "body $: expected one event or more, came none\n");
  EXPECT_THAT(put("status/telemetry", "{}"), HasSubstr("body $: expected [\"<each>\","));
  EXPECT_EQ(put("status/telemetry", replaced(kEvents, "\"1\"", "1")),
            "body $[0].eventId: expected \"<text>\", came 1\n");
  EXPECT_EQ(put("status/telemetry", replaced(kEvents, "\"b\"", "2")),
            "body $[0].parameters[0].value: expected \"<text>\", came 2\n");
  const std::string pair = R"({"name":"","value":""})";
  std::string ten = pair;
  for (int i = 1; i < 10; i++) ten += "," + pair;
  EXPECT_EQ(put("status/telemetry", R"([{"eventId":"","providerId":"","parameters":[)" + ten + "]}]"), "");
  EXPECT_EQ(put("status/telemetry", R"([{"eventId":"","providerId":"","parameters":[)" + ten + "," + pair + "]}]"),
            "body $[0].parameters: expected at most 10, came 11\n");
}

TEST(MetadataExpectations, LookAtEveryDocument) {
  FabricProgram fabric(R"({"fabric":{"metadata":{}},"expect":{"violations":1,"metadata":{
    "provisioning":{"documents":[{"includes":{"status":"NotReady"}},{"includes":{"status":"Ready"}}]},
    "vmStatus":{"count":1,"last":{"json":{"vmAgent":"<any>","extensionHandlers":["<each>","<any>"]}}},
    "extensionStatus":{"inOrder":[{"resource":"status/extensions/B","includes":{"code":"<digits>"}}]},
    "telemetry":{"atMost":0}}}})");
  EXPECT_EQ(finding_of(fabric, "metadata provisioning, all documents"), "document 1: expected, but no more came");
  put_resource(fabric, "provisioningStatus", kProvisioning);
  put_resource(fabric, "provisioningStatus", replaced(kProvisioning, "NotReady", "Busy"));
  EXPECT_EQ(finding_of(fabric, "metadata provisioning, all documents"), "document 2: expected, but no more came");
  put_resource(fabric, "provisioningStatus", replaced(kProvisioning, "NotReady", "Ready"));
  EXPECT_EQ(finding_of(fabric, "metadata provisioning, all documents"), "held");
  EXPECT_EQ(finding_of(fabric, "metadata vmStatus documents"), "expected 1 to 1, came 0");
  put_resource(fabric, "status/vmagent", kVmStatus);
  EXPECT_EQ(finding_of(fabric, "metadata vmStatus documents"), "held");
  EXPECT_EQ(finding_of(fabric, "metadata vmStatus, the last document"), "held");
  put_resource(fabric, "status/extensions/A", kExtensionStatus);
  EXPECT_THAT(finding_of(fabric, "metadata extensionStatus, in order"),
              HasSubstr("expected \"status/extensions/B\", came \"status/extensions/A\""));
  put_resource(fabric, "status/extensions/B", kExtensionStatus);
  EXPECT_EQ(finding_of(fabric, "metadata extensionStatus, in order"), "held");
  EXPECT_EQ(finding_of(fabric, "metadata telemetry documents"), "held");
  EXPECT_EQ(fabric.end(), 0);
}

TEST(MetadataExpectations, LookAtExactBytesAndAtWhatArrivedAlone) {
  FabricProgram fabric(R"({"fabric":{"metadata":{},"faults":[{"kind":"status","method":"PUT"}]},
    "expect":{"metadata":{"telemetry":{"documents":[{"text":"[ { \"eventId\": \"1\", \"providerId\": \"p\", )"
                       R"(\"parameters\": [ { \"name\": \"a\", \"value\": \"b\" } ] } ]"}]}}}})");
  EXPECT_EQ(put_resource(fabric, "status/telemetry", kEvents).status, 503);
  EXPECT_EQ(finding_of(fabric, "metadata telemetry, all documents"), "document 1: expected, but no more came");
  put_resource(fabric, "status/telemetry", kEvents);
  EXPECT_EQ(finding_of(fabric, "metadata telemetry, all documents"), "held");
  put_resource(fabric, "status/telemetry", kEvents + " ");
  EXPECT_EQ(finding_of(fabric, "metadata telemetry, all documents"), "document 2: came, but no more were expected");
}

}  // namespace
}  // namespace kelvane::fabric_test
