#include "tools/demo/process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace demo {
namespace {

constexpr int kStopTries = 40;
constexpr long kStopPause = 50;

std::vector<char *> pointers(const std::vector<std::string> &argv) {
  std::vector<char *> out;
  out.reserve(argv.size() + 1);
  for (const std::string &argument : argv) {
    out.push_back(const_cast<char *>(argument.c_str()));
  }
  out.push_back(nullptr);
  return out;
}

// In the child: its own process group, so that an interrupt from the terminal reaches the demo alone.
[[noreturn]] void become(const std::vector<char *> &argv, int output) {
  setpgid(0, 0);
  const int nothing = open("/dev/null", O_RDONLY);
  dup2(nothing, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  execv(argv[0], argv.data());
  _exit(127);
}

pid_t start(const std::vector<std::string> &argv, int output) {
  const std::vector<char *> arguments = pointers(argv);
  const pid_t pid = fork();
  if (pid == 0) {
    become(arguments, output);
  }
  close(output);
  if (pid < 0) {
    throw std::runtime_error(argv[0] + ": " + std::strerror(errno));
  }
  return pid;
}

int exit_status(int wait_status) {
  return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
}

}  // namespace

Process::Process(const std::vector<std::string> &argv, const std::string &output_file) {
  const int output = open(output_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (output < 0) {
    throw std::runtime_error(output_file + ": " + std::strerror(errno));
  }
  pid_ = start(argv, output);
}

bool Process::running() {
  int wait_status = 0;
  if (!ended_ && waitpid(pid_, &wait_status, WNOHANG) == pid_) {
    ended_ = true;
    status_ = exit_status(wait_status);
  }
  return !ended_;
}

void Process::end_by(int signal) {
  if (running()) {
    kill(pid_, signal);
  }
  for (int i = 0; i < kStopTries && running(); ++i) {
    pause_milliseconds(kStopPause);
  }
  if (running()) {
    throw std::runtime_error("process " + std::to_string(pid_) + " does not end");
  }
}

void Process::stop() {
  if (kept_ || !running()) {
    return;
  }
  kill(pid_, SIGTERM);
  for (int i = 0; i < kStopTries && running(); ++i) {
    pause_milliseconds(kStopPause);
  }
  if (running()) {
    kill(pid_, SIGKILL);
    int wait_status = 0;
    waitpid(pid_, &wait_status, 0);
    ended_ = true;
    status_ = exit_status(wait_status);
  }
}

int run_program(const std::vector<std::string> &argv, std::string *output) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
  }
  const pid_t pid = start(argv, ends[1]);
  std::array<char, 4096> buffer;
  ssize_t got = 0;
  while ((got = read(ends[0], buffer.data(), buffer.size())) > 0) {
    output->append(buffer.data(), static_cast<size_t>(got));
  }
  close(ends[0]);
  int wait_status = 0;
  waitpid(pid, &wait_status, 0);
  return exit_status(wait_status);
}

void pause_milliseconds(long milliseconds) {
  const timespec pause = {milliseconds / 1000, milliseconds % 1000 * 1000000};
  nanosleep(&pause, nullptr);
}

}  // namespace demo
