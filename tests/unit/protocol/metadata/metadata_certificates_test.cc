// Certificates in JSON: the framing of their messages, what ends in the stores, and what is told when one cannot be
// taken.
#include "protocol/metadata/metadata_certificates.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <unistd.h>

#include "credentials/cert_store.h"
#include "credentials/ssh_pub_key.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/metadata/metadata_world.h"
#include "tests/unit/protocol/tenant.h"

using support::answer;
using support::openssl;
using tenant::stored;

namespace {

std::string framed(const std::string &data) {
  const kelvane::BioOwner pem = kelvane::metadata_cms_pem(data.c_str());
  char *bytes = nullptr;
  const long size = BIO_get_mem_data(pem.get(), &bytes);
  return std::string(bytes, static_cast<size_t>(size));
}

constexpr char kBegin[] = "-----BEGIN CMS-----\n";
constexpr char kEnd[] = "-----END CMS-----\n";

TEST(MetadataFraming, LinesHave74Characters) {
  const std::string text =
      "AAAAAAAAAABBBBBBBBBBCCCCCCCCCCDDDDDDDDDDEEEEEEEEEEFFFFFFFFFFGGGGGGGGGGHHHH"
      "aaaaaaaaaabbbbbbbbbbccccccccccddddddddddeeeeeeeeeeffffffffffgggggggggghhhh";
  ASSERT_EQ(text.size(), 148u);
  EXPECT_EQ(framed(text), std::string(kBegin) +
                              "AAAAAAAAAABBBBBBBBBBCCCCCCCCCCDDDDDDDDDDEEEEEEEEEEFFFFFFFFFFGGGGGGGGGGHHHH\n"
                              "aaaaaaaaaabbbbbbbbbbccccccccccddddddddddeeeeeeeeeeffffffffffgggggggggghhhh\n" +
                              kEnd);
}

TEST(MetadataFraming, TheLastLineIsAsLongAsItComes) {
  EXPECT_EQ(framed(""), std::string(kBegin) + kEnd);
  EXPECT_EQ(framed("A"), std::string(kBegin) + "A\n" + kEnd);
  EXPECT_EQ(framed(std::string(73, 'A')), kBegin + std::string(73, 'A') + "\n" + kEnd);
  EXPECT_EQ(framed(std::string(74, 'A')), kBegin + std::string(74, 'A') + "\n" + kEnd);
  EXPECT_EQ(framed(std::string(75, 'A')), kBegin + std::string(74, 'A') + "\nA\n" + kEnd);
  EXPECT_EQ(framed(std::string(149, 'A')),
            kBegin + std::string(74, 'A') + "\n" + std::string(74, 'A') + "\nA\n" + kEnd);
}

class MetadataCertificatesTest : public MetadataTest {
 protected:
  void SetUp() override {
    if (!support::have_openssl()) {
      GTEST_SKIP() << "SKIP: no openssl command line tool";
    }
    ASSERT_EQ(kelvane::TransportCertMake(), 0);
    recording::clear_trace();
    kelvane::CertStoreClear();
    ERR_clear_error();
  }
  ~MetadataCertificatesTest() override {
    kelvane::CertStoreClear();
    kelvane::SSHPubKeySet("nobody");
  }

  // A certificate document with the bytes, encrypted to the certificate.
  std::string wrapped(const std::string &bytes, const std::string &certificate) const {
    return certificate_document(openssl({"base64", "-A", "-in", tenant::wrap(folder_, bytes, certificate)}));
  }
  std::string good() const { return wrapped(tenant::container(), tenant::recipient(folder_)); }
  static std::string certificate_document(const std::string &data) {
    return "{\"certificateData\":\"" + data + "\",\"other\":1}";
  }
  static std::string list_of(const std::vector<std::string> &urls) {
    std::string list;
    for (const std::string &url : urls) {
      list += (list.empty() ? "" : ",") + ("{\"name\":\"n\",\"certificateDataUri\":\"" + url + "\"}");
    }
    return "{\"certificates\":[" + list + "]}";
  }

  // What is printed on standard output while a document is processed. OpenSSL's error queue must be empty afterwards.
  static std::string processed(const std::string &document) {
    const kelvane::JsonOwner json = parsed(document);
    testing::internal::CaptureStdout();
    kelvane::processJSONCertificate(json.get());
    EXPECT_EQ(ERR_peek_error(), 0u) << "no error is left in OpenSSL's queue";
    return testing::internal::GetCapturedStdout();
  }

  static std::string first_line(const std::string &text) { return text.substr(0, text.find('\n') + 1); }
  // Whether a text is nothing but lines of OpenSSL's error queue, one at least.
  static testing::AssertionResult is_error_queue(const std::string &text) {
    size_t lines = 0;
    for (size_t at = 0; at < text.size(); lines++) {
      const size_t end = text.find('\n', at);
      if (end == std::string::npos || text.substr(at, end - at).find(":error:") == std::string::npos) {
        return testing::AssertionFailure() << "\"" << text << "\"";
      }
      at = end + 1;
    }
    return lines != 0 ? testing::AssertionSuccess() : testing::AssertionFailure() << "nothing";
  }
};

constexpr char kCmsFailed[] = "[kelvane]: processJSONCertificate:971: CMS failed\n";

// ---- one certificate ----

TEST_F(MetadataCertificatesTest, AContainerGoesIntoBothStoresWithoutAWord) {
  recording::set_debug_level(1);
  EXPECT_EQ(processed(good()), "");
  EXPECT_TRUE(stored());
  EXPECT_EQ(recording::messages(), Lines{});
  kelvane::SSHPubKeyFlag(tenant::thumbprint().c_str());
  kelvane::SSHPubKeySet("user");
  EXPECT_EQ(recording::ssh_key("user", 1).substr(0, 8), "ssh-rsa ");
}

TEST_F(MetadataCertificatesTest, ADocumentWithoutItsTextIsPassedOver) {
  recording::set_debug_level(8);
  for (const char *document : {"{}", "[]", "7", R"({"certificateData":7})", R"({"certificateData":null})",
                               R"({"certificateData":["AAAA"]})", R"({"CertificateData":"AAAA"})"}) {
    EXPECT_EQ(processed(document), "") << document;
  }
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(MetadataCertificatesTest, WhatIsNoMessageIsLoggedAtLevelOneAndPrintsTheErrorQueue) {
  for (const std::string &data :
       {std::string("A"), std::string("AAAA"), std::string("not base64 !!"), std::string(100000, 'A')}) {
    recording::clear_trace();
    recording::set_debug_level(0);
    EXPECT_TRUE(is_error_queue(processed(certificate_document(data)))) << data.substr(0, 40);
    EXPECT_EQ(recording::messages(), Lines{});
    recording::set_debug_level(1);
    EXPECT_TRUE(is_error_queue(processed(certificate_document(data)))) << data.substr(0, 40);
    EXPECT_EQ(recording::messages(), Lines{kCmsFailed});
  }
}

// The library has no word about either.
TEST_F(MetadataCertificatesTest, AnEmptyMessageIsLoggedToo) {
  recording::set_debug_level(1);
  for (const char *data : {"", "-----END CMS-----"}) {
    recording::clear_trace();
    EXPECT_EQ(processed(certificate_document(data)), "");
    EXPECT_EQ(recording::messages(), Lines{kCmsFailed});
  }
}

// Versions of the library differ in whether they have a word about it.
TEST_F(MetadataCertificatesTest, AMessageForSomebodyElsePrintsTheErrorQueueOnly) {
  recording::set_debug_level(8);
  const std::string printed = processed(wrapped(tenant::container(), tenant::other_recipient(folder_)));
  EXPECT_TRUE(printed.empty() || is_error_queue(printed));
  EXPECT_FALSE(stored());
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(MetadataCertificatesTest, WithoutATransportCertificateNothingIsDecrypted) {
  const std::string document = good();
  kelvane::TransportCertCleanup();
  EXPECT_EQ(processed(document), "");
  EXPECT_FALSE(stored());
}

TEST_F(MetadataCertificatesTest, ContentThatCannotBeDecryptedIsTold) {
  // The message without the last block of its content: the padding is then wrong, or the text is.
  const std::string path = tenant::wrap(folder_, std::string(64, 'x'), tenant::recipient(folder_));
  std::string message = support::read_file(path);
  message[message.size() - 9] = static_cast<char>(message[message.size() - 9] ^ 0x55);
  const std::string damaged = folder_.write("damaged.der", message);
  const std::string printed = processed(certificate_document(openssl({"base64", "-A", "-in", damaged})));
  EXPECT_EQ(first_line(printed), "CMS decrypt failed\n");
  EXPECT_TRUE(is_error_queue(printed.substr(first_line(printed).size()))) << printed;
  EXPECT_FALSE(stored());
}

TEST_F(MetadataCertificatesTest, ContentThatIsNoContainerIsTold) {
  recording::set_debug_level(8);
  for (const std::string &content : {std::string("no container at all"), std::string("\x30\x03\x02\x01\x03", 5)}) {
    const std::string printed = processed(wrapped(content, tenant::recipient(folder_)));
    EXPECT_EQ(first_line(printed), "PKCS12 failed\n");
    EXPECT_TRUE(is_error_queue(printed.substr(first_line(printed).size()))) << printed;
  }
  EXPECT_EQ(recording::messages(), Lines{});
}

// Whoever ends the agent does it with a signal, after which no buffer is written out.
TEST_F(MetadataCertificatesTest, WhatIsToldDoesNotWaitInABuffer) {
  const std::string path = folder_.file("output");
  const kelvane::JsonOwner document = parsed(wrapped("no container", tenant::recipient(folder_)));
  fflush(stdout);
  const int output = dup(STDOUT_FILENO);
  const int file = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  ASSERT_GE(output, 0);
  ASSERT_GE(file, 0);
  dup2(file, STDOUT_FILENO);
  kelvane::processJSONCertificate(document.get());
  const std::string printed = support::read_file(path);
  fflush(stdout);
  dup2(output, STDOUT_FILENO);
  close(output);
  close(file);
  EXPECT_EQ(first_line(printed), "PKCS12 failed\n");
  EXPECT_TRUE(is_error_queue(printed.substr(first_line(printed).size()))) << printed;
}

TEST_F(MetadataCertificatesTest, EveryFailureKeepsTheStore) {
  const std::string container = good();
  processed(container);
  ASSERT_TRUE(stored());
  for (const std::string &bad :
       {certificate_document("AAAA"), certificate_document(container.substr(20, 500)),
        wrapped("x", tenant::recipient(folder_)), wrapped(tenant::container(), tenant::other_recipient(folder_))}) {
    processed(bad);
    EXPECT_TRUE(stored());
  }
}

TEST_F(MetadataCertificatesTest, EarlierErrorsOfTheLibraryDoNotStayInItsQueue) {
  ERR_put_error(ERR_LIB_USER, 0, 1, __FILE__, __LINE__);
  EXPECT_EQ(processed(good()), "");
  EXPECT_TRUE(stored());
}

TEST_F(MetadataCertificatesTest, AContainerThatCannotBeReadWholeIsTakenAsFarAsItGoesWithoutAWord) {
  recording::set_debug_level(1);
  const std::string certificate = tenant::other_recipient(folder_);
  openssl({"pkcs12", "-export", "-inkey", folder_.file("other.key"), "-in", certificate, "-out",
           folder_.file("locked.pfx"), "-passout", "pass:not the empty one"});
  EXPECT_EQ(processed(wrapped(support::read_file(folder_.file("locked.pfx")), tenant::recipient(folder_))), "");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(MetadataCertificatesTest, BlanksAndLineEndsInTheTextDoNoHarm) {
  std::string document = good();
  document.insert(40, "\\n");
  processed(document);
  document.insert(60, " ");
  processed(document);
  document.insert(80, "\\u0000");
  processed(document);
}

// ---- the list ----

TEST_F(MetadataCertificatesTest, EachCertificateIsFetchedWithTheTransportCertificate) {
  serve(kCertificatesUrl,
        list_of({"http://certificates.test/1", "http://certificates.test/2", "http://certificates.test/3"}));
  serve("http://certificates.test/1", "{}");
  serve("http://certificates.test/3", good());
  EXPECT_EQ(protocol_->get_certs(protocol_), 0);
  EXPECT_TRUE(stored());
  ASSERT_EQ(peer_->request_lines(), (Lines{std::string("GET ") + kCertificatesUrl, "GET http://certificates.test/1",
                                           "GET http://certificates.test/2", "GET http://certificates.test/3"}));
  EXPECT_EQ(peer_->requests()[0].own_headers(), Lines{});
  const std::string header = std::string("x-ms-vmagent-public-x509-cert: ") + tenant::transport().encoded_certificate;
  EXPECT_EQ(peer_->requests()[1].own_headers(), Lines{header});
  EXPECT_EQ(peer_->requests()[2].own_headers(), Lines{header});
  EXPECT_EQ(peer_->requests()[3].own_headers(), Lines{header});
  EXPECT_EQ(spies::spies().freed_lists.size(), 1u) << "one list for all";
}

TEST_F(MetadataCertificatesTest, OneThatFailsDoesNotKeepTheNextFromBeingTaken) {
  serve(kCertificatesUrl, list_of({"http://certificates.test/1", "http://certificates.test/2"}));
  peer_->script({answer(200, list_of({"http://certificates.test/1", "http://certificates.test/2"})),
                 support::close_without_answer(), support::reset_connection(), support::close_without_answer(),
                 answer(200, good())});
  EXPECT_EQ(protocol_->get_certs(protocol_), 0);
  EXPECT_TRUE(stored());
  EXPECT_EQ(performed(), 5);
  EXPECT_EQ(sleeps(), (std::vector<unsigned>{10, 10, 10}));
}

TEST_F(MetadataCertificatesTest, OfSeveralContainersTheLastIsKept) {
  const std::string other_folder_key = folder_.file("second.key");
  openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", other_folder_key, "-out",
           folder_.file("second.crt"), "-subj", "/CN=second"});
  openssl({"pkcs12", "-export", "-inkey", other_folder_key, "-in", folder_.file("second.crt"), "-out",
           folder_.file("second.pfx"), "-passout", "pass:"});
  const std::string second = wrapped(support::read_file(folder_.file("second.pfx")), tenant::recipient(folder_));
  serve(kCertificatesUrl, list_of({"http://certificates.test/1", "http://certificates.test/2"}));
  serve("http://certificates.test/1", good());
  serve("http://certificates.test/2", second);
  protocol_->get_certs(protocol_);
  EXPECT_FALSE(stored());
}

TEST_F(MetadataCertificatesTest, WithoutItsTextNoCertificateIsSent) {
  kelvane::TransportCertCleanup();
  kelvane::CurlListOwner headers;
  EXPECT_EQ(kelvane::metadata_certificate_headers(&headers), 0);
  EXPECT_FALSE(headers.present());
  serve(kCertificatesUrl, list_of({"http://certificates.test/1"}));
  EXPECT_EQ(protocol_->get_certs(protocol_), 0);
  EXPECT_EQ(peer_->requests()[1].own_headers(), Lines{});
}

TEST_F(MetadataCertificatesTest, WithoutMemoryForTheHeaderThereIsNoneAndOneLineSaysSo) {
  const Lines line = {"[kelvane]: no memory for the certificate header, what needs it is not fetched\n"};
  recording::set_debug_level(1);
  kelvane::CurlListOwner headers;
  spies::refuse_malloc = 1;
  EXPECT_EQ(kelvane::metadata_certificate_headers(&headers), -1);
  EXPECT_EQ(spies::refuse_malloc, 0) << "the header's text was refused";
  EXPECT_FALSE(headers.present());
  spies::spies().refuse_list_append = 1;
  EXPECT_EQ(kelvane::metadata_certificate_headers(&headers), -1);
  EXPECT_FALSE(headers.present());
  EXPECT_EQ(recording::messages(), (Lines{line[0], line[0]}));
  EXPECT_EQ(kelvane::metadata_certificate_headers(&headers), 0);
  EXPECT_TRUE(headers.present());
}

TEST_F(MetadataCertificatesTest, WithoutMemoryForTheHeaderNoCertificateIsFetched) {
  recording::set_debug_level(1);
  serve(kCertificatesUrl, list_of({"http://certificates.test/1", "http://certificates.test/2"}));
  spies::spies().refuse_list_append = 1;
  EXPECT_EQ(protocol_->get_certs(protocol_), 0) << "the list itself came";
  EXPECT_EQ(peer_->request_lines(), Lines{std::string("GET ") + kCertificatesUrl});
  EXPECT_EQ(recording::messages(),
            Lines{"[kelvane]: no memory for the certificate header, what needs it is not fetched\n"});
}

TEST_F(MetadataCertificatesTest, AnEmptyListNeedsNoHeader) {
  serve(kCertificatesUrl, list_of({}));
  EXPECT_EQ(protocol_->get_certs(protocol_), 0);
  EXPECT_EQ(spies::spies().freed_lists.size(), 0u);
}

TEST_F(MetadataCertificatesTest, AListThatDoesNotComeIsMinusOne) {
  EXPECT_EQ(protocol_->get_certs(protocol_), -1);
  EXPECT_EQ(performed(), 1);
  end_attempts({7, 7, 7});
  EXPECT_EQ(protocol_->get_certs(protocol_), -1);
  EXPECT_EQ(performed(), 3);
}

TEST_F(MetadataCertificatesTest, AListOfAnotherShapeAsksForNothing) {
  for (const char *list :
       {"[]", "{}", "7", R"({"certificates":{}})", R"({"certificates":null})", R"({"certificates":"x"})",
        R"({"certificates":[7,null,"x",[],{},{"certificateDataUri":7},{"certificateDataUri":null}]})"}) {
    serve(kCertificatesUrl, list);
    EXPECT_EQ(protocol_->get_certs(protocol_), 0) << list;
    EXPECT_EQ(performed(), 1) << list;
  }
}

TEST_F(MetadataCertificatesTest, AUrlThatIsNoneFailsLikeAnyRequest) {
  serve(kCertificatesUrl, list_of({"", "not a url at all"}));
  EXPECT_EQ(protocol_->get_certs(protocol_), 0);
  EXPECT_EQ(performed(), 1 + 3 + 3);
  EXPECT_EQ(sleeps().size(), 6u);
}

}  // namespace
