// The reference platform's database file as another program may leave it: an 'e' first means a factory-new one with
// changed bytes (three of place, one of value, each), anything else is the file. There is a connection all the same,
// and nothing is lost: a file that is not used is set aside as it was, and the factory's takes its place, byte for
// byte. One that is used has other records, and the next connection finds the same.
#include "tests/fuzz/configuration_folder.h"
#include "tests/fuzz/record_calls.h"

namespace {

std::string walk() {
  fuzz::require(conf_init() == 0, "there is a connection");
  const std::string shown = fuzz::all_records_as_they_are();
  conf_end();
  return shown;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const std::string factory = fuzz::factory_database();
  static const fuzz::ConfigurationFolder folder;
  static const std::string factory_records = (folder.begin(), walk());
  static const std::string factory_file = folder.read();
  folder.begin();
  const std::string input = fuzz::bytes_of(data, size);
  const std::string given = size != 0 && input[0] == 'e' ? fuzz::changed(factory, input.substr(1)) : input;
  folder.write(given);
  fuzz::require(conf_init() == 0, "there is a connection");
  if (const auto kept = folder.set_aside()) {
    const void *account = cmf_query_do_table_find(nCfg_query(NCFG_TABLE_ACCOUNTS), 0, "admin", 2);
    fuzz::require(account != nullptr, "a record is read through the connection");
    conf_end();
    fuzz::require(*kept == given && folder.read() == factory_file,
                  "a file that is not used is kept as it was, the factory's is new");
  } else {
    const std::string first = walk();
    fuzz::require(first != factory_records && walk() == first, "the next connection finds the same");
  }
  return 0;
}
