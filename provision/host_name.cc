#include "provision/host_name.h"

#include <string.h>
#include <unistd.h>

#include "core/base/query_owner.h"
#include "core/base/text.h"

namespace kelvane {

namespace {

void store_host_name(const char *name) {
  QueryOwner query(cmf_query_create(NCFG_TABLE_SYSTEM_SETTINGS));
  auto *settings = static_cast<ncfg_system_settings *>(query.present() ? cmf_query_update(query.get()) : nullptr);
  if (settings == nullptr) {
    return;
  }
  text_copy_field(settings->host_name, name);
  cmf_query_commit(query.get());
}

// The kernel is given all 64 bytes of the field, the zeros behind a shorter name included, deliberately.
void announce_host_name(const char *name) {
  char field[NCFG_HOST_NAME_LENGTH] = {};
  memcpy(field, name, strnlen(name, sizeof field));
  if (nCfg_debug_zone != nullptr) {
    memcpy(nCfg_debug_zone->host_name, field, sizeof field);
  }
  // Without the right to set it the name takes effect at the next start of the appliance.
  static_cast<void>(sethostname(field, sizeof field) == 0);
}

}  // namespace

void ProvisionAgent_SetHostname(const char *name) {
  if (name == nullptr) {
    message("hostname is NULL!\n");
    return;
  }
  store_host_name(name);
  if (cmf_write_config(cmf_get_cur_domain_id()) != 0) {
    // The name of the appliance's own start-up step, which reports the same failure in the same words.
    message("%s: load irdb cmdb write conf failed.\n", "boxinit_set_hostname");
  }
  announce_host_name(name);
}

}  // namespace kelvane
