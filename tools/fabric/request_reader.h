// Reads HTTP requests from one connection, headers in their order and as they were spelled. Used by the server's
// threads, one reader for each connection. Blocks until a request is whole, the peer closes, or the socket is shut
// down from outside. Never throws for what the peer sends: a request that is no HTTP comes back with its defect told.
#ifndef KELVANE_TOOLS_FABRIC_REQUEST_READER_H
#define KELVANE_TOOLS_FABRIC_REQUEST_READER_H

#include <optional>
#include <string>

#include "tools/fabric/http.h"

namespace kelvane::fabric {

class RequestReader {
 public:
  // `fd` stays the caller's.
  explicit RequestReader(int fd) : fd_(fd) {}

  // The next request; none when the connection ended before a byte of it came. After one with a defect nothing more
  // can be read.
  std::optional<Request> next();

 private:
  bool receive();

  int fd_;
  std::string pending_;  // received and not parsed yet
};

// Sends all bytes; false when the peer is gone.
bool send_bytes(int fd, const char *data, size_t size);

}  // namespace kelvane::fabric

#endif
