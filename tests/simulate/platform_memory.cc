// A platform in the world's memory, as lean as the agent lets it be: all of it but the configuration's tables.
#include <openssl/rsa.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/platform.h"
#include "tests/fuzz/fixed_key.h"
#include "tests/simulate/accounts.h"
#include "tests/simulate/disk.h"
#include "tests/simulate/event_hub.h"
#include "tests/simulate/platform_memory.h"
#include "tests/simulate/trouble.h"
#include "tests/simulate/world.h"

using simulate::platform_fails;
using simulate::world;

namespace {

RSA *gsKey = nullptr;

}  // namespace

namespace simulate {

void platform_make_key() {
  gsKey = fuzz::fixed_rsa_key();
}

}  // namespace simulate

extern "C" {

ncfg_debug_zone *nCfg_debug_zone = nullptr;
cmdb_schema cmdb = {0, nullptr};

int32_t conf_init(void) {
  nCfg_debug_zone = &world().zone;
  return 0;
}

void conf_end(void) {}

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

void log_system_event(uint32_t event_id, int32_t, int32_t, const char *, int32_t, int32_t result, const char *text) {
  simulate::event_hub_told(event_id, result, text);
}

// A stored form that tells the password, so that it can be compared; a policy that is against all of them, in some
// worlds.
const char *make_new_passwd(const char *password, int32_t) {
  static char stored[NCFG_PASSWORD_SIZE];
  if (platform_fails("storing a password")) {
    simulate::accounts_call_failed();
    return nullptr;
  }
  std::snprintf(stored, sizeof stored, "stored:%s", password);
  return stored;
}

int32_t check_passwd_policy(const ncfg_account *, const char *, char *reason, size_t size) {
  if (platform_fails("the password's policy")) {
    *reason = '\0';
    return -1;
  }
  std::snprintf(reason, size, "%s", world().media.refused ? "too weak" : "");
  return world().media.refused ? 1 : 0;
}

void passwd_policy_save_info(ncfg_account *) {}

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

// Asked for the transport certificate's serial number, of eight bytes, and for random texts, which leave the key alone.
int32_t get_rnd_bytes(void *buffer, size_t length) {
  if (platform_fails("random bytes")) {
    world().keyless = world().keyless || length == sizeof(uint64_t);
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
