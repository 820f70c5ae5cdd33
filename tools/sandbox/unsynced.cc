#include "tools/sandbox/unsynced.h"

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tools/sandbox/whole_file.h"

namespace sandbox {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(KnownFile, link, target, durable, last, emptied)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(NameStep, before, after)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(UnsyncedFiles, all, durable, now, steps, noted)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DatabaseChange, at, before, after, size_before, truncation, serial)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(UnsyncedDatabase, changes, removed, opened, noted)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Unsynced, files, database)

Unsynced &unsynced() {
  // Never destroyed: wrapped calls still come while the process ends.
  static auto *const kUnsynced = new Unsynced;
  return *kUnsynced;
}

// No text for people: what files hold is any bytes.
void keep_unsynced(const std::string &file) {
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  const std::vector<uint8_t> bytes = nlohmann::json::to_msgpack(unsynced());
  stream.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  if (!stream) {
    throw std::runtime_error("cannot write " + file);
  }
}

void take_unsynced(const std::string &file) {
  if (!std::filesystem::exists(file)) {
    return;
  }
  const nlohmann::json kept = nlohmann::json::from_msgpack(whole_file(file), true, false);
  if (kept.is_discarded()) {
    throw std::runtime_error(file + " is not what a killed process left");
  }
  unsynced() = kept.get<Unsynced>();
  std::filesystem::remove(file);
}

}  // namespace sandbox
