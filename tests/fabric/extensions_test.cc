// Extensions over time: what each goal state carries, how its settings are made, and what moves on to the next one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <nlohmann/json.hpp>

#include "tests/fabric/storage_client.h"

namespace kelvane::fabric_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kMachine[] = "/machine/7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27/kelvane-role_IN_0?comp=";

std::string incarnation(const FabricProgram &fabric) {
  const std::string body = fabric.get("/machine/?comp=goalstate", kAgent).body;
  size_t at = body.find("<Incarnation>") + 13;
  return body.substr(at, body.find('<', at) - at);
}

std::string extensions(const FabricProgram &fabric) {
  return fabric.get(std::string(kMachine) + "config&type=extensionsConfig&incarnation=" + incarnation(fabric), kAgent)
      .body;
}

// The handler settings of the runtime settings element with that number in the document.
nlohmann::json handler_settings(const std::string &document, int number) {
  size_t at = 0;
  for (int i = 0; i <= number; i++) at = document.find("<RuntimeSettings", at + 1);
  at = document.find('>', at) + 1;
  std::string text = document.substr(at, document.find('<', at) - at);
  for (size_t quote; (quote = text.find("&quot;")) != std::string::npos;) text.replace(quote, 6, "\"");
  return nlohmann::json::parse(text)["runtimeSettings"][0]["handlerSettings"];
}

TEST(GoalStates, KeepTheExtensionsOfThePreviousOne) {
  FabricProgram fabric(R"({"fabric":{"extensions":[{"name":"Base"}],"goalStates":[{},
    {"extensions":[{"name":"Second","state":"disabled"}],
     "statusUploadBlob":{"url":"http://storage.example.invalid/s/two?sv=1"}},
    {},{"extensions":[]}]}})");
  EXPECT_THAT(extensions(fabric), HasSubstr("<Plugin name=\"Base\" version=\"1.0.0.0\" state=\"enabled\" />"));
  fabric.control("POST", "/_fabric/advance");
  EXPECT_THAT(extensions(fabric), HasSubstr("<Plugin name=\"Second\" version=\"1.0.0.0\" state=\"disabled\" />"));
  fabric.control("POST", "/_fabric/advance");
  const std::string third = extensions(fabric);
  EXPECT_THAT(third, HasSubstr("goalStateIncarnation=\"3\""));
  EXPECT_THAT(third, HasSubstr("<Plugin name=\"Second\""));
  EXPECT_THAT(third, HasSubstr(">http://storage.example.invalid/s/two?sv=1<"));
  fabric.control("POST", "/_fabric/advance");
  EXPECT_THAT(extensions(fabric), Not(HasSubstr("<Plugin ")));
}

TEST(GoalStates, MoveOnAfterSoManyRequests) {
  FabricProgram fabric(R"({"fabric":{"faults":[{"kind":"close","method":"PUT"}],
    "goalStates":[{"advanceOn":{"method":"PUT","target":"http://storage.example.invalid/*","count":2}},{}]}})");
  EXPECT_EQ(put_block(fabric, "lost").status, 0);
  EXPECT_EQ(put_block(fabric, "one").status, 201);
  EXPECT_EQ(incarnation(fabric), "1");
  EXPECT_EQ(put_block(fabric, "two").status, 201);
  EXPECT_EQ(incarnation(fabric), "2");
}

TEST(Plugins, HaveTheirAttributes) {
  FabricProgram fabric(R"({"fabric":{"extensions":[{"name":"E","version":"1.2.3.4","state":"Enabled","autoUpgrade":true,
    "upgradeGuid":"{1}","location":"http://a/","failoverlocation":"http://b/","attributes":{"runAsStartupTask":"false"}},
    {"name":"F","autoUpgrade":"TRUE","settingsVersion":"9.9.9.9"}]}})");
  const std::string document = extensions(fabric);
  EXPECT_THAT(document, HasSubstr("<Plugin name=\"E\" version=\"1.2.3.4\" state=\"Enabled\" autoUpgrade=\"true\" "
                                  "upgradeGuid=\"{1}\" location=\"http://a/\" failoverlocation=\"http://b/\" "
                                  "runAsStartupTask=\"false\" />"));
  EXPECT_THAT(document, HasSubstr("<Plugin name=\"F\" version=\"1.0.0.0\" state=\"enabled\" autoUpgrade=\"TRUE\" />"));
  EXPECT_THAT(document, HasSubstr("<Plugin name=\"F\" version=\"9.9.9.9\">\n<RuntimeSettings seqNo=\"0\">"));
}

TEST(Plugins, MayHaveSeveralSettings) {
  FabricProgram fabric(R"({"fabric":{"extensions":[{"name":"E","publicSettings":{"a":1},"settings":[
    {"seqNo":4},{"seqNo":false,"publicSettings":"plain"},{"runtimeSettings":"not JSON"}]}]}})");
  const std::string document = extensions(fabric);
  EXPECT_EQ(handler_settings(document, 0).dump(), R"({"publicSettings":{"a":1}})");
  EXPECT_EQ(handler_settings(document, 1).dump(), R"({"publicSettings":"plain"})");
  EXPECT_THAT(document, HasSubstr("<RuntimeSettings seqNo=\"4\">"));
  EXPECT_THAT(document, HasSubstr("<RuntimeSettings>{"));
  EXPECT_THAT(document, HasSubstr("<RuntimeSettings seqNo=\"0\">not JSON</RuntimeSettings>\n</Plugin>"));
}

TEST(Plugins, MayTellAnotherThumbprintOrNone) {
  FabricProgram fabric(R"({"fabric":{"extensions":[{"name":"E","certificate":"tenant","protectedSettings":{"k":1},
    "settings":[{},{"thumbprint":"ABCD"},{"thumbprint":false}]}]}})");
  const std::string document = extensions(fabric);
  EXPECT_EQ(handler_settings(document, 0)["protectedSettingsCertThumbprint"].get<std::string>().size(), 40u);
  EXPECT_EQ(handler_settings(document, 1)["protectedSettingsCertThumbprint"], "ABCD");
  EXPECT_EQ(handler_settings(document, 2).count("protectedSettingsCertThumbprint"), 0u);
  EXPECT_EQ(handler_settings(document, 2)["protectedSettings"].get<std::string>().substr(0, 4), "MIIB");
}

TEST(Plugins, MayTellTheThumbprintOfAnotherCertificateInLowerCase) {
  FabricProgram fabric(R"({"fabric":{"tenant":{"certificates":[{"name":"a"},{"name":"b"}]},"extensions":[{"name":"E",
    "certificate":"a","protectedSettings":{"k":1},"settings":[{},{"thumbprint":{"certificate":"b"}},
    {"certificate":"b"},{"thumbprint":{"certificate":"a","lowerCase":true}}]}]}})");
  const std::string document = extensions(fabric);
  std::string told[4];
  for (int i = 0; i < 4; i++)
    told[i] = handler_settings(document, i)["protectedSettingsCertThumbprint"].get<std::string>();
  EXPECT_NE(told[0], told[1]);
  EXPECT_EQ(told[1], told[2]);
  for (char &c : told[0]) c = static_cast<char>(std::tolower(c));
  EXPECT_EQ(told[0], told[3]);
}

TEST(Plugins, MayBeMany) {
  FabricProgram fabric(R"({"fabric":{"extensions":[{"name":"E","count":400},{"name":"F"}]}})");
  const std::string document = extensions(fabric);
  EXPECT_THAT(document, HasSubstr("<Plugins>\n<Plugin name=\"E-1\" version=\"1.0.0.0\" state=\"enabled\" />\n"
                                  "<Plugin name=\"E-2\" "));
  EXPECT_THAT(document,
              HasSubstr("<Plugin name=\"E-400\" version=\"1.0.0.0\" state=\"enabled\" />\n<Plugin name=\"F\" "));
  EXPECT_THAT(document, Not(HasSubstr("E-401")));
}

TEST(Plugins, TextsMayBeDescribed) {
  FabricProgram fabric(R"({"fabric":{"extensions":[{"name":{"join":["E.",{"repeat":["na",3]}]},
    "publicSettings":{"c":{"join":["ls ",{"base64Of":{"a":[1,2]}}]},"d":{"base64Of":"plain"}}}]}})");
  const std::string document = extensions(fabric);
  EXPECT_THAT(document, HasSubstr("<Plugin name=\"E.nanana\" "));
  EXPECT_EQ(handler_settings(document, 0)["publicSettings"].dump(), R"({"c":"ls eyJhIjpbMSwyXX0=","d":"cGxhaW4="})");
}

class SealedBy : public ::testing::TestWithParam<const char *> {};

TEST_P(SealedBy, TheProgramOpensForTheCertificate) {
  TempDir folder;
  FabricProgram fabric(std::string(R"({"fabric":{"extensions":[{"name":"E","certificate":"tenant","sealedBy":")") +
                           GetParam() + R"(","protectedSettings":{"secret":"plum"}}]}})",
                       {"--debug-keys"});
  write_file(folder.file("b64"), handler_settings(extensions(fabric), 0)["protectedSettings"].get<std::string>());
  const std::string tenant = fabric.folder().file("artifacts/tenant/tenant");
  EXPECT_EQ(run_command("base64 -d " + folder.file("b64") + " | openssl cms -decrypt -binary -inform DER -inkey " +
                        tenant + ".key.pem -recip " + tenant + ".pem"),
            "{\"secret\":\"plum\"}");
}

INSTANTIATE_TEST_SUITE_P(Commands, SealedBy, ::testing::Values("smime", "cms"));

constexpr char kTransport[] =
    R"({"fabric":{"extensions":[{"name":"E","transport":true,"protectedSettings":{"secret":"plum"}}]},
        "expect":{"violations":1}})";

TEST(TransportSettings, NeedTheAgentsCertificateFirst) {
  FabricProgram fabric(kTransport);
  EXPECT_THAT(extensions(fabric), HasSubstr("protected settings: the agent has not sent its certificate"));
}

TEST(TransportSettings, OpenWithTheAgentsKey) {
  FabricProgram fabric(kTransport);
  TempDir folder;
  const std::string key = folder.file("key.pem"), certificate = folder.file("cert.pem");
  run_command("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=agent -keyout " + key + " -out " + certificate);
  std::string der = run_command("openssl x509 -outform DER -in " + certificate + " | base64 -w0");
  incarnation(fabric);
  EXPECT_EQ(fabric
                .get(std::string(kMachine) + "certificates&incarnation=1",
                     std::string(kAgent) +
                         "x-ms-cipher-name: DES_EDE3_CBC\r\nx-ms-guest-agent-public-x509-cert: " + der + "\r\n")
                .status,
            200);
  const nlohmann::json settings = handler_settings(extensions(fabric), 0);
  write_file(folder.file("b64"), settings["protectedSettings"].get<std::string>());
  EXPECT_EQ(run_command("base64 -d " + folder.file("b64") + " | openssl smime -decrypt -binary -inform DER -inkey " +
                        key + " -recip " + certificate),
            "{\"secret\":\"plum\"}");
  EXPECT_EQ(run_command("openssl x509 -outform DER -in " + certificate +
                        " | openssl dgst -sha1 -r | cut -c1-40 | tr a-f A-F"),
            settings["protectedSettingsCertThumbprint"].get<std::string>() + "\n");
}

}  // namespace
}  // namespace kelvane::fabric_test
