#include "core/admin_lock.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include "core/base/log.h"
#include "core/base/query_owner.h"
#include "core/base/random_text.h"

namespace kelvane {

namespace {

// As strncpy would: a stored form that fills the field ends without a terminator.
void store_password(ncfg_account *account, const char *stored) {
  memset(account->password, 0, sizeof account->password);
  memcpy(account->password, stored, strnlen(stored, sizeof account->password));
}

// 0 when the configuration was written; whether the new password is part of it is the commit's affair, and its failure
// has a line of its own.
int32_t change_password(cmf_query *accounts, ncfg_account *account, const RandomText &password) {
  const char *stored = password.get()[0] != '\0' ? make_new_passwd(password.get(), 0) : nullptr;
  if (stored == nullptr) {
    return -1;
  }
  store_password(account, stored);
  passwd_policy_save_info(account);
  if (cmf_query_commit(accounts) != 0) {
    LOG_ABOVE(0, "[kelvane]: the new password of %s cannot be kept\n", account->name);
  }
  return cmf_write_config(cmf_get_cur_domain_id());
}

void lock_account(cmf_query *accounts, const RandomText &password) {
  auto *account = static_cast<ncfg_account *>(query_find(accounts, "admin"));
  if (account == nullptr) {
    message("cmf_query_table_mfind error\n");
    return;
  }
  if (change_password(accounts, account, password) != 0) {
    message("change admin passwd failed!\n");
  } else {
    message("change admin passwd success!\n");
  }
}

}  // namespace

void admin_lock() {
  RandomText password;
  const int source = open(kRandomSource, O_RDONLY | O_CLOEXEC);
  password.read_from(source);
  if (source >= 0) {
    close(source);
    // Keeps the number taken, so that the second close cannot hit a file that the platform opens in between.
    dup2(STDERR_FILENO, source);
  }
  QueryOwner accounts(cmf_query_create(NCFG_TABLE_ACCOUNTS));
  lock_account(accounts.get(), password);
  // The second close of the same descriptor is deliberate.
  if (source >= 0) {
    close(source);
  }
}

}  // namespace kelvane
