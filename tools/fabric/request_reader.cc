#include "tools/fabric/request_reader.h"

#include <strings.h>
#include <sys/socket.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/basic_parser.hpp>
#include <boost/beast/http/error.hpp>
#include <cerrno>

namespace kelvane::fabric {

namespace {

namespace http = boost::beast::http;
using boost::beast::error_code;
using boost::beast::string_view;

constexpr std::uint32_t kMostHeaderBytes = 64 * 1024;
constexpr std::uint64_t kMostBodyBytes = 64 * 1024 * 1024;

std::string text(string_view view) {
  return {view.data(), view.size()};
}

// Beast's parser, which hands over each field as it comes (its own container puts equal names side by side).
class Parser final : public http::basic_parser<true> {
 public:
  Parser() {
    eager(true);
    header_limit(kMostHeaderBytes);
    body_limit(kMostBodyBytes);
  }

  Request request;

 private:
  void on_request_impl(http::verb, string_view method, string_view target, int, error_code &) override {
    request.method = text(method);
    request.target = text(target);
  }
  void on_response_impl(int, string_view, int, error_code &) override {}
  void on_field_impl(http::field, string_view name, string_view value, error_code &) override {
    request.headers.push_back({text(name), text(value)});
  }
  void on_header_impl(error_code &) override {}
  void on_body_init_impl(const boost::optional<std::uint64_t> &, error_code &) override {}
  std::size_t on_body_impl(string_view body, error_code &) override {
    request.body.append(body.data(), body.size());
    return body.size();
  }
  void on_chunk_header_impl(std::uint64_t, string_view, error_code &) override {}
  std::size_t on_chunk_body_impl(std::uint64_t, string_view body, error_code &) override {
    request.body.append(body.data(), body.size());
    return body.size();
  }
  void on_finish_impl(error_code &) override {}
};

bool waits_for_continue(const Parser &parser) {
  if (!parser.is_header_done() || parser.is_done()) return false;
  const std::string *expect = find_header(parser.request.headers, "Expect");
  return expect != nullptr && strcasecmp(expect->c_str(), "100-continue") == 0;
}

}  // namespace

bool send_bytes(int fd, const char *data, size_t size) {
  while (size > 0) {
    ssize_t sent = send(fd, data, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    data += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

bool RequestReader::receive() {
  std::array<char, 16384> bytes;
  ssize_t length = 0;
  do {
    length = recv(fd_, bytes.data(), bytes.size(), 0);
  } while (length < 0 && errno == EINTR);
  if (length > 0) pending_.append(bytes.data(), static_cast<size_t>(length));
  return length > 0;
}

std::optional<Request> RequestReader::next() {
  Parser parser;
  bool continued = false;
  while (!parser.is_done()) {
    error_code error;
    if (!pending_.empty()) pending_.erase(0, parser.put(boost::asio::buffer(pending_), error));
    if (error && error != http::error::need_more) {
      parser.request.defect = error.message();
      return parser.request;
    }
    if (parser.is_done()) break;
    if (!continued && waits_for_continue(parser)) {
      constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
      continued = send_bytes(fd_, kContinue.data(), kContinue.size());
    }
    if (receive()) continue;
    if (!parser.got_some() && pending_.empty()) return std::nullopt;
    parser.request.defect =
        "the connection ended after " + std::to_string(parser.request.body.size()) + " bytes of its body";
    return parser.request;
  }
  parser.request.keep_alive = parser.keep_alive();
  return parser.request;
}

}  // namespace kelvane::fabric
