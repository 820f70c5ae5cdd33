// The reference platform's files as another program may leave them. The first byte says which: 'r' a debug record, 'e'
// a factory-new database with changed bytes (three of place, one of value, each), else the database as a whole. There
// is a connection and a debug record all the same, and the next connection finds the same records.
#include "platform/reference/reference.h"
#include "tests/fuzz/record_calls.h"

namespace {

std::string walk() {
  fuzz::require(conf_init() == 0, "there is a connection");
  const char last = nCfg_debug_zone->host_name[NCFG_HOST_NAME_LENGTH];
  fuzz::require(last == '\0', "the host name of the debug record is terminated");
  const std::string shown = fuzz::all_records_as_they_are();
  conf_end();
  return shown;
}

std::string changed(std::string file, const std::string &changes) {
  for (size_t i = 1; i + 3 < changes.size(); i += 4) {
    const auto at = [&](size_t j) { return static_cast<size_t>(static_cast<unsigned char>(changes[i + j])); };
    file[(at(0) << 16 | at(1) << 8 | at(2)) % file.size()] = changes[i + 3];
  }
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const std::string factory = fuzz::factory_database();
  const support::TempDir folder;
  reference_set_root(folder.path().c_str());
  const std::string input = fuzz::bytes_of(data, size);
  const char kind = size != 0 ? input[0] : ' ';
  folder.write(kind == 'r' ? "run/kelvane-debug" : "data/etc/kelvane-config.db",
               kind == 'e' ? changed(factory, input) : input.substr(kind == 'r'));
  const std::string first = walk();
  fuzz::require(walk() == first, "the next connection finds the same");
  return 0;
}
