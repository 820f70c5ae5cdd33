#include "tools/sandbox/kept_key.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <memory>

namespace sandbox {
namespace {

using File = std::unique_ptr<BIO, decltype(&BIO_free)>;

rsa_st *read_key(const std::string &file) {
  const File in(BIO_new_file(file.c_str(), "r"), BIO_free);
  return in != nullptr ? PEM_read_bio_RSAPrivateKey(in.get(), nullptr, nullptr, nullptr) : nullptr;
}

void write_key(const std::string &file, rsa_st *key) {
  const File out(BIO_new_file(file.c_str(), "w"), BIO_free);
  if (out != nullptr) {
    PEM_write_bio_RSAPrivateKey(out.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
  }
}

}  // namespace

rsa_st *kept_key(const std::string &file, int32_t bits, const std::function<rsa_st *()> &make) {
  rsa_st *kept = read_key(file);
  if (kept != nullptr && RSA_bits(kept) == bits) {
    return kept;
  }
  RSA_free(kept);
  rsa_st *made = make();
  if (made != nullptr) {
    write_key(file, made);
  }
  return made;
}

}  // namespace sandbox
