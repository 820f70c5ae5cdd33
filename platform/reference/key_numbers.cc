#include "platform/reference/key_numbers.h"

#include <map>

#include "platform/reference/sqlite.h"

namespace kelvane::reference {
namespace {

struct Numbers {
  int64_t next = 1;
  int64_t last = 0;
};

constexpr int64_t kNumbersReserved = 16;

std::map<uint32_t, Numbers> reserved;

// The last of so many further numbers.
int64_t set_aside(sqlite3 *database, const Table &table, int64_t count) {
  Statement(database,
            "INSERT INTO numbers VALUES (?, ?) ON CONFLICT (table_number) DO UPDATE SET last = last + excluded.last")
      .bind(int64_t{table.definition.number})
      .bind(count)
      .step();
  Statement last(database, "SELECT last FROM numbers WHERE table_number = ?");
  last.bind(int64_t{table.definition.number}).step();
  return last.integer(0);
}

uint32_t key_number(int64_t number) {
  if (number > int64_t{UINT32_MAX}) {
    throw DatabaseError(SQLITE_FULL, "no key number is left");
  }
  return static_cast<uint32_t>(number);
}

}  // namespace

// Some are set aside in the database at once, so that those of two processes with pending records never meet.
uint32_t take_key_number(sqlite3 *database, const Table &table) {
  Numbers &numbers = reserved[table.definition.number];
  if (numbers.next > numbers.last) {
    Transaction transaction(database);
    const int64_t last = set_aside(database, table, kNumbersReserved);
    transaction.commit();
    numbers = {.next = last - kNumbersReserved + 1, .last = last};
  }
  return key_number(numbers.next++);
}

uint32_t take_key_number_at_once(sqlite3 *database, const Table &table) {
  return key_number(set_aside(database, table, 1));
}

void forget_key_numbers() {
  reserved.clear();
}

}  // namespace kelvane::reference
