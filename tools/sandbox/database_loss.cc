#include "tools/sandbox/database_loss.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <utility>

#include "tools/sandbox/durability.h"

extern "C" {
int __real_open(const char *path, int flags, ...);
int __real_close(int descriptor);
int __real_fsync(int descriptor);
}

namespace sandbox {
namespace {

std::string last_part(const std::string &path) {
  return std::filesystem::path(path).filename().string();
}

// What is drawn is drawn anew at every moment: a write that lasts now may be gone a write later.
std::string choice_name(const std::string &thing) {
  return thing + " after " + std::to_string(unsynced().database.noted);
}

void apply(int descriptor, int64_t at, const std::string &bytes) {
  if (pwrite(descriptor, bytes.data(), bytes.size(), at) < 0) {
    std::fprintf(stderr, "kelvane-sandbox: cannot write the loss of power\n");
  }
}

void cut(int descriptor, int64_t size) {
  if (ftruncate(descriptor, size) != 0) {
    std::fprintf(stderr, "kelvane-sandbox: cannot write the loss of power\n");
  }
}

void lose(const std::string &path, const std::deque<DatabaseChange> &changes, unsigned number) {
  const int descriptor = __real_open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (descriptor < 0) {
    return;
  }
  for (auto change = changes.rbegin(); change != changes.rend(); ++change) {
    apply(descriptor, change->at, change->before);
    cut(descriptor, change->size_before);
  }
  for (const DatabaseChange &change : changes) {
    const unsigned choice = choice_of_loss(number, choice_name(last_part(path) + std::to_string(change.serial)), 3);
    if (choice != 0 && change.truncation) {
      cut(descriptor, change.at);
    } else if (choice != 0) {
      apply(descriptor, change.at, choice == 1 ? change.after : change.after.substr(0, change.after.size() / 2));
    }
  }
  __real_fsync(descriptor);
  __real_close(descriptor);
}

UnsyncedDatabase &state() {
  return unsynced().database;
}

}  // namespace

void database_file_opened(const std::string &path) {
  state().opened.insert(path);
}

void about_to_change_database(const std::string &path, DatabaseChange change) {
  change.serial = ++state().noted;
  state().changes[path].push_back(std::move(change));
}

void database_file_synced(const std::string &path) {
  state().changes.erase(path);
}

void database_file_removed(const std::string &path, bool synced, const std::string &bytes) {
  state().changes.erase(path);
  if (!synced) {
    state().removed[path] = bytes;
  }
}

void database_made_durable() {
  state().changes.clear();
  state().removed.clear();
}

// While the files are still open: SQLite's locks go with the process. The shared memory is no file of the disk's.
void lose_power_of_database(unsigned number) {
  for (const auto &[path, bytes] : state().removed) {
    if (choice_of_loss(number, choice_name("removal of " + last_part(path)), 2) == 0 &&
        !std::filesystem::exists(path)) {
      std::ofstream(path, std::ios::binary) << bytes;
    }
  }
  for (const auto &[path, changes] : state().changes) {
    lose(path, changes, number);
  }
  for (const std::string &path : state().opened) {
    std::error_code ignored;
    std::filesystem::remove(path + "-shm", ignored);
  }
}

}  // namespace sandbox
