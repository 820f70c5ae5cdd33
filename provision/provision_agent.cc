#include "provision/provision_agent.h"

#include <unistd.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "protocol/wire/endpoint.h"
#include "provision/account.h"
#include "provision/custom_data.h"
#include "provision/host_key.h"
#include "provision/host_name.h"
#include "provision/marker.h"
#include "provision/ovf_values.h"
#include "provision/ports.h"

namespace kelvane {

namespace {

constexpr size_t kFingerprintLength = 32;

struct OvfValues {
  Text host_name;
  Text user_name;
  Text password;

  OvfValues() = default;
  ~OvfValues() { password.wipe(); }
  OvfValues(const OvfValues &) = delete;
  OvfValues &operator=(const OvfValues &) = delete;
};

int32_t create_account(OvfValues *values, const DefaultDashboard &dashboard) {
  const NewAccount account = {
      .user_name = values->user_name.get(),
      .password = values->password.get(),
      .dashboard = &dashboard,
  };
  return account_create(account);
}

void ProvisionAgent_Provision(mxml_node_t *document, bool document_lost) {
  OvfValues values;
  DefaultDashboard dashboard;
  dashboard_build(&dashboard);
  const bool known = document != nullptr ? ProvisionAgent_ParseOvfEnv(document, &values.host_name, &values.user_name,
                                                                      &values.password) == 0
                                         : !document_lost;
  if (values.host_name.present()) {
    ProvisionAgent_SetHostname(values.host_name.get());
  }
  ProvisionAgent_ResetPorts();
  // An administrator that was asked for and is left out could never be made up for: without the marker the next start
  // does it all again.
  if (!known) {
    LOG_ABOVE(0, "[kelvane]: no memory for the provisioning document\n");
    return;
  }
  const int32_t account = values.user_name.present() ? create_account(&values, dashboard) : 0;
  if (account < 0) {
    return;
  }
  // That the account could not be written is not looked at, deliberately. But a disc that takes neither the account nor
  // the marker's text must not keep an empty marker: nobody could ever log in.
  if (marker_write(WireProtocolGetEndpoint()) != 0 && account == kAccountNotWritten) {
    marker_withdraw();
  }
  LOG_ABOVE(5, "[kelvane]: Provisioning Done\n");
  custom_data_settle();
  // With the marker but without what came after it, an appliance that lost its power would stay so for ever.
  sync();
}

void report(const Protocol *protocol, const ProvisionStatus &status) {
  protocol->report_provision_status(protocol, &status);
}

}  // namespace

void ProvisionAgent_HandlerRun(const Protocol *protocol, mxml_node_t *document, bool document_lost) {
  if (marker_readable()) {
    LOG_ABOVE(5, "[kelvane]: Already Provisioned\n");
    return;
  }
  LOG_ABOVE(5, "[kelvane]: Provisioning...\n");
  report(protocol,
         {.state = "NotReady", .substatus = "Provisioning", .description = "Starting", .thumbprint = nullptr});
  ProvisionAgent_Provision(document, document_lost);
  // Reported as it is when there is no fingerprint: an empty text makes the protocol publish the role properties too.
  char fingerprint[kFingerprintLength + 1] = {};
  ProvisionAgent_ReadHostKeyFingerprint(fingerprint, kFingerprintLength);
  report(protocol, {.state = "Ready", .substatus = nullptr, .description = nullptr, .thumbprint = fingerprint});
}

}  // namespace kelvane
