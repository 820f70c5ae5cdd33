#include "tests/torture/listing.h"

#include <filesystem>

namespace torture {

namespace files = std::filesystem;

scenario::Json names_below(const std::string &folder) {
  scenario::Json out = scenario::Json::object();
  for (const files::directory_entry &entry : files::directory_iterator(folder)) {
    scenario::Json &place = out[entry.path().filename().string()];
    if (entry.is_symlink()) {
      place = "link to " + files::read_symlink(entry.path()).string();
    } else if (entry.is_directory()) {
      place = names_below(entry.path().string());
    } else {
      place = entry.is_regular_file() ? "file" : "other";
    }
  }
  return out;
}

}  // namespace torture
