// Where the platform's own files are, and the descriptors to reach them by. Own files are only touched through calls
// that take a folder descriptor, so that a program which replaces the plain ones (open, rename, ...) to move its
// caller's files leaves these alone. Throws std::system_error when the operating system refuses.
#ifndef KELVANE_PLATFORM_REFERENCE_OWN_FILES_H
#define KELVANE_PLATFORM_REFERENCE_OWN_FILES_H

#include <sys/stat.h>

#include <functional>
#include <string>

namespace kelvane::reference {

inline constexpr char kDatabaseFolder[] = "/data/etc";
inline constexpr char kDatabaseName[] = "kelvane-config.db";
inline constexpr char kDebugFolder[] = "/run";
inline constexpr char kDebugName[] = "kelvane-debug";

// Owns a descriptor.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor();
  Descriptor(Descriptor &&other) noexcept;
  Descriptor &operator=(Descriptor &&other) noexcept;
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  int get() const { return number_; }
  bool present() const { return number_ >= 0; }

 private:
  int number_ = -1;
};

// The path below the root folder that reference_set_root gave.
std::string own_path(const std::string &path);

// The folder below the root folder, created durably with its parents (mode 0700) where they are missing.
Descriptor open_own_folder(const std::string &path);

// Whether the attempt succeeds within five seconds, in which it is made again and again.
bool done_in_time(const std::function<bool()> &attempt);

// Keeps other processes that do the same out of the folder until its descriptor is closed. Waits as long for one that
// is there, then throws std::runtime_error; the name is for the error.
void lock_folder(const Descriptor &folder, const std::string &name);

// Whether another process has the file locked; if not, this one has, until its descriptors and mappings are gone. A
// file system that knows no locks has none of another's.
bool locked_by_another(const Descriptor &file);
bool same_file(const struct stat &one, const struct stat &other);

// Throws when the operating system cannot tell.
bool exists_in(const Descriptor &folder, const std::string &name);

// Throws the error that errno holds.
[[noreturn]] void throw_errno(const std::string &what);

}  // namespace kelvane::reference

#endif
