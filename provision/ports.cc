#include "provision/ports.h"

#include <string.h>

#include "platform/platform.h"

namespace kelvane {

namespace {

bool to_be_reset(const ncfg_interface *port) {
  return strncmp(port->name, "port", 4) == 0 && strncmp(port->name, "port1", sizeof port->name) != 0 &&
         port->manual == 0;
}

void reset_port(const ncfg_interface *port) {
  ncfg_interface changed = *port;
  changed.addressing_mode = NCFG_ADDRESSING_DHCP;
  changed.default_server = 0;
  __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_INTERFACES, port, &changed, 0);
}

}  // namespace

int32_t ProvisionAgent_ResetPorts() {
  cmf_query *query = nCfg_query(NCFG_TABLE_INTERFACES);
  for (void *record = query != nullptr ? cmf_query_table_head(query) : nullptr; record != nullptr;
       record = cmf_query_get_next(query)) {
    const auto *port = static_cast<const ncfg_interface *>(record);
    if (to_be_reset(port)) {
      reset_port(port);
    }
  }
  return 0;
}

}  // namespace kelvane
