// The configuration dump: the cached goal state and extensions configuration as a listing in the log, for the
// operator's test command. Not gated by the debug level; changes nothing, does not block, cannot fail. A text that is
// not known is listed as the empty text. Runtime settings are listed with their protected part decrypted where the
// certificate store allows it: what the operator asks for by this command.
#ifndef KELVANE_PROTOCOL_WIRE_DUMP_H
#define KELVANE_PROTOCOL_WIRE_DUMP_H

namespace kelvane {

void wire_dump();

}  // namespace kelvane

#endif
