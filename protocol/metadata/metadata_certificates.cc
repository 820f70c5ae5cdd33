#include "protocol/metadata/metadata_certificates.h"

#include <openssl/err.h>
#include <stdio.h>
#include <string.h>

#include "core/base/json.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "credentials/cms_container.h"
#include "credentials/transport_cert.h"
#include "protocol/http_request.h"
#include "protocol/metadata/metadata_http.h"
#include "protocol/metadata/metadata_resources.h"

namespace kelvane {

namespace {

// Not the 64 of ordinary PEM; deliberate, the library reads both.
constexpr size_t kLineLength = 74;

// Tells on standard output, where these failures are looked for, why a certificate was skipped, and empties the
// library's error queue.
void tell_failure(CmsContainerResult result) {
  if (result == CmsContainerResult::kCmsUnreadable) {
    LOG_ABOVE(0, "[kelvane]: %s:%d: CMS failed\n", "processJSONCertificate", 971);
  } else if (result == CmsContainerResult::kDecrypt) {
    fputs("CMS decrypt failed\n", stdout);
  } else if (result == CmsContainerResult::kContainer) {
    fputs("PKCS12 failed\n", stdout);
  }
  ERR_print_errors_fp(stdout);
  fflush(stdout);
}

void fetch_certificate(const char *url, curl_slist *headers) {
  const JsonOwner document = metadata_get(url, headers, nullptr);
  if (document.present()) {
    processJSONCertificate(document.get());
  }
}

}  // namespace

int32_t metadata_certificate_headers(CurlListOwner *headers) {
  headers->reset();
  TransportCert transport = {};
  TransportCertGet(&transport);
  if (transport.encoded_certificate == nullptr) {
    return 0;
  }
  Text line;
  if (text_format(&line, "%s %s", "x-ms-vmagent-public-x509-cert:", transport.encoded_certificate) == 0) {
    *headers = http_header_list({line.get()});
  }
  if (!headers->present()) {
    LOG_ABOVE(0, "[kelvane]: no memory for the certificate header, what needs it is not fetched\n");
    return -1;
  }
  return 0;
}

BioOwner metadata_cms_pem(const char *data) {
  BioOwner pem(BIO_new(BIO_s_mem()));
  if (!pem.present()) {
    return pem;
  }
  BIO_puts(pem.get(), "-----BEGIN CMS-----\n");
  for (const char *line = data; *line != '\0';) {
    const size_t length = strnlen(line, kLineLength);
    BIO_write(pem.get(), line, static_cast<int>(length));
    BIO_puts(pem.get(), "\n");
    line += length;
  }
  BIO_puts(pem.get(), "-----END CMS-----\n");
  return pem;
}

void processJSONCertificate(json_object *document) {
  const char *data = json_member_text(document, "certificateData");
  const BioOwner pem = data != nullptr ? metadata_cms_pem(data) : BioOwner();
  if (!pem.present()) {
    return;
  }
  TransportCert transport = {};
  TransportCertGet(&transport);
  const CmsContainerResult result = CmsContainerProcess(pem.get(), transport.key, transport.certificate);
  if (result != CmsContainerResult::kDone) {
    tell_failure(result);
  }
  ERR_clear_error();
}

int32_t metadata_certificates_fetch() {
  const JsonOwner document = metadata_get(metadata_url(kMetadataCertificates), nullptr, nullptr);
  if (!document.present()) {
    return -1;
  }
  json_object *list = json_member(document.get(), "certificates", json_type_array);
  const size_t count = list != nullptr ? json_object_array_length(list) : 0;
  CurlListOwner headers;
  // That was the list, so it is not asked for again at once, deliberately.
  if (count == 0 || metadata_certificate_headers(&headers) != 0) {
    return 0;
  }
  for (size_t i = 0; i < count; i++) {
    const char *url = json_member_text(json_object_array_get_idx(list, i), "certificateDataUri");
    if (url != nullptr) {
      fetch_certificate(url, headers.get());
    }
  }
  return 0;
}

}  // namespace kelvane
