// The three key slots of each account.
#include "platform/platform.h"
#include "platform/reference/database.h"
#include "platform/reference/guard.h"
#include "platform/reference/reference.h"
#include "platform/reference/ssh_key.h"
#include "platform/reference/store.h"

namespace kelvane::reference {
namespace {

constexpr int32_t kSlots = 3;

std::optional<Record> find_account(sqlite3 *handle, const char *name) {
  return durable_find(handle, {.table = find_table(NCFG_TABLE_ACCOUNTS), .parent_number = 0}, name);
}

bool write_slot(sqlite3 *handle, uint32_t account, int32_t slot, const std::string &key) {
  Statement(handle,
            "INSERT INTO ssh_keys VALUES (?, ?, ?) "
            "ON CONFLICT (account_number, slot) DO UPDATE SET key = excluded.key")
      .bind(int64_t{account})
      .bind(int64_t{slot})
      .bind(key)
      .step();
  return true;
}

bool set_slot(const char *user_name, const char *public_key, int32_t slot) {
  const std::optional<std::string> key = parse_ssh_key(public_key);
  return key && store_write([&](sqlite3 *handle) {
           const std::optional<Record> account = find_account(handle, user_name);
           return account && write_slot(handle, account->number, slot, *key);
         });
}

std::vector<reference_ssh_key> read_slots(const char *user_name) {
  std::vector<reference_ssh_key> keys;
  sqlite3 *handle = database();
  const std::optional<Record> account = handle == nullptr ? std::nullopt : find_account(handle, user_name);
  if (!account) {
    return keys;
  }
  Statement statement(handle, "SELECT slot, key FROM ssh_keys WHERE account_number = ? ORDER BY slot");
  statement.bind(int64_t{account->number});
  while (statement.step()) {
    keys.push_back({.slot = static_cast<int32_t>(statement.integer(0)), .text = statement.text(1)});
  }
  return keys;
}

}  // namespace
}  // namespace kelvane::reference

using namespace kelvane::reference;

int32_t ssh_pubkey_data_set(const char *user_name, const char *public_key, int32_t slot) {
  if (user_name == nullptr || slot < 1 || slot > kSlots) {
    return -1;
  }
  return guarded("ssh_pubkey_data_set", -1, [=] { return set_slot(user_name, public_key, slot) ? 0 : -1; });
}

std::vector<reference_ssh_key> reference_ssh_keys(const char *account) {
  return guarded("reference_ssh_keys", std::vector<reference_ssh_key>(),
                 [=] { return account == nullptr ? std::vector<reference_ssh_key>() : read_slots(account); });
}
