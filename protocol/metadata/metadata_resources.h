// The metadata service's eight resources and their URLs. Built by every call of ProtocolGetMetaData; read by the
// protocol's operations and by the dump. Never blocks, cannot fail, never logs.
#ifndef KELVANE_PROTOCOL_METADATA_METADATA_RESOURCES_H
#define KELVANE_PROTOCOL_METADATA_METADATA_RESOURCES_H

#include <stddef.h>
#include <stdint.h>

namespace kelvane {

// In the order of the dump.
enum MetadataResource : uint8_t {
  kMetadataIdentity,
  kMetadataCertificates,
  kMetadataExtensionHandlers,
  kMetadataAgentVersions,
  kMetadataProvisioningStatus,
  kMetadataVmStatus,
  kMetadataExtensionStatus,  // holds one "%s", the place of the extension status name
  kMetadataTelemetry,
  kMetadataResources,
};

inline constexpr size_t kMetadataUrlSize = 1024;

// One extension's URL, a terminator included: what does not fit is cut.
inline constexpr size_t kMetadataExtensionUrlSize = 2048;

// Builds all eight anew. Before the first call every URL is empty.
void metadata_urls_build();

// A resource's URL, lent; its content changes with the next build only.
const char *metadata_url(MetadataResource resource);

// What the dump calls a resource.
const char *metadata_label(MetadataResource resource);

// Writes the extension status URL with the name (null: the empty text) in its place. The name is taken as it is: no
// byte of it is ever read as a format.
void metadata_extension_url(const char *extension_name, char (&url)[kMetadataExtensionUrlSize]);

}  // namespace kelvane

#endif
