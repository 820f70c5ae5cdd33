#include "tests/scenario/run/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace scenario {
namespace {

void redirect(const std::string &file, int descriptor) {
  const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (opened < 0 || dup2(opened, descriptor) < 0) {
    _exit(126);
  }
  close(opened);
}

int status_of(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool write_all(int descriptor, const std::string &text) {
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(descriptor, text.data() + done, text.size() - done);
    if (count <= 0) {
      return false;
    }
    done += static_cast<size_t>(count);
  }
  return true;
}

std::string read_all(int descriptor) {
  std::string out;
  char bytes[4096];
  for (ssize_t count = 0; (count = read(descriptor, bytes, sizeof bytes)) > 0;) {
    out.append(bytes, static_cast<size_t>(count));
  }
  return out;
}

[[noreturn]] void child_work(const std::function<std::string()> &work, int descriptor) {
  std::string answer;
  bool failed = false;
  try {
    answer = work();
  } catch (const std::exception &error) {
    answer = error.what();
    failed = true;
  }
  const bool written = write_all(descriptor, answer);
  std::fflush(nullptr);
  std::_Exit(failed || !written ? 1 : 0);
}

}  // namespace

Process::Process(const std::vector<std::string> &command, const std::string &out_file, const std::string &error_file) {
  std::vector<char *> arguments;
  for (const std::string &argument : command) {
    arguments.push_back(const_cast<char *>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  pid_ = fork();
  if (pid_ < 0) {
    throw std::runtime_error("cannot start " + command[0]);
  }
  if (pid_ == 0) {
    redirect(out_file, STDOUT_FILENO);
    redirect(error_file, STDERR_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
}

Process::~Process() {
  if (running()) {
    kill(pid_, SIGKILL);
    wait(10);
  }
}

bool Process::running() {
  int status = 0;
  if (!ended_ && waitpid(pid_, &status, WNOHANG) == pid_) {
    ended_ = true;
    status_ = status_of(status);
  }
  return !ended_;
}

int Process::wait(int seconds) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (running()) {
    if (std::chrono::steady_clock::now() >= limit) {
      kill(pid_, SIGKILL);
      int status = 0;
      waitpid(pid_, &status, 0);
      ended_ = true;
      return status_ = -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return status_;
}

int Process::terminate(int seconds) {
  if (running()) {
    kill(pid_, SIGTERM);
  }
  return wait(seconds);
}

std::string in_child(const std::function<std::string()> &work) {
  int ends[2];
  if (pipe(ends) != 0) {
    throw std::runtime_error("no pipe");
  }
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    close(ends[0]);
    child_work(work, ends[1]);
  }
  close(ends[1]);
  const std::string answer = pid > 0 ? read_all(ends[0]) : "cannot start a child";
  close(ends[0]);
  int status = 1;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || status != 0) {
    throw std::runtime_error(answer.empty() ? "a child died" : answer);
  }
  return answer;
}

}  // namespace scenario
