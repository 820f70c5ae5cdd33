// The plugin registry for the fuzz target of its status file: emptied between two inputs, loaded and saved.
#ifndef KELVANE_TESTS_FUZZ_PLUGIN_FILE_H
#define KELVANE_TESTS_FUZZ_PLUGIN_FILE_H

#include <string>

#include "tests/support/fake_os.h"

namespace fuzz {

// The registry as after a start without a status file; what an earlier file left is freed.
void fresh_registry();

// Loads the status file, asserts that every plugin's fields are terminated and its texts UTF-8, saves it, and gives
// what was saved.
std::string load_and_save(const FakeOs &os);

}  // namespace fuzz

#endif
