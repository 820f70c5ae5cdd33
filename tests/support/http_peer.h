// An HTTP server for tests: one loopback port, one request a connection, every request kept with its exact bytes, every
// answer scripted down to the byte. It also stands in for any host when a test points http_proxy at it: the request
// line then carries the absolute URL. Answers come from threads of its own; the destructor ends and joins them all.
#ifndef KELVANE_TESTS_SUPPORT_HTTP_PEER_H
#define KELVANE_TESTS_SUPPORT_HTTP_PEER_H

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace support {

struct PeerRequest {
  std::string bytes;  // all of it, as it came
  std::string method;
  std::string target;                // as in the request line
  std::vector<std::string> headers;  // "Name: value", in order
  std::string body;

  // The value of the first header of that name (letter case ignored), empty when there is none.
  std::string header(const std::string &name) const;
  // Its headers without those that an HTTP library adds by itself: Host, Accept, Proxy-Connection, Content-Length,
  // Expect, User-Agent.
  std::vector<std::string> own_headers() const;
};

struct PeerAnswer {
  enum class Ending {
    kClose,   // orderly
    kReset,   // the connection is torn down with RST
    kSilent,  // nothing more comes, the connection stays open until the peer's end
  };
  std::string bytes;  // sent as they are; may be empty, and need not be HTTP. HEAD is sent no more than the head
  Ending ending = Ending::kClose;
};

// "HTTP/1.1 <status> Scripted", the headers, Content-Length and the body.
PeerAnswer answer(int status, const std::string &body = "", const std::vector<std::string> &headers = {});
// The same with a Content-Length of its own.
PeerAnswer answer_with_length(int status, const std::string &body, uint64_t length);
PeerAnswer close_without_answer();
PeerAnswer reset_connection();
PeerAnswer stay_silent();

class HttpPeer {
 public:
  using Handler = std::function<PeerAnswer(const PeerRequest &)>;

  HttpPeer();
  ~HttpPeer();
  HttpPeer(const HttpPeer &) = delete;
  HttpPeer &operator=(const HttpPeer &) = delete;

  uint16_t port() const { return port_; }
  // "http://127.0.0.1:<port>"
  std::string address() const;

  // Answers for the next requests, in order, before anything else is asked.
  void script(const std::vector<PeerAnswer> &answers);
  // Answers every request that the script leaves over; at first 404. Called from other threads, one call at a time.
  void handler(Handler handler);

  std::vector<PeerRequest> requests() const;
  // "GET http://...", one a request, in order.
  std::vector<std::string> request_lines() const;
  void forget_requests();

 private:
  void accept_loop();
  void serve(int connection);
  bool read_request(int connection, PeerRequest *request);
  PeerAnswer answer_for(const PeerRequest &request);
  bool wait_readable(int descriptor) const;

  int listener_ = -1;
  int stop_read_ = -1;
  int stop_write_ = -1;
  uint16_t port_ = 0;
  mutable std::mutex mutex_;
  std::deque<PeerAnswer> script_;
  Handler handler_;
  std::vector<PeerRequest> requests_;
  std::vector<std::thread> connections_;
  std::thread acceptor_;
};

}  // namespace support

#endif
