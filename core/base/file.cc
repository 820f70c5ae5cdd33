#include "core/base/file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/base/text.h"

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

namespace {

// Most files fit into it at once.
constexpr uint64_t kFirstRoom = 16384;

ssize_t read_uninterrupted(int descriptor, void *to, size_t size) {
  for (;;) {
    const ssize_t got = read(descriptor, to, size);
    if (got >= 0 || errno != EINTR) {
      return got;
    }
  }
}

void wipe(Buffer *out) {
  if (out->data != nullptr) {
    wipe_memory(out->data, out->length);
  }
}

// Never more than one byte above the cap.
uint64_t next_room(uint64_t room, uint64_t cap) {
  const uint64_t next = room == 0 ? kFirstRoom : 2 * room;
  return next <= cap ? next : cap + 1;
}

// Moves what was read to where there is room for so many bytes and a zero byte, and leaves nothing behind. 0 or -1.
int32_t enlarge(Buffer *out, uint64_t room) {
  char *larger = static_cast<char *>(malloc(room + 1));
  if (larger == nullptr) {
    return -1;
  }
  const uint64_t length = out->length;
  if (length != 0) {
    memcpy(larger, out->data, length);
  }
  wipe(out);
  __freeBuffer(out);
  *out = {.data = larger, .length = length};
  return 0;
}

int32_t read_to_end(int descriptor, uint64_t cap, Buffer *out) {
  uint64_t room = 0;
  while (out->length <= cap) {
    if (out->length == room) {
      room = next_room(room, cap);
      if (enlarge(out, room) != 0) {
        return kFileNoMemory;
      }
    }
    const ssize_t got = read_uninterrupted(descriptor, out->data + out->length, room - out->length);
    if (got <= 0) {
      out->data[out->length] = '\0';
      return got < 0 ? -1 : 0;
    }
    out->length += static_cast<uint64_t>(got);
  }
  return kFileTooLong;
}

}  // namespace

int32_t file_read_all(int descriptor, uint64_t cap, Buffer *out) {
  __freeBuffer(out);
  const int32_t result = read_to_end(descriptor, cap, out);
  if (result != 0) {
    wipe(out);
    __freeBuffer(out);
  }
  return result;
}

int64_t file_read_full(int descriptor, void *bytes, size_t size) {
  auto *to = static_cast<char *>(bytes);
  size_t done = 0;
  while (done < size) {
    const ssize_t got = read_uninterrupted(descriptor, to + done, size - done);
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
