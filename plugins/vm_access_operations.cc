#include "plugins/vm_access_operations.h"

#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include "core/base/file.h"
#include "core/base/json.h"
#include "core/base/log.h"
#include "core/base/query_owner.h"
#include "core/base/text.h"
#include "credentials/ssh_pub_key.h"
#include "platform/platform.h"
#include "provision/account.h"
#include "provision/ovf_values.h"

namespace kelvane {

namespace {

constexpr char kSshdPidFile[] = "/var/run/sshd.pid";
constexpr char kPublicKeyStart[] = "ssh-rsa ";

// What the settings ask for. Texts are lent by the settings object; those of another type than text are absent.
struct VMAccessOperations {
  bool reset_ssh;
  const char *remove_user;
  const char *password;
  const char *user_name;
  const char *ssh_key;
  const char *expiration;  // read, not applied
  // Read when there are public settings; not acted upon.
  bool check_disk;
  bool repair_disk;
  const char *disk_name;
};

bool member_flag(json_object *object, const char *name) {
  return json_object_get_boolean(json_member(object, name, json_type_boolean)) != 0;
}

VMAccessOperations read_operations(json_object *public_object, json_object *protected_object) {
  VMAccessOperations operations = {
      .reset_ssh = member_flag(protected_object, "reset_ssh"),
      .remove_user = json_member_text(protected_object, "remove_user"),
      .password = json_member_text(protected_object, "password"),
      .user_name = json_member_text(protected_object, "username"),
      .ssh_key = json_member_text(protected_object, "ssh_key"),
      .expiration = json_member_text(protected_object, "expiration"),
      .check_disk = false,
      .repair_disk = false,
      .disk_name = nullptr,
  };
  if (public_object != nullptr) {
    operations.check_disk = member_flag(protected_object, "check_disk");
    operations.repair_disk = member_flag(protected_object, "repair_disk");
    operations.disk_name = json_member_text(protected_object, "disk_name");
  }
  return operations;
}

int32_t VMAccess_ResetSsh() {
  DescriptorOwner file(file_open_to_read(kSshdPidFile));
  if (!file.present()) {
    return -1;
  }
  char line[128] = {};
  file_read_full(file.get(), line, sizeof line - 1);
  line[strcspn(line, "\n")] = '\0';
  const long process = strtol(line, nullptr, 10);
  // A line that names no process must not reach a process group, nor everything.
  if (process > 0 && process <= INT32_MAX) {
    kill(static_cast<pid_t>(process), SIGTERM);
  }
  return 0;
}

int32_t VMAccess_RemoveUser(const char *user_name) {
  const auto *account = static_cast<const ncfg_account *>(query_find(nCfg_query(NCFG_TABLE_ACCOUNTS), user_name));
  if (account == nullptr || account->hidden != 0) {
    return -1;
  }
  return nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, user_name);
}

// The policy is deliberately not asked when an existing account's password changes.
void change_password(ncfg_account *account, cmf_query *query, const char *password) {
  LOG_ABOVE(5, "[kelvane]: VMAccess: Changing password for %s\n", account->name);
  // A second stored form, made for the record.
  const char *stored = make_new_passwd(password, 0);
  if (stored != nullptr) {
    text_copy_field(account->password, stored);
    passwd_policy_save_info(account);
    cmf_query_commit(query);
  }
  if (stored == nullptr || cmf_write_config(cmf_get_cur_domain_id()) != 0) {
    LOG_ABOVE(0, "[kelvane]: change admin passwd failed!\n");
  } else {
    LOG_ABOVE(5, "[kelvane]: change admin passwd success!\n");
  }
}

// The account's record, or null when there is none that may be used.
const ncfg_account *VMAccess_CreateOrUpdateAccount(const char *user_name, const char *password) {
  DefaultDashboard dashboard;
  dashboard_build(&dashboard);
  cmf_query *accounts = nCfg_query(NCFG_TABLE_ACCOUNTS);
  auto *account = static_cast<ncfg_account *>(query_find(accounts, user_name));
  if (account == nullptr) {
    if (account_create({.user_name = user_name, .password = password, .dashboard = &dashboard}) < 0) {
      return nullptr;
    }
    account = static_cast<ncfg_account *>(query_find(accounts, user_name));
    LOG_ABOVE(6, "[kelvane]: Create new user %s success!\n", user_name);
    return account;
  }
  if (account->hidden != 0) {
    LOG_ABOVE(3, "[kelvane]: VMAccess: user found but hidden, no password change\n");
    return nullptr;
  }
  if (password != nullptr && make_new_passwd(password, 0) != nullptr) {
    change_password(account, accounts, password);
  }
  return account;
}

int32_t install_key(const char *user_name, const char *ssh_key) {
  int32_t result = 0;
  if (strncmp(ssh_key, kPublicKeyStart, strlen(kPublicKeyStart)) == 0) {
    LOG_ABOVE(6, "[kelvane]: VMAccess: Set ssh-key from key (no-convert).\n");
    result = SSHPubKeySetFromKey(user_name, ssh_key);
  } else {
    LOG_ABOVE(6, "[kelvane]: VMAccess: Set ssh-key from cert.\n");
    result = SSHPubKeySetFromCert(user_name, ssh_key);
  }
  LOG_ABOVE(6, "[kelvane]: VMAccess: Set ssh-key to user '%s' -> res %d.\n", user_name, result);
  return result;
}

int32_t VMAccess_SetAccount(const VMAccessOperations *operations) {
  const char *password = operations->password;
  if (password == nullptr && operations->ssh_key == nullptr && __hasSSHPubKeys() == 0) {
    LOG_ABOVE(0, "[kelvane]: VMAccess: No password or ssh_key is specified.\n");
    return -1;
  }
  // After the check above, deliberately: an empty password passes it and then changes nothing.
  if (password != nullptr && password[0] == '\0') {
    LOG_ABOVE(0, "[kelvane]: VMAccess: empty passwords are not allowed, ignoring password reset.\n");
    password = nullptr;
  }
  if (VMAccess_CreateOrUpdateAccount(operations->user_name, password) == nullptr) {
    LOG_ABOVE(0, "[kelvane]: VMAccess: failed to create account or set the password\n");
    return -1;
  }
  return operations->ssh_key != nullptr ? install_key(operations->user_name, operations->ssh_key) : 0;
}

int32_t reset_or_remove(const VMAccessOperations *operations) {
  if (operations->remove_user == nullptr) {
    if (operations->reset_ssh && VMAccess_ResetSsh() != 0) {
      LOG_ABOVE(0, "[kelvane]: VMAccess: reset ssh failed\n");
      return -1;
    }
    return 0;
  }
  if (operations->reset_ssh || operations->password != nullptr) {
    LOG_ABOVE(0, "[kelvane]: VMAccess: Argument error, conflicting operations\n");
    return -1;
  }
  if (VMAccess_RemoveUser(operations->remove_user) < 0) {
    LOG_ABOVE(0, "[kelvane]: VMAccess: _remove_user_account failed\n");
    return -1;
  }
  return 0;
}

}  // namespace

int32_t vm_access_apply(json_object *public_object, json_object *protected_object) {
  const VMAccessOperations operations = read_operations(public_object, protected_object);
  if (reset_or_remove(&operations) != 0) {
    return -1;
  }
  if (operations.user_name != nullptr && VMAccess_SetAccount(&operations) != 0) {
    LOG_ABOVE(0, "[kelvane]: VMAccess: set user account public key failed\n");
    return -1;
  }
  return 0;
}

}  // namespace kelvane
