// The secret things the platform sends: the PKCS#12 container of the tenant's certificates and keys, the CMS envelope
// around it, and protected settings. Used by the documents. Nothing blocks; a failed OpenSSL call throws CryptoError.
// It never sends a private key outside a container.
#ifndef KELVANE_TOOLS_FABRIC_CONTAINER_H
#define KELVANE_TOOLS_FABRIC_CONTAINER_H

#include <string>
#include <string_view>
#include <vector>

#include "tools/fabric/tenant.h"

namespace kelvane::fabric {

// The DER PKCS#12 container, as the platform delivers it unless `spec` says otherwise: the certificates in one part
// under 40-bit RC2, the keys in another under 3DES, both with the empty password, paired by local key id.
std::string make_container(const std::vector<const Identity *> &identities, const ContainerSpec &spec);

// `content` in a DER CMS envelope (DES-EDE3-CBC) that only the key of `recipient` opens.
std::string make_envelope(std::string_view content, X509 *recipient);

// The text of the certificates document's Data element, in base64: what `spec` asks for, for the certificate that the
// request carried.
std::string make_certificates_data(const std::vector<const Identity *> &identities, const ContainerSpec &spec,
                                   X509 *recipient);

// Protected settings: a DER PKCS#7 envelope of the text, in base64.
std::string protect_settings(std::string_view text, X509 *recipient);

}  // namespace kelvane::fabric

#endif
