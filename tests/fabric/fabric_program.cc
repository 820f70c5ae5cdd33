#include "tests/fabric/fabric_program.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace kelvane::fabric_test {

const char kAgent[] = "x-ms-agent-name: TorvikGuest\r\nx-ms-version: 2012-11-30\r\n";
const char kAgentPost[] =
    "x-ms-agent-name: TorvikGuest\r\nx-ms-version: 2012-11-30\r\nContent-Type: text/xml;charset=utf-8\r\n";

namespace {

using Clock = std::chrono::steady_clock;

void parse_reply(Reply &reply) {
  size_t end = reply.raw.find("\r\n\r\n");
  if (reply.raw.compare(0, 9, "HTTP/1.1 ") != 0 || end == std::string::npos) return;
  reply.status = std::stoi(reply.raw.substr(9, 3));
  reply.head = reply.raw.substr(0, end + 4);
  reply.body = reply.raw.substr(end + 4);
}

bool is_whole(const Reply &reply, bool head_only) {
  size_t at = reply.head.find("Content-Length: ");
  if (at == std::string::npos) return false;
  return head_only || reply.body.size() >= std::stoul(reply.head.substr(at + 16));
}

int wait_for(pid_t pid) {
  int status = 0;
  for (int i = 0; i < 3000; i++) {
    if (waitpid(pid, &status, WNOHANG) == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  kill(pid, SIGKILL);
  waitpid(pid, &status, 0);
  throw std::runtime_error("the fabric did not end");
}

pid_t start(const std::vector<std::string> &words, const std::string &output) {
  std::vector<char *> arguments;
  for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t pid = fork();
  if (pid != 0) return pid;
  prctl(PR_SET_PDEATHSIG, SIGTERM);  // a test that breaks off leaves no fabric behind
  int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(fd, 1);
  dup2(fd, 2);
  execv(arguments[0], arguments.data());
  _exit(127);
}

}  // namespace

std::string run_command(const std::string &command) {
  FILE *pipe = popen(("( " + command + " ) 2>&1").c_str(), "r");
  std::string out;
  std::array<char, 4096> bytes;
  for (size_t got = 0; (got = fread(bytes.data(), 1, bytes.size(), pipe)) > 0;) out.append(bytes.data(), got);
  if (pclose(pipe) != 0) throw std::runtime_error(command + ":\n" + out);
  return out;
}

FabricProgram::FabricProgram(const std::string &scenario, const std::vector<std::string> &options) {
  write_file(folder_.file("scenario.json"), scenario);
  std::vector<std::string> words = {KELVANE_FABRIC,
                                    "--scenario",
                                    folder_.file("scenario.json"),
                                    "--port-file",
                                    folder_.file("port"),
                                    "--control-port",
                                    "0",
                                    "--control-port-file",
                                    folder_.file("control-port"),
                                    "--journal",
                                    folder_.file("journal"),
                                    "--artifacts",
                                    folder_.file("artifacts")};
  words.insert(words.end(), options.begin(), options.end());
  pid_ = start(words, folder_.file("out"));
  for (int i = 0; i < 6000 && access(folder_.file("port").c_str(), R_OK) != 0; i++) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      throw std::runtime_error("the fabric ended at once: " + output());
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  port_ = std::stoi(read_file(folder_.file("port")));
  control_port_ = std::stoi(read_file(folder_.file("control-port")));
}

FabricProgram::~FabricProgram() {
  if (pid_ > 0) end();
}

int FabricProgram::wait_for_end() {
  pid_t pid = pid_;
  pid_ = -1;
  int status = wait_for(pid);
  // A sanitizer's report ends the program with a status of its own, or with the one of a failed expectation.
  EXPECT_EQ(output().find("Sanitizer"), std::string::npos) << output();
  EXPECT_TRUE(status == 0 || status == 1) << status << "\n" << output();
  return status;
}

int FabricProgram::end() {
  kill(pid_, SIGTERM);
  return wait_for_end();
}

int FabricProgram::connect_to(int port) const {
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(static_cast<uint16_t>(port));
  where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(fd, reinterpret_cast<sockaddr *>(&where), sizeof where) == 0) return fd;
  close(fd);
  return -1;
}

Reply exchange_over(int fd, const std::string &bytes, double seconds) {
  Reply reply;
  send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  auto until = Clock::now() + std::chrono::milliseconds(static_cast<int>(seconds * 1000));
  while (!is_whole(reply, bytes.compare(0, 5, "HEAD ") == 0)) {
    pollfd wait{fd, POLLIN, 0};
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
    if (left <= 0 || poll(&wait, 1, static_cast<int>(left)) <= 0) {
      reply.timed_out = true;
      break;
    }
    std::array<char, 65536> chunk;
    ssize_t got = recv(fd, chunk.data(), chunk.size(), 0);
    reply.reset = got < 0 && errno == ECONNRESET;
    if (got <= 0) break;
    reply.raw.append(chunk.data(), static_cast<size_t>(got));
    parse_reply(reply);
  }
  return reply;
}

Reply FabricProgram::exchange(const std::string &bytes, double seconds) const {
  int fd = connect_to();
  if (fd < 0) throw std::runtime_error("connection refused");
  Reply reply = exchange_over(fd, bytes, seconds);
  close(fd);
  return reply;
}

Reply FabricProgram::get(const std::string &path_and_query, const std::string &headers) const {
  return exchange("GET http://168.63.129.16" + path_and_query + " HTTP/1.1\r\nHost: 168.63.129.16\r\n" + headers +
                  "\r\n");
}

Reply FabricProgram::post(const std::string &path_and_query, const std::string &headers,
                          const std::string &body) const {
  return exchange("POST http://168.63.129.16" + path_and_query + " HTTP/1.1\r\nHost: 168.63.129.16\r\n" + headers +
                  "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

Reply FabricProgram::control(const std::string &method, const std::string &target, const std::string &body) const {
  int fd = connect_to(control_port_);
  if (fd < 0) throw std::runtime_error("control connection refused");
  Reply reply = exchange_over(fd,
                              method + " " + target + " HTTP/1.1\r\nHost: fabric\r\nContent-Length: " +
                                  std::to_string(body.size()) + "\r\n\r\n" + body,
                              10);
  close(fd);
  return reply;
}

std::vector<std::string> FabricProgram::journal() const {
  std::istringstream file(read_file(folder_.file("journal")));
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

Ended run_fabric(const std::string &options) {
  std::string out = run_command(std::string(KELVANE_FABRIC) + " " + options + "; echo status=$?");
  size_t at = out.rfind("status=");
  return {std::stoi(out.substr(at + 7)), out.substr(0, at)};
}

}  // namespace kelvane::fabric_test
