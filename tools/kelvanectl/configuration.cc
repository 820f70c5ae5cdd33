#include "tools/kelvanectl/configuration.h"

#include <functional>
#include <memory>

#include "platform/platform.h"
#include "platform/reference/reference.h"
#include "tools/kelvanectl/failure.h"

namespace kelvanectl {
namespace {

using Query = std::unique_ptr<cmf_query, decltype(&cmf_query_free)>;

Query open_table(uint32_t number) {
  Query query(cmf_query_create(number), cmf_query_free);
  if (query == nullptr) {
    throw Failure("table " + std::to_string(number) + " cannot be read");
  }
  return query;
}

using Visit = std::function<void(uint32_t key_number, const void *record)>;

void walk(cmf_query *query, const Visit &visit) {
  for (const void *at = cmf_query_table_head(query); at != nullptr; at = cmf_query_get_next(query)) {
    visit(query->found_key_number, at);
  }
}

// The record of that key, or the single one; for changing in place.
void *record_of(cmf_query *query, const Table &table, const std::string &key) {
  void *record = table.keyed ? cmf_query_do_table_find(query, 0, key.c_str(), 2) : cmf_query_update(query);
  if (record == nullptr) {
    throw Failure(table.keyed ? "table " + std::to_string(table.number) + " has no record \"" + key + "\""
                              : "table " + std::to_string(table.number) + " cannot be read");
  }
  return record;
}

Json shown(const Table &table, uint32_t key_number, const void *record) {
  Json json = {{"key_number", key_number}};
  json.update(record_as_json(table, record));
  return json;
}

void keep(cmf_query *query) {
  if (cmf_query_commit(query) != 0 || cmf_write_config(cmf_get_cur_domain_id()) != 0) {
    throw Failure("the change could not be written");
  }
}

// The names of a keyed table by key number.
std::string name_of(uint32_t number, uint32_t key_number) {
  std::string name = "none";
  walk(open_table(number).get(), [&](uint32_t at, const void *record) {
    if (at == key_number) {
      name = static_cast<const char *>(record);
    }
  });
  return name;
}

Json children(const std::string &account, uint32_t number) {
  Query query(cmf_query_create_child_with_key(nCfg_query(NCFG_TABLE_ACCOUNTS), number, account.c_str()),
              cmf_query_free);
  Json list = Json::array();
  if (query != nullptr) {
    walk(query.get(),
         [&](uint32_t, const void *record) { list.push_back(record_as_json(child_table(number), record)); });
  }
  return list;
}

Json dashboard_of(const std::string &account) {
  Json list = children(account, NCFG_TABLE_ACCOUNT_DASHBOARD);
  for (Json &entry : list) {
    entry["widget"] = name_of(NCFG_TABLE_WIDGETS, entry["widget"].get<uint32_t>());
  }
  return list;
}

}  // namespace

Json table_list() {
  Json list = Json::array();
  for (const Table &table : tables()) {
    if (table.parent != 0) {
      continue;
    }
    uint32_t count = 0;
    walk(open_table(table.number).get(), [&count](uint32_t, const void *) { count++; });
    list.push_back({{"table", table.number}, {"title", table.title}, {"records", count}});
  }
  return list;
}

Json table_show(uint32_t number, const std::string &key) {
  const Table &table = top_table(number);
  const Query query = open_table(number);
  Json list = Json::array();
  if (!key.empty()) {
    const void *record = record_of(query.get(), table, key);
    list.push_back(shown(table, query->found_key_number, record));
    return list;
  }
  walk(query.get(), [&](uint32_t key_number, const void *record) { list.push_back(shown(table, key_number, record)); });
  return list;
}

void table_set(uint32_t number, const std::string &key, const std::string &field, const std::string &value) {
  const Table &table = top_table(number);
  const Query query = open_table(number);
  set_value(table, record_of(query.get(), table, key), field, value);
  keep(query.get());
}

Json account_list() {
  Json list = Json::array();
  walk(open_table(NCFG_TABLE_ACCOUNTS).get(), [&](uint32_t, const void *at) {
    const auto *account = static_cast<const ncfg_account *>(at);
    list.push_back({{"name", account->name},
                    {"password", password_state(account->password)},
                    {"access_profile", name_of(NCFG_TABLE_ACCESS_PROFILES, account->access_profile)},
                    {"hidden", account->hidden != 0}});
  });
  return list;
}

Json account_keys(const std::string &name) {
  record_of(open_table(NCFG_TABLE_ACCOUNTS).get(), top_table(NCFG_TABLE_ACCOUNTS), name);
  Json list = Json::array();
  for (const reference_ssh_key &key : reference_ssh_keys(name.c_str())) {
    list.push_back({{"slot", key.slot}, {"key", key.text}});
  }
  return list;
}

Json account_show(const std::string &name) {
  Json account = table_show(NCFG_TABLE_ACCOUNTS, name)[0];
  account["access_profile"] = name_of(NCFG_TABLE_ACCESS_PROFILES, account["access_profile"].get<uint32_t>());
  account["ssh_keys"] = account_keys(name);
  account["dashboard"] = dashboard_of(name);
  account["gui_dashboard"] = children(name, NCFG_TABLE_GUI_DASHBOARD);
  return account;
}

Json endpoint_show() {
  return {{"AzureEndpoint", table_show(NCFG_TABLE_INTERFACES, "port1")[0]["AzureEndpoint"]}};
}

void endpoint_set(const std::string &address) {
  table_set(NCFG_TABLE_INTERFACES, "port1", "AzureEndpoint", address);
}

Json host_name() {
  return {{"host_name", table_show(NCFG_TABLE_SYSTEM_SETTINGS, "-")[0]["host_name"]}};
}

Json event_hub(bool secrets) {
  const Table &table = top_table(NCFG_TABLE_EVENT_HUB);
  const Query query = open_table(table.number);
  const auto *record = static_cast<const ncfg_event_hub *>(record_of(query.get(), table, "-"));
  Json shown = record_as_json(table, record);
  shown["enabled"] = record->enabled != 0;
  if (secrets) {
    shown["policy_sas_key"] = text_at(field_of(table, "policy_sas_key"), record);
  }
  return shown;
}

Json event_list(int64_t since) {
  Json list = Json::array();
  for (const reference_event &event : reference_events(since)) {
    list.push_back({{"number", event.number},
                    {"time", time_text(event.time)},
                    {"event_id", event.event_id},
                    {"version", event.version},
                    {"category", event.category},
                    {"source", event.source},
                    {"kind", event.kind},
                    {"result", event.result},
                    {"text", event.text}});
  }
  return list;
}

}  // namespace kelvanectl
