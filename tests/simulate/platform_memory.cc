// A platform in the world's memory, as lean as the agent lets it be: what the configuration holds is in the world, so
// that it survives the agent's process; nothing is recorded. A power cut takes what is pending.
#include <openssl/bn.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/platform.h"
#include "tests/simulate/disk.h"
#include "tests/simulate/platform_memory.h"
#include "tests/simulate/trouble.h"
#include "tests/simulate/world.h"

using simulate::Configuration;
using simulate::kAccounts;
using simulate::platform_fails;
using simulate::world;

namespace {

struct Query {
  cmf_query head;  // first: what the agent sees
  uint32_t table;
  void *target;  // where a commit goes; null for a record that nobody changes
  size_t size;
  alignas(8) char record[sizeof(ncfg_account)];
};

// In the order of the shared queries.
constexpr uint32_t kTables[] = {NCFG_TABLE_SYSTEM_SETTINGS, NCFG_TABLE_ACCESS_PROFILES, NCFG_TABLE_WIDGETS,
                                NCFG_TABLE_ACCOUNTS,        NCFG_TABLE_INTERFACES,      NCFG_TABLE_EVENT_HUB};
constexpr size_t kTableCount = sizeof kTables / sizeof *kTables;
Query gsShared[kTableCount];

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

void *find_account(Query *query, const char *key) {
  Configuration &now = world().configuration;
  for (int i = 0; i < now.accounts; i++) {
    if (std::strcmp(now.account[i].name, key) == 0) {
      return lend(query, static_cast<uint32_t>(i) + 1, &now.account[i], &now.account[i], sizeof now.account[i]);
    }
  }
  return nullptr;
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

RSA *gsKey = nullptr;

}  // namespace

namespace simulate {

void platform_make_key() {
  BIGNUM *exponent = BN_new();
  gsKey = RSA_new();
  if (exponent == nullptr || gsKey == nullptr || BN_set_word(exponent, 65537) != 1 ||
      RSA_generate_key_ex(gsKey, 2048, exponent, nullptr) != 1) {
    std::fprintf(stderr, "no RSA key can be made\n");
    std::exit(2);
  }
  BN_free(exponent);
}

}  // namespace simulate

extern "C" {

ncfg_debug_zone *nCfg_debug_zone = nullptr;
cmdb_schema cmdb = {0, nullptr};

int32_t conf_init(void) {
  nCfg_debug_zone = &world().zone;
  for (size_t i = 0; i < kTableCount; i++) {
    gsShared[i].table = kTables[i];
  }
  return 0;
}

void conf_end(void) {}

int32_t cmf_get_cur_domain_id(void) {
  return 1;
}

int32_t cmf_write_config(int32_t) {
  if (platform_fails("writing the configuration")) {
    world().hub_in_doubt = true;
    return -1;
  }
  world().written = world().configuration;
  return 0;
}

cmf_query *nCfg_query(uint32_t table) {
  for (Query &query : gsShared) {
    if (query.table == table) {
      return &query.head;
    }
  }
  return nullptr;
}

cmf_query *cmf_query_create(uint32_t table) {
  if (!known_table(table)) {
    return nullptr;
  }
  if (platform_fails("making a query")) {
    world().hub_in_doubt = true;
    return nullptr;
  }
  auto *query = new Query();
  query->table = table;
  return &query->head;
}

cmf_query *cmf_query_create_child_with_key(cmf_query *, uint32_t, const char *) {
  return nullptr;
}

void cmf_query_free(cmf_query *query) {
  delete of(query);
}

void *cmf_query_do_table_find(cmf_query *query, int32_t, const char *key, int32_t) {
  Query *asked = of(query);
  if (platform_fails("looking up a record")) {
    world().port_hidden = world().port_hidden || asked->table == NCFG_TABLE_INTERFACES;
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
  if (platform_fails("reading a single record")) {
    world().hub_in_doubt = true;
    return nullptr;
  }
  Query *asked = of(query);
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
  ncfg_interface *port = &world().configuration.port;
  return asked->table == NCFG_TABLE_INTERFACES ? lend(asked, 1, port, port, sizeof *port) : nullptr;
}

void *cmf_query_get_next(cmf_query *) {
  return nullptr;
}

int32_t cmf_query_commit(cmf_query *query) {
  if (platform_fails("a commit")) {
    world().hub_in_doubt = true;
    return -1;
  }
  Query *asked = of(query);
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
  Configuration &now = world().configuration;
  if (of(query)->table != NCFG_TABLE_ACCOUNTS || now.accounts == kAccounts) {
    return -1;
  }
  std::memcpy(&now.account[now.accounts++], record, sizeof(ncfg_account));
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

void copy_cmdb_default(const cmdb_table *, void *, size_t) {}

void message(const char *format, ...) {
  if (!world().log) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  std::printf("%10lld  | ", static_cast<long long>(world().now));
  std::vprintf(format, arguments);
  va_end(arguments);
}

void log_system_event(uint32_t, int32_t, int32_t, const char *, int32_t, int32_t, const char *) {}

const char *make_new_passwd(const char *, int32_t) {
  if (platform_fails("storing a password")) {
    return nullptr;
  }
  return "*";
}

int32_t check_passwd_policy(const ncfg_account *, const char *, char *, size_t) {
  return 0;
}

void passwd_policy_save_info(ncfg_account *) {}

int32_t add_default_gui_dashboard(cmf_query *, const ncfg_account *, int32_t, int32_t, int32_t) {
  return 0;
}

int32_t ssh_pubkey_data_set(const char *, const char *, int32_t) {
  return 0;
}

int32_t openssl_init_rng(void) {
  if (platform_fails("seeding")) {
    return -1;
  }
  return 0;
}

// The same key at every start: making one takes longer than a day of the simulation.
rsa_st *generate_RSA_key(int32_t, uint64_t, void *, void *) {
  if (platform_fails("making a key")) {
    world().keyless = true;
    return nullptr;
  }
  return RSAPrivateKey_dup(gsKey);
}

int32_t get_rnd_bytes(void *buffer, size_t length) {
  if (platform_fails("random bytes")) {
    world().keyless = true;
    return -1;
  }
  auto *to = static_cast<unsigned char *>(buffer);
  std::generate(to, to + length, [] { return static_cast<unsigned char>(world().dice.next()); });
  return 0;
}

int32_t miglib_b64_pton(const char *text, uint8_t *buffer, size_t size) {
  uint32_t group = 0;
  int bits = 0;
  size_t made = 0;
  for (; *text != '\0' && *text != '='; text++) {
    static const char *const kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const char *digit = std::strchr(kDigits, *text);
    if (digit == nullptr) {
      return -1;
    }
    group = group << 6 | static_cast<uint32_t>(digit - kDigits);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      if (made == size) {
        return -1;
      }
      buffer[made++] = static_cast<uint8_t>(group >> bits);
    }
  }
  return static_cast<int32_t>(made);
}

void ncfg_active_dayst(void) {}

const char *get_zoneinfo(int32_t) {
  return "Etc/UTC";
}

int32_t ncfg_copyfile(const char *source, const char *destination) {
  if (platform_fails("copying a file")) {
    return -1;
  }
  return simulate::disk_exists(source) == 0 ? simulate::disk_put(destination, simulate::disk_bytes(source)) : -1;
}

}  // extern "C"
