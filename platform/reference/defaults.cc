#include "platform/reference/defaults.h"

#include <cstring>
#include <string>

#include "platform/reference/schema.h"
#include "platform/reference/sqlite.h"

namespace kelvane::reference {
namespace {

// records: parent_number is the key number of the owning record, 0 in a top-level table. numbers: the last key number
// given out in a table; a number is never used twice, also not by two processes. account_number: a key number in the
// accounts table.
constexpr char kLayout[] = R"(
CREATE TABLE records (
  table_number INTEGER NOT NULL,
  key_number INTEGER NOT NULL,
  parent_number INTEGER NOT NULL,
  key TEXT NOT NULL,
  record BLOB NOT NULL,
  PRIMARY KEY (table_number, key_number)
) WITHOUT ROWID;
CREATE UNIQUE INDEX record_keys ON records (table_number, parent_number, key) WHERE key <> '';
CREATE INDEX record_parents ON records (parent_number, table_number);
CREATE TABLE numbers (table_number INTEGER PRIMARY KEY, last INTEGER NOT NULL);
CREATE TABLE ssh_keys (
  account_number INTEGER NOT NULL,
  slot INTEGER NOT NULL,
  key TEXT NOT NULL,
  PRIMARY KEY (account_number, slot)
) WITHOUT ROWID;
CREATE TABLE password_history (
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  account TEXT NOT NULL,
  password TEXT NOT NULL,
  time INTEGER NOT NULL
);
CREATE TABLE events (
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  time INTEGER NOT NULL,
  event_id INTEGER NOT NULL,
  version INTEGER NOT NULL,
  category INTEGER NOT NULL,
  source TEXT NOT NULL,
  kind INTEGER NOT NULL,
  result INTEGER NOT NULL,
  text TEXT NOT NULL
);
)";
constexpr int kLayoutTables = 5;

struct Named {
  const char *name;
  uint32_t number;
};

// Key numbers as an appliance has them after some releases: neither dense nor in the order of any list.
constexpr Named kWidgets[] = {
    {"sysinfo", 11}, {"vexwatch", 27},      {"sysres", 12},          {"policysummary", 31},
    {"sysop", 15},   {"attacksummary", 24}, {"policy-sessions", 40}, {"alert", 9},
};
constexpr Named kProfiles[] = {{"prof_readonly", 1}, {"prof_admin", 2}};
constexpr uint32_t kAdministratorProfile = 2;
constexpr uint32_t kAllRights = 0xffffffff;
constexpr Named kPorts[] = {{"port1", 1}, {"port2", 2}, {"port3", 3}, {"port4", 4}};

void insert(sqlite3 *database, const Table &table, uint32_t number, const void *record) {
  const auto *bytes = static_cast<const uint8_t *>(record);
  Statement(database, "INSERT INTO records VALUES (?, ?, 0, ?, ?)")
      .bind(int64_t{table.definition.number})
      .bind(int64_t{number})
      .bind(key_in_record(table, record).value_or(""))
      .bind(Bytes(bytes, bytes + table.definition.record_size))
      .step();
  Statement(
      database,
      "INSERT INTO numbers VALUES (?, ?) ON CONFLICT (table_number) DO UPDATE SET last = max(last, excluded.last)")
      .bind(int64_t{table.definition.number})
      .bind(int64_t{number})
      .step();
}

// The table's default record with a name, and with what change makes of it.
template <typename Record, typename Change>
void insert_named(sqlite3 *database, uint32_t table_number, const Named &named, Change change) {
  const Table *table = find_table(table_number);
  Record record = {};
  copy_cmdb_default(&table->definition, &record, sizeof record);
  strncpy(record.name, named.name, sizeof record.name - 1);
  change(record);
  insert(database, *table, named.number, &record);
}

void insert_single(sqlite3 *database, uint32_t table_number) {
  const Table *table = find_table(table_number);
  insert(database, *table, 1, table->definition.default_record);
}

void insert_factory_records(sqlite3 *database) {
  insert_single(database, NCFG_TABLE_SYSTEM_SETTINGS);
  insert_single(database, NCFG_TABLE_EVENT_HUB);
  for (const Named &widget : kWidgets) {
    insert_named<ncfg_widget>(database, NCFG_TABLE_WIDGETS, widget, [](ncfg_widget &) {});
  }
  for (const Named &profile : kProfiles) {
    insert_named<ncfg_access_profile>(database, NCFG_TABLE_ACCESS_PROFILES, profile, [&](ncfg_access_profile &record) {
      record.rights = profile.number == kAdministratorProfile ? kAllRights : 1;
    });
  }
  for (const Named &port : kPorts) {
    insert_named<ncfg_interface>(database, NCFG_TABLE_INTERFACES, port, [](ncfg_interface &) {});
  }
  // No password has the stored form "*": the factory account opens only once a password has been set.
  insert_named<ncfg_account>(database, NCFG_TABLE_ACCOUNTS, {"admin", 1}, [](ncfg_account &account) {
    account.password[0] = '*';
    account.access_profile = kAdministratorProfile;
    account.field_1088 = 1;
    account.field_1096 = 1;
    account.field_2460 = 0x101;
  });
}

int64_t single_value(sqlite3 *database, const char *sql) {
  Statement statement(database, sql);
  return statement.step() ? statement.integer(0) : 0;
}

void set_pragma(sqlite3 *database, const char *name, int value) {
  execute(database, ("PRAGMA " + std::string(name) + " = " + std::to_string(value)).c_str());
}

}  // namespace

void create_layout(sqlite3 *database) {
  Transaction transaction(database);
  execute(database, kLayout);
  set_pragma(database, "application_id", kApplicationId);
  set_pragma(database, "user_version", kLayoutVersion);
  insert_factory_records(database);
  transaction.commit();
}

void check_layout(sqlite3 *database) {
  if (single_value(database, "PRAGMA application_id") != kApplicationId) {
    throw DatabaseError(SQLITE_NOTADB, "not a configuration database of this appliance");
  }
  if (single_value(database, "PRAGMA user_version") != kLayoutVersion) {
    throw DatabaseError(SQLITE_NOTADB, "a configuration database of another version");
  }
  Statement integrity(database, "PRAGMA integrity_check(1)");
  if (!integrity.step() || integrity.text(0) != "ok") {
    throw DatabaseError(SQLITE_CORRUPT, integrity.text(0));
  }
  if (single_value(database,
                   "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN "
                   "('records', 'numbers', 'ssh_keys', 'password_history', 'events')") != kLayoutTables) {
    throw DatabaseError(SQLITE_CORRUPT, "tables are missing");
  }
}

}  // namespace kelvane::reference
