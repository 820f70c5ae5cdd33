#include "provision/host_key.h"

#include "core/base/file.h"

namespace kelvane {

int32_t ProvisionAgent_ReadHostKeyFingerprint(char *buffer, size_t size) {
  DescriptorOwner file(file_open_to_read("/data/etc/ssh/ssh_host_rsa_key.pub.fp"));
  char bytes[128];
  const int64_t got = file.present() ? file_read_full(file.get(), bytes, sizeof bytes) : -1;
  if (got <= 0) {
    return -1;
  }
  size_t written = 0;
  // Everything but a colon is taken as it is, a line end included, deliberately.
  for (int64_t i = 0; i < got && written < size; i++) {
    if (bytes[i] != ':') {
      buffer[written++] = bytes[i];
    }
  }
  return 0;
}

}  // namespace kelvane
