#include "telemetry/telemetry.h"

#include <mxml.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include "core/base/text.h"

namespace kelvane {

namespace {

struct Context {
  Text tenant_name;
  Text container_id;
  Text role_name;
  Text role_instance_name;
  Text os_version;
  uint64_t ram_mebibytes = 0;
  int32_t processors = 0;
};

Context gsContext;

// The first value wins, deliberately: what a goal state names later is not the machine's identity any more. A copy that
// fails leaves the item absent.
void keep_first(Text *item, const char *text) {
  if (!item->present()) {
    text_copy(item, text);
  }
}

}  // namespace

void TelemetryInit() {
  mxmlSetWrapMargin(0);
  struct sysinfo system = {};
  if (sysinfo(&system) == 0) {
    gsContext.ram_mebibytes = (uint64_t{system.totalram} * system.mem_unit) >> 20;
  }
  const long processors = sysconf(_SC_NPROCESSORS_ONLN);
  gsContext.processors = processors > 0 ? static_cast<int32_t>(processors) : 0;
}

void TelemetrySetTenantName(const char *text) {
  keep_first(&gsContext.tenant_name, text);
}

void TelemetrySetContainerId(const char *text) {
  keep_first(&gsContext.container_id, text);
}

void TelemetrySetRoleName(const char *text) {
  keep_first(&gsContext.role_name, text);
}

void TelemetrySetRoleInstanceName(const char *text) {
  keep_first(&gsContext.role_instance_name, text);
}

void TelemetrySetOSVersion(const char *text) {
  keep_first(&gsContext.os_version, text);
}

void TelemetryCleanup() {
  Text *const items[] = {&gsContext.tenant_name, &gsContext.container_id, &gsContext.role_name,
                         &gsContext.role_instance_name, &gsContext.os_version};
  for (Text *item : items) {
    item->reset();
  }
}

TelemetryContext telemetry_context() {
  return {
      .tenant_name = gsContext.tenant_name.get(),
      .container_id = gsContext.container_id.get(),
      .role_name = gsContext.role_name.get(),
      .role_instance_name = gsContext.role_instance_name.get(),
      .os_version = gsContext.os_version.get(),
      .ram_mebibytes = gsContext.ram_mebibytes,
      .processors = gsContext.processors,
  };
}

}  // namespace kelvane
