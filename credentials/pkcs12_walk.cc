#include "credentials/pkcs12_walk.h"

#include <openssl/objects.h>
#include <stddef.h>

#include "core/base/openssl_owners.h"
#include "credentials/cert_store.h"
#include "credentials/pbe_cost.h"
#include "credentials/ssh_key_text.h"

namespace kelvane {

namespace {

// Bags within bags. What the platform sends has none; the library itself reads 25 levels. Beyond this bound a bag
// fails, so that the stack never depends on what a container holds.
constexpr int32_t kMaxNesting = 32;

// What one container may make the agent work, in iterations of key derivation (pbe_cost.h): 32 to 42 ms, by the
// algorithm. The platform's containers take 2,000 iterations for each of their few keys, and 2,000 for all certificates
// together; as many of them as the store has room for, twenty pairs, come to 62,000, and to 104,000 where each counts
// twice. With 10,000 iterations nine pairs are taken, with HMAC-SHA-1 for AES-256 four.
constexpr uint64_t kWorkBudget = 110'000;

// What a bag costs beside that: to decode a certificate or key takes as long as so many iterations.
constexpr uint64_t kBagCost = 500;

// The longest key that is converted, as DER: RSA with 8192 bits has 4,700 bytes. What settings that are encrypted to a
// key cost grows with the cube of its length.
constexpr uint64_t kMaxKeyBytes = 5000;

constexpr char kEmptyPassword[] = "";

struct Walk {
  CertificateCallback callback;
  uint64_t budget;  // what is left of the work
};

int32_t process_bags(Walk *walk, const STACK_OF(PKCS12_SAFEBAG) * bags, int32_t depth);

// 0 when the walk may still afford it.
int32_t pay(Walk *walk, uint64_t cost) {
  if (cost > walk->budget) {
    return -1;
  }
  walk->budget -= cost;
  return 0;
}

// What it costs to convert a key. Of every kind but RSA the library may compute the public half, a power with numbers
// as long as the key says, for hours if they are long.
uint64_t conversion_cost(const PKCS8_PRIV_KEY_INFO *private_key) {
  const ASN1_OBJECT *algorithm = nullptr;
  PKCS8_pkey_get0(&algorithm, nullptr, nullptr, nullptr, private_key);
  // Not changed by it: OpenSSL 1.1.1 only lacks the word.
  auto *const encoded = const_cast<PKCS8_PRIV_KEY_INFO *>(private_key);
  const auto bytes = static_cast<uint64_t>(i2d_PKCS8_PRIV_KEY_INFO(encoded, nullptr));
  if (bytes > kMaxKeyBytes) {  // a failure, which is negative, as well
    return kPbeCostAbsurd;
  }
  return OBJ_obj2nid(algorithm) == NID_rsaEncryption ? 0 : bytes * bytes * bytes / 20'000;
}

// The value of a bag's local key id, lent by the bag; a length of 0 when it has none of a usable type.
struct KeyId {
  const uint8_t *bytes;
  size_t length;
};

const ASN1_TYPE *key_id_attribute(const PKCS12_SAFEBAG *bag) {
  return PKCS12_SAFEBAG_get0_attr(bag, NID_localKeyID);
}

KeyId key_id_of(const PKCS12_SAFEBAG *bag) {
  const ASN1_TYPE *attribute = key_id_attribute(bag);
  const int type = attribute != nullptr ? attribute->type : V_ASN1_UNDEF;
  if (type != V_ASN1_OCTET_STRING && type != V_ASN1_BMPSTRING && type != V_ASN1_BIT_STRING) {
    return {};
  }
  const ASN1_STRING *value = attribute->value.asn1_string;
  const int length = ASN1_STRING_length(value);
  return length > 0 ? KeyId{ASN1_STRING_get0_data(value), static_cast<size_t>(length)} : KeyId{};
}

// Whether the bag's key would only be freed, as its key id is new to a full store. Such a key is not even decrypted:
// what it cost would be missing for the certificates of the keys that are kept.
bool finds_no_room(const PKCS12_SAFEBAG *bag) {
  const KeyId id = key_id_of(bag);
  return id.length > 0 && !cert_store_has_room(id.bytes, id.length);
}

// Converts the key and stores it under the bag's key id. -1 only when it cannot be converted.
int32_t store_key(Walk *walk, const PKCS12_SAFEBAG *bag, const PKCS8_PRIV_KEY_INFO *private_key) {
  if (pay(walk, conversion_cost(private_key)) != 0) {
    return -1;
  }
  EvpKeyOwner key(EVP_PKCS82PKEY(private_key));
  if (!key.present()) {
    return -1;
  }
  const KeyId id = key_id_of(bag);
  if (id.length > 0) {
    CertStoreKey(id.bytes, id.length, key.release());
  }
  return 0;
}

int32_t process_key(Walk *walk, const PKCS12_SAFEBAG *bag, int32_t) {
  return key_id_attribute(bag) != nullptr ? store_key(walk, bag, PKCS12_SAFEBAG_get0_p8inf(bag)) : 0;
}

int32_t process_shrouded_key(Walk *walk, const PKCS12_SAFEBAG *bag, int32_t) {
  if (finds_no_room(bag)) {
    return 0;
  }
  const X509_ALGOR *algorithm = nullptr;
  X509_SIG_get0(PKCS12_SAFEBAG_get0_pkcs8(bag), &algorithm, nullptr);
  if (pay(walk, pbe_cost(algorithm)) != 0) {
    return -1;
  }
  const Pkcs8Owner private_key(PKCS12_decrypt_skey(bag, kEmptyPassword, 0));
  if (!private_key.present()) {
    return -1;
  }
  return key_id_attribute(bag) != nullptr ? store_key(walk, bag, private_key.get()) : 0;
}

int32_t process_certificate(Walk *walk, const PKCS12_SAFEBAG *bag, int32_t) {
  if (PKCS12_SAFEBAG_get_bag_nid(bag) != NID_x509Certificate) {
    return 0;
  }
  X509Owner certificate(PKCS12_SAFEBAG_get1_cert(bag));
  if (!certificate.present()) {
    return -1;
  }
  // Offered first: the store frees a certificate that it does not keep.
  makeSSHKey(certificate.get(), walk->callback, nullptr);
  const KeyId id = key_id_of(bag);
  if (id.length > 0) {
    CertStoreCert(id.bytes, id.length, certificate.release());
  }
  return 0;
}

int32_t process_safes(Walk *walk, const PKCS12_SAFEBAG *bag, int32_t depth) {
  return depth < kMaxNesting ? process_bags(walk, PKCS12_SAFEBAG_get0_safes(bag), depth + 1) : -1;
}

struct BagRow {
  int nid;
  int32_t (*process)(Walk *walk, const PKCS12_SAFEBAG *bag, int32_t depth);
};

constexpr BagRow kBags[] = {
    {.nid = NID_keyBag, .process = process_key},
    {.nid = NID_pkcs8ShroudedKeyBag, .process = process_shrouded_key},
    {.nid = NID_certBag, .process = process_certificate},
    {.nid = NID_safeContentsBag, .process = process_safes},
};

// A bag of any other type is skipped. Every bag is paid for, also one that has cost the library time only to be read.
int32_t process_bag(Walk *walk, const PKCS12_SAFEBAG *bag, int32_t depth) {
  if (pay(walk, kBagCost) != 0) {
    return -1;
  }
  for (const BagRow &row : kBags) {
    if (row.nid == PKCS12_SAFEBAG_get_nid(bag)) {
      return row.process(walk, bag, depth);
    }
  }
  return 0;
}

// The first bag that fails fails the list.
int32_t process_bags(Walk *walk, const STACK_OF(PKCS12_SAFEBAG) * bags, int32_t depth) {
  const int count = sk_PKCS12_SAFEBAG_num(bags);
  for (int i = 0; i < count; i++) {
    if (process_bag(walk, sk_PKCS12_SAFEBAG_value(bags, i), depth) != 0) {
      return -1;
    }
  }
  return 0;
}

// Contents may come without their optional value, which not every version of the library expects.
Pkcs12BagsOwner unpack_data(Walk *, PKCS7 *content) {
  return Pkcs12BagsOwner(content->d.data != nullptr ? PKCS12_unpack_p7data(content) : nullptr);
}

Pkcs12BagsOwner unpack_encrypted(Walk *walk, PKCS7 *content) {
  const PKCS7_ENCRYPT *encrypted = content->d.encrypted;
  if (encrypted == nullptr || encrypted->enc_data->enc_data == nullptr ||
      pay(walk, pbe_cost(encrypted->enc_data->algorithm)) != 0) {
    return Pkcs12BagsOwner();
  }
  return Pkcs12BagsOwner(PKCS12_unpack_p7encdata(content, kEmptyPassword, -1));
}

struct ContentRow {
  int nid;
  Pkcs12BagsOwner (*unpack)(Walk *walk, PKCS7 *content);
};

constexpr ContentRow kContents[] = {
    {.nid = NID_pkcs7_data, .unpack = unpack_data},
    {.nid = NID_pkcs7_encrypted, .unpack = unpack_encrypted},
};

// A content of any other type is skipped. -1 ends the walk.
int32_t process_content(Walk *walk, PKCS7 *content) {
  for (const ContentRow &row : kContents) {
    if (row.nid == OBJ_obj2nid(content->type)) {
      const Pkcs12BagsOwner bags = row.unpack(walk, content);
      return bags.present() ? process_bags(walk, bags.get(), 0) : -1;
    }
  }
  return 0;
}

// Steps over the head of the element at *at, and over its content when asked. False when there is none in front of end.
bool step(const unsigned char **at, const unsigned char *end, bool over_content) {
  long length = 0;
  int tag = 0;
  int tag_class = 0;
  if (*at >= end || (ASN1_get_object(at, &length, &tag, &tag_class, end - *at) & 0x80) != 0) {
    return false;
  }
  *at += over_content ? length : 0;
  return true;
}

// Whether the container's safes have their optional content. OpenSSL 1.1.1 follows a null pointer when they do not, and
// offers no other way to look than at the encoded form: version, then a sequence of type and content, then the MAC,
// which is a sequence and no context tag.
bool has_safes(PKCS12 *container) {
  unsigned char *bytes = nullptr;
  const int length = i2d_PKCS12(container, &bytes);
  const unsigned char *at = bytes;
  const unsigned char *end = bytes + (length > 0 ? length : 0);
  const bool present = length > 0 && step(&at, end, false) && step(&at, end, true) && step(&at, end, false) &&
                       step(&at, end, true) && at < end && *at == (V_ASN1_CONTEXT_SPECIFIC | V_ASN1_CONSTRUCTED);
  OPENSSL_clear_free(bytes, length > 0 ? static_cast<size_t>(length) : 0);
  return present;
}

}  // namespace

void ProcessPKCS12(PKCS12 *container, CertificateCallback callback) {
  CertStoreClear();
  const Pkcs12SafesOwner safes(has_safes(container) ? PKCS12_unpack_authsafes(container) : nullptr);
  Walk walk = {.callback = callback, .budget = kWorkBudget};
  const int count = safes.present() ? sk_PKCS7_num(safes.get()) : 0;
  for (int i = 0; i < count; i++) {
    if (process_content(&walk, sk_PKCS7_value(safes.get(), i)) != 0) {
      return;
    }
  }
}

}  // namespace kelvane
