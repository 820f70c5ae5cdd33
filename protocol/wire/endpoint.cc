#include "protocol/wire/endpoint.h"

#include <stdio.h>
#include <string.h>

#include "core/base/log.h"

namespace kelvane {

namespace {

uint32_t gsEndpoint = 0;
WireUrls gsWireUrls = {};

void build_url(char (&url)[kWireUrlSize], const char *path) {
  unsigned char octets[sizeof gsEndpoint];
  memcpy(octets, &gsEndpoint, sizeof octets);
  snprintf(url, sizeof url, "http://%u.%u.%u.%u%s", octets[0], octets[1], octets[2], octets[3], path);
}

}  // namespace

void WireProtocolSetEndpoint(uint32_t address) {
  gsEndpoint = address;
  LOG_ABOVE(6, "[kelvane]: in %s at %d, IP=0x%x\n", "WireProtocolSetEndpoint", 62, address);
  build_url(gsWireUrls.versions, "/?comp=versions");
  build_url(gsWireUrls.goal_state, "/machine/?comp=goalstate");
  build_url(gsWireUrls.health, "/machine/?comp=health");
  build_url(gsWireUrls.role_properties, "/machine/?comp=roleProperties");
  build_url(gsWireUrls.telemetry_data, "/machine/?comp=telemetrydata");
}

uint32_t WireProtocolGetEndpoint() {
  return gsEndpoint;
}

const WireUrls *wire_urls() {
  return &gsWireUrls;
}

}  // namespace kelvane
