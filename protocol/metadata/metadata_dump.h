// The metadata protocol's configuration dump: writes what it keeps to the log, for the operator. Not gated by the
// level; changes nothing, never blocks, cannot fail.
#ifndef KELVANE_PROTOCOL_METADATA_METADATA_DUMP_H
#define KELVANE_PROTOCOL_METADATA_METADATA_DUMP_H

namespace kelvane {

void metadata_dump();

}  // namespace kelvane

#endif
