// Calls on the reference platform's tables, read from a fuzz input, and what must hold of the tables afterwards.
#ifndef KELVANE_TESTS_FUZZ_RECORD_CALLS_H
#define KELVANE_TESTS_FUZZ_RECORD_CALLS_H

#include <string>

#include "platform/platform.h"
#include "tests/fuzz/properties.h"
#include "tests/support/files.h"

namespace fuzz {

inline constexpr uint32_t kTables[] = {280, 330, 340, 440};

// An input is a run of calls: which one, on which table, the length of a text, and the text. To connect again is done
// once an input: it costs as much as a dozen other calls.
class RecordCalls {
 public:
  RecordCalls(const uint8_t *data, size_t size) : rest_(bytes_of(data, size)) {}
  void run();

 private:
  std::string take(size_t length);

  std::string rest_;
};

// Every record of the tables with keys, as one text. Asserts that keys and key numbers are unique, no number is 0, and
// a look-up by key finds the record of the walk.
std::string all_records();
// The same for a database that another program made: nothing is asserted but that key numbers are not 0.
std::string all_records_as_they_are();

// The bytes of a database as a first connection makes it, but with one record in a table. Also makes SQLite as quick as
// it can be in one thread; to be called before anything else is.
std::string factory_database();

}  // namespace fuzz

#endif
