#include "tools/sandbox/durability.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>

#include "tools/sandbox/database_layer.h"
#include "tools/sandbox/world.h"

namespace sandbox {
namespace {

namespace files = std::filesystem;

// What would be at a place after a loss of power: nothing, a link, or a file.
struct Durable {
  bool present = false;
  std::optional<std::string> target;
  std::string bytes;
  std::string partner;   // the other side of a rename
  bool written = false;  // what is there now was written since, and may be there in part
};

// Only changes since the last sync are in it.
std::map<std::string, Durable> &pending() {
  static auto *const kPending = new std::map<std::string, Durable>;
  return *kPending;
}

std::string contents(const std::string &place) {
  std::ifstream stream(place, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

Durable as_it_is(const std::string &place) {
  Durable out;
  std::error_code ignored;
  const files::file_status status = files::symlink_status(place, ignored);
  out.present = files::is_regular_file(status) || files::is_symlink(status);
  if (files::is_symlink(status)) {
    out.target = files::read_symlink(place, ignored).string();
  } else if (out.present) {
    out.bytes = contents(place);
  }
  return out;
}

bool below_root(const std::string &place) {
  const std::string &root = world().paths.root();
  return place.compare(0, root.size() + 1, root + "/") == 0;
}

void put_back(const std::string &place, const Durable &durable) {
  std::error_code ignored;
  files::remove(place, ignored);
  if (durable.target) {
    files::create_symlink(*durable.target, place, ignored);
  } else if (durable.present) {
    std::ofstream(place, std::ios::binary) << durable.bytes;
  }
}

void cut_short(const std::string &place) {
  std::error_code ignored;
  if (files::is_regular_file(files::symlink_status(place, ignored))) {
    files::resize_file(place, files::file_size(place, ignored) / 2, ignored);
  }
}

// Both sides of a rename share a name, and so a choice.
std::string name_of_choice(const std::string &place, const Durable &durable) {
  const std::string &name = !durable.partner.empty() && durable.partner < place ? durable.partner : place;
  return below_root(name) ? name.substr(world().paths.root().size()) : name;
}

}  // namespace

void about_to_change(const std::string &place) {
  if (world().active && !world().options.faults.empty() && below_root(place)) {
    pending().emplace(place, as_it_is(place)).first->second.written = true;
  }
}

void about_to_rename(const std::string &from, const std::string &to) {
  const auto before = pending().find(from);
  const bool written = before != pending().end() && before->second.written;
  about_to_change(from);
  about_to_change(to);
  if (pending().count(from) != 0 && pending().count(to) != 0) {
    pending()[to].written = written;
    pending()[from].partner = to;
    pending()[to].partner = from;
  }
}

void made_durable(int descriptor) {
  std::error_code failed;
  const std::string place = files::read_symlink("/proc/self/fd/" + std::to_string(descriptor), failed).string();
  if (failed) {
    return;
  }
  for (auto at = pending().begin(); at != pending().end();) {
    const bool synced = at->first == place || files::path(at->first).parent_path() == place;
    at = synced ? pending().erase(at) : std::next(at);
  }
}

unsigned choice_of_loss(unsigned number, const std::string &name) {
  if (number == 0) {
    return 0;
  }
  unsigned value = 2166136261U ^ number;
  for (const char c : name) {
    value = (value ^ static_cast<unsigned char>(c)) * 16777619U;
  }
  return (value >> 8) % 3;
}

void lose_power(unsigned number) {
  for (const auto &[place, durable] : pending()) {
    const unsigned choice = choice_of_loss(number, name_of_choice(place, durable));
    if (choice == 0) {
      put_back(place, durable);
    } else if (choice == 2 && durable.written) {
      cut_short(place);
    }
  }
  lose_power_of_database(number);
}

}  // namespace sandbox
