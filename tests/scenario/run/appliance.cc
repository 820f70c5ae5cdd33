#include "tests/scenario/run/appliance.h"

#include <crypt.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "platform/platform.h"
#include "platform/reference/reference.h"
#include "tests/scenario/run/process.h"
#include "tests/scenario/run/record_bytes.h"
#include "tools/sandbox/records.h"

namespace scenario {
namespace {

namespace files = std::filesystem;

using sandbox::RecordTable;

void connect(const std::string &root) {
  reference_set_root(root.c_str());
  if (conf_init() != 0 || nCfg_debug_zone == nullptr) {
    throw std::runtime_error("no configuration below " + root);
  }
}

const RecordTable &table_of(const Json &entry) {
  const RecordTable *table = sandbox::record_table(entry.at("table").get<uint32_t>());
  if (table == nullptr) {
    throw std::runtime_error("unknown table in " + entry.dump());
  }
  return *table;
}

// A query of this process's own, freed at its end.
struct Query {
  explicit Query(cmf_query *made) : query(made) {
    if (query == nullptr) {
      throw std::runtime_error("no query");
    }
  }
  ~Query() { cmf_query_free(query); }
  Query(const Query &) = delete;
  Query &operator=(const Query &) = delete;
  cmf_query *query;
};

void *find(const Query &query, const RecordTable &table, const std::string &key) {
  return table.single ? cmf_query_update(query.query) : cmf_query_do_table_find(query.query, 0, key.c_str(), 2);
}

void require(int32_t result, const Json &entry) {
  if (result != 0) {
    throw std::runtime_error("the platform refuses " + entry.dump());
  }
}

void append(const RecordTable &table, const Json &entry) {
  const Query query(cmf_query_create(table.number));
  std::vector<char> record(table.size);
  if (table.number <= cmdb.table_count && cmdb.tables[table.number] != nullptr) {
    copy_cmdb_default(cmdb.tables[table.number], record.data(), record.size());
  }
  sandbox::record_set(table, record.data(), {{"name", entry.at("key")}});
  sandbox::record_set(table, record.data(), entry.value("fields", Json::object()));
  require(cmf_query_table_append(query.query, record.data()), entry);
  require(cmf_write_config(cmf_get_cur_domain_id()), entry);
}

void change(const RecordTable &table, const Json &entry) {
  const Query query(cmf_query_create(table.number));
  void *record = find(query, table, entry.value("key", std::string()));
  if (record == nullptr) {
    throw std::runtime_error("no record for " + entry.dump());
  }
  sandbox::record_set(table, record, entry.at("fields"));
  require(cmf_query_commit(query.query), entry);
  require(cmf_write_config(cmf_get_cur_domain_id()), entry);
}

void apply(const Json &entry) {
  const RecordTable &table = table_of(entry);
  if (entry.value("delete", false)) {
    require(nCfg_table_delete_by_mkey(table.number, entry.at("key").get<std::string>().c_str()), entry);
  } else if (entry.value("new", false)) {
    append(table, entry);
  } else {
    change(table, entry);
  }
}

void add_account(const Json &account) {
  Json fields = account.value("fields", Json::object());
  const char *stored = make_new_passwd(account.value("password", std::string("Kelvane-Test-1")).c_str(), 0);
  if (stored == nullptr) {
    throw std::runtime_error("no stored password");
  }
  fields["password"] = stored;
  append(*sandbox::record_table(NCFG_TABLE_ACCOUNTS), {{"key", account.at("name")}, {"fields", fields}});
}

void change_factory_state(const Json &appliance) {
  if (appliance.contains("endpoint")) {
    apply({{"table", NCFG_TABLE_INTERFACES}, {"key", "port1"}, {"fields", {{"AzureEndpoint", appliance["endpoint"]}}}});
  }
  for (const Json &account : appliance.value("accounts", Json::array())) {
    add_account(account);
  }
  for (const Json &entry : appliance.value("tables", Json::array())) {
    apply(entry);
  }
  const auto os_version = appliance.value("os_version", std::string("Pellix 5.4.2"));
  std::strncpy(nCfg_debug_zone->os_version, os_version.c_str(), sizeof nCfg_debug_zone->os_version - 1);
  nCfg_debug_zone->agent_debug_level = appliance.value("debug_level", 0);
}

Json in_words(const RecordTable &table, const void *record) {
  Json out = sandbox::record_fields(table, record);
  out["rest"] = sandbox::record_rest(table, record);
  return out;
}

Json records_of(const Query &query, const RecordTable &table) {
  Json out = Json::array();
  for (void *record = cmf_query_table_head(query.query); record != nullptr; record = cmf_query_get_next(query.query)) {
    out.push_back(in_words(table, record));
  }
  return out;
}

Json child_records(const RecordTable &table, const std::string &parent) {
  const Query owner(cmf_query_create(table.parent));
  cmf_query *child = cmf_query_create_child_with_key(owner.query, table.number, parent.c_str());
  if (child == nullptr) {
    return {{"absent", true}};
  }
  return {{"records", records_of(Query(child), table)}};
}

Json events() {
  Json out = Json::array();
  for (const reference_event &event : reference_events(0)) {
    out.push_back({{"id", event.event_id},
                   {"version", event.version},
                   {"category", event.category},
                   {"source", event.source},
                   {"kind", event.kind},
                   {"result", event.result},
                   {"text", event.text}});
  }
  return {{"events", out}};
}

Json ssh_keys(const std::string &account) {
  Json out = Json::array();
  for (const reference_ssh_key &key : reference_ssh_keys(account.c_str())) {
    out.push_back({{"slot", key.slot}, {"text", key.text}});
  }
  return {{"keys", out}};
}

Json answer(const Json &entry) {
  if (entry.contains("ssh_keys_of")) {
    return ssh_keys(entry["ssh_keys_of"].get<std::string>());
  }
  if (entry.contains("events")) {
    return events();
  }
  if (entry.contains("debug")) {
    return {{"debug",
             {{"test_command", nCfg_debug_zone->test_command},
              {"flags", nCfg_debug_zone->flags},
              {"host_name", nCfg_debug_zone->host_name}}}};
  }
  const RecordTable &table = table_of(entry);
  if (entry.contains("parent")) {
    return child_records(table, entry["parent"].get<std::string>());
  }
  const Query query(cmf_query_create(table.number));
  if (!table.single && !entry.contains("key")) {
    return {{"records", records_of(query, table)}};
  }
  const void *record = find(query, table, entry.value("key", std::string()));
  if (record == nullptr) {
    return {{"absent", true}};
  }
  return entry.contains("bytes") ? Json{{"bytes", as_digits(record, table.size)}}
                                 : Json{{"fields", in_words(table, record)}};
}

}  // namespace

const Json &part(const Json &object, const char *name) {
  static const Json kNone = Json::object();
  return object.contains(name) ? object[name] : kNone;
}

void make_appliance(const std::string &root, const Json &appliance) {
  in_child([&] {
    connect(root);
    change_factory_state(appliance);
    conf_end();
    return std::string();
  });
  for (const auto &[path, file] : part(appliance, "files").items()) {
    place_file(root, path, file);
  }
}

void set_debug_level(const std::string &root, int64_t level) {
  in_child([&] {
    connect(root);
    nCfg_debug_zone->agent_debug_level = static_cast<int32_t>(level);
    conf_end();
    return std::string();
  });
}

namespace {

// A size beyond the text is a hole at its end, so that a huge file costs nothing; a size alone is so many letters.
void write_file(const files::path &place, const Json &file) {
  {
    std::ofstream stream(place, std::ios::binary | std::ios::trunc);
    if (file.contains("bytes")) {
      for (const Json &byte : file["bytes"]) {
        stream.put(static_cast<char>(byte.get<unsigned>()));
      }
    } else {
      stream << file.value("text", std::string(file.value("size", size_t{0}), 'x'));
    }
  }
  if (file.contains("text") && file.contains("size")) {
    files::resize_file(place, file["size"].get<size_t>());
  }
}

}  // namespace

void place_file(const std::string &folder, const std::string &path, const Json &file) {
  const files::path place = folder + "/" + path;
  files::create_directories(place.parent_path());
  if (file.value("absent", false)) {
    files::remove_all(place);
  } else if (file.value("folder", false)) {
    files::create_directories(place);
  } else if (file.contains("symlink")) {
    files::remove(place);
    files::create_symlink(file["symlink"].get<std::string>(), place);
  } else if (file.value("pipe", false)) {
    files::remove(place);
    if (mkfifo(place.c_str(), 0600) != 0) {
      throw std::runtime_error("cannot make the pipe " + path);
    }
  } else {
    write_file(place, file);
  }
  if (file.contains("mode")) {
    chmod(place.c_str(), static_cast<mode_t>(std::stoul(file["mode"].get<std::string>(), nullptr, 8)));
  }
}

Json look_up(const std::string &root, const Json &entry) {
  return look_up_all(root, Json::array({entry}))[0];
}

Json look_up_all(const std::string &root, const Json &entries) {
  return Json::parse(in_child([&] {
    connect(root);
    Json answers = Json::array();
    for (const Json &entry : entries) {
      answers.push_back(answer(entry));
    }
    conf_end();
    return answers.dump();
  }));
}

bool password_fits(const std::string &stored, const std::string &clear) {
  crypt_data data = {};
  const char *again = crypt_r(clear.c_str(), stored.c_str(), &data);
  return again != nullptr && stored == again;
}

}  // namespace scenario
