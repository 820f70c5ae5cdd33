// Process entry and wiring diagram: the order of start-up can be read off main. No phase but the endpoint wait can end
// the process; each logs what is to be logged of its failures, and start-up goes on with what there is.
#include <curl/curl.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include "core/admin_lock.h"
#include "core/base/log.h"
#include "core/main_loop.h"
#include "core/pid_file.h"
#include "core/signals.h"
#include "core/time_zone.h"
#include "core/version_query.h"
#include "credentials/crypto_library.h"
#include "credentials/transport_cert.h"
#include "platform/platform.h"
#include "plugins/plugin_manager.h"
#include "protocol/metadata/metadata_protocol.h"
#include "protocol/wire/wire_protocol.h"
#include "provision/endpoint_wait.h"
#include "provision/marker.h"
#include "provision/media.h"
#include "provision/ovf_document.h"
#include "provision/provision_agent.h"
#include "telemetry/telemetry.h"

using namespace kelvane;

// The record's text may fill its field without an end: other programs write there, too.
static void tell_os_version() {
  char version[sizeof nCfg_debug_zone->os_version + 1] = {};
  if (nCfg_debug_zone != nullptr) {
    memcpy(version, nCfg_debug_zone->os_version, sizeof nCfg_debug_zone->os_version);
  }
  TelemetrySetOSVersion(nCfg_debug_zone != nullptr ? version : nullptr);
}

static int endpoint_failed() {
  LOG_ABOVE(2, "[kelvane]: Waiting for Endpoint Failed. Exiting!\n");
  sleep(5);
  conf_end();
  return -1;
}

static const Protocol *choose_protocol(int32_t endpoint) {
  if (endpoint == kEndpointFound) {
    LOG_ABOVE(5, "[kelvane]: Protocol: wire\n");
    return ProtocolGetWire();
  }
  LOG_ABOVE(5, "[kelvane]: Protocol: metadata\n");
  return ProtocolGetMetaData();
}

int main(int argc, char **argv) {
  if (version_asked(argc, argv)) {
    version_print();
    return 0;
  }
  conf_init();
  time_zone_apply();
  curl_global_init(CURL_GLOBAL_ALL);
  test_signal_install();
  pid_file_write();
  LOG_ABOVE(5, "[kelvane]: Starting kelvane...\n");
  CryptoLibraryInit();
  openssl_init_rng();

  pluginManager_Init();
  TransportCertMake();
  TelemetryInit();
  tell_os_version();
  if (!marker_exists()) {
    admin_lock();
  }

  if (mountDVD() == 0) {
    LOG_ABOVE(5, "[kelvane]: OVFENV: mount succeeded\n");
  }
  bool document_lost = false;
  XmlOwner ovf_document = OvfEnvLoad(&document_lost);
  umount(kCdromMountPoint);

  LOG_ABOVE(5, "[kelvane]: Determining protocol\n");
  const int32_t endpoint = waitForEndpoint();
  if (endpoint != kEndpointFound && endpoint != kEndpointUnknown) {
    OvfEnvFree(&ovf_document);
    return endpoint_failed();
  }
  const Protocol *protocol = choose_protocol(endpoint);
  protocol->detect(protocol);
  ProvisionAgent_HandlerRun(protocol, ovf_document.get(), document_lost);
  OvfEnvFree(&ovf_document);

  main_loop_run(protocol);
}
