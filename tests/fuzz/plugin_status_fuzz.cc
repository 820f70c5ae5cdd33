// The plugin status file: whatever is loaded, what is saved is JSON, and loads to the same.
#include "tests/fuzz/plugin_file.h"
#include "tests/fuzz/world.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FakeOs os({"access", "close", "open", "unlink"});
  static const bool fresh = (fuzz::fresh_registry(), true);
  fuzz::require(fresh, "an input finds the registry as the one before has left it");
  fuzz::start();
  os.write("/data/etc/.plugin_status", fuzz::bytes_of(data, size));
  const std::string first = fuzz::load_and_save(os);
  fuzz::require(fuzz::is_json(first.c_str()), "what is saved is JSON");
  fuzz::fresh_registry();
  fuzz::require(fuzz::load_and_save(os) == first, "what is saved loads to the same");
  fuzz::fresh_registry();
  return 0;
}
