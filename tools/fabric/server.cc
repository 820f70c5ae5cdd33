#include "tools/fabric/server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "tools/fabric/request_reader.h"

namespace kelvane::fabric {

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const std::string &what) {
  throw std::runtime_error(what + ": " + strerror(errno));
}

sockaddr_in socket_address(const std::string &address, int port) {
  sockaddr_in out{};
  out.sin_family = AF_INET;
  out.sin_port = htons(static_cast<uint16_t>(port));
  if (inet_pton(AF_INET, address.c_str(), &out.sin_addr) != 1)
    throw std::runtime_error(address + ": not a numeric IPv4 address");
  return out;
}

int open_listener(const std::string &address, int port) {
  sockaddr_in where = socket_address(address, port);
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int on = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr *>(&where), sizeof where) == 0 && listen(fd, 128) == 0) return fd;
  int error = errno;
  close(fd);
  errno = error;
  fail(address + ":" + std::to_string(port));
}

int port_of(int fd) {
  sockaddr_in where{};
  socklen_t length = sizeof where;
  if (getsockname(fd, reinterpret_cast<sockaddr *>(&where), &length) != 0) fail("port");
  return ntohs(where.sin_port);
}

void close_with_reset(int fd) {
  linger none{.l_onoff = 1, .l_linger = 0};
  setsockopt(fd, SOL_SOCKET, SO_LINGER, &none, sizeof none);
  // What was sent before is on its way already; the peer shall see it first.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

}  // namespace

Server::Server(Fabric &fabric, const std::string &address, int port, int control_port)
    : fabric_(fabric), address_(address) {
  if (pipe2(wake_, O_CLOEXEC | O_NONBLOCK) != 0) fail("pipe");
  listener_ = open_listener(address, port);
  port_ = port_of(listener_);
  if (control_port < 0) return;
  control_listener_ = open_listener(address, control_port);
  control_port_ = port_of(control_listener_);
}

Server::~Server() {
  for (int fd : {listener_, control_listener_, wake_[0], wake_[1]})
    if (fd >= 0) close(fd);
}

void Server::wake() {
  char byte = 1;
  ssize_t written = write(wake_[1], &byte, 1);
  static_cast<void>(written);  // a full pipe wakes as well
}

void Server::stop() {
  stopping_ = true;
  wake();
}

void Server::run() {
  while (!stopping_) {
    std::array<pollfd, 3> fds{pollfd{wake_[0], POLLIN, 0}, pollfd{control_listener_, POLLIN, 0},
                              pollfd{listener_, POLLIN, 0}};
    poll(fds.data(), fds.size(), listening_ ? -1 : 20);
    std::array<char, 64> bytes;
    while (read(wake_[0], bytes.data(), bytes.size()) > 0) continue;
    if ((fds[1].revents & POLLIN) != 0) accept_one(control_listener_, true);
    if ((fds[2].revents & POLLIN) != 0) accept_one(listener_, false);
    follow_listening();
    reap(false);
  }
  changed_.notify_all();
  reap(true);
}

// Opens or closes the listening socket as was asked, in the one thread that polls it.
void Server::follow_listening() {
  std::lock_guard<std::mutex> guard(lock_);
  if (!want_listening_ && Clock::now() >= listen_again_) want_listening_ = true;
  if (!want_listening_ && listener_ >= 0) {
    close(listener_);
    listener_ = -1;
    listening_ = false;
  } else if (want_listening_ && listener_ < 0) {
    try {
      listener_ = open_listener(address_, port_);
      listening_ = true;
    } catch (const std::runtime_error &) {
      // Someone took the port meanwhile: the next turn tries again.
    }
  }
  changed_.notify_all();
}

void Server::set_listening(bool listening, int64_t milliseconds) {
  std::unique_lock<std::mutex> guard(lock_);
  want_listening_ = listening;
  listen_again_ = milliseconds == 0 ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(milliseconds);
  wake();
  // The answer to whoever asked comes when it is done.
  changed_.wait_for(guard, std::chrono::seconds(5), [&] { return stopping_ || listening_ == want_listening_; });
}

void Server::accept_one(int listener, bool control) {
  int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  if (fd < 0) return;
  if (!control && fabric_.refuses_connection()) {
    close(fd);
    return;
  }
  int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  std::lock_guard<std::mutex> guard(lock_);
  Connection &connection = connections_.emplace_back();
  connection.fd = fd;
  connection.control = control;
  connection.thread = std::thread([this, &connection] { serve(connection); });
}

// Joins the threads that are done; with `all` ends the others first.
void Server::reap(bool all) {
  std::list<Connection> done;
  {
    std::lock_guard<std::mutex> guard(lock_);
    for (auto at = connections_.begin(); at != connections_.end();) {
      auto next = std::next(at);
      if (all && !at->done) shutdown(at->fd, SHUT_RDWR);
      if (all || at->done) done.splice(done.end(), connections_, at);
      at = next;
    }
  }
  for (Connection &connection : done) connection.thread.join();
}

void Server::serve(Connection &connection) {
  RequestReader reader(connection.fd);
  while (auto request = reader.next()) {
    if (!serve_one(connection.fd, *request, connection.control)) break;
  }
  std::lock_guard<std::mutex> guard(lock_);
  close(connection.fd);
  connection.done = true;
  wake();
}

bool Server::serve_one(int fd, const Request &request, bool control_port) {
  if (control_port || (request.defect.empty() && is_control(request))) return serve_control(fd, request, control_port);
  Delivery delivery = fabric_.handle(request);
  bool keep = deliver(fd, delivery);
  if (delivery.stop_listening) set_listening(false, delivery.stop_listening_ms);
  return keep;
}

bool Server::serve_control(int fd, const Request &request, bool control_port) {
  ControlContext context{.own_port = control_port};
  {
    std::lock_guard<std::mutex> guard(lock_);
    context.listening = listening_;
  }
  ControlResult result = control(fabric_, request, context);
  if (result.action == ControlAction::kListen) set_listening(true, 0);
  if (result.action == ControlAction::kStopListening) set_listening(false, result.milliseconds);
  bool keep = deliver(fd, plan_delivery(std::move(result.answer), nullptr, request));
  if (result.action == ControlAction::kQuit) stop();
  return keep;
}

// Waits, unless the server ends; false when it does.
bool Server::wait(int64_t milliseconds) {
  std::unique_lock<std::mutex> guard(lock_);
  return !changed_.wait_for(guard, std::chrono::milliseconds(milliseconds), [&] { return stopping_.load(); });
}

// Reads and drops what comes until the peer gives up.
void Server::hold(int fd) {
  std::array<char, 4096> bytes;
  while (recv(fd, bytes.data(), bytes.size(), 0) > 0) continue;
}

// Carries the plan out; true when the connection goes on.
bool Server::deliver(int fd, const Delivery &delivery) {
  if (delivery.delay_ms > 0 && !wait(delivery.delay_ms)) return false;
  const size_t step = delivery.drip_bytes == 0 ? delivery.bytes.size() : delivery.drip_bytes;
  for (size_t at = 0; at < delivery.bytes.size(); at += step) {
    if (at > 0 && !wait(delivery.drip_ms)) return false;
    if (!send_bytes(fd, delivery.bytes.data() + at, std::min(step, delivery.bytes.size() - at))) return false;
  }
  const std::string filler(std::min<size_t>(delivery.filler, 65536), 'x');
  for (size_t left = delivery.filler; left > 0;) {
    size_t part = std::min(left, filler.size());
    if (!send_bytes(fd, filler.data(), part)) return false;
    left -= part;
  }
  if (delivery.ending == Ending::kHold) hold(fd);
  if (delivery.ending == Ending::kReset) close_with_reset(fd);
  return delivery.ending == Ending::kKeep;
}

}  // namespace kelvane::fabric
