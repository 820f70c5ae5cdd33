#include "core/base/file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kelvane {

void DescriptorOwner::close_now() {
  if (descriptor_ >= 0) {
    close(descriptor_);
    descriptor_ = -1;
  }
}

bool file_exists(const char *path) {
  return access(path, F_OK) == 0;
}

bool file_readable(const char *path) {
  return access(path, R_OK) == 0;
}

int file_open_to_read(const char *path) {
  return open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}

int file_open_to_replace(const char *path, mode_t mode) {
  return open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, mode);
}

int32_t file_read_all(int descriptor, uint64_t cap, Buffer *out) {
  __freeBuffer(out);
  char block[16384];
  for (;;) {
    const int64_t got = file_read_full(descriptor, block, sizeof block);
    int32_t failure = got < 0 ? -1 : 0;
    if (got > 0 && out->length + static_cast<uint64_t>(got) > cap) {
      failure = kFileTooLong;
    } else if (got > 0 && event_curl_recv_cb(block, 1, static_cast<size_t>(got), out) == 0) {
      failure = kFileNoMemory;
    }
    if (failure != 0) {
      __freeBuffer(out);
      return failure;
    }
    if (got < static_cast<int64_t>(sizeof block)) {
      return 0;
    }
  }
}

int64_t file_read_full(int descriptor, void *bytes, size_t size) {
  auto *to = static_cast<char *>(bytes);
  size_t done = 0;
  while (done < size) {
    const ssize_t got = read(descriptor, to + done, size - done);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return -1;
    }
    if (got == 0) {
      break;
    }
    done += static_cast<size_t>(got);
  }
  return static_cast<int64_t>(done);
}

int32_t file_write_full(int descriptor, const void *bytes, size_t size) {
  const auto *from = static_cast<const char *>(bytes);
  size_t done = 0;
  while (done < size) {
    const ssize_t put = write(descriptor, from + done, size - done);
    if (put < 0 && errno == EINTR) {
      continue;
    }
    if (put <= 0) {
      return -1;
    }
    done += static_cast<size_t>(put);
  }
  return 0;
}

int32_t file_create_with(const char *path, const void *bytes, size_t size) {
  DescriptorOwner file(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.present()) {
    return -1;
  }
  if (file_write_full(file.get(), bytes, size) != 0) {
    unlink(path);
    return -1;
  }
  return 0;
}

}  // namespace kelvane
