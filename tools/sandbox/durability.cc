#include "tools/sandbox/durability.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tools/sandbox/database_loss.h"
#include "tools/sandbox/unsynced.h"
#include "tools/sandbox/whole_file.h"
#include "tools/sandbox/world.h"

namespace sandbox {
namespace {

namespace files = std::filesystem;

// What an appliance keeps in memory.
constexpr const char *kVolatile[] = {"run", "var/run", "tmp"};

// Takes the last change that was noted back; none when there is nothing to take back.
std::function<void()> undo;

UnsyncedFiles &state() {
  return unsynced().files;
}

KnownFile &known(FileId id) {
  return state().all[static_cast<size_t>(id)];
}

FileId add(KnownFile file) {
  state().all.push_back(std::move(file));
  return static_cast<FileId>(state().all.size()) - 1;
}

bool below_root(const std::string &place) {
  const std::string &root = world().paths.root();
  return place.compare(0, root.size() + 1, root + "/") == 0;
}

bool is_watched(const std::string &place) {
  return world().active && !world().options.faults.empty() && below_root(place);
}

// The file at a place that is seen for the first time is durable.
FileId file_at(const std::string &place) {
  const auto seen = state().now.find(place);
  if (seen != state().now.end()) {
    return seen->second;
  }
  std::error_code ignored;
  const files::file_status status = files::symlink_status(place, ignored);
  FileId id = kNoFile;
  KnownFile file;
  if (files::is_symlink(status)) {
    file.link = true;
    file.target = files::read_symlink(place, ignored).string();
    id = add(file);
  } else if (files::is_regular_file(status)) {
    file.durable = whole_file(place);
    id = add(file);
  }
  state().durable[place] = state().now[place] = id;
  return id;
}

KnownFile new_file() {
  KnownFile file;
  file.emptied = true;
  return file;
}

KnownFile new_link(const std::string &target) {
  KnownFile file = new_file();
  file.link = true;
  file.target = target;
  return file;
}

void step(const FileNames &after) {
  FileNames before;
  for (const auto &[place, id] : after) {
    before[place] = file_at(place);
  }
  for (const auto &[place, id] : after) {
    const FileId old = before[place];
    if (old != kNoFile && !known(old).link) {
      known(old).last = whole_file(place);
    }
    state().now[place] = id;
  }
  state().steps.push_back({before, after});
  state().noted += 1;
  undo = [] {
    for (const auto &[place, id] : state().steps.back().before) {
      state().now[place] = id;
    }
    state().steps.pop_back();
  };
}

// What it holds as things are.
std::string held(FileId id) {
  for (const auto &[place, there] : state().now) {
    if (there == id) {
      return whole_file(place);
    }
  }
  return known(id).last;
}

bool is_in(const NameStep &one, const std::string &folder) {
  for (const auto &[place, id] : one.after) {
    if (files::path(place).parent_path() == folder) {
      return true;
    }
  }
  return false;
}

// What came before it at the same places no longer matters.
void settle(size_t index) {
  const FileNames after = state().steps[index].after;
  for (const auto &[place, id] : after) {
    state().durable[place] = id;
    for (size_t earlier = 0; earlier < index; ++earlier) {
      state().steps[earlier].after.erase(place);
    }
  }
  state().steps.erase(state().steps.begin() + static_cast<std::ptrdiff_t>(index));
}

// ---- the loss ----------------------------------------------------------------------------------------------------

// Which of several losses this is also depends on when it comes.
std::string choice_name(const std::string &what) {
  return what + " after " + std::to_string(state().noted);
}

std::string left_of(FileId id, unsigned number) {
  const KnownFile &file = known(id);
  const std::string whole = held(id);
  if (whole == file.durable && !file.emptied) {
    return whole;
  }
  const std::string none = file.emptied ? "" : file.durable;
  if (number <= 1) {
    return number == 0 ? file.durable : none;
  }
  const std::string ways[] = {file.durable, whole, whole.substr(0, whole.size() / 2), none};
  return ways[choice_of_loss(number, choice_name("file " + std::to_string(id)), 4)];
}

bool stays(size_t index, unsigned number) {
  const std::string name = "step " + std::to_string(index);
  return number == 1 || (number > 1 && choice_of_loss(number, choice_name(name), 2) == 1);
}

FileNames names_left(unsigned number) {
  FileNames out = state().durable;
  for (size_t index = 0; index < state().steps.size(); ++index) {
    if (stays(index, number)) {
      for (const auto &[place, id] : state().steps[index].after) {
        out[place] = id;
      }
    }
  }
  return out;
}

void put(const std::string &place, const KnownFile &file, const std::string &bytes) {
  std::error_code ignored;
  if (file.link) {
    files::create_symlink(file.target, place, ignored);
    return;
  }
  std::ofstream(place, std::ios::binary) << bytes;
  files::permissions(place, files::perms::owner_read | files::perms::owner_write, ignored);
}

void lose_files(unsigned number) {
  std::vector<std::string> left;
  for (size_t id = 0; id < state().all.size(); ++id) {
    left.push_back(left_of(static_cast<FileId>(id), number));
  }
  const FileNames names = names_left(number);
  std::error_code ignored;
  for (const auto &[place, id] : state().now) {
    files::remove(place, ignored);
  }
  for (const auto &[place, id] : names) {
    if (id != kNoFile) {
      put(place, known(id), left[static_cast<size_t>(id)]);
    }
  }
}

void lose_memory() {
  std::error_code ignored;
  for (const char *folder : kVolatile) {
    for (const auto &entry : files::directory_iterator(world().paths.root() + "/" + folder, ignored)) {
      files::remove_all(entry.path(), ignored);
    }
  }
}

}  // namespace

void about_to_write(const std::string &place, bool empties) {
  undo = nullptr;
  if (!is_watched(place)) {
    return;
  }
  const FileId id = file_at(place);
  if (id == kNoFile) {
    step({{place, add(new_file())}});
  } else if (empties) {
    undo = [id, before = known(id).emptied] { known(id).emptied = before; };
    known(id).emptied = true;
  }
}

void about_to_remove(const std::string &place) {
  undo = nullptr;
  if (is_watched(place)) {
    step({{place, kNoFile}});
  }
}

void about_to_make_link(const std::string &place, const std::string &target) {
  undo = nullptr;
  if (is_watched(place)) {
    step({{place, add(new_link(target))}});
  }
}

void about_to_rename(const std::string &from, const std::string &to) {
  undo = nullptr;
  if (is_watched(from) && is_watched(to)) {
    step({{from, kNoFile}, {to, file_at(from)}});
  }
}

void about_to_name(const std::string &from, const std::string &to) {
  undo = nullptr;
  if (is_watched(from) && is_watched(to)) {
    step({{to, file_at(from)}});
  }
}

void not_done() {
  if (undo) {
    undo();
  }
  undo = nullptr;
}

void made_durable(int descriptor) {
  std::error_code failed;
  const std::string place = files::read_symlink("/proc/self/fd/" + std::to_string(descriptor), failed).string();
  if (failed || !is_watched(place)) {
    return;
  }
  const auto file = state().now.find(place);
  if (file != state().now.end() && file->second != kNoFile) {
    known(file->second).durable = whole_file(place);
    known(file->second).emptied = false;
  }
  for (size_t i = 0; i < state().steps.size();) {
    if (is_in(state().steps[i], place)) {
      settle(i);
    } else {
      ++i;
    }
  }
}

void all_made_durable() {
  for (size_t id = 0; id < state().all.size(); ++id) {
    state().all[id].durable = held(static_cast<FileId>(id));
    state().all[id].emptied = false;
  }
  state().durable = state().now;
  state().steps.clear();
  database_made_durable();
}

unsigned choice_of_loss(unsigned number, const std::string &name, unsigned ways) {
  if (number == 0) {
    return 0;
  }
  uint64_t value = 14695981039346656037U ^ number;
  for (const char c : name) {
    value = (value ^ static_cast<unsigned char>(c)) * 1099511628211U;
  }
  return static_cast<unsigned>((value >> 32) % ways);
}

void lose_power(unsigned number) {
  lose_files(number);
  lose_power_of_database(number);
  lose_memory();
}

}  // namespace sandbox
