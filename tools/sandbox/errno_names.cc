#include "tools/sandbox/errno_names.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

namespace sandbox {
namespace {

constexpr std::array kNames = {
    std::pair{EPERM, "EPERM"},         std::pair{ENOENT, "ENOENT"},
    std::pair{EINTR, "EINTR"},         std::pair{EIO, "EIO"},
    std::pair{ENXIO, "ENXIO"},         std::pair{EBADF, "EBADF"},
    std::pair{EAGAIN, "EAGAIN"},       std::pair{ENOMEM, "ENOMEM"},
    std::pair{EACCES, "EACCES"},       std::pair{EBUSY, "EBUSY"},
    std::pair{EEXIST, "EEXIST"},       std::pair{EXDEV, "EXDEV"},
    std::pair{ENODEV, "ENODEV"},       std::pair{ENOTDIR, "ENOTDIR"},
    std::pair{EISDIR, "EISDIR"},       std::pair{EINVAL, "EINVAL"},
    std::pair{ENFILE, "ENFILE"},       std::pair{EMFILE, "EMFILE"},
    std::pair{EFBIG, "EFBIG"},         std::pair{ENOSPC, "ENOSPC"},
    std::pair{EROFS, "EROFS"},         std::pair{EMLINK, "EMLINK"},
    std::pair{EPIPE, "EPIPE"},         std::pair{ENAMETOOLONG, "ENAMETOOLONG"},
    std::pair{ENOTEMPTY, "ENOTEMPTY"}, std::pair{ELOOP, "ELOOP"},
    std::pair{ENOMEDIUM, "ENOMEDIUM"}, std::pair{ESRCH, "ESRCH"},
    std::pair{EDQUOT, "EDQUOT"},
};

}  // namespace

std::string errno_name(int value) {
  for (const auto &[number, name] : kNames) {
    if (number == value) {
      return name;
    }
  }
  return std::to_string(value);
}

int errno_value(const std::string &name) {
  for (const auto &[number, text] : kNames) {
    if (name == text) {
      return number;
    }
  }
  char *end = nullptr;
  const long value = std::strtol(name.c_str(), &end, 10);
  return name.empty() || *end != '\0' || value < 0 || value > 4095 ? 0 : static_cast<int>(value);
}

}  // namespace sandbox
