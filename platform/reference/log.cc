#include "platform/reference/log.h"

#include <errno.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/platform.h"
#include "platform/reference/own_files.h"
#include "platform/reference/reference.h"

namespace kelvane::reference {
namespace {

constexpr char kLogSocket[] = "/dev/log";
constexpr size_t kLongestLine = 8000;

struct Log {
  bool to_stderr = false;
  reference_log_sink sink = nullptr;
  void *context = nullptr;
};
Log settings;

// The C library's syslog would keep its socket open and wait for a log service that is stuck. Here each text has a
// socket of its own: no descriptor stays behind in a process whose caller closes some numbers twice.
Descriptor connect_to_system_log() {
  Descriptor socket_of_text(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, kLogSocket, sizeof kLogSocket);
  const auto *generic = reinterpret_cast<const sockaddr *>(&address);
  if (!socket_of_text.present() || connect(socket_of_text.get(), generic, sizeof address) != 0) {
    return {};
  }
  return socket_of_text;
}

void send_line(const Descriptor &log, std::string_view line) {
  const std::string head = "<" + std::to_string(LOG_DAEMON | LOG_NOTICE) + ">" + program_invocation_short_name + "[" +
                           std::to_string(getpid()) + "]: ";
  const std::string entry = head + std::string(line.substr(0, kLongestLine));
  send(log.get(), entry.data(), entry.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void send_lines(std::string_view text) {
  const Descriptor log = connect_to_system_log();
  while (log.present() && !text.empty()) {
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    if (!line.empty()) {
      send_line(log, line);
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

void write_to_stderr(const std::string &text) {
  if (!settings.to_stderr && isatty(STDERR_FILENO) == 0) {
    return;
  }
  (void)fwrite(text.data(), 1, text.size(), stderr);
  if (!text.empty() && text.back() != '\n') {
    fputc('\n', stderr);
  }
}

std::string formatted(const char *format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, arguments);
  std::string text(length < 0 ? 0 : static_cast<size_t>(length), '\0');
  if (length > 0) {
    vsnprintf(text.data(), text.size() + 1, format, again);
  }
  va_end(again);
  return text;
}

void write_everywhere(const std::string &text) {
  log_to_system(text);
  write_to_stderr(text);
  if (settings.sink != nullptr) {
    settings.sink(text.c_str(), settings.context);
  }
}

}  // namespace

void log_to_system(std::string_view text) noexcept {
  try {
    send_lines(text);
  } catch (...) {
    // No memory for the line: it is lost, as the contract allows.
  }
}

}  // namespace kelvane::reference

void reference_log_to_stderr(bool on) {
  kelvane::reference::settings.to_stderr = on;
}

void reference_set_log_sink(reference_log_sink sink, void *context) {
  kelvane::reference::settings.sink = sink;
  kelvane::reference::settings.context = context;
}

void message(const char *format, ...) {
  if (format == nullptr) {
    return;
  }
  const int kept_errno = errno;
  va_list arguments;
  va_start(arguments, format);
  try {
    kelvane::reference::write_everywhere(kelvane::reference::formatted(format, arguments));
  } catch (...) {
    // No memory for the text: it is lost, as the contract allows.
  }
  va_end(arguments);
  errno = kept_errno;
}
