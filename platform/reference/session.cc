// The connection and the calls that are durable at once.
#include "platform/platform.h"
#include "platform/reference/database.h"
#include "platform/reference/debug_record.h"
#include "platform/reference/guard.h"
#include "platform/reference/queries.h"
#include "platform/reference/store.h"

using namespace kelvane::reference;

namespace {

constexpr int32_t kDomain = 1;

const Table *find_keyed_top_level(uint32_t number) {
  const Table *table = find_table(number);
  return table != nullptr && table->kind == TableKind::kKeyed && table->parent == 0 ? table : nullptr;
}

bool replace_record(const Table &table, const void *old_record, const void *new_record) {
  const std::optional<std::string> old_key = key_in_record(table, old_record);
  const std::optional<std::string> new_key = key_in_record(table, new_record);
  if (!old_key || !new_key) {
    return false;
  }
  const auto *bytes = static_cast<const uint8_t *>(new_record);
  const Bytes copy(bytes, bytes + table.definition.record_size);
  const Place place = {.table = &table, .parent_number = 0};
  return store_write([&](sqlite3 *handle) {
    const std::optional<Record> found = durable_find(handle, place, *old_key);
    const std::optional<Record> same = durable_find(handle, place, *new_key);
    if (!found || (same && same->number != found->number)) {
      return false;
    }
    durable_replace(handle, place, {.number = found->number, .key = *new_key, .bytes = copy});
    return true;
  });
}

bool delete_record(const Table &table, const char *key) {
  return store_write([&](sqlite3 *handle) {
    const std::optional<Record> found = durable_find(handle, {.table = &table, .parent_number = 0}, key);
    if (found) {
      durable_delete(handle, table, *found);
    }
    return found.has_value();
  });
}

}  // namespace

int32_t conf_init(void) {
  map_debug_record();
  return guarded("conf_init", -1, [] {
    connect_database();
    return 0;
  });
}

void conf_end(void) {
  drop_shared_queries();
  store_drop();
  disconnect_database();
}

int32_t cmf_get_cur_domain_id(void) {
  return guarded("cmf_get_cur_domain_id", -1, [] { return database() == nullptr ? -1 : kDomain; });
}

int32_t cmf_write_config(int32_t domain) {
  if (domain != kDomain) {
    return -1;
  }
  return guarded("cmf_write_config", -1, [] { return store_write_pending() ? 0 : -1; });
}

int32_t __nCfg_sess_table_change_by_mkey(int32_t, uint32_t table, const void *old_record, const void *new_record,
                                         int32_t) {
  const Table *found = find_keyed_top_level(table);
  if (found == nullptr || old_record == nullptr || new_record == nullptr) {
    return -1;
  }
  return guarded("__nCfg_sess_table_change_by_mkey", -1,
                 [=] { return replace_record(*found, old_record, new_record) ? 0 : -1; });
}

int32_t nCfg_table_delete_by_mkey(uint32_t table, const char *key) {
  const Table *found = find_keyed_top_level(table);
  if (found == nullptr || key == nullptr) {
    return -1;
  }
  return guarded("nCfg_table_delete_by_mkey", -1, [=] { return delete_record(*found, key) ? 0 : -1; });
}
