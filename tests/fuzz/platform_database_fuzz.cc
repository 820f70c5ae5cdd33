// The reference platform's database file as another program may leave it: an 'e' first means a factory-new one with
// changed bytes (three of place, one of value, each), anything else is the file. There is a connection all the same.
// Unless the file was set aside, which leaves the factory's records, the next connection finds what this one found.
#include "tests/fuzz/configuration_folder.h"
#include "tests/fuzz/record_calls.h"

namespace {

std::string walk() {
  fuzz::require(conf_init() == 0, "there is a connection");
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
  static const fuzz::ConfigurationFolder folder;
  static const std::string factory_records = (folder.begin(), walk());
  folder.begin();
  const std::string input = fuzz::bytes_of(data, size);
  folder.write(size != 0 && input[0] == 'e' ? changed(factory, input) : input);
  const std::string first = walk();
  fuzz::require((folder.set_aside() ? factory_records : walk()) == first, "the next connection finds the same");
  return 0;
}
