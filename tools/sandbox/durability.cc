#include "tools/sandbox/durability.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "tools/sandbox/database_layer.h"
#include "tools/sandbox/world.h"

namespace sandbox {
namespace {

namespace files = std::filesystem;

// What an appliance keeps in memory.
constexpr const char *kVolatile[] = {"run", "var/run", "tmp"};

// A file apart from its names.
struct File {
  std::optional<std::string> target;  // of a symbolic link
  std::string durable;                // what it holds after a loss of power
  std::string last;                   // what it held when its last name went
  bool emptied = false;               // new, or cut to nothing, since the last sync
};

using Id = std::optional<size_t>;  // none: there is no file
using Names = std::map<std::string, Id>;

// One change of names, of which all sides happen or none.
struct Step {
  Names before;
  Names after;
};

struct State {
  std::vector<File> all;
  Names durable;
  Names now;
  std::vector<Step> steps;  // those that are not durable
  size_t noted = 0;         // all steps ever
  bool last_is_step = false;
};

State &state() {
  static auto *const kState = new State;
  return *kState;
}

std::string contents(const std::string &place) {
  std::ifstream stream(place, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

bool below_root(const std::string &place) {
  const std::string &root = world().paths.root();
  return place.compare(0, root.size() + 1, root + "/") == 0;
}

bool is_watched(const std::string &place) {
  return world().active && !world().options.faults.empty() && below_root(place);
}

// The file at a place that is seen for the first time is durable.
Id file_at(const std::string &place) {
  const auto known = state().now.find(place);
  if (known != state().now.end()) {
    return known->second;
  }
  std::error_code ignored;
  const files::file_status status = files::symlink_status(place, ignored);
  Id id;
  if (files::is_symlink(status)) {
    id = state().all.size();
    state().all.push_back({.target = files::read_symlink(place, ignored).string(), .durable = "", .last = ""});
  } else if (files::is_regular_file(status)) {
    id = state().all.size();
    state().all.push_back({.target = std::nullopt, .durable = contents(place), .last = ""});
  }
  state().durable[place] = state().now[place] = id;
  return id;
}

Id new_file(std::optional<std::string> target) {
  state().all.push_back({.target = std::move(target), .durable = "", .last = "", .emptied = true});
  return state().all.size() - 1;
}

void step(const Names &after) {
  Names before;
  for (const auto &[place, id] : after) {
    before[place] = file_at(place);
  }
  for (const auto &[place, id] : after) {
    const Id old = before[place];
    if (old && !state().all[*old].target) {
      state().all[*old].last = contents(place);
    }
    state().now[place] = id;
  }
  state().steps.push_back({before, after});
  state().noted += 1;
  state().last_is_step = true;
}

// What it holds as things are.
std::string held(size_t id) {
  for (const auto &[place, there] : state().now) {
    if (there == id) {
      return contents(place);
    }
  }
  return state().all[id].last;
}

bool is_in(const Step &one, const std::string &folder) {
  for (const auto &[place, id] : one.after) {
    if (files::path(place).parent_path() == folder) {
      return true;
    }
  }
  return false;
}

// What came before it at the same places no longer matters.
void settle(size_t index) {
  const Names after = state().steps[index].after;
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

std::string left_of(size_t id, unsigned number) {
  const File &file = state().all[id];
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

Names names_left(unsigned number) {
  Names out = state().durable;
  for (size_t index = 0; index < state().steps.size(); ++index) {
    if (stays(index, number)) {
      for (const auto &[place, id] : state().steps[index].after) {
        out[place] = id;
      }
    }
  }
  return out;
}

void put(const std::string &place, const File &file, const std::string &bytes) {
  std::error_code ignored;
  if (file.target) {
    files::create_symlink(*file.target, place, ignored);
    return;
  }
  std::ofstream(place, std::ios::binary) << bytes;
  files::permissions(place, files::perms::owner_read | files::perms::owner_write, ignored);
}

void lose_files(unsigned number) {
  std::vector<std::string> left;
  for (size_t id = 0; id < state().all.size(); ++id) {
    left.push_back(left_of(id, number));
  }
  const Names names = names_left(number);
  std::error_code ignored;
  for (const auto &[place, id] : state().now) {
    files::remove(place, ignored);
  }
  for (const auto &[place, id] : names) {
    if (id) {
      put(place, state().all[*id], left[*id]);
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
  state().last_is_step = false;
  if (!is_watched(place)) {
    return;
  }
  const Id id = file_at(place);
  if (!id) {
    step({{place, new_file(std::nullopt)}});
  } else if (empties) {
    state().all[*id].emptied = true;
  }
}

void about_to_remove(const std::string &place) {
  state().last_is_step = false;
  if (is_watched(place)) {
    step({{place, std::nullopt}});
  }
}

void about_to_make_link(const std::string &place, const std::string &target) {
  state().last_is_step = false;
  if (is_watched(place)) {
    step({{place, new_file(target)}});
  }
}

void about_to_rename(const std::string &from, const std::string &to) {
  state().last_is_step = false;
  if (is_watched(from) && is_watched(to)) {
    step({{from, std::nullopt}, {to, file_at(from)}});
  }
}

void about_to_name(const std::string &from, const std::string &to) {
  state().last_is_step = false;
  if (is_watched(from) && is_watched(to)) {
    step({{to, file_at(from)}});
  }
}

void not_done() {
  if (!state().last_is_step) {
    return;
  }
  state().last_is_step = false;
  for (const auto &[place, id] : state().steps.back().before) {
    state().now[place] = id;
  }
  state().steps.pop_back();
}

void made_durable(int descriptor) {
  std::error_code failed;
  const std::string place = files::read_symlink("/proc/self/fd/" + std::to_string(descriptor), failed).string();
  if (failed || !is_watched(place)) {
    return;
  }
  const auto file = state().now.find(place);
  if (file != state().now.end() && file->second) {
    state().all[*file->second].durable = contents(place);
    state().all[*file->second].emptied = false;
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
    state().all[id].durable = held(id);
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
