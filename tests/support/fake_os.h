// A small operating system for unit tests. A test program that links kelvane-fake-os has these system calls of the code
// under test replaced at link time: open, close, access, unlink, symlink, mkdir, rename, sync, mount, umount,
// sethostname, sleep, time, setenv, tzset, sigaction. While a FakeOs lives
//   - absolute paths lie under a temporary root, which has the folders that an appliance has ("/dev", "/cdrom", "/etc",
//     "/data/etc/ssh", "/var/run");
//   - sleep returns at once and moves the clock on, time returns that clock;
//   - sync, mount, umount and sethostname do nothing and succeed;
//   - every call is added to the recording platform's trace, so that one trace holds the order of everything; each of
//     them can be made to fail.
// Otherwise the real calls are made, and by other threads than the one that made the FakeOs, libFuzzer's for instance,
// sleep always is.
//
// The trace: `open("/etc/x", read)` or `open("/etc/x", create, 0600)`, `close("/etc/x")`, a second close of the same
// descriptor `close("/etc/x") again`, `access("/etc/x", F_OK)` or R_OK, `mount("/dev/sr0", "/cdrom", "udf", 1, null)`,
// `sethostname("abc\x00", 4)`, `sleep(5)`, `time()`, `setenv("TZ", "UTC", 1)`, `sigaction(12, 0x10000000)`; and so on.
// A call that fails ends in ` -> ` and the name of the error, ENOENT for instance.
#ifndef KELVANE_TESTS_SUPPORT_FAKE_OS_H
#define KELVANE_TESTS_SUPPORT_FAKE_OS_H

#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "tests/support/files.h"

class FakeOs {
 public:
  // Calls of these names, "time" for instance, are left out of the trace.
  explicit FakeOs(const std::set<std::string> &hidden = {});
  ~FakeOs();
  FakeOs(const FakeOs &) = delete;
  FakeOs &operator=(const FakeOs &) = delete;

  // Files by the path that the code under test knows.
  void write(const std::string &path, const std::string &bytes) const { root_.write(path.substr(1), bytes); }
  std::string read(const std::string &path) const { return root_.read(path.substr(1)); }
  bool exists(const std::string &path) const { return support::exists(real(path)); }
  std::string real(const std::string &path) const;
  // Whether a path is such a real one.
  bool is_real(const char *path) const;

  // Calls whose text (as in the trace, without ending) is this one fail from now on; times < 0: always.
  void fail(const std::string &text, int error, int times = -1) { failures_[text] = {error, times}; }
  // The same from now on, in place of the earlier names.
  void hide(const std::set<std::string> &names) { hidden_ = names; }

  time_t now = 1700000000;
  // Runs in every sleep, after the clock has moved on. It may leave by longjmp.
  std::function<void()> on_sleep;

  // For the substitutes. Whether a call of this name is written down or might fail.
  bool watches(const std::string &name) const { return !failures_.empty() || hidden_.count(name) == 0; }
  // Writes the call down; the error that it is to fail with, if any.
  std::optional<int> enter(const std::string &name, const std::string &arguments);
  // Adds the ending of a call that failed by itself.
  void failed(const std::string &name, int error);
  bool on_own_thread() const { return std::this_thread::get_id() == thread_; }
  std::map<int, std::string> opened;
  std::set<int> closed;

 private:
  struct Failure {
    int error;
    int times;
  };

  const std::thread::id thread_ = std::this_thread::get_id();
  support::TempDir root_;
  std::map<std::string, Failure> failures_;
  std::set<std::string> hidden_;
};

#endif
