// Small file helpers and the owner of descriptors. Paths are the real absolute ones. Blocks for as long as
// the disk does; nothing is logged: the callers know whether a failure matters.
#ifndef KELVANE_CORE_BASE_FILE_H
#define KELVANE_CORE_BASE_FILE_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include "core/base/buffer.h"

namespace kelvane {

// An open descriptor, closed at the end.
class DescriptorOwner {
 public:
  explicit DescriptorOwner(int descriptor = -1) : descriptor_(descriptor) {}
  ~DescriptorOwner() { close_now(); }
  DescriptorOwner(const DescriptorOwner &) = delete;
  DescriptorOwner &operator=(const DescriptorOwner &) = delete;

  int get() const { return descriptor_; }
  bool present() const { return descriptor_ >= 0; }
  void close_now();

 private:
  int descriptor_;
};

// Whether access(2) says that the path exists (F_OK).
bool file_exists(const char *path);

// Whether access(2) says that the path is readable (R_OK).
bool file_readable(const char *path);

// Opens for reading, and never waits for a writer should the path name a pipe. The descriptor, or -1.
int file_open_to_read(const char *path);

// Creates the file or empties the one that is there, for writing, with the mode for a new one. Fails, instead of
// waiting for a reader, should the path name a pipe. The descriptor, or -1.
int file_open_to_replace(const char *path, mode_t mode);

// Reads from an open descriptor to its end, at most cap bytes. The number of bytes is in out->length. 0; -1 for a read
// error; kFileTooLong when there is more than cap; kFileNoMemory. out is emptied first and empty on failure. What was
// read is in out alone, and overwritten on failure: some files hold passwords.
inline constexpr int32_t kFileTooLong = -2;
inline constexpr int32_t kFileNoMemory = -3;
int32_t file_read_all(int descriptor, uint64_t cap, Buffer *out);

// Reads up to size bytes, going on after short reads and interrupts. The number of bytes read (less than size only at
// the end), or -1.
int64_t file_read_full(int descriptor, void *bytes, size_t size);

// Writes all the bytes, going on after short writes and interrupts. 0, or -1.
int32_t file_write_full(int descriptor, const void *bytes, size_t size);

// Creates a file that does not exist yet (mode 0600, never through a link) and writes the bytes to it. 0; -1 when it
// exists or cannot be written. A file that could not be written whole is removed again.
int32_t file_create_with(const char *path, const void *bytes, size_t size);

}  // namespace kelvane

#endif
