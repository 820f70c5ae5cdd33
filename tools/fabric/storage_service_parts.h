// The writes of the storage service, kept apart from its table. Called by storage_service.cc alone; nothing blocks.
#ifndef KELVANE_TOOLS_FABRIC_STORAGE_SERVICE_PARTS_H
#define KELVANE_TOOLS_FABRIC_STORAGE_SERVICE_PARTS_H

#include "tools/fabric/storage_answers.h"
#include "tools/fabric/world.h"

namespace kelvane::fabric {

// One request in the hands of the operation that serves it.
struct StorageCall {
  World &world;
  const Request &request;
  const Target &target;
  std::string key;
  Judgement &judgement;
};

struct ByteRange {
  size_t first;
  size_t last;
};

// "bytes=0-511"; none when the text is anything else.
std::optional<ByteRange> parse_range(const std::string &text);

// x-ms-range, or else Range, or none.
const std::string *range_header(const Request &request);

// Creates or replaces a blob.
Answer put_blob(const StorageCall &call);

// Writes pages of a page blob.
Answer put_pages(const StorageCall &call);

}  // namespace kelvane::fabric

#endif
