// The fabric on the network: listens, gives each connection a thread, and puts on the wire exactly what was planned,
// faults included. Run by main in one thread until stop is called. Listening that fails throws std::runtime_error;
// what a peer does never ends the server. It decides nothing about what is answered.
#ifndef KELVANE_TOOLS_FABRIC_SERVER_H
#define KELVANE_TOOLS_FABRIC_SERVER_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "tools/fabric/control.h"

namespace kelvane::fabric {

class Server {
 public:
  // Listens at once on `address` (a numeric IPv4 address) and `port` (0: any). A control port below 0 means none.
  Server(Fabric &fabric, const std::string &address, int port, int control_port);
  ~Server();
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

  int port() const { return port_; }
  int control_port() const { return control_port_; }  // -1: none

  // Serves until stop, then closes every connection and returns.
  void run();
  // Ends run. May be called from any thread and from a signal handler.
  void stop();

 private:
  struct Connection {
    int fd = -1;
    bool control = false;
    bool done = false;
    std::thread thread;
  };

  void accept_one(int listener, bool control);
  void serve(Connection &connection);
  bool serve_one(int fd, const Request &request, bool control_port);
  bool serve_control(int fd, const Request &request, bool control_port);
  bool deliver(int fd, const Delivery &delivery);
  bool wait(int64_t milliseconds);
  void hold(int fd);
  void set_listening(bool listening, int64_t milliseconds);
  void follow_listening();
  void wake();
  void reap(bool all);

  Fabric &fabric_;
  std::string address_;
  int port_ = 0;
  int control_port_ = -1;
  int listener_ = -1;
  int control_listener_ = -1;
  int wake_[2] = {-1, -1};
  std::atomic<bool> stopping_{false};

  std::mutex lock_;
  std::condition_variable changed_;
  bool want_listening_ = true;
  bool listening_ = true;
  std::chrono::steady_clock::time_point listen_again_ = std::chrono::steady_clock::time_point::max();
  std::list<Connection> connections_;
};

}  // namespace kelvane::fabric

#endif
