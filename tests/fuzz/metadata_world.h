// The metadata service for the fuzz targets of its documents: every request is answered with the input, without HTTP.
// Stands in at link time for the protocol's fetching call.
#ifndef KELVANE_TESTS_FUZZ_METADATA_WORLD_H
#define KELVANE_TESTS_FUZZ_METADATA_WORLD_H

#include <string>

#include "protocol/metadata/metadata_protocol.h"

namespace fuzz {

// The answer from now on; an ETag comes with each.
void answer_with(const std::string &body);

}  // namespace fuzz

#endif
