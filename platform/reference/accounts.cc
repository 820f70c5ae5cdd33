// Passwords (libxcrypt, libpwquality) and what a new account gets besides.
#include <crypt.h>
#include <fcntl.h>
#include <pwquality.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

#include "platform/platform.h"
#include "platform/reference/guard.h"
#include "platform/reference/history.h"
#include "platform/reference/queries.h"
#include "platform/reference/store.h"

namespace kelvane::reference {
namespace {

constexpr char kYescrypt[] = "$y$";
constexpr int kLeastLength = 8;
constexpr int kLeastClasses = 3;

// The hash of a password with the settings that stand in another hash; null when it cannot be made. Lent until the next
// call.
const char *hash_with(const char *password, const char *settings) {
  static crypt_data data;
  memset(&data, 0, sizeof data);
  const char *hash = crypt_r(password, settings, &data);
  const bool made = hash != nullptr && hash[0] != '*' && strlen(hash) < NCFG_PASSWORD_SIZE;
  memset(data.input, 0, sizeof data.input);
  return made ? hash : nullptr;
}

bool is_password(const char *password, const std::string &hash) {
  const char *again = hash.empty() ? nullptr : hash_with(password, hash.c_str());
  return again != nullptr && hash == again;
}

template <size_t Size>
std::string bounded(const char (&field)[Size]) {
  return {field, strnlen(field, Size)};
}

// The password checker ships without word lists on many systems, and takes their absence for a bad password.
bool has_word_list() {
  for (const char *path :
       {"/var/cache/cracklib/cracklib_dict.pwd", "/usr/share/cracklib/pw_dict.pwd", "/usr/lib/cracklib_dict.pwd"}) {
    if (faccessat(AT_FDCWD, path, R_OK, 0) == 0) {
      return true;
    }
  }
  return false;
}

std::string quality_fault(const char *password, const std::string &user) {
  const std::unique_ptr<pwquality_settings_t, decltype(&pwquality_free_settings)> settings(pwquality_default_settings(),
                                                                                           &pwquality_free_settings);
  if (settings == nullptr) {
    return "The password cannot be checked";
  }
  pwquality_set_int_value(settings.get(), PWQ_SETTING_MIN_LENGTH, kLeastLength);
  pwquality_set_int_value(settings.get(), PWQ_SETTING_MIN_CLASS, kLeastClasses);
  pwquality_set_int_value(settings.get(), PWQ_SETTING_DICT_CHECK, has_word_list() ? 1 : 0);
  void *detail = nullptr;
  const char *name = user.empty() ? nullptr : user.c_str();
  const int result = pwquality_check(settings.get(), password, nullptr, name, &detail);
  if (result >= 0) {
    return {};
  }
  char text[PWQ_MAX_ERROR_MESSAGE_LEN] = "";
  const char *reason = pwquality_strerror(text, sizeof text, result, detail);
  return reason == nullptr || *reason == '\0' ? "The password is too weak" : reason;
}

// Nothing when there is no such account.
std::optional<std::string> current_hash(const std::string &user) {
  const std::optional<Place> accounts = store_table(*find_table(NCFG_TABLE_ACCOUNTS));
  const std::optional<Record> found = accounts ? store_find(*accounts, user) : std::nullopt;
  if (!found) {
    return std::nullopt;
  }
  return stored_password(found->bytes.data());
}

// The password that the account has at present is no reuse: a first boot that was cut off after the account had been
// stored comes again with the same one. Nor is one that was remembered for an account that could not be added.
bool is_reused(const char *password, const std::string &user) {
  const std::optional<std::string> current = current_hash(user);
  if (!current || is_password(password, *current)) {
    return false;
  }
  const std::vector<std::string> history = store_passwords(user);
  return std::any_of(history.begin(), history.end(),
                     [password](const std::string &hash) { return is_password(password, hash); });
}

std::string policy_fault(const ncfg_account *account, const char *password) {
  if (password == nullptr) {
    return "There is no password";
  }
  if (strnlen(password, CRYPT_MAX_PASSPHRASE_SIZE) == CRYPT_MAX_PASSPHRASE_SIZE) {
    return "The password is too long";
  }
  const std::string user = account == nullptr ? "" : bounded(account->name);
  std::string fault = quality_fault(password, user);
  if (fault.empty() && is_reused(password, user)) {
    return "The password has been used already";
  }
  return fault;
}

constexpr ncfg_gui_dashboard kPages[] = {{{"status"}, 2}, {{"security"}, 3}};

bool append_pages(cmf_query *query) {
  if (place_of(query).table->definition.number != NCFG_TABLE_GUI_DASHBOARD) {
    return false;
  }
  return std::all_of(std::begin(kPages), std::end(kPages),
                     [query](const ncfg_gui_dashboard &page) { return cmf_query_table_append(query, &page) == 0; });
}

}  // namespace
}  // namespace kelvane::reference

using namespace kelvane::reference;

const char *make_new_passwd(const char *password, int32_t) {
  char settings[CRYPT_GENSALT_OUTPUT_SIZE] = "";
  if (password == nullptr ||
      crypt_gensalt_rn(kYescrypt, 0, nullptr, 0, settings, static_cast<int>(sizeof settings)) == nullptr) {
    return nullptr;
  }
  static char lent[NCFG_PASSWORD_SIZE];
  const char *hash = hash_with(password, settings);
  if (hash == nullptr) {
    return nullptr;
  }
  snprintf(lent, sizeof lent, "%s", hash);
  return lent;
}

int32_t check_passwd_policy(const struct ncfg_account *account, const char *password, char *error_text,
                            size_t error_size) {
  return guarded("check_passwd_policy", -1, [=] {
    if (error_text != nullptr && error_size > 0) {
      error_text[0] = '\0';
    }
    const std::string fault = policy_fault(account, password);
    if (error_text != nullptr && error_size > 0) {
      snprintf(error_text, error_size, "%s", fault.c_str());
    }
    return fault.empty() ? 0 : -1;
  });
}

void passwd_policy_save_info(struct ncfg_account *account) {
  if (account == nullptr) {
    return;
  }
  guarded("passwd_policy_save_info", -1, [=] {
    const std::string name = bounded(account->name);
    if (!name.empty()) {
      store_add_password(name, bounded(account->password));
    }
    return 0;
  });
}

int32_t add_default_gui_dashboard(struct cmf_query *query, const struct ncfg_account *account, int32_t, int32_t,
                                  int32_t add) {
  if (query == nullptr || account == nullptr || add != 1) {
    return -1;
  }
  return guarded("add_default_gui_dashboard", -1, [=] { return append_pages(query) ? 0 : -1; });
}
