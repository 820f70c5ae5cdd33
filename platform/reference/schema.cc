#include "platform/reference/schema.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kelvane::reference {
namespace {

// Not by designators: g++ 10 takes no text for an array there.
constexpr ncfg_system_settings default_settings() {
  ncfg_system_settings settings = {};
  std::copy_n("kelvane", 7, settings.host_name);
  std::copy_n("UTC0", 4, settings.time_zone);
  return settings;
}
constexpr ncfg_system_settings kSystemSettings = default_settings();
constexpr ncfg_access_profile kAccessProfile = {};
constexpr ncfg_widget kWidget = {};
constexpr ncfg_dashboard_entry kDashboardEntry = {.widget = 0, .column = 1, .open = 1, .height = 300, .reserved = {}};
constexpr ncfg_gui_dashboard kGuiDashboard = {.name = {}, .columns = 2};
constexpr ncfg_interface kInterface = {
    .name = {},
    .manual = 0,
    .reserved = {},
    .addressing_mode = NCFG_ADDRESSING_STATIC,
    .address = 0,
    .netmask = 0,
    .default_server = 1,
    .AzureEndpoint = 0,
};
constexpr ncfg_event_hub kEventHub = {};

// The appliance's own settings of an account stand in the space that the agent does not know: session time limit in
// minutes, rows on a page, interface language, trusted hosts (any).
constexpr ncfg_account default_account() {
  ncfg_account account = {};
  account.reserved_194[0] = 30;
  account.reserved_194[2] = 50;
  account.reserved_194[885] = 1;
  account.reserved_1100[0] = 0xff;
  account.reserved_1100[1347] = 0x5a;
  account.reserved_2450[9] = 7;
  return account;
}
constexpr ncfg_account kAccount = default_account();

template <typename Record>
constexpr Table table(uint32_t number, const Record &defaults, TableKind kind, uint32_t parent = 0) {
  return {.definition = {.number = number, .record_size = sizeof(Record), .default_record = &defaults},
          .kind = kind,
          .parent = parent};
}

constexpr std::array kTables = {
    table(NCFG_TABLE_SYSTEM_SETTINGS, kSystemSettings, TableKind::kSingle),
    table(NCFG_TABLE_ACCESS_PROFILES, kAccessProfile, TableKind::kKeyed),
    table(NCFG_TABLE_WIDGETS, kWidget, TableKind::kKeyed),
    table(NCFG_TABLE_ACCOUNTS, kAccount, TableKind::kKeyed),
    table(NCFG_TABLE_ACCOUNT_DASHBOARD, kDashboardEntry, TableKind::kList, NCFG_TABLE_ACCOUNTS),
    table(NCFG_TABLE_INTERFACES, kInterface, TableKind::kKeyed),
    table(NCFG_TABLE_EVENT_HUB, kEventHub, TableKind::kSingle),
    table(NCFG_TABLE_GUI_DASHBOARD, kGuiDashboard, TableKind::kKeyed, NCFG_TABLE_ACCOUNTS),
};

// What is pending is written in the order of the numbers: an owner is there before what belongs to it.
static_assert(std::all_of(kTables.begin(), kTables.end(),
                          [](const Table &one) { return one.parent < one.definition.number; }));

using Index = std::array<const cmdb_table *, NCFG_TABLE_HIGHEST + 1>;

constexpr Index make_index() {
  Index index = {};
  for (const Table &one : kTables) {
    index[one.definition.number] = &one.definition;
  }
  return index;
}
constexpr Index kIndex = make_index();

}  // namespace

const Table *find_table(uint32_t number) {
  const auto found = std::find_if(kTables.begin(), kTables.end(),
                                  [number](const Table &one) { return one.definition.number == number; });
  return found == kTables.end() ? nullptr : &*found;
}

std::optional<std::string> key_in_record(const Table &table, const void *record) {
  if (table.kind != TableKind::kKeyed) {
    return std::string();
  }
  const char *name = static_cast<const char *>(record);
  const size_t length = strnlen(name, NCFG_NAME_SIZE);
  if (length == 0 || length == NCFG_NAME_SIZE) {
    return std::nullopt;
  }
  return std::string(name, length);
}

}  // namespace kelvane::reference

struct cmdb_schema cmdb = {.table_count = NCFG_TABLE_HIGHEST, .tables = kelvane::reference::kIndex.data()};

void copy_cmdb_default(const struct cmdb_table *table, void *record, size_t size) {
  if (table == nullptr || table->default_record == nullptr || record == nullptr) {
    return;
  }
  memcpy(record, table->default_record, std::min<size_t>(size, table->record_size));
}
