#include "provision/account.h"

#include <fcntl.h>
#include <stdio.h>

#include "core/base/file.h"
#include "core/base/log.h"
#include "core/base/query_owner.h"
#include "core/base/random_text.h"
#include "core/base/text.h"
#include "credentials/ssh_pub_key.h"

namespace kelvane {

namespace {

struct Widget {
  const char *name;
  uint32_t column;
};

constexpr Widget kWidgets[kDashboardWidgets] = {
    {.name = "sysinfo", .column = 1},         {.name = "vexwatch", .column = 1},      {.name = "sysres", .column = 2},
    {.name = "policysummary", .column = 2},   {.name = "attacksummary", .column = 2}, {.name = "alert", .column = 2},
    {.name = "policy-sessions", .column = 1}, {.name = "sysop", .column = 2},
};

constexpr uint32_t kWidgetOpen = 1;
constexpr uint32_t kWidgetHeight = 300;

class AccountRecord {
 public:
  AccountRecord() = default;
  ~AccountRecord() { wipe_memory(&record, sizeof record); }
  AccountRecord(const AccountRecord &) = delete;
  AccountRecord &operator=(const AccountRecord &) = delete;

  ncfg_account record = {};
};

// The key number of the record of that name, 0 when there is none.
uint32_t key_number(cmf_query *query, const char *name) {
  return query_find(query, name) != nullptr ? query->found_key_number : 0;
}

void fill_defaults(ncfg_account *record) {
  const bool known = cmdb.table_count >= NCFG_TABLE_ACCOUNTS && cmdb.tables != nullptr;
  const cmdb_table *table = known ? cmdb.tables[NCFG_TABLE_ACCOUNTS] : nullptr;
  if (table != nullptr) {
    copy_cmdb_default(table, record, sizeof *record);
  }
}

// Never stores an empty text: a password that has no stored form is a failure.
int32_t store_password(ncfg_account *record, const char *password) {
  const char *stored = make_new_passwd(password, 0);
  if (stored == nullptr) {
    LOG_ABOVE(0, "[kelvane]: no stored form of the password for %s\n", record->name);
    return -1;
  }
  text_copy_field(record->password, stored);
  return 0;
}

int32_t store_given_password(ncfg_account *record, const char *password) {
  char reason[512] = {};
  if (check_passwd_policy(record, password, reason, sizeof reason) == 0) {
    return store_password(record, password);
  }
  if (reason[0] != '\0') {
    message("passwd check failed, %s", reason);
  }
  return -1;
}

int32_t store_random_password(ncfg_account *record) {
  RandomText password;
  DescriptorOwner source(open(kRandomSource, O_RDONLY | O_CLOEXEC));
  const int32_t made = password.read_from(source.get());
  source.close_now();
  if (made != 0) {
    LOG_ABOVE(0, "[kelvane]: no random bytes for the password of %s\n", record->name);
    return -1;
  }
  return store_password(record, password.get());
}

void give_administrator_profile(ncfg_account *record) {
  QueryOwner profiles(cmf_query_create(NCFG_TABLE_ACCESS_PROFILES));
  if (!profiles.present()) {
    printf("create query for %s failed\n", "");  // the empty text is deliberate
    fflush(stdout);                              // a supervisor's pipe would show it at the agent's end, or never
  }
  record->access_profile = key_number(profiles.get(), "prof_admin");
}

// The values that the account schema asks of every account.
void set_fixed_fields(ncfg_account *record) {
  record->after_password = 0;
  record->hidden = 0;
  record->reserved_2449 = 0;
  record->field_2460 = 0x101;
  record->field_1088 = 1;
  record->field_1096 = 1;
}

enum class Appended {
  kNew,
  kExisted,  // with its dashboards; it was left as it is
  kNot,
};

// An account of that name is no failure: a first boot that was cut off after the account was stored comes again.
Appended append_record(cmf_query *accounts, const ncfg_account *record) {
  if (cmf_query_table_append(accounts, record) == 0) {
    return Appended::kNew;
  }
  if (query_find(accounts, record->name) != nullptr) {
    LOG_ABOVE(0, "[kelvane]: account %s exists already and is left as it is\n", record->name);
    return Appended::kExisted;
  }
  LOG_ABOVE(0, "[kelvane]: account %s cannot be added\n", record->name);
  return Appended::kNot;
}

Appended append_account(ncfg_account *record) {
  QueryOwner accounts(cmf_query_create(NCFG_TABLE_ACCOUNTS));
  if (!accounts.present()) {
    message("cmf_query_create() error\n");
    return Appended::kNot;
  }
  set_fixed_fields(record);
  passwd_policy_save_info(record);
  return append_record(accounts.get(), record);
}

cmf_query *open_child(uint32_t child_table, const char *user_name) {
  cmf_query *accounts = nCfg_query(NCFG_TABLE_ACCOUNTS);
  return accounts != nullptr ? cmf_query_create_child_with_key(accounts, child_table, user_name) : nullptr;
}

void append_dashboard(const char *user_name, const DefaultDashboard &dashboard) {
  QueryOwner child(open_child(NCFG_TABLE_ACCOUNT_DASHBOARD, user_name));
  if (!child.present()) {
    return;
  }
  for (const ncfg_dashboard_entry &entry : dashboard.entries) {
    cmf_query_table_append(child.get(), &entry);
  }
}

void add_gui_dashboard(const char *user_name, const ncfg_account *record) {
  QueryOwner child(open_child(NCFG_TABLE_GUI_DASHBOARD, user_name));
  if (child.present()) {
    add_default_gui_dashboard(child.get(), record, 0, 0, 1);
  }
}

int32_t set_password(ncfg_account *record, const char *password) {
  return password != nullptr ? store_given_password(record, password) : store_random_password(record);
}

}  // namespace

void dashboard_build(DefaultDashboard *dashboard) {
  *dashboard = {};
  for (int32_t i = 0; i < kDashboardWidgets; i++) {
    ncfg_dashboard_entry *entry = &dashboard->entries[i];
    entry->widget = key_number(nCfg_query(NCFG_TABLE_WIDGETS), kWidgets[i].name);
    entry->column = kWidgets[i].column;
    entry->open = kWidgetOpen;
    entry->height = kWidgetHeight;
  }
}

int32_t account_create(const NewAccount &account) {
  AccountRecord holder;
  ncfg_account *record = &holder.record;
  fill_defaults(record);
  text_copy_field(record->name, account.user_name);
  if (set_password(record, account.password) != 0) {
    return -1;
  }
  give_administrator_profile(record);
  const Appended appended = append_account(record);
  if (appended == Appended::kNot) {
    return -1;
  }
  if (appended == Appended::kNew) {
    append_dashboard(account.user_name, *account.dashboard);
    add_gui_dashboard(account.user_name, record);
  }
  const bool written = cmf_write_config(cmf_get_cur_domain_id()) == 0;
  SSHPubKeySet(account.user_name);
  return written ? 0 : kAccountNotWritten;
}

}  // namespace kelvane
