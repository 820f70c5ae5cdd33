// The wrapped platform calls: each is passed on with a trace line of its own, and nothing that the platform does
// meanwhile counts as the agent's doing. A planned failure answers in the platform's stead with null or -1, or
// leaves undone what a call without a result is to do; what has no result and cannot fail is done all the same.
// Passwords, key texts and random bytes never stand in a line; a query is named by its table.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "platform/platform.h"
#include "tools/sandbox/kept_key.h"
#include "tools/sandbox/records.h"
#include "tools/sandbox/text_forms.h"
#include "tools/sandbox/world.h"

extern "C" {
int32_t __real_conf_init(void);
void __real_conf_end(void);
int32_t __real_cmf_get_cur_domain_id(void);
int32_t __real_cmf_write_config(int32_t domain);
cmf_query *__real_nCfg_query(uint32_t table);
cmf_query *__real_cmf_query_create(uint32_t table);
cmf_query *__real_cmf_query_create_child_with_key(cmf_query *parent, uint32_t child_table, const char *key);
void __real_cmf_query_free(cmf_query *query);
void *__real_cmf_query_do_table_find(cmf_query *query, int32_t options, const char *key, int32_t key_kind);
void *__real_cmf_query_update(cmf_query *query);
void *__real_cmf_query_table_head(cmf_query *query);
void *__real_cmf_query_get_next(cmf_query *query);
int32_t __real_cmf_query_commit(cmf_query *query);
int32_t __real_cmf_query_table_append(cmf_query *query, const void *record);
int32_t __real___nCfg_sess_table_change_by_mkey(int32_t session, uint32_t table, const void *old_record,
                                                const void *new_record, int32_t options);
int32_t __real_nCfg_table_delete_by_mkey(uint32_t table, const char *key);
void __real_copy_cmdb_default(const cmdb_table *table, void *record, size_t size);
void __real_message(const char *format, ...);
void __real_log_system_event(uint32_t event_id, int32_t version, int32_t category, const char *source, int32_t kind,
                             int32_t result, const char *text);
const char *__real_make_new_passwd(const char *password, int32_t options);
int32_t __real_check_passwd_policy(const ncfg_account *account, const char *password, char *error_text,
                                   size_t error_size);
void __real_passwd_policy_save_info(ncfg_account *account);
int32_t __real_add_default_gui_dashboard(cmf_query *query, const ncfg_account *account, int32_t options,
                                         int32_t position, int32_t add);
int32_t __real_ssh_pubkey_data_set(const char *user_name, const char *public_key, int32_t slot);
int32_t __real_openssl_init_rng(void);
rsa_st *__real_generate_RSA_key(int32_t bits, uint64_t exponent, void *callback, void *argument);
int32_t __real_get_rnd_bytes(void *buffer, size_t length);
int32_t __real_miglib_b64_pton(const char *text, uint8_t *buffer, size_t size);
void __real_ncfg_active_dayst(void);
const char *__real_get_zoneinfo(int32_t index);
int32_t __real_ncfg_copyfile(const char *source, const char *destination);
}

namespace {

using sandbox::quoted;
using sandbox::World;
using sandbox::world;

// Which table a query is on, and the key of the record that owns it for a child table.
struct QueryName {
  uint32_t table = 0;
  std::string text;
};

std::map<const void *, QueryName> &queries() {
  static auto *const kQueries = new std::map<const void *, QueryName>;
  return *kQueries;
}

std::string name_of(const cmf_query *query) {
  const auto found = queries().find(query);
  return query == nullptr ? "null" : found == queries().end() ? "?" : found->second.text;
}

uint32_t table_of(const cmf_query *query) {
  const auto found = queries().find(query);
  return found == queries().end() ? 0 : found->second.table;
}

std::string number(int64_t value) {
  return std::to_string(value);
}

template <typename... Parts>
std::string list(const std::string &first, const Parts &...rest) {
  std::string out = first;
  (out.append(", ").append(rest), ...);
  return out;
}

// One call of the agent's into the platform.
class PlatformCall {
 public:
  explicit PlatformCall(std::string name, std::string shown = "")
      : agent_(world().agent_calls()), name_(std::move(name)), shown_(std::move(shown)) {
    if (agent_) {
      fault_ = world().strike("platform", name_, shown_) != 0;
      world().platform_call = name_ + "(" + shown_ + ")";
    }
    world().trace.enter();
  }
  ~PlatformCall() {
    world().trace.leave();
    if (agent_) {
      world().platform_call.clear();
      world().trace.line("platform " + name_ + "(" + shown_ + ")" + (result_.empty() ? "" : " = " + result_));
    }
  }
  PlatformCall(const PlatformCall &) = delete;
  PlatformCall &operator=(const PlatformCall &) = delete;

  // Runs the real call, unless the failure is planned.
  template <typename Call>
  int32_t result(Call &&call) {
    const int32_t value = fault_ ? -1 : call();
    result_ = number(value);
    return value;
  }

  // The same for a call that returns an object; shown is what to print for one.
  template <typename Call>
  auto object(const std::string &shown, Call &&call) -> decltype(call()) {
    decltype(call()) value = fault_ ? nullptr : call();
    result_ = value != nullptr ? shown : "null";
    return value;
  }

  // The same for a call without a result: what it was to do is not done.
  template <typename Call>
  void effect(Call &&call) {
    if (fault_) {
      result_ = "nothing done";
    } else {
      call();
    }
  }

  void show(std::string result) { result_ = std::move(result); }

 private:
  bool agent_;
  bool fault_ = false;
  std::string name_;
  std::string shown_;
  std::string result_;
};

// The calls that lend a record, by key number when the query reports one.
template <typename Call>
void *lent(PlatformCall &call, cmf_query *query, Call &&find) {
  void *record = call.object("record", find);
  if (record != nullptr) {
    call.show("record " + number(query->found_key_number));
  }
  return record;
}

cmf_query *named(cmf_query *query, uint32_t table, const std::string &text) {
  if (query != nullptr) {
    queries()[query] = {table, text};
  }
  return query;
}

std::string account_name(const ncfg_account *account) {
  return account != nullptr ? quoted(std::string(account->name, strnlen(account->name, NCFG_NAME_SIZE)).c_str())
                            : "null";
}

}  // namespace

extern "C" {

int32_t __wrap_conf_init(void) {
  int32_t result = 0;
  {
    PlatformCall call("conf_init");
    result = call.result([] { return __real_conf_init(); });
  }
  if (world().agent_calls()) {
    sandbox::run_due_events();
  }
  return result;
}

void __wrap_conf_end(void) {
  const PlatformCall call("conf_end");
  __real_conf_end();
}

int32_t __wrap_cmf_get_cur_domain_id(void) {
  PlatformCall call("cmf_get_cur_domain_id");
  return call.result([] { return __real_cmf_get_cur_domain_id(); });
}

int32_t __wrap_cmf_write_config(int32_t domain) {
  PlatformCall call("cmf_write_config", number(domain));
  return call.result([&] { return __real_cmf_write_config(domain); });
}

cmf_query *__wrap_nCfg_query(uint32_t table) {
  PlatformCall call("nCfg_query", number(table));
  return named(call.object("query", [&] { return __real_nCfg_query(table); }), table, number(table));
}

cmf_query *__wrap_cmf_query_create(uint32_t table) {
  PlatformCall call("cmf_query_create", number(table));
  return named(call.object("query", [&] { return __real_cmf_query_create(table); }), table, number(table));
}

cmf_query *__wrap_cmf_query_create_child_with_key(cmf_query *parent, uint32_t child_table, const char *key) {
  PlatformCall call("cmf_query_create_child_with_key", list(name_of(parent), number(child_table), quoted(key)));
  cmf_query *query =
      call.object("query", [&] { return __real_cmf_query_create_child_with_key(parent, child_table, key); });
  return named(query, child_table, number(child_table) + " of " + quoted(key));
}

void __wrap_cmf_query_free(cmf_query *query) {
  const PlatformCall call("cmf_query_free", name_of(query));
  queries().erase(query);
  __real_cmf_query_free(query);
}

void *__wrap_cmf_query_do_table_find(cmf_query *query, int32_t options, const char *key, int32_t key_kind) {
  PlatformCall call("cmf_query_do_table_find", list(name_of(query), number(options), quoted(key), number(key_kind)));
  return lent(call, query, [&] { return __real_cmf_query_do_table_find(query, options, key, key_kind); });
}

void *__wrap_cmf_query_update(cmf_query *query) {
  PlatformCall call("cmf_query_update", name_of(query));
  return call.object("record", [&] { return __real_cmf_query_update(query); });
}

void *__wrap_cmf_query_table_head(cmf_query *query) {
  PlatformCall call("cmf_query_table_head", name_of(query));
  return lent(call, query, [&] { return __real_cmf_query_table_head(query); });
}

void *__wrap_cmf_query_get_next(cmf_query *query) {
  PlatformCall call("cmf_query_get_next", name_of(query));
  return lent(call, query, [&] { return __real_cmf_query_get_next(query); });
}

int32_t __wrap_cmf_query_commit(cmf_query *query) {
  PlatformCall call("cmf_query_commit", name_of(query));
  return call.result([&] { return __real_cmf_query_commit(query); });
}

int32_t __wrap_cmf_query_table_append(cmf_query *query, const void *record) {
  PlatformCall call("cmf_query_table_append", list(name_of(query), sandbox::record_summary(table_of(query), record)));
  return call.result([&] { return __real_cmf_query_table_append(query, record); });
}

int32_t __wrap___nCfg_sess_table_change_by_mkey(int32_t session, uint32_t table, const void *old_record,
                                                const void *new_record, int32_t options) {
  PlatformCall call("__nCfg_sess_table_change_by_mkey",
                    list(number(session), number(table), sandbox::record_summary(table, new_record), number(options)));
  return call.result(
      [&] { return __real___nCfg_sess_table_change_by_mkey(session, table, old_record, new_record, options); });
}

int32_t __wrap_nCfg_table_delete_by_mkey(uint32_t table, const char *key) {
  PlatformCall call("nCfg_table_delete_by_mkey", list(number(table), quoted(key)));
  return call.result([&] { return __real_nCfg_table_delete_by_mkey(table, key); });
}

void __wrap_copy_cmdb_default(const cmdb_table *table, void *record, size_t size) {
  const PlatformCall call("copy_cmdb_default", table != nullptr ? number(table->number) : "null");
  __real_copy_cmdb_default(table, record, size);
}

// The one call that is no "platform" line: what the agent logs, on one line.
void __wrap_message(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char *text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  va_end(arguments);
  if (length < 0) {
    return;
  }
  World &w = world();
  if (w.agent_calls()) {
    w.trace.line("log " + sandbox::escaped(text));
  }
  const sandbox::NotTheAgent inside(w.trace);
  __real_message("%s", text);
  std::free(text);
}

void __wrap_log_system_event(uint32_t event_id, int32_t version, int32_t category, const char *source, int32_t kind,
                             int32_t result, const char *text) {
  PlatformCall call("log_system_event", list(number(event_id), number(version), number(category), quoted(source),
                                             number(kind), number(result), quoted(text)));
  call.effect([&] { __real_log_system_event(event_id, version, category, source, kind, result, text); });
}

const char *__wrap_make_new_passwd(const char *password, int32_t options) {
  PlatformCall call("make_new_passwd", list("a password", number(options)));
  return call.object("a hash", [&] { return __real_make_new_passwd(password, options); });
}

int32_t __wrap_check_passwd_policy(const ncfg_account *account, const char *password, char *error_text,
                                   size_t error_size) {
  PlatformCall call("check_passwd_policy",
                    list(account_name(account), "a password", number(static_cast<int64_t>(error_size))));
  return call.result([&] { return __real_check_passwd_policy(account, password, error_text, error_size); });
}

void __wrap_passwd_policy_save_info(ncfg_account *account) {
  PlatformCall call("passwd_policy_save_info", account_name(account));
  call.effect([&] { __real_passwd_policy_save_info(account); });
}

int32_t __wrap_add_default_gui_dashboard(cmf_query *query, const ncfg_account *account, int32_t options,
                                         int32_t position, int32_t add) {
  PlatformCall call("add_default_gui_dashboard",
                    list(name_of(query), account_name(account), number(options), number(position), number(add)));
  return call.result([&] { return __real_add_default_gui_dashboard(query, account, options, position, add); });
}

int32_t __wrap_ssh_pubkey_data_set(const char *user_name, const char *public_key, int32_t slot) {
  PlatformCall call("ssh_pubkey_data_set", list(quoted(user_name), "a key", number(slot)));
  return call.result([&] { return __real_ssh_pubkey_data_set(user_name, public_key, slot); });
}

int32_t __wrap_openssl_init_rng(void) {
  PlatformCall call("openssl_init_rng");
  return call.result([] { return __real_openssl_init_rng(); });
}

rsa_st *__wrap_generate_RSA_key(int32_t bits, uint64_t exponent, void *callback, void *argument) {
  PlatformCall call("generate_RSA_key", list(number(bits), std::to_string(exponent)));
  const auto make = [&] { return __real_generate_RSA_key(bits, exponent, callback, argument); };
  const std::string &kept = world().options.key;
  return call.object("a key", [&] { return kept.empty() ? make() : sandbox::kept_key(kept, bits, make); });
}

int32_t __wrap_get_rnd_bytes(void *buffer, size_t length) {
  PlatformCall call("get_rnd_bytes", number(static_cast<int64_t>(length)));
  return call.result([&] { return __real_get_rnd_bytes(buffer, length); });
}

int32_t __wrap_miglib_b64_pton(const char *text, uint8_t *buffer, size_t size) {
  PlatformCall call("miglib_b64_pton", "a text");
  const int32_t length = call.result([&] { return __real_miglib_b64_pton(text, buffer, size); });
  call.show(length >= 0 ? "bytes" : number(length));
  return length;
}

void __wrap_ncfg_active_dayst(void) {
  const PlatformCall call("ncfg_active_dayst");
  __real_ncfg_active_dayst();
}

const char *__wrap_get_zoneinfo(int32_t index) {
  PlatformCall call("get_zoneinfo", number(index));
  const char *zone = call.object("zone", [&] { return __real_get_zoneinfo(index); });
  call.show(quoted(zone));
  return zone;
}

int32_t __wrap_ncfg_copyfile(const char *source, const char *destination) {
  PlatformCall call("ncfg_copyfile", list(quoted(source), quoted(destination)));
  return call.result([&] { return __real_ncfg_copyfile(source, destination); });
}

}  // extern "C"
