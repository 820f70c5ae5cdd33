// The demo's side of the fabric's control interface: one plain HTTP request to the loopback address. Blocks for at most
// a few seconds; whatever fails throws std::runtime_error.
#ifndef KELVANE_TOOLS_DEMO_FABRIC_CLIENT_H
#define KELVANE_TOOLS_DEMO_FABRIC_CLIENT_H

#include <cstdint>
#include <string>

namespace demo {

// The body of the answer to GET or POST http://127.0.0.1:port/path. Any status but 200 is a failure.
std::string http_get(uint16_t port, const std::string &path);
std::string http_post(uint16_t port, const std::string &path);

}  // namespace demo

#endif
