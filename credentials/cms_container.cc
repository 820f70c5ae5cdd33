#include "credentials/cms_container.h"

#include <openssl/pem.h>

#include "core/base/openssl_owners.h"
#include "credentials/pkcs12_walk.h"
#include "credentials/ssh_pub_key.h"

namespace kelvane {

namespace {

// A PEM text may call itself encrypted; without this the library would ask the terminal for a password.
int refuse_password(char *, int, int, void *) {
  return -1;
}

}  // namespace

CmsContainerResult CmsContainerProcess(BIO *pem, EVP_PKEY *key, X509 *certificate) {
  if (BIO_ctrl_pending(pem) > kCmsMaxText) {
    return CmsContainerResult::kCmsUnreadable;
  }
  const CmsOwner cms(PEM_read_bio_CMS(pem, nullptr, refuse_password, nullptr));
  if (!cms.present()) {
    return CmsContainerResult::kCmsUnreadable;
  }
  if (key == nullptr || certificate == nullptr || CMS_decrypt_set1_pkey(cms.get(), key, certificate) != 1) {
    return CmsContainerResult::kRecipient;
  }
  const BioOwner content(BIO_new(BIO_s_secmem()));
  if (!content.present() || CMS_decrypt(cms.get(), nullptr, nullptr, nullptr, content.get(), 0) != 1) {
    return CmsContainerResult::kDecrypt;
  }
  const Pkcs12Owner container(d2i_PKCS12_bio(content.get(), nullptr));
  if (!container.present()) {
    return CmsContainerResult::kContainer;
  }
  ProcessPKCS12(container.get(), SSHPubKeyAdd);
  return CmsContainerResult::kDone;
}

}  // namespace kelvane
