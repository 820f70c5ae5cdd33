#include "tools/sandbox/failing_disc.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "tools/sandbox/among.h"

namespace sandbox {
namespace {

// The classes of SQLite's own calls, whose files are all on the disc, and those whose subject is a path.
constexpr std::array kOfTheDatabase = {"database", "closing"};
constexpr std::array kWithPaths = {"file", "bytes", "inside"};

// What lies in memory or on another device.
constexpr std::array kElsewhere = {"/cdrom/", "/dev/", "/proc/", "/run/", "/sys/", "/tmp/", "/var/run/"};

bool elsewhere(const std::string &path) {
  return std::any_of(kElsewhere.begin(), kElsewhere.end(),
                     [&](const char *folder) { return path.rfind(folder, 0) == 0; });
}

bool on_the_disc(const std::string &call_class, const std::string &subject) {
  return among(kOfTheDatabase, call_class) || (among(kWithPaths, call_class) && !elsewhere(subject));
}

// A name alone still finds room in its folder; a folder or bytes want a block.
bool takes_room(const std::string &call) {
  return call == "write" || call == "mkdir";
}

}  // namespace

int FailingDisc::error_of(const std::string &call_class, const std::string &call, const std::string &subject) const {
  if (state_ == State::kSound || !on_the_disc(call_class, subject)) {
    return 0;
  }
  return state_ == State::kDead ? EIO : takes_room(call) ? ENOSPC : 0;
}

}  // namespace sandbox
