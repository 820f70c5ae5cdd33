#include "tools/fabric/container.h"

#include <openssl/cms.h>
#include <openssl/pkcs12.h>
#include <openssl/pkcs7.h>

#include "tools/fabric/bytes.h"

namespace kelvane::fabric {

namespace {

void free_bags(STACK_OF(PKCS12_SAFEBAG) * bags) {
  sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}
void free_parts(STACK_OF(PKCS7) * parts) {
  sk_PKCS7_pop_free(parts, PKCS7_free);
}
void free_list(STACK_OF(X509) * list) {
  sk_X509_free(list);
}

using BagPtr = std::unique_ptr<PKCS12_SAFEBAG, Freer<PKCS12_SAFEBAG_free>>;
using BagsPtr = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), Freer<free_bags>>;
using PartPtr = std::unique_ptr<PKCS7, Freer<PKCS7_free>>;
using PartsPtr = std::unique_ptr<STACK_OF(PKCS7), Freer<free_parts>>;
using ListPtr = std::unique_ptr<STACK_OF(X509), Freer<free_list>>;
using Pkcs8Ptr = std::unique_ptr<PKCS8_PRIV_KEY_INFO, Freer<PKCS8_PRIV_KEY_INFO_free>>;
using Pkcs12Ptr = std::unique_ptr<PKCS12, Freer<PKCS12_free>>;
using CmsPtr = std::unique_ptr<CMS_ContentInfo, Freer<CMS_ContentInfo_free>>;

BagsPtr new_bags() {
  return BagsPtr(checked(sk_PKCS12_SAFEBAG_new_null(), "bags"));
}

void push(BagsPtr &bags, BagPtr bag) {
  if (sk_PKCS12_SAFEBAG_push(bags.get(), bag.get()) <= 0) throw_crypto("bags");
  bag.release();
}

// The bytes that pair a certificate with its key: its number in the container, least significant byte first.
void add_local_key_id(PKCS12_SAFEBAG *bag, const Identity &identity, size_t number) {
  if (!identity.spec.local_key_id) return;
  unsigned char id[4] = {static_cast<unsigned char>(number & 0xFF), static_cast<unsigned char>(number >> 8), 0, 0};
  if (PKCS12_add_localkeyid(bag, id, sizeof id) != 1) throw_crypto("local key id");
}

BagsPtr certificate_bags(const std::vector<const Identity *> &identities) {
  BagsPtr bags = new_bags();
  size_t number = 0;
  for (const Identity *identity : identities) {
    BagPtr bag(checked(PKCS12_SAFEBAG_create_cert(identity->certificate.get()), "certificate bag"));
    add_local_key_id(bag.get(), *identity, ++number);
    push(bags, std::move(bag));
  }
  return bags;
}

BagPtr key_bag(const Identity &identity, const ContainerSpec &spec) {
  Pkcs8Ptr plain(checked(EVP_PKEY2PKCS8(identity.key.get()), "PKCS#8 key"));
  if (spec.key_cipher == "none") return BagPtr(checked(PKCS12_SAFEBAG_create0_p8inf(plain.release()), "key bag"));
  return BagPtr(checked(PKCS12_SAFEBAG_create_pkcs8_encrypt(
                            NID_pbe_WithSHA1And3_Key_TripleDES_CBC, spec.password.c_str(),
                            static_cast<int>(spec.password.size()), nullptr, 0, spec.iterations, plain.get()),
                        "shrouded key bag"));
}

BagsPtr key_bags(const std::vector<const Identity *> &identities, const ContainerSpec &spec) {
  BagsPtr bags = new_bags();
  size_t number = 0;
  for (const Identity *identity : identities) {
    number++;
    if (!identity->spec.private_key) continue;
    BagPtr bag = key_bag(*identity, spec);
    add_local_key_id(bag.get(), *identity, number);
    push(bags, std::move(bag));
  }
  return bags;
}

// One DER element around `content`.
std::string der_element(unsigned char tag, const std::string &content) {
  std::string length;
  for (size_t rest = content.size(); rest > 0; rest >>= 8) length.insert(0, 1, static_cast<char>(rest & 0xFF));
  std::string head(1, static_cast<char>(tag));
  if (content.size() < 0x80) return head + static_cast<char>(content.size()) + content;
  return head + static_cast<char>(0x80 | length.size()) + length + content;
}

// A list with one bag, which holds all of `bags` (OpenSSL has no call that makes a bag of this type).
BagsPtr nested_in_one(const BagsPtr &bags) {
  unsigned char *inner = nullptr;
  int length = ASN1_item_i2d(reinterpret_cast<ASN1_VALUE *>(bags.get()), &inner, ASN1_ITEM_rptr(PKCS12_SAFEBAGS));
  if (length < 0) throw_crypto("nested bags");
  std::string list(reinterpret_cast<char *>(inner), static_cast<size_t>(length));
  OPENSSL_free(inner);
  // 1.2.840.113549.1.12.10.1.6, the bag of bags.
  const std::string oid("\x06\x0b\x2a\x86\x48\x86\xf7\x0d\x01\x0c\x0a\x01\x06", 13);
  std::string der = der_element(0x30, oid + der_element(0xA0, list));
  const auto *at = reinterpret_cast<const unsigned char *>(der.data());
  BagsPtr out = new_bags();
  push(out, BagPtr(checked(d2i_PKCS12_SAFEBAG(nullptr, &at, static_cast<long>(der.size())), "nested bag")));
  return out;
}

PartPtr make_part(BagsPtr bags, const ContainerSpec &spec, const std::string &cipher) {
  if (spec.nested) bags = nested_in_one(bags);
  if (cipher == "none") return PartPtr(checked(PKCS12_pack_p7data(bags.get()), "container part"));
  int nid = cipher == "3des" ? NID_pbe_WithSHA1And3_Key_TripleDES_CBC : NID_pbe_WithSHA1And40BitRC2_CBC;
  return PartPtr(checked(PKCS12_pack_p7encdata(nid, spec.password.c_str(), static_cast<int>(spec.password.size()),
                                               nullptr, 0, spec.iterations, bags.get()),
                         "encrypted container part"));
}

void push_part(PartsPtr &parts, PartPtr part) {
  if (sk_PKCS7_push(parts.get(), part.get()) <= 0) throw_crypto("container parts");
  part.release();
}

std::string to_der(PKCS12 *container) {
  BioPtr bio = writing_bio();
  if (i2d_PKCS12_bio(bio.get(), container) != 1) throw_crypto("container as DER");
  return bio_bytes(bio.get());
}

ListPtr list_of(X509 *certificate) {
  ListPtr list(checked(sk_X509_new_null(), "recipients"));
  if (sk_X509_push(list.get(), certificate) <= 0) throw_crypto("recipients");
  return list;
}

}  // namespace

std::string make_container(const std::vector<const Identity *> &identities, const ContainerSpec &spec) {
  load_legacy_algorithms();
  PartPtr certificates = make_part(certificate_bags(identities), spec, spec.certificate_cipher);
  // The keys are encrypted one by one, so their part is not.
  PartPtr keys = make_part(key_bags(identities, spec), spec, "none");
  PartsPtr parts(checked(sk_PKCS7_new_null(), "container parts"));
  bool keys_first = spec.order == "keys-first";
  push_part(parts, std::move(keys_first ? keys : certificates));
  push_part(parts, std::move(keys_first ? certificates : keys));
  Pkcs12Ptr container(checked(PKCS12_add_safes(parts.get(), 0), "container"));
  if (PKCS12_set_mac(container.get(), spec.password.c_str(), static_cast<int>(spec.password.size()), nullptr, 0,
                     spec.iterations, EVP_sha1()) != 1)
    throw_crypto("container MAC");
  return to_der(container.get());
}

std::string make_envelope(std::string_view content, X509 *recipient) {
  ListPtr recipients = list_of(recipient);
  BioPtr in = reading_bio(content);
  CmsPtr cms(checked(CMS_encrypt(recipients.get(), in.get(), EVP_des_ede3_cbc(), CMS_BINARY), "CMS envelope"));
  BioPtr out = writing_bio();
  if (i2d_CMS_bio(out.get(), cms.get()) != 1) throw_crypto("CMS envelope as DER");
  return bio_bytes(out.get());
}

namespace {

// Changes the padding of the content, which stands at the end, so that whoever has the key finds it broken, always:
// a bit of one block of the cipher text is the same bit of the next block's text.
std::string tampered(std::string envelope) {
  constexpr size_t kBlock = 8;
  envelope.at(envelope.size() - kBlock - 1) ^= '\x80';
  return envelope;
}

}  // namespace

std::string make_certificates_data(const std::vector<const Identity *> &identities, const ContainerSpec &spec,
                                   X509 *recipient) {
  if (spec.content == "empty") return "";
  if (spec.content == "not-cms") return base64_encode("This text is no CMS message, and it is meant to be none.");
  std::string content = spec.content == "not-pkcs12" ? "This text is no container." : make_container(identities, spec);
  if (spec.content == "tampered") return base64_encode(tampered(make_envelope(content, recipient)));
  if (spec.wrap == "request") return base64_encode(make_envelope(content, recipient));
  CertificateSpec stranger;
  stranger.name = stranger.common_name = "stranger";
  return base64_encode(make_envelope(content, make_identity(stranger).certificate.get()));
}

std::string protect_settings(std::string_view text, X509 *recipient) {
  ListPtr recipients = list_of(recipient);
  BioPtr in = reading_bio(text);
  PartPtr envelope(checked(PKCS7_encrypt(recipients.get(), in.get(), EVP_des_ede3_cbc(), PKCS7_BINARY), "PKCS#7"));
  BioPtr out = writing_bio();
  if (i2d_PKCS7_bio(out.get(), envelope.get()) != 1) throw_crypto("PKCS#7 as DER");
  return base64_encode(bio_bytes(out.get()));
}

}  // namespace kelvane::fabric
