#include "provision/ovf_values.h"

#include <unistd.h>

#include "core/base/xml.h"
#include "tests/support/recording_fixture.h"
#include "tests/support/refused_memory.h"
#include "tests/unit/provision/ssh_store.h"

namespace {

using kelvane::Text;

// As a cloud sends it: namespaces, a prefixed section, an unprefixed configuration set with a namespace of its own.
const char kDocument[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<Environment xmlns=\"urn:test:environment\" xmlns:oe=\"urn:test:environment\" xmlns:wa=\"urn:test:azure\"\n"
    "             xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n"
    "  <wa:ProvisioningSection><wa:Version>1.0</wa:Version>\n"
    "    <ProvisioningConfigurationSet xmlns=\"urn:test:set\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n"
    "      <ConfigurationSetType>Provisioning</ConfigurationSetType>\n"
    "      <HostName>gate-7</HostName>\n"
    "      <UserName>operator</UserName>\n"
    "      <UserPassword>p&amp;ss&lt;w&#48;rd&gt;</UserPassword>\n"
    "      <DisableSshPasswordAuthentication>false</DisableSshPasswordAuthentication>\n"
    "      <SSH><PublicKeys>\n"
    "        <PublicKey><Fingerprint>AB01</Fingerprint><Path>/home/operator/.ssh/authorized_keys</Path>\n"
    "          <Value>ssh-rsa AAAA one</Value></PublicKey>\n"
    "        <PublicKey><Fingerprint>AB02</Fingerprint><Path>/x</Path></PublicKey>\n"
    "        <PublicKey><Path>/x</Path><Value>ssh-rsa BBBB two</Value></PublicKey>\n"
    "        <PublicKey><Path>/x</Path></PublicKey>\n"
    "      </PublicKeys></SSH>\n"
    "      <CustomData>Y3VzdG9t</CustomData>\n"
    "    </ProvisioningConfigurationSet></wa:ProvisioningSection>\n"
    "</Environment>\n";

class OvfValues : public RecordingTest {
 protected:
  ~OvfValues() override { ssh_store_without_memory() = false; }

  void parse(const std::string &document) {
    const kelvane::XmlOwner tree(mxmlLoadString(nullptr, document.c_str(), MXML_NO_CALLBACK));
    ASSERT_NE(tree.get(), nullptr);
    result_ = kelvane::ProvisionAgent_ParseOvfEnv(tree.get(), &host_name_, &user_name_, &password_);
  }
  static std::string shown(const Text &text) { return kelvane::text_or(text.get(), "(none)"); }
  Lines values() const { return {shown(host_name_), shown(user_name_), shown(password_)}; }

  Text host_name_;
  Text user_name_;
  Text password_;
  int32_t result_ = 1;
};

TEST_F(OvfValues, AreTakenFromACloudsDocument) {
  parse(kDocument);
  EXPECT_EQ(values(), (Lines{"gate-7", "operator", "p&ss<w0rd>"}));
  EXPECT_EQ(recording::trace(), (Lines{"SSHPubKeyAdd(\"ssh-rsa AAAA one\", \"AB01\", 1)", "SSHPubKeyFlag(\"AB02\")",
                                       "SSHPubKeyAdd(\"ssh-rsa BBBB two\", null, 1)"}));
}

// A text of N letters takes N + 1 bytes.
TEST_F(OvfValues, ATextThatThereIsNoMemoryForIsNotTakenForMissing) {
  const std::string document = "<E><HostName>" + std::string(1200, 'h') + "</HostName><UserName>" +
                               std::string(1300, 'u') + "</UserName><UserPassword>" + std::string(1400, 'p') +
                               "</UserPassword><PublicKeys><PublicKey><Value>k</Value></PublicKey></PublicKeys></E>";
  for (const size_t size : {size_t{1201}, size_t{1301}, size_t{1401}}) {
    const refused_memory::Refusal refusal(size);
    parse(document);
    EXPECT_EQ(result_, -1) << size;
  }
  EXPECT_EQ(recording::trace(), Lines());
  parse(document);
  EXPECT_EQ(result_, 0);
}

TEST_F(OvfValues, AKeyThatThereIsNoMemoryForIsNotTakenForMissing) {
  const std::string document = "<E><PublicKeys><PublicKey><Value>k</Value></PublicKey><PublicKey><Fingerprint>" +
                               std::string(1200, 'f') + "</Fingerprint><Value>" + std::string(1300, 'v') +
                               "</Value></PublicKey><PublicKey><Value>l</Value></PublicKey></PublicKeys></E>";
  for (const size_t size : {size_t{1201}, size_t{1301}}) {
    recording::clear_trace();
    const refused_memory::Refusal refusal(size);
    parse(document);
    EXPECT_EQ(result_, -1) << size;
    EXPECT_EQ(recording::trace(), Lines{"SSHPubKeyAdd(\"k\", null, 1)"});
  }
  parse(document);
  EXPECT_EQ(result_, 0);
}

TEST_F(OvfValues, AKeyThatTheStoreHasNoMemoryForIsNotTakenForMissing) {
  const char document[] = "<E><PublicKeys><PublicKey><Value>k</Value></PublicKey></PublicKeys></E>";
  ssh_store_without_memory() = true;
  parse(document);
  EXPECT_EQ(result_, -1);
  ssh_store_without_memory() = false;
  parse(document);
  EXPECT_EQ(result_, 0);
}

TEST_F(OvfValues, AnElementWithoutATextIsMissing) {
  parse("<E><HostName/><UserName></UserName><UserPassword><b/></UserPassword></E>");
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(values(), (Lines{"(none)", "(none)", "(none)"}));
}

TEST_F(OvfValues, EachElementMayBeMissing) {
  parse("<E><UserName>u</UserName><UserPassword>p</UserPassword></E>");
  EXPECT_EQ(values(), (Lines{"(none)", "u", "p"}));
}

TEST_F(OvfValues, WithoutAnyNothingIsTaken) {
  parse("<E/>");
  EXPECT_EQ(values(), (Lines{"(none)", "(none)", "(none)"}));
  EXPECT_EQ(recording::trace(), Lines{});
}

TEST_F(OvfValues, OutputsStayAsTheyAreWithoutAnElement) {
  ASSERT_EQ(kelvane::text_copy(&host_name_, "before"), 0);
  parse("<E><UserName>u</UserName></E>");
  EXPECT_EQ(values(), (Lines{"before", "u", "(none)"}));
}

TEST_F(OvfValues, TheFirstElementOfANameCounts) {
  parse("<E><A><B><HostName>deep</HostName></B></A><HostName>flat</HostName></E>");
  EXPECT_EQ(values()[0], "deep");
}

TEST_F(OvfValues, AnEmptyFirstElementHidesASecond) {
  parse("<E><HostName/><HostName>second</HostName><UserName></UserName></E>");
  EXPECT_EQ(values(), (Lines{"(none)", "(none)", "(none)"}));
}

TEST_F(OvfValues, NamesCompareWithCaseAndPrefix) {
  parse("<E><wa:HostName>a</wa:HostName><hostname>b</hostname><HostNames>c</HostNames></E>");
  EXPECT_EQ(values()[0], "(none)");
}

TEST_F(OvfValues, WhiteSpaceBecomesSingleBlanksAndIsNotTrimmed) {
  parse("<E><HostName>\n  a \t b\n</HostName><UserName> u</UserName><UserPassword>p </UserPassword></E>");
  EXPECT_EQ(values(), (Lines{" a b ", " u", "p "}));
}

TEST_F(OvfValues, ACdataSectionOrCommentInFrontHidesTheText) {
  parse(
      "<E><HostName><![CDATA[h]]></HostName><UserName><!-- c -->u</UserName>"
      "<UserPassword><X/>p</UserPassword></E>");
  EXPECT_EQ(values(), (Lines{"(none)", "(none)", "(none)"}));
}

TEST_F(OvfValues, ACdataSectionOrCommentEndsTheText) {
  parse("<E><HostName>h<![CDATA[x]]>i</HostName><UserName>u<!-- c -->v</UserName></E>");
  EXPECT_EQ(values(), (Lines{"h", "u", "(none)"}));
}

TEST_F(OvfValues, ALongValueIsTakenWhole) {
  const std::string name(100000, 'n');
  parse("<E><UserName>" + name + "</UserName></E>");
  EXPECT_EQ(values()[1], name);
}

TEST_F(OvfValues, FortyKeysAreOfferedInDocumentOrder) {
  std::string document = "<E><PublicKeys>";
  Lines expected;
  for (int i = 0; i < 40; i++) {
    document += "<PublicKey><Value>key" + std::to_string(i) + "</Value></PublicKey>";
    expected.push_back("SSHPubKeyAdd(\"key" + std::to_string(i) + "\", null, 1)");
  }
  parse(document + "</PublicKeys></E>");
  EXPECT_EQ(recording::trace(), expected);
}

TEST_F(OvfValues, KeysMayLieDeepAndOnlyTheFirstListCounts) {
  parse(
      "<E><PublicKey><Value>outside</Value></PublicKey><PublicKeys><G><PublicKey><X><Value>deep</Value></X>"
      "</PublicKey></G></PublicKeys><PublicKeys><PublicKey><Value>second</Value></PublicKey></PublicKeys></E>");
  EXPECT_EQ(recording::trace(), Lines{"SSHPubKeyAdd(\"deep\", null, 1)"});
}

TEST_F(OvfValues, AKeysTextsAreSoughtInsideItOnly) {
  parse(
      "<E><PublicKeys><PublicKey><Value>one</Value></PublicKey><PublicKey><Path>x</Path></PublicKey>"
      "<PublicKey><Fingerprint>F3</Fingerprint></PublicKey></PublicKeys></E>");
  EXPECT_EQ(recording::trace(), (Lines{"SSHPubKeyAdd(\"one\", null, 1)", "SSHPubKeyFlag(\"F3\")"}));
}

TEST_F(OvfValues, AnEmptyFingerprintCountsAsNone) {
  parse(
      "<E><PublicKeys><PublicKey><Fingerprint/><Value>one</Value></PublicKey>"
      "<PublicKey><Fingerprint></Fingerprint></PublicKey></PublicKeys></E>");
  EXPECT_EQ(recording::trace(), Lines{"SSHPubKeyAdd(\"one\", null, 1)"});
}

// In processes of their own, as the counter is never lowered.
class OvfValuesDeathTest : public OvfValues {
 protected:
  OvfValuesDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
  ~OvfValuesDeathTest() override { testing::FLAGS_gtest_death_test_style = "fast"; }
  void parse_and_exit(const std::string &document) {
    parse(document);
    _exit(kelvane::__hasSSHPubKeys());
  }
};

TEST_F(OvfValuesDeathTest, WithoutKeysThereAreNone) {
  EXPECT_EXIT(_exit(10 + kelvane::__hasSSHPubKeys()), testing::ExitedWithCode(10), "");
  EXPECT_EXIT(parse_and_exit("<E><PublicKeys><PublicKey><Path>x</Path></PublicKey></PublicKeys></E>"),
              testing::ExitedWithCode(0), "");
}

TEST_F(OvfValuesDeathTest, AFingerprintAloneCounts) {
  EXPECT_EXIT(parse_and_exit("<E><PublicKeys><PublicKey><Fingerprint>F</Fingerprint></PublicKey></PublicKeys></E>"),
              testing::ExitedWithCode(1), "");
}

TEST_F(OvfValuesDeathTest, AValueAloneCounts) {
  EXPECT_EXIT(parse_and_exit("<E><PublicKeys><PublicKey><Value>k</Value></PublicKey></PublicKeys></E>"),
              testing::ExitedWithCode(1), "");
}

TEST_F(OvfValuesDeathTest, TwoKeysStillGiveOne) {
  EXPECT_EXIT(parse_and_exit(kDocument), testing::ExitedWithCode(1), "");
}

}  // namespace
