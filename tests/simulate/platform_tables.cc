// The configuration's tables, in the world's memory, so that they survive the agent's process. Nothing is recorded; a
// power cut takes what is pending.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "platform/platform.h"
#include "tests/simulate/accounts.h"
#include "tests/simulate/event_hub.h"
#include "tests/simulate/first_boot.h"
#include "tests/simulate/trouble.h"
#include "tests/simulate/world.h"

using namespace simulate;

namespace {

struct Query {
  cmf_query head;  // first: what the agent sees
  uint32_t table;
  Account *parent;  // of a child table
  void *target;     // where a commit goes; null for a record that nobody changes
  size_t size;
  alignas(8) char record[sizeof(ncfg_account)];
};

// In the order of the shared queries.
constexpr uint32_t kTables[] = {NCFG_TABLE_SYSTEM_SETTINGS, NCFG_TABLE_ACCESS_PROFILES, NCFG_TABLE_WIDGETS,
                                NCFG_TABLE_ACCOUNTS,        NCFG_TABLE_INTERFACES,      NCFG_TABLE_EVENT_HUB};
constexpr size_t kTableCount = sizeof kTables / sizeof *kTables;
Query gsShared[kTableCount] = {};

constexpr const char *kWidgets[] = {"sysinfo",       "vexwatch", "sysres",          "policysummary",
                                    "attacksummary", "alert",    "policy-sessions", "sysop"};

Query *of(cmf_query *query) {
  return reinterpret_cast<Query *>(query);
}

bool known_table(uint32_t table) {
  return std::find(std::begin(kTables), std::end(kTables), table) != std::end(kTables);
}

void *lend(Query *query, uint32_t number, const void *record, void *target, size_t size) {
  query->head.found_key_number = number;
  query->target = target;
  query->size = size;
  std::memcpy(query->record, record, size);
  return query->record;
}

// An extension that does not find the account reports it, or makes one that exists: the rules do not go into that.
bool looking_up_fails(uint32_t table, const char *call) {
  const bool found = table == NCFG_TABLE_ACCOUNTS && first_boot_is_over();
  const bool failed = !found && platform_fails(call);
  world().port_hidden = world().port_hidden || (failed && table == NCFG_TABLE_INTERFACES);
  return failed;
}

void hub_call_failed(uint32_t table) {
  world().hub_in_doubt = world().hub_in_doubt || table == NCFG_TABLE_EVENT_HUB;
}

Account *account_of(Configuration *configuration, const char *name) {
  for (int i = 0; i < configuration->accounts; i++) {
    if (std::strcmp(configuration->account[i].record.name, name) == 0) {
      return &configuration->account[i];
    }
  }
  return nullptr;
}

void *find_account(Query *query, const char *key) {
  Configuration &now = world().configuration;
  Account *account = account_of(&now, key);
  return account != nullptr ? lend(query, static_cast<uint32_t>(account - now.account) + 1, &account->record,
                                   &account->record, sizeof account->record)
                            : nullptr;
}

int32_t append_account(const ncfg_account &record) {
  Configuration &now = world().configuration;
  if (now.accounts == kAccounts || account_of(&now, record.name) != nullptr) {
    return -1;
  }
  now.account[now.accounts++] = {record, 0, {}, false, {}};
  return 0;
}

int32_t append_widget(Account *account, const ncfg_dashboard_entry &entry) {
  if (account->widgets == kDashboard) {
    return -1;
  }
  account->dashboard[account->widgets++] = entry;
  return 0;
}

void *find_widget(Query *query, const char *key) {
  for (uint32_t i = 0; i < sizeof kWidgets / sizeof *kWidgets; i++) {
    if (std::strcmp(kWidgets[i], key) == 0) {
      ncfg_widget widget = {};
      std::snprintf(widget.name, sizeof widget.name, "%s", key);
      return lend(query, i + 1, &widget, nullptr, sizeof widget);
    }
  }
  return nullptr;
}

// The DHCP client has put the wire server's address there once the lease is there. The agent looks for 30 seconds from
// its first look on; what it must have chosen then is settled by the clock alone.
void look_for_lease(ncfg_interface *port) {
  constexpr int64_t kPatience = 30;
  static const int64_t first = world().now;
  if (world().now >= world().endpoint_at) {
    port->AzureEndpoint = 0x10813FA8;  // 168.63.129.16
  }
  world().metadata = world().endpoint_at > first + kPatience;
}

}  // namespace

extern "C" {

int32_t cmf_get_cur_domain_id(void) {
  return 1;
}

int32_t cmf_write_config(int32_t) {
  const bool failed = platform_fails("writing the configuration") || event_hub_refused();
  const bool hub = event_hub_written(!failed);
  if (failed) {
    if (hub) {
      world().hub_in_doubt = true;
    } else {
      accounts_call_failed();
    }
    return -1;
  }
  world().written = world().configuration;
  return 0;
}

cmf_query *nCfg_query(uint32_t table) {
  if (looking_up_fails(table, "a shared query")) {
    return nullptr;
  }
  for (size_t i = 0; i < kTableCount; i++) {
    if (kTables[i] == table) {
      gsShared[i].table = table;
      return &gsShared[i].head;
    }
  }
  return nullptr;
}

cmf_query *cmf_query_create(uint32_t table) {
  if (!known_table(table)) {
    return nullptr;
  }
  const bool failed = platform_fails("making a query");
  if (table == NCFG_TABLE_EVENT_HUB) {  // a command of its own: when it goes through, what went before does not matter
    event_hub_asked();
    world().hub_in_doubt = failed;
  }
  if (failed) {
    return nullptr;
  }
  auto *query = new Query();
  query->table = table;
  return &query->head;
}

cmf_query *cmf_query_create_child_with_key(cmf_query *, uint32_t child_table, const char *key) {
  Account *parent = account_of(&world().configuration, key);
  if (parent == nullptr || platform_fails("making a child query")) {
    return nullptr;
  }
  auto *query = new Query();
  query->table = child_table;
  query->parent = parent;
  return &query->head;
}

void cmf_query_free(cmf_query *query) {
  delete of(query);
}

void *cmf_query_do_table_find(cmf_query *query, int32_t, const char *key, int32_t) {
  Query *asked = of(query);
  if (looking_up_fails(asked->table, "looking up a record")) {
    return nullptr;
  }
  Configuration &now = world().configuration;
  if (asked->table == NCFG_TABLE_ACCOUNTS) {
    return find_account(asked, key);
  }
  if (asked->table == NCFG_TABLE_WIDGETS) {
    return find_widget(asked, key);
  }
  if (asked->table == NCFG_TABLE_INTERFACES && std::strcmp(key, now.port.name) == 0) {
    look_for_lease(&now.port);
    return lend(asked, 1, &now.port, &now.port, sizeof now.port);
  }
  if (asked->table == NCFG_TABLE_ACCESS_PROFILES && std::strcmp(key, "prof_admin") == 0) {
    ncfg_access_profile profile = {};
    std::snprintf(profile.name, sizeof profile.name, "prof_admin");
    return lend(asked, 1, &profile, nullptr, sizeof profile);
  }
  return nullptr;
}

void *cmf_query_update(cmf_query *query) {
  Query *asked = of(query);
  if (platform_fails("reading a single record")) {
    hub_call_failed(asked->table);
    return nullptr;
  }
  Configuration &now = world().configuration;
  if (asked->table == NCFG_TABLE_SYSTEM_SETTINGS) {
    return lend(asked, 1, &now.settings, &now.settings, sizeof now.settings);
  }
  if (asked->table == NCFG_TABLE_EVENT_HUB) {
    return lend(asked, 1, &now.event_hub, &now.event_hub, sizeof now.event_hub);
  }
  return nullptr;
}

void *cmf_query_table_head(cmf_query *query) {
  Query *asked = of(query);
  if (platform_fails("a table's first record")) {
    return nullptr;
  }
  ncfg_interface *port = &world().configuration.port;
  return asked->table == NCFG_TABLE_INTERFACES ? lend(asked, 1, port, port, sizeof *port) : nullptr;
}

void *cmf_query_get_next(cmf_query *) {
  return nullptr;
}

int32_t cmf_query_commit(cmf_query *query) {
  Query *asked = of(query);
  if (platform_fails("a commit")) {
    hub_call_failed(asked->table);
    if (asked->table == NCFG_TABLE_ACCOUNTS) {
      accounts_call_failed();
    }
    return -1;
  }
  if (asked->target == nullptr) {
    return -1;
  }
  std::memcpy(asked->target, asked->record, asked->size);
  return 0;
}

int32_t cmf_query_table_append(cmf_query *query, const void *record) {
  if (platform_fails("an append")) {
    return -1;
  }
  Query *asked = of(query);
  if (asked->table == NCFG_TABLE_ACCOUNTS) {
    return append_account(*static_cast<const ncfg_account *>(record));
  }
  const bool dashboard = asked->table == NCFG_TABLE_ACCOUNT_DASHBOARD && asked->parent != nullptr;
  return dashboard ? append_widget(asked->parent, *static_cast<const ncfg_dashboard_entry *>(record)) : -1;
}

int32_t add_default_gui_dashboard(cmf_query *query, const ncfg_account *, int32_t, int32_t, int32_t) {
  Query *asked = of(query);
  if (platform_fails("adding a dashboard") || asked->table != NCFG_TABLE_GUI_DASHBOARD || asked->parent == nullptr) {
    return -1;
  }
  asked->parent->gui = true;
  return 0;
}

// Durable at once, with what is pending.
int32_t ssh_pubkey_data_set(const char *user_name, const char *public_key, int32_t slot) {
  Account *account = account_of(&world().configuration, user_name);
  if (platform_fails("setting a key") || account == nullptr || slot < 1 || slot > kKeys) {
    return -1;
  }
  std::snprintf(account->keys[slot - 1], sizeof account->keys[0], "%s", public_key);
  world().written = world().configuration;
  return 0;
}

int32_t __nCfg_sess_table_change_by_mkey(int32_t, uint32_t table, const void *, const void *new_record, int32_t) {
  if (platform_fails("changing a record")) {
    return -1;
  }
  if (table != NCFG_TABLE_INTERFACES) {
    return -1;
  }
  std::memcpy(&world().configuration.port, new_record, sizeof(ncfg_interface));
  world().written.port = world().configuration.port;
  return 0;
}

int32_t nCfg_table_delete_by_mkey(uint32_t, const char *) {
  return -1;
}

}  // extern "C"
