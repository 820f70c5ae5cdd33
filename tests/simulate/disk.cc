#include "tests/simulate/disk.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tests/simulate/events.h"
#include "tests/simulate/expectation.h"
#include "tests/simulate/media.h"
#include "tests/simulate/trouble.h"

namespace simulate {

namespace {

constexpr int kFirstDescriptor = 1000;
constexpr int kDescriptors = 16;

enum class Open : uint8_t { kNot, kFile, kRandom, kOther };

struct Descriptor {
  Open open;
  bool writing;
  bool failed;  // a write
  File *file;
  size_t at;
};

Descriptor gsDescriptors[kDescriptors];

File *find(const char *path) {
  World &w = world();
  const auto found = std::find_if(
      w.files, w.files + kFiles, [path](const File &each) { return each.exists && std::strcmp(each.path, path) == 0; });
  return found != w.files + kFiles ? found : nullptr;
}

File *make(const char *path) {
  for (File &file : world().files) {
    if (!file.exists) {
      file.exists = true;
      file.synced = false;
      file.before[0] = '\0';
      file.length = 0;
      std::snprintf(file.path, sizeof file.path, "%s", path);
      return &file;
    }
  }
  return nullptr;
}

int new_descriptor(const Descriptor &made) {
  for (int i = 0; i < kDescriptors; i++) {
    if (gsDescriptors[i].open == Open::kNot) {
      gsDescriptors[i] = made;
      return kFirstDescriptor + i;
    }
  }
  return fail(EMFILE);
}

Descriptor *descriptor_of(int number) {
  const int index = number - kFirstDescriptor;
  return index >= 0 && index < kDescriptors && gsDescriptors[index].open != Open::kNot ? &gsDescriptors[index]
                                                                                       : nullptr;
}

bool is_status(const File *file) {
  return file != nullptr && std::strcmp(file->path, kStatusFile) == 0;
}

bool being_written(const char *path) {
  return std::any_of(std::begin(gsDescriptors), std::end(gsDescriptors), [path](const Descriptor &each) {
    return each.writing && each.file != nullptr && std::strcmp(each.file->path, path) == 0;
  });
}

// A call that changes the disk: the power may go just then, and it may fail with what this gives.
int write_call(const char *what) {
  power_may_go(what);
  return file_fails(what);
}

// What was written and not yet forced to the disk may be lost, whole or in part.
void spoil(File *file) {
  Dice &dice = world().dice;
  switch (dice.below(3)) {
    case 0:
      file->exists = false;
      happened("the status file is lost");
      break;
    case 1:
      file->length = 0;
      happened("the status file is empty");
      break;
    default:
      file->length = dice.below(static_cast<uint32_t>(file->length));
      happened("the status file is cut to %zu bytes", file->length);
      break;
  }
}

// A rename may be undone; a file may be empty or gone.
void lose(File *file) {
  Dice &dice = world().dice;
  if (file->before[0] != '\0' && dice.percent(50)) {
    std::memcpy(file->path, file->before, sizeof file->path);
  }
  if (!file->synced && dice.percent(50)) {
    file->length = 0;
    file->exists = dice.percent(50);
  }
  file->before[0] = '\0';
  file->synced = true;
}

}  // namespace

int fail(int error) {
  errno = error;
  return -1;
}

int disk_open(const char *path, int flags) {
  const bool writing = (flags & O_ACCMODE) != O_RDONLY;
  const int error = writing ? write_call("open") : 0;
  if (error != 0) {
    return fail(error);
  }
  if (std::strcmp(path, "/dev/urandom") == 0) {
    return new_descriptor({Open::kRandom, false, false, nullptr, 0});
  }
  if (std::strcmp(path, kDrive) == 0) {
    return media_in_drive() ? new_descriptor({Open::kOther, false, false, nullptr, 0}) : fail(ENOMEDIUM);
  }
  File *file = find(path);
  if (file != nullptr && (flags & O_EXCL) != 0) {
    return fail(EEXIST);
  }
  if (file == nullptr) {
    file = (flags & O_CREAT) != 0 ? make(path) : nullptr;
    if (file == nullptr) {
      return fail((flags & O_CREAT) != 0 ? ENOSPC : ENOENT);
    }
  }
  if ((flags & O_TRUNC) != 0) {
    file->length = 0;
    file->synced = false;
  }
  return new_descriptor({Open::kFile, writing, false, file, 0});
}

int disk_close(int number) {
  Descriptor *descriptor = descriptor_of(number);
  if (descriptor == nullptr) {
    return fail(EBADF);
  }
  if (descriptor->writing && is_status(descriptor->file)) {
    const bool whole = !descriptor->failed && descriptor->file->exists;
    if (whole) {
      expectation_saved();
    }
  }
  *descriptor = {};
  return 0;
}

ssize_t disk_read(int number, void *bytes, size_t size) {
  Descriptor *descriptor = descriptor_of(number);
  if (descriptor == nullptr) {
    return fail(EBADF);
  }
  if (descriptor->open == Open::kRandom) {
    auto *to = static_cast<unsigned char *>(bytes);
    std::generate(to, to + size, [] { return static_cast<unsigned char>(world().dice.next()); });
    return static_cast<ssize_t>(size);
  }
  if (descriptor->file == nullptr) {
    return 0;
  }
  const size_t got = std::min(size, descriptor->file->length - std::min(descriptor->at, descriptor->file->length));
  std::memcpy(bytes, descriptor->file->bytes + descriptor->at, got);
  descriptor->at += got;
  return static_cast<ssize_t>(got);
}

ssize_t disk_write(int number, const void *bytes, size_t size) {
  Descriptor *descriptor = descriptor_of(number);
  if (descriptor == nullptr || !descriptor->writing) {
    return fail(EBADF);
  }
  const int error = write_call("write");
  if (error != 0 && (descriptor->failed || size < 2 || world().dice.percent(50))) {
    descriptor->failed = true;
    return fail(error);
  }
  size = error != 0 ? size / 2 : size;  // a short one, before it fails altogether at times
  if (descriptor->at + size > kFileSize) {
    return fail(ENOSPC);
  }
  std::memcpy(descriptor->file->bytes + descriptor->at, bytes, size);
  descriptor->file->synced = false;
  descriptor->at += size;
  descriptor->file->length = std::max(descriptor->file->length, descriptor->at);
  return static_cast<ssize_t>(size);
}

int disk_exists(const char *path) {
  return find(path) != nullptr ? 0 : fail(ENOENT);
}

int disk_unlink(const char *path) {
  const bool saving = std::strcmp(path, kStatusFile) == 0 && !being_written(path);
  if (saving) {
    expectation_saving();
  }
  const int error = write_call("unlink");
  File *file = find(path);
  if (file == nullptr || error != 0) {
    return fail(file == nullptr ? ENOENT : error);
  }
  if (is_status(file)) {
    expectation_lost();
  }
  file->exists = false;
  return 0;
}

void disk_remove(const char *path) {
  File *file = find(path);
  if (file != nullptr) {
    file->exists = false;
  }
}

int disk_rename(const char *from, const char *to) {
  const int error = write_call("rename");
  File *file = find(from);
  if (file == nullptr || error != 0) {
    return fail(file == nullptr ? ENOENT : error);
  }
  File *old = find(to);
  if (old != nullptr) {
    old->exists = false;
  }
  std::snprintf(file->before, sizeof file->before, "%s", from);
  std::snprintf(file->path, sizeof file->path, "%s", to);
  return 0;
}

int disk_put(const char *path, std::string_view text) {
  File *file = find(path);
  file = file != nullptr ? file : make(path);
  if (file == nullptr || text.size() > kFileSize) {
    return fail(ENOSPC);
  }
  std::memcpy(file->bytes, text.data(), text.size());
  file->length = text.size();
  file->synced = true;
  return 0;
}

void disk_sync() {
  for (File &file : world().files) {
    file.synced = true;
    file.before[0] = '\0';
  }
}

int disk_reopen(int number) {
  const int index = number - kFirstDescriptor;
  if (index < 0 || index >= kDescriptors) {
    return fail(EBADF);
  }
  gsDescriptors[index] = {Open::kOther, false, false, nullptr, 0};
  return number;
}

bool disk_owns(int number) {
  return number >= kFirstDescriptor && number < kFirstDescriptor + kDescriptors;
}

off_t disk_length(int number) {
  const Descriptor *descriptor = descriptor_of(number);
  if (descriptor == nullptr) {
    return fail(EBADF);
  }
  return descriptor->file != nullptr ? static_cast<off_t>(descriptor->file->length) : 0;
}

std::string_view disk_bytes(const char *path) {
  const File *file = find(path);
  return file != nullptr ? std::string_view(file->bytes, file->length) : std::string_view();
}

int disk_open_count() {
  return static_cast<int>(std::count_if(std::begin(gsDescriptors), std::end(gsDescriptors),
                                        [](const Descriptor &each) { return each.open != Open::kNot; }));
}

void disk_power_cut() {
  for (File &file : world().files) {
    if (file.exists && (std::strncmp(file.path, "/tmp/", 5) == 0 || std::strncmp(file.path, "/cdrom/", 7) == 0)) {
      file.exists = false;
    } else if (file.exists && !is_status(&file)) {
      lose(&file);
    }
  }
  File *status = find(kStatusFile);
  if (status == nullptr) {
    expectation_lost();
  } else if (world().dice.percent(15)) {
    spoil(status);
    expectation_lost();
  } else if (being_written(kStatusFile)) {
    expectation_lost();
  }
}

}  // namespace simulate
