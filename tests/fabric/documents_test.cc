// What the fabric serves, checked with other means than its own: the openssl command line, and literal texts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "tests/fabric/fabric_program.h"

namespace kelvane::fabric_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kMachine[] = "/machine/7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27/kelvane-role_IN_0";

std::string goal_state(const FabricProgram &fabric) {
  return fabric.get("/machine/?comp=goalstate", kAgent).body;
}

std::string element_text(const std::string &document, const std::string &name) {
  size_t start = document.find("<" + name + ">");
  size_t end = document.find("</" + name + ">");
  if (start == std::string::npos || end == std::string::npos) return "(none)";
  start += name.size() + 2;
  return document.substr(start, end - start);
}

// A certificate and key made by the openssl command line, and what it makes of the fabric's certificates document.
class Agent {
 public:
  Agent() {
    run_command("openssl req -x509 -newkey rsa:2048 -nodes -keyout " + folder_.file("key") + " -out " +
                folder_.file("cert") + " -subj /CN=LinuxTransport -days 3");
  }
  std::string headers() const {
    std::string cert = run_command("openssl x509 -in " + folder_.file("cert") + " -outform DER | base64 -w0");
    return std::string(kAgent) + "x-ms-cipher-name: DES_EDE3_CBC\r\nx-ms-guest-agent-public-x509-cert: " + cert +
           "\r\n";
  }
  std::string document(const FabricProgram &fabric) const {
    goal_state(fabric);
    return fabric.get(std::string(kMachine) + "?comp=certificates&incarnation=1", headers()).body;
  }
  // Opens the envelope; the container is then in file("p12").
  void unwrap(const std::string &document) const {
    std::string data = element_text(document, "Data");
    if (data.empty() || data.back() != '\n') data += "\n";
    if (data[0] != '\n') data.insert(0, "\n");
    write_file(folder_.file("cms"), "-----BEGIN CMS-----" + data + "-----END CMS-----\n");
    run_command("openssl cms -decrypt -inform PEM -in " + folder_.file("cms") + " -inkey " + folder_.file("key") +
                " -recip " + folder_.file("cert") + " -out " + folder_.file("p12"));
  }
  std::string container(const std::string &options = "-info -nodes") const {
    return run_command("openssl pkcs12 -legacy -in " + folder_.file("p12") + " -passin pass: " + options);
  }
  std::string cms_structure() const {
    return run_command("openssl cms -cmsout -print -inform PEM -in " + folder_.file("cms"));
  }
  const TempDir &folder() const { return folder_; }

 private:
  TempDir folder_;
};

size_t count_of(const std::string &text, const std::string &part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) count++;
  return count;
}

std::string tenant_scenario(const std::string &tenant) {
  return "{\"fabric\":{\"tenant\":" + tenant + "}}";
}

TEST(Documents, VersionsNeedNoHeaders) {
  FabricProgram fabric("{}");
  Reply reply = fabric.get("/?comp=versions", "");
  EXPECT_EQ(reply.status, 200);
  EXPECT_THAT(reply.body, HasSubstr("<Version>2012-11-30</Version>"));
}

TEST(Documents, GoalStateHasAllTenElements) {
  FabricProgram fabric("{}");
  std::string document = goal_state(fabric);
  const std::string uri = "http://168.63.129.16" + std::string(kMachine) + "?comp=";
  EXPECT_EQ(element_text(document, "Incarnation"), "1");
  EXPECT_EQ(element_text(document, "ExpectedState"), "Started");
  EXPECT_EQ(element_text(document, "HostingEnvironmentConfig"),
            uri + "config&amp;type=hostingEnvironmentConfig&amp;incarnation=1");
  EXPECT_EQ(element_text(document, "SharedConfig"), uri + "config&amp;type=sharedConfig&amp;incarnation=1");
  EXPECT_EQ(element_text(document, "ExtensionsConfig"), uri + "config&amp;type=extensionsConfig&amp;incarnation=1");
  EXPECT_EQ(element_text(document, "InstanceId"), "kelvane-role_IN_0");
  EXPECT_EQ(element_text(document, "ConfigName"), "7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27.0.kelvane-role_IN_0.1.xml");
  EXPECT_EQ(element_text(document, "Certificates"), uri + "certificates&amp;incarnation=1");
  EXPECT_EQ(element_text(document, "ContainerId"), "7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27");
  EXPECT_EQ(element_text(document, "Port"), "16001");
}

TEST(Documents, GoalStateLeavesOutWhatTheScenarioLeavesOut) {
  FabricProgram fabric(R"({"fabric":{"goalStates":[{"omit":["Certificates","Port"]}]}})");
  std::string document = goal_state(fabric);
  EXPECT_THAT(document, Not(HasSubstr("<Certificates>")));
  EXPECT_THAT(document, Not(HasSubstr("<Port>")));
  EXPECT_THAT(document, HasSubstr("<LBProbePorts>"));
}

TEST(Documents, OriginFormIsTakenAsTheWireServer) {
  FabricProgram fabric("{}");
  EXPECT_EQ(fabric.exchange("GET /?comp=versions HTTP/1.1\r\nHost: 127.0.0.1:1\r\n\r\n").status, 200);
  EXPECT_EQ(fabric.exchange("GET /?comp=versions HTTP/1.1\r\nHost: 168.63.129.16\r\n\r\n").status, 200);
  EXPECT_EQ(fabric.exchange("GET /?comp=versions HTTP/1.1\r\nHost: other.example\r\n\r\n").status, 502);
}

TEST(Documents, GoalStatesAdvanceByCountAndByRequest) {
  FabricProgram fabric(R"({"fabric":{"goalStates":[{"advanceAfter":2},{"incarnation":"seven"},{}]}})");
  EXPECT_EQ(element_text(goal_state(fabric), "Incarnation"), "1");
  EXPECT_EQ(element_text(goal_state(fabric), "Incarnation"), "1");
  EXPECT_EQ(element_text(goal_state(fabric), "Incarnation"), "seven");
  EXPECT_EQ(element_text(goal_state(fabric), "Incarnation"), "seven");
  EXPECT_EQ(fabric.control("POST", "/_fabric/advance").body, "{\"incarnation\":\"3\"}\n");
  EXPECT_EQ(element_text(goal_state(fabric), "Incarnation"), "3");
  EXPECT_EQ(fabric.control("POST", "/_fabric/advance").status, 409);
}

TEST(Certificates, ContainerHasCertificatesUnderRc2AndKeysUnder3Des) {
  FabricProgram fabric(tenant_scenario(R"({"certificates":[{"name":"one"},{"name":"two"}]})"));
  Agent agent;
  agent.unwrap(agent.document(fabric));
  EXPECT_THAT(agent.cms_structure(), HasSubstr("des-ede3-cbc"));
  std::string container = agent.container();
  EXPECT_THAT(container, HasSubstr("pbeWithSHA1And40BitRC2-CBC"));
  EXPECT_EQ(count_of(container, "Shrouded Keybag: pbeWithSHA1And3-KeyTripleDES-CBC"), 2u);
  EXPECT_EQ(count_of(container, "localKeyID: 01 00 00 00"), 2u);
  EXPECT_EQ(count_of(container, "localKeyID: 02 00 00 00"), 2u);
  EXPECT_EQ(count_of(container, "BEGIN CERTIFICATE"), 2u);
}

TEST(Certificates, KeyFitsItsCertificateAndTheArtifact) {
  FabricProgram fabric(tenant_scenario(R"({"certificates":[{"name":"one"}]})"), {"--debug-keys"});
  Agent agent;
  agent.unwrap(agent.document(fabric));
  const std::string pem = agent.folder().file("both.pem");
  agent.container("-nodes -out " + pem);
  std::string of_key = run_command("openssl pkey -pubout -in " + pem);
  EXPECT_EQ(of_key, run_command("openssl x509 -pubkey -noout -in " + pem));
  const std::string stem = fabric.folder().file("artifacts/tenant/one");
  EXPECT_EQ(of_key, run_command("openssl x509 -pubkey -noout -in " + stem + ".pem"));
  EXPECT_EQ(of_key, run_command("openssl pkey -pubout -in " + stem + ".key.pem"));
  EXPECT_EQ(run_command("stat -c %a " + stem + ".key.pem"), "600\n");
}

TEST(Certificates, KeysMayComeFirst) {
  FabricProgram fabric(tenant_scenario(R"({"certificates":[{"name":"one"}],"container":{"order":"keys-first"}})"));
  Agent agent;
  agent.unwrap(agent.document(fabric));
  std::string container = agent.container("-info -noout");
  EXPECT_LT(container.find("Shrouded Keybag"), container.find("PKCS7 Encrypted data"));
}

TEST(Certificates, LocalKeyIdAndKeyMayBeMissing) {
  FabricProgram fabric(tenant_scenario(
      R"({"certificates":[{"name":"no-id","localKeyId":false},{"name":"no-key","privateKey":false}]})"));
  Agent agent;
  agent.unwrap(agent.document(fabric));
  std::string container = agent.container();
  EXPECT_EQ(count_of(container, "localKeyID: 01"), 0u);
  EXPECT_EQ(count_of(container, "localKeyID: 02"), 1u);
  EXPECT_EQ(count_of(container, "Shrouded Keybag"), 1u);
}

TEST(Certificates, BagsMayBeNested) {
  FabricProgram fabric(tenant_scenario(R"({"certificates":[{"name":"one"}],"container":{"nested":true}})"));
  Agent agent;
  agent.unwrap(agent.document(fabric));
  std::string container = agent.container();
  EXPECT_EQ(count_of(container, "Safe Contents bag"), 2u);
  EXPECT_EQ(count_of(container, "BEGIN CERTIFICATE"), 1u);
  EXPECT_EQ(count_of(container, "BEGIN PRIVATE KEY"), 1u);
}

TEST(Certificates, TwentyFiveKeysFit) {
  FabricProgram fabric(tenant_scenario(R"({"certificates":[{"name":"many","count":25,"bits":1024}]})"));
  Agent agent;
  agent.unwrap(agent.document(fabric));
  EXPECT_EQ(count_of(agent.container(), "BEGIN PRIVATE KEY"), 25u);
}

TEST(Certificates, PasswordIsNotEmptyWhenTheScenarioSaysSo) {
  FabricProgram fabric(tenant_scenario(R"({"certificates":[{"name":"one"}],"container":{"password":"shut"}})"));
  Agent agent;
  agent.unwrap(agent.document(fabric));
  EXPECT_THROW(agent.container(), std::runtime_error);
  EXPECT_THAT(run_command("openssl pkcs12 -legacy -nodes -passin pass:shut -in " + agent.folder().file("p12")),
              HasSubstr("BEGIN PRIVATE KEY"));
}

TEST(Certificates, EnvelopeMayBeForAnotherKey) {
  FabricProgram fabric(tenant_scenario(R"({"container":{"wrap":"other-key"}})"));
  Agent agent;
  EXPECT_THROW(agent.unwrap(agent.document(fabric)), std::runtime_error);
}

TEST(Certificates, ContentMayBeNoCmsOrNoContainerOrNothing) {
  Agent agent;
  FabricProgram no_cms(tenant_scenario(R"({"container":{"content":"not-cms"}})"));
  EXPECT_THROW(agent.unwrap(agent.document(no_cms)), std::runtime_error);
  FabricProgram no_container(tenant_scenario(R"({"container":{"content":"not-pkcs12"}})"));
  agent.unwrap(agent.document(no_container));
  EXPECT_EQ(read_file(agent.folder().file("p12")), "This text is no container.");
  FabricProgram nothing(tenant_scenario(R"({"container":{"content":"empty"}})"));
  EXPECT_EQ(element_text(agent.document(nothing), "Data"), "\n\n");
}

TEST(Certificates, DataLinesAreAsTheScenarioSays) {
  Agent agent;
  FabricProgram usual("{}");
  std::string data = element_text(agent.document(usual), "Data");
  EXPECT_EQ(data.substr(0, 4), "\nMII");
  EXPECT_EQ(data.find('\n', 1), 65u);
  FabricProgram one_line(
      tenant_scenario(R"({"document":{"lineLength":0,"leadingNewline":false,"trailingNewline":false}})"));
  EXPECT_EQ(count_of(element_text(agent.document(one_line), "Data"), "\n"), 0u);
  FabricProgram indented(tenant_scenario(R"({"document":{"lineLength":32,"indent":"    "}})"));
  EXPECT_EQ(element_text(agent.document(indented), "Data").find("\n    ", 1), 37u);
}

TEST(Certificates, GoalStateChoosesAmongTheTenants) {
  FabricProgram fabric(
      R"({"fabric":{"tenant":{"certificates":[{"name":"one"},{"name":"two"}]},"goalStates":[{"certificates":["two"]}]}})");
  Agent agent;
  agent.unwrap(agent.document(fabric));
  EXPECT_EQ(count_of(agent.container(), "BEGIN CERTIFICATE"), 1u);
  EXPECT_THAT(agent.container(), HasSubstr("CN = two"));
}

constexpr char kExtensions[] = R"({"fabric":{
  "extensions":[
    {"name":"Sample.Open","version":"1.2.0.3","state":"enabled","seqNo":7,
     "attributes":{"location":"http://a/?x=1&y=2","autoUpgrade":"true"},"publicSettings":{"a":"<b>"}},
    {"name":"Sample.Secret","certificate":"tenant","publicSettings":{},"protectedSettings":{"secret":"plum"}},
    {"name":"Sample.Gone","state":"uninstall","settings":false}],
  "statusUploadBlob":{"url":"http://blob/x?a=1&b=2","type":"PageBlob"}}})";

std::string extensions(const FabricProgram &fabric) {
  goal_state(fabric);
  return fabric.get(std::string(kMachine) + "?comp=config&type=extensionsConfig&incarnation=1", kAgent).body;
}

TEST(Extensions, DocumentHoldsPluginsSettingsAndStatusBlob) {
  FabricProgram fabric(kExtensions);
  std::string document = extensions(fabric);
  EXPECT_THAT(document, HasSubstr("<Extensions version=\"1.0.0.0\" goalStateIncarnation=\"1\">"));
  EXPECT_THAT(document, HasSubstr("<Plugin name=\"Sample.Open\" version=\"1.2.0.3\" state=\"enabled\" "
                                  "location=\"http://a/?x=1&amp;y=2\" autoUpgrade=\"true\" />"));
  EXPECT_THAT(document,
              HasSubstr("<Plugin name=\"Sample.Open\" version=\"1.2.0.3\">\n<RuntimeSettings seqNo=\"7\">"
                        "{&quot;runtimeSettings&quot;:[{&quot;handlerSettings&quot;:{&quot;publicSettings&quot;:"
                        "{&quot;a&quot;:&quot;&lt;b&gt;&quot;}}}]}</RuntimeSettings>\n</Plugin>"));
  EXPECT_THAT(document,
              HasSubstr("<StatusUploadBlob statusBlobType=\"PageBlob\">http://blob/x?a=1&amp;b=2</StatusUploadBlob>"));
  EXPECT_EQ(count_of(document, "Sample.Gone"), 1u);
}

TEST(Extensions, ProtectedSettingsOpenWithTheTenantsKey) {
  FabricProgram fabric(kExtensions, {"--debug-keys"});
  std::string document = extensions(fabric);
  const std::string before = "protectedSettings&quot;:&quot;";
  size_t at = document.find(before) + before.size();
  TempDir folder;
  write_file(folder.file("b64"), document.substr(at, document.find('&', at) - at));
  const std::string stem = fabric.folder().file("artifacts/tenant/tenant");
  EXPECT_EQ(run_command("base64 -d " + folder.file("b64") + " | openssl smime -decrypt -binary -inform DER -inkey " +
                        stem + ".key.pem -recip " + stem + ".pem"),
            "{\"secret\":\"plum\"}");
  std::string thumbprint = run_command("openssl x509 -fingerprint -sha1 -noout -in " + stem + ".pem");
  thumbprint = thumbprint.substr(thumbprint.find('=') + 1);
  thumbprint.erase(std::remove(thumbprint.begin(), thumbprint.end(), ':'), thumbprint.end());
  thumbprint.pop_back();
  EXPECT_THAT(document, HasSubstr("protectedSettingsCertThumbprint&quot;:&quot;" + thumbprint + "&quot;"));
}

TEST(Extensions, StatusBlobMayBeEscapedTwiceOrLeftOut) {
  FabricProgram twice(R"({"fabric":{"statusUploadBlob":{"url":"http://b/?a&b","escapedTwice":true}}})");
  EXPECT_THAT(extensions(twice), HasSubstr(">http://b/?a&amp;amp;b<"));
  FabricProgram without(R"({"fabric":{"statusUploadBlob":false}})");
  EXPECT_THAT(extensions(without), Not(HasSubstr("StatusUploadBlob")));
}

TEST(Media, HoldsTheDocumentAndTheCustomData) {
  FabricProgram fabric(R"({"fabric":{"ovf":{"hostName":"a<b","userName":"op","userPassword":"p&w","publicKeys":
    [{"fingerprint":{"certificate":"tenant"},"value":"ssh-rsa AAAA me","path":"/k"}],"customData":{"base64":"AAEC"}}}})");
  std::string document = read_file(fabric.folder().file("artifacts/media/ovf-env.xml"));
  EXPECT_EQ(element_text(document, "HostName"), "a&lt;b");
  EXPECT_EQ(element_text(document, "UserName"), "op");
  EXPECT_EQ(element_text(document, "UserPassword"), "p&amp;w");
  EXPECT_EQ(element_text(document, "Value"), "ssh-rsa AAAA me");
  EXPECT_EQ(element_text(document, "Path"), "/k");
  std::string fingerprint = run_command("openssl x509 -fingerprint -sha1 -noout -in " +
                                        fabric.folder().file("artifacts/tenant/tenant.pem") + " | tr -d ':\\n'");
  EXPECT_EQ(element_text(document, "Fingerprint"), fingerprint.substr(fingerprint.find('=') + 1));
  EXPECT_EQ(read_file(fabric.folder().file("artifacts/media/CustomData.bin")), std::string("\0\1\2", 3));
  EXPECT_EQ(run_command("stat -c %a " + fabric.folder().file("artifacts/media/ovf-env.xml")), "600\n");
  EXPECT_NE(0, access(fabric.folder().file("artifacts/tenant/tenant.key.pem").c_str(), F_OK));
}

TEST(Media, KeyValueOfACertificateIsItsSshKey) {
  FabricProgram fabric(R"({"fabric":{"ovf":{"publicKeys":[{"value":{"certificate":"tenant"}}]}}})");
  std::string line = element_text(read_file(fabric.folder().file("artifacts/media/ovf-env.xml")), "Value");
  // The key's bytes: three fields, each with its length in front.
  TempDir folder;
  std::string modulus = run_command("openssl x509 -modulus -noout -in " +
                                    fabric.folder().file("artifacts/tenant/tenant.pem") + " | tr A-F a-f");
  modulus = modulus.substr(modulus.find('=') + 1);
  modulus.pop_back();
  write_file(folder.file("b64"), line.substr(8, line.rfind(' ') - 8));
  EXPECT_EQ(run_command("base64 -d " + folder.file("b64") + " | od -An -v -tx1 | tr -d ' \\n'"),
            "000000077373682d727361"
            "00000003010001"
            "0000010100" +
                modulus);
}

TEST(Media, TextIsWrittenAsItIsAndElementsMayBeLeftOut) {
  FabricProgram raw(R"({"fabric":{"ovf":{"text":"<not xml"}}})");
  EXPECT_EQ(read_file(raw.folder().file("artifacts/media/ovf-env.xml")), "<not xml");
  FabricProgram bare(R"({"fabric":{"ovf":{"hostName":"h","userName":"u","omit":["UserName"],"namespaces":false}}})");
  std::string document = read_file(bare.folder().file("artifacts/media/ovf-env.xml"));
  EXPECT_THAT(document, HasSubstr("<Environment>"));
  EXPECT_THAT(document, HasSubstr("<HostName>h</HostName>"));
  EXPECT_THAT(document, Not(HasSubstr("UserName")));
}

}  // namespace
}  // namespace kelvane::fabric_test
