#include "tools/demo/fabric_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace demo {
namespace {

constexpr time_t kSeconds = 5;

class Socket {
 public:
  Socket() : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
  ~Socket() { close(descriptor_); }
  Socket(const Socket &) = delete;
  Socket &operator=(const Socket &) = delete;
  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

[[noreturn]] void failed(const std::string &what) {
  throw std::runtime_error("the fabric's control interface: " + what + ": " + std::strerror(errno));
}

void connect_to(const Socket &socket, uint16_t port) {
  const timeval limit = {kSeconds, 0};
  setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
    failed("connect");
  }
}

std::string http_request(uint16_t port, const std::string &method, const std::string &path) {
  const Socket socket;
  connect_to(socket, port);
  const std::string request =
      method + " " + path + " HTTP/1.0\r\nHost: 127.0.0.1\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
  if (send(socket.get(), request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size())) {
    failed("send");
  }
  std::string answer;
  std::array<char, 4096> buffer;
  ssize_t got = 0;
  while ((got = recv(socket.get(), buffer.data(), buffer.size(), 0)) > 0) {
    answer.append(buffer.data(), static_cast<size_t>(got));
  }
  const size_t end = answer.find("\r\n\r\n");
  if (got < 0 || end == std::string::npos) {
    failed("no whole answer to " + path);
  }
  if (answer.compare(8, 5, " 200 ") != 0) {
    throw std::runtime_error("the fabric refuses " + method + " " + path + ": " + answer.substr(end + 4));
  }
  return answer.substr(end + 4);
}

}  // namespace

std::string http_get(uint16_t port, const std::string &path) {
  return http_request(port, "GET", path);
}

std::string http_post(uint16_t port, const std::string &path) {
  return http_request(port, "POST", path);
}

}  // namespace demo
