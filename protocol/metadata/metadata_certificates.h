// The certificates of the metadata service: a list of URLs, behind each a CMS message in JSON, which is decrypted with
// the transport key into the certificate store and the SSH public key store. Used by the metadata protocol only, on the
// main thread; blocks for as long as the requests take. A certificate that cannot be taken is told on standard output
// (a message that cannot be read in the log, too) and skipped; it fails nothing. The decrypted bytes are wiped where
// they are decrypted.
#ifndef KELVANE_PROTOCOL_METADATA_METADATA_CERTIFICATES_H
#define KELVANE_PROTOCOL_METADATA_METADATA_CERTIFICATES_H

#include <stdint.h>

#include "core/base/curl_owners.h"
#include "core/base/json_owners.h"
#include "core/base/openssl_owners.h"

namespace kelvane {

// The header that shows the transport certificate, as a list, into *headers; an empty one without its text. 0, or -1
// with *headers empty when memory ran out: what needs the header is then not to be asked for.
int32_t metadata_certificate_headers(CurlListOwner *headers);

// Frames the base64 text of a CMS message as PEM: lines of 74 characters, the last as long as it comes. Absent when
// memory ran out at the beginning; a text that it ran out for later lacks a part.
BioOwner metadata_cms_pem(const char *data);

// Takes one fetched document over into the stores. OpenSSL's error queue is empty afterwards.
void processJSONCertificate(json_object *document);

// Fetches the list, and each certificate that it names; none without memory for the header. 0; -1 when the list could
// not be fetched. Each container clears the certificate store first, so that of several the last one is kept.
int32_t metadata_certificates_fetch();

}  // namespace kelvane

#endif
