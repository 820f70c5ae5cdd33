// Owners of OpenSSL's objects. Only the rooms that decrypt or make keys include this.
#ifndef KELVANE_CORE_BASE_OPENSSL_OWNERS_H
#define KELVANE_CORE_BASE_OPENSSL_OWNERS_H

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/pkcs7.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "core/base/owned.h"

namespace kelvane {

void openssl_free_bytes(unsigned char *bytes);
void openssl_free_safes(STACK_OF(PKCS7) * safes);
void openssl_free_bags(STACK_OF(PKCS12_SAFEBAG) * bags);

using BioOwner = Owned<BIO, BIO_free_all>;
using CmsOwner = Owned<CMS_ContentInfo, CMS_ContentInfo_free>;
using EvpKeyOwner = Owned<EVP_PKEY, EVP_PKEY_free>;
using OpensslBytesOwner = Owned<unsigned char, openssl_free_bytes>;
using Pkcs12Owner = Owned<PKCS12, PKCS12_free>;
using Pkcs7Owner = Owned<PKCS7, PKCS7_free>;
using Pkcs8Owner = Owned<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;
using Pkcs12BagsOwner = Owned<STACK_OF(PKCS12_SAFEBAG), openssl_free_bags>;
using Pkcs12SafesOwner = Owned<STACK_OF(PKCS7), openssl_free_safes>;
using RsaOwner = Owned<RSA, RSA_free>;
using X509ExtensionOwner = Owned<X509_EXTENSION, X509_EXTENSION_free>;
using X509NameOwner = Owned<X509_NAME, X509_NAME_free>;
using X509Owner = Owned<X509, X509_free>;

}  // namespace kelvane

#endif
