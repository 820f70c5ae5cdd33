// The certificates document of the wire server: finds the wrapped container in it and hands it to the certificate store
// and the SSH public key store. Called by the wire client, on the main thread; blocks for the milliseconds of a
// decryption. Every failure is silent, deliberately: the stores then keep what they hold.
#ifndef KELVANE_PROTOCOL_WIRE_CERTIFICATES_H
#define KELVANE_PROTOCOL_WIRE_CERTIFICATES_H

#include "include/buffer.h"

namespace kelvane {

// Processes one document with the transport key and certificate.
void certificates_process(const Buffer *document);

}  // namespace kelvane

#endif
