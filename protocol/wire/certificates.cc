#include "protocol/wire/certificates.h"

#include <openssl/err.h>

#include "core/base/openssl_owners.h"
#include "core/base/xml.h"
#include "credentials/cms_container.h"
#include "credentials/transport_cert.h"

namespace kelvane {

namespace {

// Frames the text children of "Data" as PEM, with a line feed for the white space in front of each, deliberately of the
// first as well: the library then sees an empty line and takes lines of 64 characters only. Nothing is added in front
// of the last line: a text without white space at its end gives no readable PEM.
BioOwner pem_of(mxml_node_t *data) {
  BioOwner pem(BIO_new(BIO_s_mem()));
  if (!pem.present()) {
    return pem;
  }
  BIO_puts(pem.get(), "-----BEGIN CMS-----\n");
  for (mxml_node_t *node = mxmlGetFirstChild(data); node != nullptr; node = mxmlGetNextSibling(node)) {
    if (!xml_is_text(node)) {
      continue;
    }
    int whitespace = 0;
    const char *text = mxmlGetText(node, &whitespace);
    if (whitespace != 0) {
      BIO_puts(pem.get(), "\n");
    }
    BIO_puts(pem.get(), text_or(text, ""));
  }
  BIO_puts(pem.get(), "-----END CMS-----\n");
  return pem;
}

}  // namespace

void certificates_process(const Buffer *document) {
  TransportCert transport = {};
  TransportCertGet(&transport);
  const XmlOwner xml = xml_load(document->data, document->length);
  mxml_node_t *data = xml.present() ? xml_find(xml.get(), "Data") : nullptr;
  if (data == nullptr) {
    return;
  }
  const BioOwner pem = pem_of(data);
  if (pem.present()) {
    CmsContainerProcess(pem.get(), transport.key, transport.certificate);
    ERR_clear_error();
  }
}

}  // namespace kelvane
