// The walk of a container: which bags reach the certificate store and the offer of SSH keys, and where it stops.
#include "credentials/pkcs12_walk.h"

#include <algorithm>
#include <chrono>

#include "credentials/cert_store.h"
#include "credentials/crypto_library.h"
#include "tests/support/recording_fixture.h"
#include "tests/unit/credentials/containers.h"

namespace {

// While set, every nested bag list is this one: bags without end.
const STACK_OF(PKCS12_SAFEBAG) *endless = nullptr;
int safes_read = 0;

// The calls of the library that unpack or decrypt, in order, with their passwords. While pretending, what is encrypted
// opens at once, without any derivation: keys as rsa_key(1), contents as empty ones.
std::vector<std::string> unpacked;
std::vector<std::string> cleared;  // contents of the memory that was wiped and freed
bool pretending = false;

std::string with_password(const char *call, const char *password, int length) {
  return std::string(call) + "(" + (password == nullptr ? "null" : "\"" + std::string(password) + "\"") + ", " +
         std::to_string(length) + ")";
}

}  // namespace

extern "C" {
void __real_CRYPTO_clear_free(void *memory, size_t size, const char *file, int line);
void __wrap_CRYPTO_clear_free(void *memory, size_t size, const char *file, int line);
STACK_OF(PKCS7) * __real_PKCS12_unpack_authsafes(const PKCS12 *container);
STACK_OF(PKCS7) * __wrap_PKCS12_unpack_authsafes(const PKCS12 *container);
STACK_OF(PKCS12_SAFEBAG) * __real_PKCS12_unpack_p7data(PKCS7 *content);
STACK_OF(PKCS12_SAFEBAG) * __wrap_PKCS12_unpack_p7data(PKCS7 *content);
STACK_OF(PKCS12_SAFEBAG) * __real_PKCS12_unpack_p7encdata(PKCS7 *content, const char *password, int length);
STACK_OF(PKCS12_SAFEBAG) * __wrap_PKCS12_unpack_p7encdata(PKCS7 *content, const char *password, int length);
PKCS8_PRIV_KEY_INFO *__real_PKCS12_decrypt_skey(const PKCS12_SAFEBAG *bag, const char *password, int length);
PKCS8_PRIV_KEY_INFO *__wrap_PKCS12_decrypt_skey(const PKCS12_SAFEBAG *bag, const char *password, int length);
const STACK_OF(PKCS12_SAFEBAG) * __real_PKCS12_SAFEBAG_get0_safes(const PKCS12_SAFEBAG *bag);
const STACK_OF(PKCS12_SAFEBAG) * __wrap_PKCS12_SAFEBAG_get0_safes(const PKCS12_SAFEBAG *bag);
}

const STACK_OF(PKCS12_SAFEBAG) * __wrap_PKCS12_SAFEBAG_get0_safes(const PKCS12_SAFEBAG *bag) {
  safes_read++;
  return endless != nullptr ? endless : __real_PKCS12_SAFEBAG_get0_safes(bag);
}
void __wrap_CRYPTO_clear_free(void *memory, size_t size, const char *file, int line) {
  if (memory != nullptr) {
    cleared.emplace_back(static_cast<const char *>(memory), size);
  }
  __real_CRYPTO_clear_free(memory, size, file, line);
}
STACK_OF(PKCS7) * __wrap_PKCS12_unpack_authsafes(const PKCS12 *container) {
  unpacked.push_back("safes");
  return __real_PKCS12_unpack_authsafes(container);
}
STACK_OF(PKCS12_SAFEBAG) * __wrap_PKCS12_unpack_p7data(PKCS7 *content) {
  unpacked.push_back("data");
  return __real_PKCS12_unpack_p7data(content);
}
STACK_OF(PKCS12_SAFEBAG) * __wrap_PKCS12_unpack_p7encdata(PKCS7 *content, const char *password, int length) {
  unpacked.push_back(with_password("encrypted", password, length));
  return pretending ? sk_PKCS12_SAFEBAG_new_null() : __real_PKCS12_unpack_p7encdata(content, password, length);
}
PKCS8_PRIV_KEY_INFO *__wrap_PKCS12_decrypt_skey(const PKCS12_SAFEBAG *bag, const char *password, int length) {
  unpacked.push_back(with_password("key", password, length));
  return pretending ? EVP_PKEY2PKCS8(containers::rsa_key(1).get()) : __real_PKCS12_decrypt_skey(bag, password, length);
}

namespace {

using containers::bag;
using containers::Certificate;
using containers::certificate_bag;
using containers::container;
using containers::data_content;
using containers::der;
using containers::encrypted_content;
using containers::integer;
using containers::Key;
using containers::key_bag;
using containers::local_key_id;
using containers::oid;
using containers::rsa_key;
using containers::safes_bag;
using containers::shrouded_bag;
using containers::tlv;

struct Offer {
  std::string public_key;
  std::string fingerprint;
  int32_t selected;
};

std::vector<Offer> offers;

int32_t note_offer(const char *public_key, const char *fingerprint, int32_t selected) {
  offers.push_back({public_key, fingerprint, selected});
  return 0;
}

class Pkcs12WalkTest : public RecordingTest {
 protected:
  static void SetUpTestSuite() { kelvane::CryptoLibraryInit(); }

  Pkcs12WalkTest() {
    recording::set_debug_level(100);
    kelvane::CertStoreClear();
    offers.clear();
    unpacked.clear();
  }
  ~Pkcs12WalkTest() override {
    EXPECT_EQ(recording::messages(), Lines{}) << "the walk logs nothing";
    endless = nullptr;
    pretending = false;
    kelvane::CertStoreClear();
  }

  static void walk(const std::vector<std::string> &contents) {
    kelvane::ProcessPKCS12(container(contents).get(), note_offer);
  }

  // The number of records, as the dump tells it.
  static std::string last_dump_line() {
    recording::clear_trace();
    kelvane::CertStoreDump();
    const std::string line = recording::messages().back();
    recording::clear_trace();
    return line;
  }
  static std::string records(int count) { return "End Dump " + std::to_string(count) + " certificate(s)\n"; }

  static ::testing::AssertionResult stored(const Certificate &certificate, const Key *key) {
    X509 *found = nullptr;
    EVP_PKEY *found_key = nullptr;
    if (kelvane::CertStoreFind(containers::thumbprint(certificate).c_str(), &found, &found_key) != 1) {
      return ::testing::AssertionFailure() << "no record of this thumbprint";
    }
    if (!containers::same(found, certificate)) {
      return ::testing::AssertionFailure() << "another certificate";
    }
    if (key == nullptr) {
      return found_key == nullptr ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "there is a key";
    }
    return containers::same(found_key, *key) ? ::testing::AssertionSuccess()
                                             : ::testing::AssertionFailure() << "no key, or another one";
  }
  static ::testing::AssertionResult stored_with_key(const Certificate &certificate, const Key &key) {
    return stored(certificate, &key);
  }
  static ::testing::AssertionResult stored_alone(const Certificate &certificate) {
    return stored(certificate, nullptr);
  }
  static bool absent(const Certificate &certificate) {
    X509 *found = nullptr;
    EVP_PKEY *key = nullptr;
    return kelvane::CertStoreFind(containers::thumbprint(certificate).c_str(), &found, &key) == 0;
  }
  static Lines offered_fingerprints() {
    Lines all;
    for (const Offer &offer : offers) {
      all.push_back(offer.fingerprint);
    }
    return all;
  }

  struct Pairs {
    std::string keys;
    std::string certificates;
  };
  // So many pairs as two contents, each key and the certificates as a whole behind so many iterations. The certificate
  // that is the last with room in the store is other_, all others are certificate_; the key is key_ throughout.
  Pairs pairs_behind(int count, int iterations, int prf = NID_undef) const {
    const std::string algorithm = containers::pbkdf2_algorithm(iterations, prf);
    std::vector<std::string> keys;
    std::vector<std::string> certificates;
    for (int i = 0; i < count; i++) {
      const std::string id = local_key_id(std::to_string(i));
      keys.push_back(shrouded_bag(der(key_), id, "", algorithm));
      certificates.push_back(certificate_bag(i == std::min(count, 20) - 1 ? other_ : certificate_, id));
    }
    return {data_content(keys), encrypted_content(certificates, "", algorithm)};
  }

  const Key key_ = rsa_key(1);
  const Certificate certificate_ = containers::certificate(key_, "tenant");
  const Certificate other_ = containers::certificate(rsa_key(2), "other");
  const std::string id_ = local_key_id("\1");
};

// ---- pairing ----

TEST_F(Pkcs12WalkTest, CertificateBeforeKeyAndKeyBeforeCertificateGiveTheSameRecord) {
  walk({data_content({certificate_bag(certificate_, id_), shrouded_bag(der(key_), id_)})});
  EXPECT_TRUE(stored_with_key(certificate_, key_));
  EXPECT_EQ(last_dump_line(), records(1));
  walk({data_content({shrouded_bag(der(key_), id_), certificate_bag(certificate_, id_)})});
  EXPECT_TRUE(stored_with_key(certificate_, key_));
  EXPECT_EQ(last_dump_line(), records(1));
}

TEST_F(Pkcs12WalkTest, PairsAcrossContentsOfBothKinds) {
  walk({encrypted_content({certificate_bag(certificate_, id_), certificate_bag(other_, local_key_id("\2"))}),
        data_content({key_bag(rsa_key(2), local_key_id("\2")), shrouded_bag(der(key_), id_)})});
  EXPECT_TRUE(stored_with_key(certificate_, key_));
  EXPECT_TRUE(stored_with_key(other_, rsa_key(2)));
  EXPECT_EQ(last_dump_line(), records(2));
}

TEST_F(Pkcs12WalkTest, OpensEveryKindOfPasswordEncryptionWithTheEmptyPassword) {
  const int nids[] = {NID_pbe_WithSHA1And40BitRC2_CBC, NID_pbe_WithSHA1And3_Key_TripleDES_CBC};
  std::vector<std::string> algorithms = {containers::pbkdf2_algorithm(2048)};
  for (const int nid : nids) {
    algorithms.push_back(containers::pbe_algorithm(nid, 2000));
  }
  for (const std::string &algorithm : algorithms) {
    walk({encrypted_content({certificate_bag(certificate_, id_)}, "", algorithm),
          data_content({shrouded_bag(der(key_), id_, "", algorithm)})});
    EXPECT_TRUE(stored_with_key(certificate_, key_));
  }
}

TEST_F(Pkcs12WalkTest, TriesTheEmptyPasswordOnlyAndEachContentOnce) {
  walk({encrypted_content({certificate_bag(certificate_, id_)}), data_content({shrouded_bag(der(key_), id_)})});
  EXPECT_EQ(unpacked, (Lines{"safes", "encrypted(\"\", -1)", "data", "key(\"\", 0)"}));
}

// The encoded form that the walk looks at holds keys that open with the empty password.
TEST_F(Pkcs12WalkTest, WipesItsOwnCopyOfTheContainer) {
  const std::string whole = containers::container_der({data_content({key_bag(key_, id_)})});
  cleared.clear();
  kelvane::ProcessPKCS12(containers::parse(whole).get(), note_offer);
  EXPECT_EQ(cleared, Lines{whole});
}

// Some exporters write lengths that are not known in advance, and cut octet strings into pieces.
TEST_F(Pkcs12WalkTest, TakesAContainerOfIndefiniteLength) {
  const auto open_ended = [](uint8_t tag, const std::string &content) {
    return static_cast<char>(tag) + std::string("\x80") + content + std::string(2, '\0');
  };
  const std::string safes = open_ended(
      containers::kSequence, data_content({certificate_bag(certificate_, id_), shrouded_bag(der(key_), id_)}));
  const std::string pieces = open_ended(
      0x24, tlv(containers::kOctetString, safes.substr(0, 100)) + tlv(containers::kOctetString, safes.substr(100)));
  const std::string whole = open_ended(
      containers::kSequence,
      integer(3) + open_ended(containers::kSequence, oid(NID_pkcs7_data) + open_ended(containers::kContext0, pieces)));
  kelvane::ProcessPKCS12(containers::parse(whole).get(), note_offer);
  EXPECT_TRUE(stored_with_key(certificate_, key_));
}

TEST_F(Pkcs12WalkTest, EachContainerReplacesTheOneBefore) {
  walk({data_content({certificate_bag(certificate_, id_)})});
  walk({data_content({certificate_bag(other_, id_)})});
  EXPECT_TRUE(absent(certificate_));
  EXPECT_TRUE(stored_alone(other_));
  walk({});
  EXPECT_EQ(last_dump_line(), records(0));
}

TEST_F(Pkcs12WalkTest, TheFirstCertificateOfAKeyIdStaysAndBothAreOffered) {
  walk({data_content({certificate_bag(certificate_, id_), certificate_bag(other_, id_)})});
  EXPECT_TRUE(stored_alone(certificate_));
  EXPECT_TRUE(absent(other_));
  EXPECT_EQ(offered_fingerprints(), (Lines{containers::thumbprint(certificate_), containers::thumbprint(other_)}));
}

TEST_F(Pkcs12WalkTest, MoreThanTwentyKeyIdsAreDroppedButStillOffered) {
  std::vector<std::string> bags;
  std::vector<Certificate> certificates;
  for (int i = 0; i < 25; i++) {
    certificates.push_back(containers::certificate(key_, "number", i + 1));
    bags.push_back(certificate_bag(certificates.back(), local_key_id("id " + std::to_string(i))));
    bags.push_back(shrouded_bag(der(key_), local_key_id("id " + std::to_string(i))));
  }
  walk({data_content(bags)});
  EXPECT_EQ(last_dump_line(), records(20));
  EXPECT_TRUE(stored_with_key(certificates[19], key_));
  EXPECT_TRUE(absent(certificates[20]));
  EXPECT_EQ(offers.size(), 25u);
}

// ---- the offer ----

TEST_F(Pkcs12WalkTest, OffersEachCertificateAsAnUnselectedKey) {
  walk({data_content({certificate_bag(certificate_, id_)})});
  ASSERT_EQ(offers.size(), 1u);
  EXPECT_EQ(offers[0].public_key, containers::ssh_key(key_));
  EXPECT_EQ(offers[0].fingerprint, containers::thumbprint(certificate_));
  EXPECT_EQ(offers[0].selected, 0);
}

TEST_F(Pkcs12WalkTest, ACertificateWithoutKeyIdIsOfferedButNotStored) {
  walk({data_content({certificate_bag(certificate_)})});
  EXPECT_EQ(last_dump_line(), records(0));
  EXPECT_EQ(offered_fingerprints(), Lines{containers::thumbprint(certificate_)});
}

TEST_F(Pkcs12WalkTest, ACertificateWithAnotherKindOfKeyIsStoredAndNotOffered) {
  const Key key = containers::ec_key();
  const Certificate certificate = containers::certificate(key, "elliptic");
  walk({data_content({certificate_bag(certificate, id_), shrouded_bag(der(key), id_)})});
  EXPECT_TRUE(stored_with_key(certificate, key));
  EXPECT_EQ(offers.size(), 0u);
}

TEST_F(Pkcs12WalkTest, WorksWithoutACallback) {
  kelvane::ProcessPKCS12(container({data_content({certificate_bag(certificate_, id_)})}).get(), nullptr);
  EXPECT_TRUE(stored_alone(certificate_));
}

// ---- key ids ----

TEST_F(Pkcs12WalkTest, TakesKeyIdsOfThreeTypesByTheirBytes) {
  for (const uint8_t type : {containers::kOctetString, containers::kBmpString, containers::kBitString}) {
    const std::string id = local_key_id("idid", type);
    walk({data_content({certificate_bag(certificate_, id), shrouded_bag(der(key_), local_key_id("idid"))})});
    EXPECT_TRUE(stored_with_key(certificate_, key_)) << int{type};
    EXPECT_EQ(last_dump_line(), records(1)) << int{type};
  }
}

TEST_F(Pkcs12WalkTest, KeyIdsOfOtherTypesAndEmptyOnesCountAsNone) {
  const std::string unusable[] = {local_key_id("idid", containers::kUtf8String), local_key_id("", 5),
                                  local_key_id("\1", 2), local_key_id(""), local_key_id("", containers::kBitString)};
  for (const std::string &id : unusable) {
    offers.clear();
    walk({data_content({certificate_bag(certificate_, id), shrouded_bag(der(key_), id), key_bag(key_, id),
                        certificate_bag(other_, id_)})});
    EXPECT_EQ(last_dump_line(), records(1)) << containers::hex_upper(id);
    EXPECT_TRUE(stored_alone(other_)) << containers::hex_upper(id);
    EXPECT_EQ(offers.size(), 2u) << containers::hex_upper(id);
  }
}

TEST_F(Pkcs12WalkTest, FindsTheKeyIdAmongOtherAttributes) {
  const std::string friendly =
      tlv(containers::kSequence,
          oid(NID_friendlyName) + tlv(containers::kSet, tlv(containers::kBmpString, std::string("\0a", 2))));
  walk({data_content({certificate_bag(certificate_, friendly + id_), key_bag(key_, friendly + id_)})});
  EXPECT_TRUE(stored_with_key(certificate_, key_));
}

// ---- bags ----

TEST_F(Pkcs12WalkTest, TakesPlainKeys) {
  walk({data_content({key_bag(key_, id_), certificate_bag(certificate_, id_)})});
  EXPECT_TRUE(stored_with_key(certificate_, key_));
}

TEST_F(Pkcs12WalkTest, SkipsKeysWithoutKeyIdEvenIfNoKeyCanBeMadeOfThem) {
  walk({data_content({bag(NID_keyBag, containers::broken_private_key()), shrouded_bag(containers::broken_private_key()),
                      key_bag(key_), shrouded_bag(der(key_)), certificate_bag(certificate_, id_)})});
  EXPECT_EQ(last_dump_line(), records(1));
  EXPECT_TRUE(stored_alone(certificate_));
}

TEST_F(Pkcs12WalkTest, SkipsOtherBagsAndOtherCertificates) {
  const std::string sdsi =
      tlv(containers::kSequence, oid(NID_sdsiCertificate) + tlv(containers::kContext0, tlv(22, "sdsi")));
  const std::string crl =
      tlv(containers::kSequence, oid(NID_x509Crl) + tlv(containers::kContext0, tlv(containers::kOctetString, "crl")));
  const std::string secret =
      tlv(containers::kSequence, oid(NID_pkcs7_data) + tlv(containers::kContext0, tlv(containers::kOctetString, "s")));
  walk({data_content({bag(NID_certBag, sdsi, id_), bag(NID_crlBag, crl, id_), bag(NID_secretBag, secret, id_),
                      bag(NID_pkcs7_data, tlv(containers::kOctetString, "unheard of"), id_),
                      certificate_bag(certificate_, id_)})});
  EXPECT_EQ(last_dump_line(), records(1));
  EXPECT_TRUE(stored_alone(certificate_));
  EXPECT_EQ(offers.size(), 1u);
}

TEST_F(Pkcs12WalkTest, WalksNestedBags) {
  walk({data_content({safes_bag({certificate_bag(certificate_, id_), safes_bag({safes_bag({key_bag(key_, id_)})})}),
                      safes_bag({}), certificate_bag(other_, local_key_id("\2"))})});
  EXPECT_TRUE(stored_with_key(certificate_, key_));
  EXPECT_TRUE(stored_alone(other_));
}

TEST_F(Pkcs12WalkTest, SkipsContentsOfOtherTypes) {
  const std::string signed_data = tlv(containers::kSequence, oid(NID_pkcs7_digest));
  walk({signed_data, data_content({certificate_bag(certificate_, id_)})});
  EXPECT_TRUE(stored_alone(certificate_));
}

// ---- where the walk stops ----

class Pkcs12WalkStopsTest : public Pkcs12WalkTest {
 protected:
  // Walks a list with the bad bag in its middle and a second content behind it.
  static void walk_around(const std::string &bad, const std::string &before, const std::string &after) {
    walk({data_content({before, bad, after}), data_content({after})});
  }

  void expect_stops_at(const std::string &bad, const std::string &what) {
    offers.clear();
    walk_around(bad, certificate_bag(certificate_, id_), certificate_bag(other_, local_key_id("\2")));
    EXPECT_TRUE(stored_alone(certificate_)) << what;
    EXPECT_EQ(last_dump_line(), records(1)) << what;
    EXPECT_EQ(offers.size(), 1u) << what;
  }
};

TEST_F(Pkcs12WalkStopsTest, AtAnUnconvertibleKey) {
  expect_stops_at(bag(NID_keyBag, containers::broken_private_key(), id_), "plain");
  expect_stops_at(shrouded_bag(containers::broken_private_key(), id_), "shrouded");
  const std::string unusable = local_key_id("id", containers::kUtf8String);
  expect_stops_at(bag(NID_keyBag, containers::broken_private_key(), unusable), "plain, with an unusable key id");
  expect_stops_at(shrouded_bag(containers::broken_private_key(), unusable), "shrouded, with an unusable key id");
}

TEST_F(Pkcs12WalkStopsTest, AtAKeyThatTheEmptyPasswordDoesNotOpen) {
  expect_stops_at(shrouded_bag(der(key_), id_, "secret"), "with key id");
  expect_stops_at(shrouded_bag(der(key_), "", "secret"), "without key id");
  expect_stops_at(shrouded_bag("no private key", id_), "no private key inside");
}

TEST_F(Pkcs12WalkStopsTest, AtABrokenCertificate) {
  const std::string value =
      tlv(containers::kSequence,
          oid(NID_x509Certificate) + tlv(containers::kContext0, tlv(containers::kOctetString, "no certificate")));
  expect_stops_at(bag(NID_certBag, value, id_), "with key id");
  expect_stops_at(bag(NID_certBag, value), "without key id");
}

TEST_F(Pkcs12WalkStopsTest, AtABrokenNestedBag) {
  expect_stops_at(safes_bag({safes_bag({bag(NID_keyBag, containers::broken_private_key(), id_)})}), "nested");
}

TEST_F(Pkcs12WalkStopsTest, AtAContentThatCannotBeUnpacked) {
  const std::string type = oid(NID_pkcs7_data);
  const std::string encrypted = oid(NID_pkcs7_encrypted);
  const std::string algorithm = containers::pbe_algorithm(NID_pbe_WithSHA1And3_Key_TripleDES_CBC, 2000);
  const std::string no_ciphertext =
      tlv(containers::kSequence, integer(0) + tlv(containers::kSequence, type + algorithm));
  const std::string no_algorithm =
      tlv(containers::kSequence,
          integer(0) + tlv(containers::kSequence, type + tlv(containers::kSequence, oid(NID_sha1)) + tlv(0x80, "x")));
  const std::pair<std::string, std::string> contents[] = {
      {"no bag list",
       tlv(containers::kSequence, type + tlv(containers::kContext0, tlv(containers::kOctetString, "no bags")))},
      {"data without a value", tlv(containers::kSequence, type)},
      {"encrypted data without a value", tlv(containers::kSequence, encrypted)},
      {"no ciphertext", tlv(containers::kSequence, encrypted + tlv(containers::kContext0, no_ciphertext))},
      {"another password", encrypted_content({certificate_bag(other_, id_)}, "secret")},
      {"no encryption algorithm", tlv(containers::kSequence, encrypted + tlv(containers::kContext0, no_algorithm))},
  };
  for (const auto &[what, content] : contents) {
    offers.clear();
    const std::string whole = containers::container_der({data_content({certificate_bag(certificate_, id_)}), content,
                                                         data_content({certificate_bag(other_, local_key_id("\2"))})});
    kelvane::ProcessPKCS12(containers::parse(whole).get(), note_offer);
    EXPECT_TRUE(absent(other_)) << what;
    EXPECT_TRUE(stored_alone(certificate_)) << what;
    EXPECT_EQ(offers.size(), 1u) << what;
  }
}

// OpenSSL 1.1.1 follows a null pointer where an optional value is missing: it must never be asked.
TEST_F(Pkcs12WalkStopsTest, InFrontOfTheLibraryWhereAValueIsMissing) {
  const std::string type = oid(NID_pkcs7_data);
  const std::string encrypted = oid(NID_pkcs7_encrypted);
  const std::string algorithm = containers::pbe_algorithm(NID_pbe_WithSHA1And3_Key_TripleDES_CBC, 2000);
  const std::string no_ciphertext =
      tlv(containers::kSequence, integer(0) + tlv(containers::kSequence, type + algorithm));
  for (const std::string &content :
       {tlv(containers::kSequence, type), tlv(containers::kSequence, encrypted),
        tlv(containers::kSequence, encrypted + tlv(containers::kContext0, no_ciphertext))}) {
    unpacked.clear();
    kelvane::ProcessPKCS12(containers::parse(containers::container_der({content})).get(), note_offer);
    EXPECT_EQ(unpacked, Lines{"safes"}) << containers::hex_upper(content);
  }
  const std::string mac =
      tlv(containers::kSequence, tlv(containers::kSequence, tlv(containers::kSequence, oid(NID_sha1) + tlv(5, "")) +
                                                                tlv(containers::kOctetString, std::string(20, 'm'))) +
                                     tlv(containers::kOctetString, "salt") + integer(1));
  for (const std::string &behind : {std::string(), mac}) {
    unpacked.clear();
    const std::string whole = tlv(containers::kSequence, integer(3) + tlv(containers::kSequence, type) + behind);
    kelvane::ProcessPKCS12(containers::parse(whole).get(), note_offer);
    EXPECT_EQ(unpacked, Lines{}) << behind.size();
  }
}

TEST_F(Pkcs12WalkStopsTest, AtSafesThatCannotBeUnpackedWithAnEmptyStore) {
  const std::string type = oid(NID_pkcs7_data);
  const std::string broken[] = {
      tlv(containers::kSequence, type + tlv(containers::kContext0, tlv(containers::kOctetString, "no safes"))),
      tlv(containers::kSequence, oid(NID_pkcs7_digest)),
      tlv(containers::kSequence, type),
  };
  for (const std::string &safes : broken) {
    walk({data_content({certificate_bag(certificate_, id_)})});
    EXPECT_EQ(last_dump_line(), records(1));
    const std::string whole = tlv(containers::kSequence, integer(3) + safes);
    kelvane::ProcessPKCS12(containers::parse(whole).get(), note_offer);
    EXPECT_EQ(last_dump_line(), records(0));
  }
}

// ---- hostile containers ----

std::string nested(int levels, const std::string &innermost) {
  std::string bags = innermost;
  for (int i = 0; i < levels; i++) {
    bags = safes_bag({bags});
  }
  return bags;
}

TEST_F(Pkcs12WalkTest, WalksAsDeepAsTheLibraryReads) {
  walk({data_content({nested(20, certificate_bag(certificate_, id_))})});
  EXPECT_TRUE(stored_alone(certificate_));
}

TEST_F(Pkcs12WalkTest, EndlessNestingEndsTheWalk) {
  const std::string list = tlv(containers::kSequence, safes_bag({}));
  const unsigned char *in = reinterpret_cast<const unsigned char *>(list.data());
  auto *bags = reinterpret_cast<STACK_OF(PKCS12_SAFEBAG) *>(
      ASN1_item_d2i(nullptr, &in, static_cast<long>(list.size()), ASN1_ITEM_rptr(PKCS12_SAFEBAGS)));
  ASSERT_NE(bags, nullptr);
  safes_read = 0;
  endless = bags;  // its only bag holds the list itself
  walk({data_content({safes_bag({}), certificate_bag(certificate_, id_)})});
  endless = nullptr;
  EXPECT_EQ(safes_read, 32);
  EXPECT_TRUE(absent(certificate_)) << "the bag behind the endless one";
  sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}

TEST_F(Pkcs12WalkTest, ThousandsOfNestedBagsDoNoHarm) {
  walk({data_content({certificate_bag(certificate_, id_)}),
        data_content({nested(5000, certificate_bag(other_, local_key_id("\2")))})});
  EXPECT_TRUE(stored_alone(certificate_));
  EXPECT_TRUE(absent(other_));
}

// A bag that is not really encrypted but asks for many iterations first.
std::string expensive_bag(int iterations, const std::string &attributes = "") {
  const std::string algorithm = containers::pbe_algorithm(NID_pbe_WithSHA1And3_Key_TripleDES_CBC, iterations);
  return bag(NID_pkcs8ShroudedKeyBag, tlv(containers::kSequence, algorithm + tlv(containers::kOctetString, "12345678")),
             attributes);
}

TEST_F(Pkcs12WalkTest, RefusesToDeriveKeysForHours) {
  const auto start = std::chrono::steady_clock::now();
  walk({data_content({certificate_bag(certificate_, id_), expensive_bag(2147483647)}),
        data_content({certificate_bag(other_, local_key_id("\2"))})});
  EXPECT_TRUE(stored_alone(certificate_));
  EXPECT_TRUE(absent(other_));
  const std::string info =
      tlv(containers::kSequence,
          integer(0) + tlv(containers::kSequence, oid(NID_pkcs7_data) + containers::pbkdf2_algorithm(2147483647) +
                                                      tlv(0x80, "sixteen bytes...")));
  walk({tlv(containers::kSequence, oid(NID_pkcs7_encrypted) + tlv(containers::kContext0, info)),
        data_content({certificate_bag(other_, id_)})});
  EXPECT_TRUE(absent(other_));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

// In this and the following test a bag costs 500 iterations beside its own.
TEST_F(Pkcs12WalkTest, WorksForAHundredAndTenThousandIterationsAndNoMore) {
  pretending = true;
  const std::string all = expensive_bag(109000, id_);
  for (int round = 0; round < 2; round++) {
    unpacked.clear();
    walk({data_content({all, certificate_bag(certificate_, id_)})});
    EXPECT_TRUE(stored_with_key(certificate_, key_)) << "a budget for each container";
    EXPECT_EQ(unpacked, (Lines{"safes", "data", "key(\"\", 0)"}));
  }
  walk({data_content({expensive_bag(109001, id_), certificate_bag(certificate_, id_)})});
  EXPECT_TRUE(absent(certificate_)) << "the certificate can no longer be paid";
  unpacked.clear();
  walk({data_content({expensive_bag(109501, id_), certificate_bag(other_, id_)})});
  EXPECT_TRUE(absent(other_));
  EXPECT_EQ(unpacked, (Lines{"safes", "data"})) << "refused before anything is derived";
}

TEST_F(Pkcs12WalkTest, KeysAndContentsPayFromOneBudget) {
  pretending = true;
  const std::string content = tlv(
      containers::kSequence,
      oid(NID_pkcs7_encrypted) +
          tlv(containers::kContext0,
              tlv(containers::kSequence,
                  integer(0) + tlv(containers::kSequence, oid(NID_pkcs7_data) + containers::pbkdf2_algorithm(30000) +
                                                              tlv(0x80, "sixteen bytes...")))));
  walk({content, data_content({expensive_bag(47999, id_), expensive_bag(1, id_), certificate_bag(certificate_, id_),
                               expensive_bag(1, id_), certificate_bag(other_, local_key_id("\2"))})});
  EXPECT_TRUE(stored_with_key(certificate_, key_));
  EXPECT_TRUE(absent(other_));
  EXPECT_EQ(unpacked, (Lines{"safes", "encrypted(\"\", -1)", "data", "key(\"\", 0)", "key(\"\", 0)"}));
  unpacked.clear();
  walk({data_content({expensive_bag(49501, id_)}), content});
  EXPECT_EQ(unpacked, (Lines{"safes", "data", "key(\"\", 0)"})) << "the content can no longer be paid";
}

TEST_F(Pkcs12WalkTest, AFullStoreOfThePlatformsOwnKindStaysWithinTheBudget) {
  for (const int prf : {NID_undef, NID_hmacWithSHA256}) {  // with the first an iteration counts twice
    const Pairs pairs = pairs_behind(20, 2000, prf);
    walk({pairs.certificates, pairs.keys});
    EXPECT_EQ(last_dump_line(), records(20));
    EXPECT_TRUE(stored_with_key(certificate_, key_));
    EXPECT_TRUE(stored_with_key(other_, key_));
  }
}

// The containers that docs/operations.md names.
TEST_F(Pkcs12WalkTest, OfPairsWithTenThousandIterationsNineAreTaken) {
  const Pairs nine = pairs_behind(9, 10000, NID_hmacWithSHA256);
  walk({nine.keys, nine.certificates});
  EXPECT_EQ(last_dump_line(), records(9));
  EXPECT_TRUE(stored_with_key(other_, key_));
  const Pairs ten = pairs_behind(10, 10000, NID_hmacWithSHA256);
  walk({ten.keys, ten.certificates});
  EXPECT_EQ(last_dump_line(), records(10));
  EXPECT_TRUE(absent(certificate_)) << "there are keys alone";
  EXPECT_TRUE(absent(other_));
  walk({ten.certificates, ten.keys});
  EXPECT_TRUE(stored_with_key(certificate_, key_));
  EXPECT_TRUE(stored_alone(other_)) << "its key, the tenth, is too much";
}

TEST_F(Pkcs12WalkTest, WhereAnIterationCountsTwiceFourAreTaken) {
  const Pairs four = pairs_behind(4, 10000);
  walk({four.keys, four.certificates});
  EXPECT_TRUE(stored_with_key(other_, key_));
  const Pairs five = pairs_behind(5, 10000);
  walk({five.keys, five.certificates});
  EXPECT_TRUE(absent(other_));
}

// Twice what the store holds, keys in front: the keys beyond it take nothing from the certificates of the others.
TEST_F(Pkcs12WalkTest, KeysThatFindNoRoomAreNotPaidFor) {
  const Pairs pairs = pairs_behind(40, 2000, NID_hmacWithSHA256);
  walk({pairs.keys, pairs.certificates});
  EXPECT_EQ(last_dump_line(), records(20));
  EXPECT_TRUE(stored_with_key(certificate_, key_));
  EXPECT_TRUE(stored_with_key(other_, key_)) << "the last that has room";
  EXPECT_EQ(offers.size(), 40u);
  Lines calls{"safes", "data"};
  calls.insert(calls.end(), 20, "key(\"\", 0)");
  calls.push_back("encrypted(\"\", -1)");
  EXPECT_EQ(unpacked, calls);
}

TEST_F(Pkcs12WalkTest, InAFullStoreOnlyKeysWithANewIdAreNotDecrypted) {
  std::vector<std::string> bags;
  for (int i = 0; i < 20; i++) {
    bags.push_back(certificate_bag(certificate_, local_key_id(std::to_string(i))));
  }
  bags.push_back(expensive_bag(2147483647, local_key_id("20")));
  bags.push_back(shrouded_bag(der(key_), local_key_id("0")));
  bags.push_back(shrouded_bag(der(key_)));
  bags.push_back(certificate_bag(other_, local_key_id("0")));
  bags.push_back(expensive_bag(1));
  bags.push_back(certificate_bag(other_, local_key_id("1")));
  walk({data_content(bags)});
  EXPECT_EQ(last_dump_line(), records(20));
  EXPECT_TRUE(stored_with_key(certificate_, key_)) << "of a record that was there";
  EXPECT_EQ(offers.size(), 21u) << "a key without an id ends the walk when it is none";
  EXPECT_EQ(unpacked, (Lines{"safes", "data", "key(\"\", 0)", "key(\"\", 0)", "key(\"\", 0)"}));
}

TEST_F(Pkcs12WalkTest, TwoHundredAndTwentyBagsAreTheMost) {
  std::vector<std::string> bags(219, certificate_bag(certificate_, local_key_id("1")));
  bags.push_back(certificate_bag(other_, local_key_id("2")));
  walk({data_content(bags)});
  EXPECT_TRUE(stored_alone(certificate_));
  EXPECT_TRUE(stored_alone(other_));
  bags.insert(bags.begin(), bags[0]);
  walk({data_content(bags)});
  EXPECT_TRUE(absent(other_));
}

// A positive number of so many bytes.
std::string number_of(size_t bytes) {
  return tlv(2, "\x3f" + std::string(bytes - 1, '\x55'));
}

std::string plain_key(const std::string &algorithm, const std::string &key) {
  return tlv(containers::kSequence,
             integer(0) + tlv(containers::kSequence, algorithm) + tlv(containers::kOctetString, key));
}

// A key whose public half is a power of numbers with so many bytes.
std::string dsa_key(size_t bytes) {
  const std::string parameters = number_of(bytes) + number_of(20) + number_of(bytes);
  return plain_key(oid(NID_dsa) + tlv(containers::kSequence, parameters), number_of(20));
}

// A key in form only: the library does not look whether the numbers belong together.
std::string rsa_key_of(size_t bytes) {
  std::string numbers = integer(0) + number_of(bytes) + integer(65537) + number_of(bytes);
  for (int i = 0; i < 5; i++) {
    numbers += number_of(bytes / 2);
  }
  return plain_key(oid(NID_rsaEncryption) + tlv(5, ""), tlv(containers::kSequence, numbers));
}

TEST_F(Pkcs12WalkTest, KeysThatMakeTheLibraryComputeAreBounded) {
  walk({data_content({bag(NID_keyBag, dsa_key(128), id_), certificate_bag(certificate_, local_key_id("2"))})});
  EXPECT_TRUE(stored_alone(certificate_));
  EXPECT_EQ(last_dump_line(), records(2));
  walk({data_content({bag(NID_keyBag, dsa_key(640), id_), certificate_bag(certificate_, local_key_id("2"))})});
  EXPECT_TRUE(absent(certificate_));
  EXPECT_EQ(last_dump_line(), records(0));
}

TEST_F(Pkcs12WalkTest, AKeyOfFiveThousandBytesIsTheLongest) {
  ASSERT_EQ(rsa_key_of(1097).size(), 5000u);
  walk({data_content({bag(NID_keyBag, rsa_key_of(1097), id_)})});
  EXPECT_EQ(last_dump_line(), records(1));
  walk({data_content({bag(NID_keyBag, rsa_key_of(1098), id_)})});
  EXPECT_EQ(last_dump_line(), records(0));
}

}  // namespace
