#include "tests/fuzz/appliance_world.h"

#include <algorithm>
#include <cstring>

#include "tests/fuzz/properties.h"
#include "tests/support/recording_platform.h"

namespace fuzz {

namespace {

template <typename Record>
Record record_of(std::string *input, const std::string &name = "") {
  Record record;
  const size_t size = std::min(input->size(), sizeof record);
  std::memset(static_cast<void *>(&record), 0, sizeof record);
  std::memcpy(static_cast<void *>(&record), input->data(), size);
  input->erase(0, size);
  if (!name.empty()) {
    std::memset(static_cast<void *>(&record), 0, NCFG_NAME_SIZE);
    std::memcpy(static_cast<void *>(&record), name.data(), name.size());
  }
  return record;
}

template <typename Record>
void require_same(const Record &expected, const Record &found) {
  require(std::memcmp(&expected, &found, sizeof expected) == 0, "no other byte changes");
}

}  // namespace

Appliance appliance_of(const std::string &input) {
  std::string rest = input;
  Appliance made = {};
  made.port1 = record_of<ncfg_interface>(&rest, "port1");
  made.port2 = record_of<ncfg_interface>(&rest, "port2");
  made.settings = record_of<ncfg_system_settings>(&rest);
  made.admin = record_of<ncfg_account>(&rest, "admin");
  static const bool empty = (recording::reset(), true);  // and the target leaves it so
  require(empty, "the database is empty to begin with");
  recording::seed(NCFG_TABLE_INTERFACES, made.port1);
  recording::seed(NCFG_TABLE_INTERFACES, made.port2);
  recording::seed_system_settings(made.settings);
  recording::seed(NCFG_TABLE_ACCOUNTS, made.admin);
  return made;
}

void require_started(Appliance before) {
  before.port1.addressing_mode = NCFG_ADDRESSING_DHCP;
  require_same(before.port1, *recording::interface_record("port1"));
  if (before.port2.manual == 0) {
    before.port2.addressing_mode = NCFG_ADDRESSING_DHCP;
    before.port2.default_server = 0;
  }
  require_same(before.port2, *recording::interface_record("port2"));
  const ncfg_account locked = *recording::account("admin");
  require(std::memcmp(locked.password, "stored(", 7) == 0, "the account is locked");
  std::memcpy(before.admin.password, locked.password, sizeof locked.password);
  require_same(before.admin, locked);
  require_same(before.settings, recording::system_settings());
}

}  // namespace fuzz
