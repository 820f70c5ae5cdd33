#include "tests/torture/listing.h"

#include <filesystem>
#include <iomanip>
#include <sstream>

#include "tests/support/files.h"

namespace torture {

namespace files = std::filesystem;

namespace {

// "0600"
std::string mode_of(const files::path &path) {
  std::ostringstream out;
  out << '0' << std::oct << std::setw(3) << std::setfill('0') << support::mode_of(path.string());
  return out.str();
}

}  // namespace

scenario::Json names_below(const std::string &folder) {
  scenario::Json out = scenario::Json::object();
  for (const files::directory_entry &entry : files::directory_iterator(folder)) {
    scenario::Json &place = out[entry.path().filename().string()];
    if (entry.is_symlink()) {
      place = "link to " + files::read_symlink(entry.path()).string();
    } else if (entry.is_directory()) {
      place = names_below(entry.path().string());
    } else {
      place = (entry.is_regular_file() ? "file " : "other ") + mode_of(entry.path());
    }
  }
  return out;
}

}  // namespace torture
