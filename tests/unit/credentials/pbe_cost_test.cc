// The price of a key derivation, read from its parameters alone.
#include "credentials/pbe_cost.h"

#include <gtest/gtest.h>
#include <openssl/x509.h>

#include "tests/unit/credentials/containers.h"

namespace {

using containers::integer;
using containers::kOctetString;
using containers::kSequence;
using containers::oid;
using containers::tlv;
using kelvane::kPbeCostAbsurd;

uint64_t cost(const std::string &der) {
  const unsigned char *in = reinterpret_cast<const unsigned char *>(der.data());
  X509_ALGOR *algorithm = d2i_X509_ALGOR(nullptr, &in, static_cast<long>(der.size()));
  EXPECT_NE(algorithm, nullptr);
  const uint64_t result = kelvane::pbe_cost(algorithm);
  X509_ALGOR_free(algorithm);
  return result;
}

std::string pbe(const std::string &count) {
  return tlv(kSequence,
             oid(NID_pbe_WithSHA1And3_Key_TripleDES_CBC) + tlv(kSequence, tlv(kOctetString, "saltsalt") + count));
}

std::string pbes2(const std::string &kdf) {
  const std::string cipher = tlv(kSequence, oid(NID_aes_256_cbc) + tlv(kOctetString, "sixteen bytes IV"));
  return tlv(kSequence, oid(NID_pbes2) + tlv(kSequence, tlv(kSequence, kdf) + cipher));
}

std::string scrypt(const std::string &n, const std::string &r, const std::string &p) {
  return pbes2(oid(NID_id_scrypt) + tlv(kSequence, tlv(kOctetString, "salt") + n + r + p));
}

TEST(PbeCostTest, IsTheNumberOfIterations) {
  EXPECT_EQ(cost(pbe(integer(1))), 1u);
  EXPECT_EQ(cost(pbe(integer(2000))), 2000u);
  EXPECT_EQ(cost(pbe(integer(2147483647))), 2147483647u);
  EXPECT_EQ(cost(containers::pbkdf2_algorithm(600000, NID_hmacWithSHA256)), 600000u);
}

TEST(PbeCostTest, OfPbkdf2CountsOncePerDigestInTheKeyAndTwiceForLongBlocks) {
  const struct {
    int prf;
    int cipher;
    uint64_t times;
  } rows[] = {
      {NID_undef, NID_aes_256_cbc, 2},   // HMAC-SHA-1, 32 bytes out of 20
      {NID_undef, NID_des_ede3_cbc, 2},  // 24 out of 20
      {NID_undef, NID_aes_128_cbc, 1},          {NID_hmacWithSHA1, NID_aes_256_cbc, 2},
      {NID_hmacWithMD5, NID_aes_256_cbc, 2},    {NID_hmacWithMD5, NID_aes_128_cbc, 1},
      {NID_hmacWithSHA224, NID_aes_256_cbc, 2}, {NID_hmacWithSHA256, NID_aes_256_cbc, 1},
      {NID_hmacWithSHA384, NID_aes_256_cbc, 2}, {NID_hmacWithSHA512, NID_aes_256_cbc, 2},
      {NID_hmacWithSHA512, NID_aes_128_cbc, 2},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(cost(containers::pbkdf2_algorithm(1000, row.prf, row.cipher)), 1000 * row.times)
        << OBJ_nid2sn(row.prf) << " " << OBJ_nid2sn(row.cipher);
  }
  EXPECT_EQ(cost(containers::pbkdf2_algorithm(1000, NID_sha256)), 1000u) << "not known, and refused by the library";
  EXPECT_EQ(cost(containers::pbkdf2_algorithm(1000, NID_id_HMACGostR3411_94)), 1000u) << "known, but not there";
  EXPECT_EQ(cost(containers::pbkdf2_algorithm(1000, NID_undef, NID_sha256)), 1000u) << "the same";
  EXPECT_EQ(cost(pbes2(oid(NID_id_pbkdf2) + tlv(kSequence, tlv(kOctetString, "saltsalt") + tlv(2, "\xFF")))),
            kPbeCostAbsurd);
}

TEST(PbeCostTest, OfScryptIsTheProductOfItsParametersAndTheMakingOfItsBlocks) {
  EXPECT_EQ(cost(scrypt(integer(16384), integer(8), integer(1))), 131120u);
  EXPECT_EQ(cost(scrypt(integer(2), integer(3), integer(5))), 120u) << "six rounds for each of the fifteen blocks";
  EXPECT_EQ(cost(scrypt(integer(2147483647), integer(2147483647), integer(2147483647))), kPbeCostAbsurd);
}

TEST(PbeCostTest, NegativeAndOverlongNumbersAreBeyondEveryBudget) {
  EXPECT_EQ(cost(pbe(tlv(2, "\xFF"))), kPbeCostAbsurd) << "-1";
  EXPECT_EQ(cost(pbe(integer(2147483648))), kPbeCostAbsurd);
  EXPECT_EQ(cost(pbe(integer(0x1000000010))), kPbeCostAbsurd) << "16 when cut to 32 bits";
  EXPECT_EQ(cost(pbe(tlv(2, std::string("\xFF\x00\x00\x00\x10", 5)))), kPbeCostAbsurd) << "16 when cut, negative";
  EXPECT_EQ(cost(pbe(tlv(2, std::string(20, '\x55')))), kPbeCostAbsurd);
  EXPECT_EQ(cost(scrypt(tlv(2, "\xFF"), integer(1), integer(1))), kPbeCostAbsurd);
  EXPECT_EQ(cost(scrypt(integer(2), tlv(2, "\xFF"), integer(1))), kPbeCostAbsurd);
}

TEST(PbeCostTest, ParametersThatCannotBeReadCostNothing) {
  EXPECT_EQ(cost(tlv(kSequence, oid(NID_pbe_WithSHA1And3_Key_TripleDES_CBC))), 0u);
  EXPECT_EQ(cost(tlv(kSequence, oid(NID_pbe_WithSHA1And3_Key_TripleDES_CBC) + tlv(5, ""))), 0u);
  EXPECT_EQ(cost(pbe("")), 0u);
  EXPECT_EQ(cost(tlv(kSequence, oid(NID_pbes2))), 0u);
  EXPECT_EQ(cost(tlv(kSequence, oid(NID_pbes2) + tlv(kSequence, tlv(5, "")))), 0u);
  EXPECT_EQ(cost(pbes2(oid(NID_id_pbkdf2))), 0u);
  EXPECT_EQ(cost(pbes2(oid(NID_id_scrypt) + tlv(5, ""))), 0u);
}

}  // namespace
