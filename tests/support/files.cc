#include "tests/support/files.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace support {
namespace {

using Clock = std::chrono::steady_clock;

struct CloseFile {
  void operator()(std::FILE *file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

struct Pipe {
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) != 0) {
      throw std::runtime_error("pipe2 failed");
    }
  }
  ~Pipe() {
    close_end(0);
    close_end(1);
  }
  Pipe(const Pipe &) = delete;
  Pipe &operator=(const Pipe &) = delete;
  void close_end(int end) {
    if (ends[end] >= 0) {
      close(ends[end]);
      ends[end] = -1;
    }
  }
  int ends[2] = {-1, -1};
};

[[noreturn]] void become(const std::vector<std::string> &arguments, const Pipe &in, const Pipe &out, const Pipe &err) {
  dup2(in.ends[0], STDIN_FILENO);
  dup2(out.ends[1], STDOUT_FILENO);
  dup2(err.ends[1], STDERR_FILENO);
  std::vector<char *> words;
  for (const std::string &each : arguments) {
    words.push_back(const_cast<char *>(each.c_str()));
  }
  words.push_back(nullptr);
  execvp(words[0], words.data());
  _exit(127);
}

// Moves what is there from one end into the text; closes the end when it is over.
void drain(Pipe *from, std::string *text) {
  char block[65536];
  const ssize_t got = read(from->ends[0], block, sizeof block);
  if (got > 0) {
    text->append(block, static_cast<size_t>(got));
  } else {
    from->close_end(0);
  }
}

void feed(Pipe *to, const std::string &input, size_t *done) {
  const ssize_t put = *done < input.size() ? write(to->ends[1], input.data() + *done, input.size() - *done) : 0;
  if (put < 0 && errno == EAGAIN) {
    return;
  }
  if (put <= 0) {
    to->close_end(1);
  } else {
    *done += static_cast<size_t>(put);
  }
}

bool exchange(Pipe *in, Pipe *out, Pipe *err, const std::string &input, Clock::time_point end, CommandResult *result) {
  size_t done = 0;
  while (out->ends[0] >= 0 || err->ends[0] >= 0) {
    if (Clock::now() > end) {
      return false;
    }
    pollfd waits[3] = {{in->ends[1], POLLOUT, 0}, {out->ends[0], POLLIN, 0}, {err->ends[0], POLLIN, 0}};
    poll(waits, 3, 100);
    if (waits[0].revents != 0) {
      feed(in, input, &done);
    }
    if (waits[1].revents != 0) {
      drain(out, &result->out);
    }
    if (waits[2].revents != 0) {
      drain(err, &result->err);
    }
  }
  return true;
}

}  // namespace

TempDir::TempDir() {
  const char *base = std::getenv("TMPDIR");
  std::string name = std::string(base != nullptr ? base : "/tmp") + "/kelvane-test-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("mkdtemp failed: " + name);
  }
  path_ = name;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::write(const std::string &name, const std::string &bytes) const {
  const std::string path = file(name);
  const std::string folder = path.substr(0, path.rfind('/'));
  if (!exists(folder)) {
    std::filesystem::create_directories(folder);
  }
  write_file(path, bytes);
  return path;
}

std::string TempDir::read(const std::string &name) const {
  return read_file(file(name));
}

// Not by streams, which cost as much as a small input of a fuzz target.
std::string read_file(const std::string &path) {
  const FilePtr file(std::fopen(path.c_str(), "rbe"));
  if (file == nullptr) {
    throw std::runtime_error("cannot read " + path);
  }
  std::string bytes;
  char block[4096];
  for (size_t got = sizeof block; got == sizeof block;) {
    got = std::fread(block, 1, sizeof block, file.get());
    bytes.append(block, got);
  }
  return bytes;
}

std::string read_if_there(const std::string &path) {
  return exists(path) ? read_file(path) : "";
}

void write_file(const std::string &path, const std::string &bytes) {
  FilePtr file(std::fopen(path.c_str(), "wbe"));
  const bool written = file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
  if (!written || std::fclose(file.release()) != 0) {
    throw std::runtime_error("cannot write " + path);
  }
}

bool exists(const std::string &path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

int mode_of(const std::string &path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? static_cast<int>(status.st_mode & 07777u) : -1;
}

CommandResult run_command(const std::vector<std::string> &arguments, const std::string &input, unsigned seconds) {
  Pipe in;
  Pipe out;
  Pipe err;
  signal(SIGPIPE, SIG_IGN);
  // A full pipe must not hold up the reading of the outputs.
  fcntl(in.ends[1], F_SETFL, O_NONBLOCK);
  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error("fork failed");
  }
  if (child == 0) {
    signal(SIGPIPE, SIG_DFL);
    become(arguments, in, out, err);
  }
  in.close_end(0);
  out.close_end(1);
  err.close_end(1);
  CommandResult result;
  const bool in_time = exchange(&in, &out, &err, input, Clock::now() + std::chrono::seconds(seconds), &result);
  if (!in_time) {
    kill(child, SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!in_time) {
    throw std::runtime_error(arguments[0] + " took too long");
  }
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

std::string openssl(std::vector<std::string> arguments, const std::string &input) {
  arguments.insert(arguments.begin(), "openssl");
  CommandResult result = run_command(arguments, input);
  if (result.status != 0) {
    throw std::runtime_error("openssl " + arguments[1] + " failed: " + result.err);
  }
  return result.out;
}

bool have_openssl() {
  return run_command({"openssl", "version"}).status == 0;
}

}  // namespace support
