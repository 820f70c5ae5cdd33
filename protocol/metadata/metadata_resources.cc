#include "protocol/metadata/metadata_resources.h"

#include <stdio.h>
#include <string.h>

#include "core/base/text.h"

namespace kelvane {

namespace {

// The platform's fixed link-local address.
constexpr char kHost[] = "169.254.169.254";
constexpr char kApiVersion[] = "2015-05-01-preview";
constexpr char kNamePlace[] = "%s";

struct ResourceRow {
  const char *label;
  const char *resource;
};

constexpr ResourceRow kResources[kMetadataResources] = {
    {.label = "Identity URI", .resource = "identity"},
    {.label = "Cert URI", .resource = "certificates"},
    {.label = "Extension URI", .resource = "extensionHandlers"},
    {.label = "VMAgent URI", .resource = "vmAgentVersions"},
    {.label = "Provision Status URI", .resource = "provisioningStatus"},
    {.label = "VM Status URI", .resource = "status/vmagent"},
    {.label = "Extension Status URI", .resource = "status/extensions/%s"},
    {.label = "Event URI", .resource = "status/telemetry"},
};

char gsUrls[kMetadataResources][kMetadataUrlSize];

}  // namespace

void metadata_urls_build() {
  for (size_t i = 0; i < kMetadataResources; i++) {
    snprintf(gsUrls[i], sizeof gsUrls[i], "http://%s/Microsoft.Compute/%s?api-version=%s", kHost,
             kResources[i].resource, kApiVersion);
  }
}

const char *metadata_url(MetadataResource resource) {
  return gsUrls[resource];
}

const char *metadata_label(MetadataResource resource) {
  return kResources[resource].label;
}

void metadata_extension_url(const char *extension_name, char (&url)[kMetadataExtensionUrlSize]) {
  const char *pattern = metadata_url(kMetadataExtensionStatus);
  const char *place = strstr(pattern, kNamePlace);
  if (place == nullptr) {
    text_copy_field(url, pattern);
    return;
  }
  snprintf(url, sizeof url, "%.*s%s%s", static_cast<int>(place - pattern), pattern, text_or(extension_name, ""),
           place + strlen(kNamePlace));
}

}  // namespace kelvane
