#include "tests/support/http_peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace support {

namespace {

bool same_name(const std::string &left, const std::string &right) {
  return strcasecmp(left.c_str(), right.c_str()) == 0;
}

std::string name_of(const std::string &header) {
  return header.substr(0, header.find(':'));
}

void send_all(int connection, const std::string &bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t put = send(connection, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (put <= 0) {
      return;
    }
    done += static_cast<size_t>(put);
  }
}

// Takes the head apart; the body is read later.
void parse_head(PeerRequest *request, const std::string &head) {
  const size_t line_end = head.find("\r\n");
  const std::string line = head.substr(0, line_end);
  const size_t first = line.find(' ');
  const size_t last = line.rfind(' ');
  request->method = line.substr(0, first);
  request->target = first < last ? line.substr(first + 1, last - first - 1) : "";
  size_t at = line_end + 2;
  while (at < head.size()) {
    const size_t end = head.find("\r\n", at);
    if (end == std::string::npos || end == at) {
      break;
    }
    request->headers.push_back(head.substr(at, end - at));
    at = end + 2;
  }
}

}  // namespace

std::string PeerRequest::header(const std::string &name) const {
  for (const std::string &header : headers) {
    if (same_name(name_of(header), name)) {
      const size_t value = header.find_first_not_of(' ', header.find(':') + 1);
      return value == std::string::npos ? "" : header.substr(value);
    }
  }
  return "";
}

std::vector<std::string> PeerRequest::own_headers() const {
  std::vector<std::string> own;
  for (const std::string &header : headers) {
    bool of_library = false;
    for (const char *name : {"Host", "Accept", "Proxy-Connection", "Content-Length", "Expect", "User-Agent"}) {
      of_library = of_library || same_name(name_of(header), name);
    }
    if (!of_library) {
      own.push_back(header);
    }
  }
  return own;
}

PeerAnswer answer(int status, const std::string &body, const std::vector<std::string> &headers) {
  std::string bytes = "HTTP/1.1 " + std::to_string(status) + " Scripted\r\n";
  for (const std::string &header : headers) {
    bytes += header + "\r\n";
  }
  return {bytes + "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body};
}

PeerAnswer answer_with_length(int status, const std::string &body, uint64_t length) {
  return {"HTTP/1.1 " + std::to_string(status) + " Scripted\r\nContent-Length: " + std::to_string(length) +
          "\r\nConnection: close\r\n\r\n" + body};
}

PeerAnswer close_without_answer() {
  return {};
}

PeerAnswer reset_connection() {
  return {"", PeerAnswer::Ending::kReset};
}

PeerAnswer stay_silent() {
  return {"", PeerAnswer::Ending::kSilent};
}

HttpPeer::HttpPeer() : handler_([](const PeerRequest &) { return answer(404); }) {
  std::array<int, 2> ends = {};
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto *generic = reinterpret_cast<sockaddr *>(&address);
  if (listener_ < 0 || pipe(ends.data()) != 0 || bind(listener_, generic, size) != 0 || listen(listener_, 64) != 0 ||
      getsockname(listener_, generic, &size) != 0) {
    throw std::runtime_error("no loopback port for the HTTP peer");
  }
  stop_read_ = ends[0];
  stop_write_ = ends[1];
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { accept_loop(); });
}

HttpPeer::~HttpPeer() {
  close(stop_write_);
  acceptor_.join();
  for (std::thread &connection : connections_) {
    connection.join();
  }
  close(stop_read_);
  close(listener_);
}

std::string HttpPeer::address() const {
  return "http://127.0.0.1:" + std::to_string(port_);
}

void HttpPeer::script(const std::vector<PeerAnswer> &answers) {
  const std::lock_guard<std::mutex> lock(mutex_);
  script_.insert(script_.end(), answers.begin(), answers.end());
}

void HttpPeer::handler(Handler handler) {
  const std::lock_guard<std::mutex> lock(mutex_);
  handler_ = std::move(handler);
}

std::vector<PeerRequest> HttpPeer::requests() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

std::vector<std::string> HttpPeer::request_lines() const {
  std::vector<std::string> lines;
  for (const PeerRequest &request : requests()) {
    lines.push_back(request.method + " " + request.target);
  }
  return lines;
}

void HttpPeer::forget_requests() {
  const std::lock_guard<std::mutex> lock(mutex_);
  requests_.clear();
}

// False when the peer is to end.
bool HttpPeer::wait_readable(int descriptor) const {
  std::array<pollfd, 2> waits = {{{stop_read_, POLLIN, 0}, {descriptor, POLLIN, 0}}};
  while (poll(waits.data(), waits.size(), -1) < 0) {
  }
  return waits[0].revents == 0;
}

void HttpPeer::accept_loop() {
  while (wait_readable(listener_)) {
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection >= 0) {
      connections_.emplace_back([this, connection] { serve(connection); });
    }
  }
}

bool HttpPeer::read_request(int connection, PeerRequest *request) {
  size_t head_size = 0;
  size_t whole = 0;
  while (head_size == 0 || request->bytes.size() < whole) {
    std::array<char, 65536> block;
    if (!wait_readable(connection)) {
      return false;
    }
    const ssize_t got = recv(connection, block.data(), block.size(), 0);
    if (got <= 0) {
      return false;
    }
    request->bytes.append(block.data(), static_cast<size_t>(got));
    const size_t end = request->bytes.find("\r\n\r\n");
    if (head_size == 0 && end != std::string::npos) {
      head_size = end + 4;
      parse_head(request, request->bytes.substr(0, head_size));
      const std::string length = request->header("Content-Length");
      whole = head_size + (length.empty() ? 0 : std::stoul(length));
      if (request->bytes.size() < whole && !request->header("Expect").empty()) {
        send_all(connection, "HTTP/1.1 100 Continue\r\n\r\n");
      }
    }
  }
  request->body = request->bytes.substr(head_size);
  return true;
}

PeerAnswer HttpPeer::answer_for(const PeerRequest &request) {
  const std::lock_guard<std::mutex> lock(mutex_);
  requests_.push_back(request);
  if (script_.empty()) {
    return handler_(request);
  }
  PeerAnswer next = script_.front();
  script_.pop_front();
  return next;
}

void HttpPeer::serve(int connection) {
  PeerRequest request;
  if (read_request(connection, &request)) {
    PeerAnswer next = answer_for(request);
    const size_t head_end = next.bytes.find("\r\n\r\n");
    if (request.method == "HEAD" && head_end != std::string::npos) {
      next.bytes.resize(head_end + 4);
    }
    send_all(connection, next.bytes);
    if (next.ending == PeerAnswer::Ending::kReset) {
      const linger at_once = {1, 0};
      setsockopt(connection, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    } else if (next.ending == PeerAnswer::Ending::kSilent) {
      while (wait_readable(stop_read_)) {
      }
    }
  }
  close(connection);
}

}  // namespace support
