#include "extensions/handler_settings.h"

#include <limits.h>
#include <string.h>

#include "core/base/json.h"
#include "core/base/log.h"
#include "core/base/openssl_owners.h"
#include "core/base/secret.h"
#include "credentials/cert_store.h"
#include "credentials/transport_cert.h"
#include "platform/platform.h"

namespace kelvane {

namespace {

Pkcs7Owner read_message(const char *base64) {
  const size_t room = strlen(base64);
  Secret decoded;
  if (room > kProtectedMaxText || decoded.allocate(room + 1) != 0) {
    return Pkcs7Owner();
  }
  const int32_t length = miglib_b64_pton(base64, decoded.bytes(), room);
  BioOwner source(length > 0 ? BIO_new_mem_buf(decoded.bytes(), length) : nullptr);
  return Pkcs7Owner(source.present() ? d2i_PKCS7_bio(source.get(), nullptr) : nullptr);
}

JsonSecretOwner decrypt(const char *protected_settings, X509 *certificate, EVP_PKEY *key) {
  Pkcs7Owner sealed = read_message(protected_settings);
  BioOwner output(BIO_new(BIO_s_secmem()));
  if (!output.present()) {
    return JsonSecretOwner();
  }
  // Neither an unreadable message nor a failed decryption ends this: both are deliberately an empty plaintext.
  if (sealed.present()) {
    PKCS7_decrypt(sealed.get(), key, certificate, output.get(), PKCS7_BINARY);
  }
  const size_t pending = BIO_ctrl_pending(output.get());
  Secret plain;
  if (pending > INT_MAX || plain.allocate(pending + 1) != 0) {
    return JsonSecretOwner();
  }
  if (pending > 0) {
    BIO_read(output.get(), plain.bytes(), static_cast<int>(pending));
  }
  LOG_ABOVE(6, "[kelvane]: DECRYPTED: '%s'\n", plain.text());
  JsonOwner value = json_load(plain.text());
  return JsonSecretOwner(value.release());
}

// The "handlerSettings" object of a document; else null with the code of the step that failed.
json_object *handler_settings(json_object *document, int32_t *code) {
  json_object *settings_list = json_member(document, "runtimeSettings", json_type_array);
  *code = -3;
  if (settings_list == nullptr) {
    return nullptr;
  }
  *code = -4;
  if (json_object_array_length(settings_list) == 0) {
    return nullptr;
  }
  json_object *first = json_object_array_get_idx(settings_list, 0);
  *code = -5;
  if (!json_object_is_type(first, json_type_object)) {
    return nullptr;
  }
  *code = -6;
  json_object *settings = json_member(first, "handlerSettings", json_type_object);
  if (settings != nullptr) {
    *code = 0;
  }
  return settings;
}

JsonSecretOwner decrypt_with_store(const char *protected_settings, const char *thumbprint) {
  X509 *certificate = nullptr;
  EVP_PKEY *key = nullptr;
  if (CertStoreFind(thumbprint, &certificate, &key) == 0 || certificate == nullptr || key == nullptr) {
    return JsonSecretOwner();
  }
  return decrypt(protected_settings, certificate, key);
}

}  // namespace

JsonSecretOwner HandlerUtilParseConfig(const char *text) {
  JsonSecretOwner document(json_load(text).release());
  if (!json_object_is_type(document.get(), json_type_object)) {
    return JsonSecretOwner();
  }
  int32_t code = 0;
  json_object *settings = handler_settings(document.get(), &code);
  json_object *protected_text = json_member(settings, "protectedSettings", json_type_string);
  json_object *thumbprint = json_member(settings, "protectedSettingsCertThumbprint", json_type_string);
  if (protected_text == nullptr || thumbprint == nullptr) {
    return document;
  }
  // The transport certificate is deliberately not tried here, unlike in HandlerUtilParseProtectedSettings.
  JsonSecretOwner decrypted =
      decrypt_with_store(json_object_get_string(protected_text), json_object_get_string(thumbprint));
  if (decrypted.present() && json_object_object_add(settings, "protectedSettings", decrypted.get()) == 0) {
    decrypted.release();
  }
  return document;
}

JsonSecretOwner HandlerUtilParseProtectedSettings(const char *protected_settings, const char *thumbprint) {
  if (protected_settings == nullptr) {
    return JsonSecretOwner();
  }
  if (thumbprint != nullptr) {
    JsonSecretOwner decrypted = decrypt_with_store(protected_settings, thumbprint);
    if (decrypted.present()) {
      return decrypted;
    }
  }
  TransportCert transport = {};
  TransportCertGet(&transport);
  if (transport.key == nullptr || transport.certificate == nullptr) {
    return JsonSecretOwner();
  }
  return decrypt(protected_settings, transport.certificate, transport.key);
}

int32_t HandlerUtilGetSettings(json_object *document, json_object **protected_object, json_object **public_object) {
  if (document == nullptr) {
    return -1;
  }
  if (!json_object_is_type(document, json_type_object)) {
    return -2;
  }
  int32_t code = 0;
  json_object *settings = handler_settings(document, &code);
  if (settings == nullptr) {
    return code;
  }
  json_object *found = json_member(settings, "protectedSettings", json_type_object);
  if (found != nullptr && protected_object != nullptr) {
    *protected_object = found;
  }
  found = json_member(settings, "publicSettings", json_type_object);
  if (found != nullptr && public_object != nullptr) {
    *public_object = found;
  }
  return 0;
}

}  // namespace kelvane
