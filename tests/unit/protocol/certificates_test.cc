// The certificates document: made here with the openssl command line tool, for the agent's own transport certificate.
#include "protocol/wire/certificates.h"

#include <openssl/err.h>

#include <string>

#include "core/base/buffer.h"
#include "core/base/openssl_owners.h"
#include "credentials/cert_store.h"
#include "credentials/ssh_pub_key.h"
#include "credentials/transport_cert.h"
#include "protocol/wire/wire_client.h"
#include "tests/unit/protocol/spies.h"
#include "tests/unit/protocol/tenant.h"

using kelvane::BufferOwner;
using support::openssl;
using tenant::stored;

namespace {

class CertificatesTest : public WireTest {
 protected:
  void SetUp() override {
    if (!support::have_openssl()) {
      GTEST_SKIP() << "SKIP: no openssl command line tool";
    }
    static const bool made = kelvane::TransportCertMake() == 0;
    if (!made || tenant::transport().certificate == nullptr) {
      ASSERT_EQ(kelvane::TransportCertMake(), 0);
    }
    kelvane::CertStoreClear();
  }

  ~CertificatesTest() override {
    kelvane::CertStoreClear();
    kelvane::SSHPubKeySet("nobody");
  }

  std::string recipient() const { return tenant::recipient(folder_); }

  // Encrypts to a certificate; the base64 lines between the PEM marks, each with its line feed.
  std::string wrapped(const std::string &bytes, const std::string &certificate) const {
    return openssl({"base64", "-in", tenant::wrap(folder_, bytes, certificate)});
  }

  static std::string document(const std::string &data) {
    return "<?xml version=\"1.0\"?><CertificateFile><Version>2012-11-30</Version><Format>Pkcs7BlobWithPfxContents"
           "</Format><Data>" +
           data + "</Data></CertificateFile>";
  }

  static void process(const std::string &document) {
    BufferOwner buffer;
    kelvane::__makeBuffer(buffer.get(), document.c_str());
    kelvane::certificates_process(buffer.get());
    EXPECT_EQ(ERR_peek_error(), 0u) << "no error is left in OpenSSL's queue";
  }
};

TEST_F(CertificatesTest, TheContainerGoesIntoTheCertificateStore) {
  EXPECT_FALSE(stored());
  process(document("\n" + wrapped(tenant::container(), recipient())));
  EXPECT_TRUE(stored());
}

TEST_F(CertificatesTest, ItsPublicKeysBecomeCandidatesOfTheSshKeyStore) {
  process(document("\n" + wrapped(tenant::container(), recipient())));
  kelvane::SSHPubKeyFlag(tenant::thumbprint().c_str());
  kelvane::SSHPubKeySet("user");
  EXPECT_EQ(recording::ssh_key("user", 1).substr(0, 8), "ssh-rsa ");
}

TEST_F(CertificatesTest, WhiteSpaceOfAnyKindBecomesLineFeeds) {
  std::string data = wrapped(tenant::container(), recipient());
  std::string indented;
  for (const char character : data) {
    indented += character == '\n' ? "\r\n\t    " : std::string(1, character);
  }
  process(document("\r\n    " + indented));
  EXPECT_TRUE(stored());
}

TEST_F(CertificatesTest, NoWhiteSpaceIsNeededInFrontOfTheText) {
  process(document(wrapped(tenant::container(), recipient())));
  EXPECT_TRUE(stored());
}

// The white space in front of the first line makes an empty line, as any other makes a line feed; behind an empty line
// the library takes lines of 64 characters only.
TEST_F(CertificatesTest, WhiteSpaceInFrontOfLongLinesIsAnEmptyLineThatMakesThemUnreadable) {
  wrapped(tenant::container(), recipient());
  const std::string whole = openssl({"base64", "-A", "-in", folder_.file("cms.der")});
  std::string lines;
  for (size_t at = 0; at < whole.size(); at += 76) {
    lines += whole.substr(at, 76) + "\n";
  }
  process(document("\n" + lines));
  EXPECT_FALSE(stored());
  process(document(lines));
  EXPECT_TRUE(stored());
}

TEST_F(CertificatesTest, SingleSpacesBetweenTheLinesAreEnough) {
  std::string data = wrapped(tenant::container(), recipient());
  for (char &character : data) {
    character = character == '\n' ? ' ' : character;
  }
  process(document(" " + data));
  EXPECT_TRUE(stored());
}

TEST_F(CertificatesTest, TextChildrenAroundAnElementAreJoined) {
  std::string data = wrapped(tenant::container(), recipient());
  data.insert(65, "<note>not a part of it</note>");
  process(document("\n" + data));
  EXPECT_TRUE(stored());
}

TEST_F(CertificatesTest, WithoutWhiteSpaceAtTheEndThereIsNoReadableText) {
  std::string data = wrapped(tenant::container(), recipient());
  data.pop_back();
  process(document("\n" + data));
  EXPECT_FALSE(stored());
}

TEST_F(CertificatesTest, TheFirstDataElementCounts) {
  const std::string good = wrapped(tenant::container(), recipient());
  process("<C><Data>\nAAAA\n</Data><Data>\n" + good + "</Data></C>");
  EXPECT_FALSE(stored());
  process("<C><Data>\n" + good + "</Data><Data>\nAAAA\n</Data></C>");
  EXPECT_TRUE(stored());
}

TEST_F(CertificatesTest, EveryFailureIsSilentAndKeepsTheStore) {
  const std::string good = wrapped(tenant::container(), recipient());
  process(document("\n" + good));
  ASSERT_TRUE(stored());
  recording::set_debug_level(10);
  const std::string other = tenant::other_recipient(folder_);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  for (const std::string &bad : {
           std::string("<html>"),
           std::string("<C/>"),
           std::string("<C><Data/></C>"),
           document(""),
           document("\n"),
           document("\nnot base64 !!\n"),
           document("\nAAAA\n"),
           document("\n" + good.substr(0, good.size() / 2) + "\n"),
           document("\n" + wrapped(tenant::container(), other)),
           document("\n" + wrapped("no container at all", recipient())),
           document("\n" + wrapped("", recipient())),
       }) {
    process(bad);
    EXPECT_TRUE(stored()) << bad.substr(0, 200);
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(CertificatesTest, WithoutATransportCertificateNothingHappens) {
  const std::string good = document("\n" + wrapped(tenant::container(), recipient()));
  kelvane::TransportCertCleanup();
  process(good);
  EXPECT_FALSE(stored());
}

TEST_F(CertificatesTest, TheFetchSendsTheTransportCertificateAndProcessesTheBody) {
  const std::string body = document("\n" + wrapped(tenant::container(), recipient()));
  peer_->script({support::answer(200,
                                 "<G><Incarnation>1</Incarnation><Certificates>http://168.63.129.16/c</Certificates>"
                                 "</G>"),
                 support::answer(200, body)});
  kelvane::__WireClient_update_goal_state(1);
  EXPECT_EQ(peer_->requests()[1].own_headers(),
            (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30", "x-ms-cipher-name: DES_EDE3_CBC",
                   std::string("x-ms-guest-agent-public-x509-cert: ") + tenant::transport().encoded_certificate}));
  EXPECT_TRUE(stored());
  EXPECT_EQ(copy("kelvane_certificates.xml"), body);
}

TEST_F(CertificatesTest, TheCertificateHeaderThatCannotBeAppendedIsLeftOut) {
  peer_->script(
      {support::answer(200, "<G><Certificates>http://168.63.129.16/c</Certificates></G>"), support::answer(200, "x")});
  spies::spies().refuse_list_append = 2 + 4;
  kelvane::__WireClient_update_goal_state(1);
  EXPECT_EQ(peer_->requests()[1].own_headers(),
            (Lines{"x-ms-agent-name: TorvikGuest", "x-ms-version: 2012-11-30", "x-ms-cipher-name: DES_EDE3_CBC"}));
}

TEST_F(CertificatesTest, OnlyTheBodyOfTheRequestCountsNotItsResult) {
  const std::string body = document("\n" + wrapped(tenant::container(), recipient()));
  std::vector<support::PeerAnswer> answers(9, support::answer_with_length(200, "", 1));
  answers[8] = support::answer_with_length(200, body, body.size() + 1);
  answers.insert(answers.begin(), support::answer(200, "<G><Certificates>http://168.63.129.16/c</Certificates></G>"));
  peer_->script(answers);
  kelvane::__WireClient_update_goal_state(1);
  EXPECT_TRUE(stored());
}

}  // namespace
