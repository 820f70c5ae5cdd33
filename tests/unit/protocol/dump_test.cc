// The configuration dump of slot 13, line by line. No line is gated: the debug level is 0 throughout.
#include <openssl/pem.h>

#include <algorithm>
#include <string>

#include "core/base/buffer.h"
#include "core/base/openssl_owners.h"
#include "core/base/xml.h"
#include "credentials/cert_store.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/goal_state.h"
#include "protocol/wire/wire_protocol.h"
#include "tests/unit/protocol/spies.h"

namespace {

class DumpTest : public WireTest {
 protected:
  static void goal_state(const std::string &document) {
    kelvane::BufferOwner buffer;
    kelvane::__makeBuffer(buffer.get(), document.c_str());
    kelvane::goal_state_parse(buffer.get());
  }

  static void extensions(const std::string &document) {
    const kelvane::XmlOwner xml = kelvane::xml_load(document.data(), document.size());
    ASSERT_TRUE(xml.present());
    ASSERT_EQ(kelvane::ExtConfigParse(xml.get(), kelvane::ext_config()), 0);
  }

  // One handler with these runtime settings; its lines from the sixth on.
  static Lines config_lines(const std::string &runtime_settings) {
    extensions(
        "<Extensions><Plugins><Plugin name=\"A\" version=\"1\"/></Plugins><PluginSettings><Plugin name=\"A\" "
        "version=\"1\">" +
        runtime_settings + "</Plugin></PluginSettings></Extensions>");
    const Lines all = dump();
    EXPECT_GE(all.size(), 10u);
    return Lines(all.begin() + 10, all.end());
  }

  static Lines dump() {
    recording::clear_trace();
    const kelvane::Protocol *protocol = kelvane::ProtocolGetWire();
    EXPECT_EQ(protocol->dump_config(protocol, protocol), 0);
    return recording::messages();
  }
};

TEST_F(DumpTest, BeforeAnyGoalStateThereAreTheHeadersOnly) {
  EXPECT_EQ(dump(), (Lines{"Goal State:\n", "\nExtension Config:\n", "  Incarnation       : 0\n",
                           "  Status Upload URL : (0) \n"}));
}

TEST_F(DumpTest, AGoalStateIsTenLines) {
  goal_state(
      "<G><Incarnation>i</Incarnation><ExpectedState>e</ExpectedState><HostingEnvironmentConfig>h"
      "</HostingEnvironmentConfig><SharedConfig>s</SharedConfig><ExtensionsConfig>x</ExtensionsConfig>"
      "<InstanceId>r</InstanceId><ConfigName>n</ConfigName><Certificates>c</Certificates><ContainerId>o</ContainerId>"
      "<Port>p</Port></G>");
  EXPECT_EQ(dump(), (Lines{"Goal State:\n", "  Incarnation      : i\n", "  Expected State   : e\n",
                           "  Container ID     : o\n", "  Role Instance ID : r\n", "  Role Config Name : n\n",
                           "  LB Probe Port    : p\n", "  Certs URI        : c\n", "  Extension URI    : x\n",
                           "  Hosting Env URI  : h\n", "  Shared Conf URI  : s\n", "\nExtension Config:\n",
                           "  Incarnation       : 0\n", "  Status Upload URL : (0) \n"}));
}

TEST_F(DumpTest, ValuesThatAreNotKnownAreEmptyAndWithoutAnIncarnationNoneIsListed) {
  goal_state("<G><ExpectedState>e</ExpectedState></G>");
  EXPECT_EQ(dump().size(), 4u);
  goal_state("<G><Incarnation>i</Incarnation></G>");
  const Lines lines = dump();
  ASSERT_EQ(lines.size(), 14u);
  EXPECT_EQ(lines[3], "  Container ID     : \n");
  EXPECT_EQ(lines[10], "  Shared Conf URI  : \n");
}

TEST_F(DumpTest, HandlersAreListedWithTheirLocations) {
  extensions(
      "<Extensions goalStateIncarnation=\"12\"><StatusUploadBlob "
      "statusBlobType=\"PageBlob\">http://s/b</StatusUploadBlob>"
      "<Plugins><Plugin name=\"N.One\" version=\"1.2\" location=\"http://l\" failoverlocation=\"http://f\" "
      "state=\"enabled\" upgradeGuid=\"guid\"/><Plugin name=\"N.Two\" version=\"3\"/></Plugins><PluginSettings><Plugin "
      "name=\"N.One\" version=\"1.2\"><RuntimeSettings seqNo=\"4\">not JSON</RuntimeSettings></Plugin></PluginSettings>"
      "</Extensions>");
  EXPECT_EQ(
      dump(),
      (Lines{"Goal State:\n", "\nExtension Config:\n", "  Incarnation       : 12\n",
             "  Status Upload URL : (1) http://s/b\n", "  Plugins:", "\n   [ 0]:        Name : N.One\n",
             "   [ 0]:     Version : 1.2\n", "   [ 0]:         URL : http://l\n", "   [ 0]:         URL : http://f\n",
             "   [ 0]:       State : enabled\n", "   [ 0]:       SeqNo : 4\n", "   [ 0]: UpgradeGuid : 4\n",
             "   [ 0]:      Config :\nnot JSON", "\n   [ 1]:        Name : N.Two\n", "   [ 1]:     Version : 3\n",
             "   [ 1]:       State : \n", "   [ 1]:       SeqNo : 0\n", "   [ 1]: UpgradeGuid : 0\n"}));
}

TEST_F(DumpTest, TheIndexIsTwoCharactersWide) {
  std::string plugins;
  for (int i = 0; i < 12; i++) {
    plugins += "<Plugin name=\"n\"/>";
  }
  extensions("<Extensions><Plugins>" + plugins + "</Plugins></Extensions>");
  EXPECT_EQ(dump().back(), "   [11]: UpgradeGuid : 0\n");
}

TEST_F(DumpTest, SettingsThatParseAreListedPretty) {
  EXPECT_EQ(config_lines("<RuntimeSettings>{\"a\":{\"b\":[1]}}</RuntimeSettings>"),
            (Lines{"   [ 0]:      Config :\n{\n  \"a\":{\n    \"b\":[\n      1\n    ]\n  }\n}"}));
}

// A certificate with its key in the certificate store, and a text that is encrypted to it: base64, one line.
class DecryptingDumpTest : public DumpTest {
 protected:
  void SetUp() override {
    if (!support::have_openssl()) {
      GTEST_SKIP() << "SKIP: no openssl command line tool";
    }
    const std::string key = folder_.file("key.pem");
    const std::string certificate = folder_.file("certificate.pem");
    support::openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out", certificate, "-days",
                      "2", "-subj", "/CN=settings"});
    const kelvane::BioOwner key_file(BIO_new_file(key.c_str(), "r"));
    const kelvane::BioOwner certificate_file(BIO_new_file(certificate.c_str(), "r"));
    const uint8_t id[] = {1};
    kelvane::CertStoreClear();
    kelvane::CertStoreKey(id, 1, PEM_read_bio_PrivateKey(key_file.get(), nullptr, nullptr, nullptr));
    kelvane::CertStoreCert(id, 1, PEM_read_bio_X509(certificate_file.get(), nullptr, nullptr, nullptr));
    for (const char character : support::openssl({"x509", "-in", certificate, "-noout", "-fingerprint", "-sha1"})) {
      thumbprint_ += character == ':' ? "" : std::string(1, character);
    }
    thumbprint_ = thumbprint_.substr(thumbprint_.find('=') + 1, 40);
    support::openssl({"smime", "-encrypt", "-binary", "-des3", "-in", folder_.write("plain", "{\"secret\":\"hidden\"}"),
                      "-outform", "DER", "-out", folder_.file("sealed"), certificate});
    sealed_ = support::openssl({"base64", "-A", "-in", folder_.file("sealed")});
  }

  ~DecryptingDumpTest() override { kelvane::CertStoreClear(); }

  std::string thumbprint_;
  std::string sealed_;
};

TEST_F(DecryptingDumpTest, ProtectedSettingsAreListedInClearAndTheListingIsWiped) {
  const std::string listing =
      "{\n  \"runtimeSettings\":[\n    {\n      \"handlerSettings\":{\n        \"protectedSettings\":{\n"
      "          \"secret\":\"hidden\"\n        },\n        \"protectedSettingsCertThumbprint\":\"" +
      thumbprint_ + "\"\n      }\n    }\n  ]\n}";
  EXPECT_EQ(
      config_lines("<RuntimeSettings>{\"runtimeSettings\":[{\"handlerSettings\":{\"protectedSettings\":\"" + sealed_ +
                   "\",\"protectedSettingsCertThumbprint\":\"" + thumbprint_ + "\"}}]}</RuntimeSettings>"),
      (Lines{"   [ 0]:      Config :\n" + listing}));
  const Lines &wiped = spies::spies().wiped;
  EXPECT_EQ(std::count(wiped.begin(), wiped.end(), listing), 1);
  EXPECT_EQ(std::count(wiped.begin(), wiped.end(), "hidden"), 1);
}

TEST_F(DumpTest, SettingsThatAreNoObjectAreListedAsTheyAre) {
  EXPECT_EQ(config_lines("<RuntimeSettings>[1,2]</RuntimeSettings>"), (Lines{"   [ 0]:      Config :\n[1,2]"}));
  EXPECT_EQ(config_lines("<RuntimeSettings>%s %d {</RuntimeSettings>"), (Lines{"   [ 0]:      Config :\n%s %d {"}));
}

TEST_F(DumpTest, AbsentSettingsAreNotListed) {
  EXPECT_EQ(config_lines(""), Lines{});
  EXPECT_EQ(config_lines("<RuntimeSettings seqNo=\"1\"/>"), Lines{});
}

TEST_F(DumpTest, ChangesNothing) {
  extensions("<Extensions><Plugins><Plugin name=\"A\"/></Plugins></Extensions>");
  const Lines once = dump();
  EXPECT_EQ(dump(), once);
  EXPECT_EQ(spies::spies().performed, 0);
}

}  // namespace
