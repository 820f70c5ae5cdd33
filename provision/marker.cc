#include "provision/marker.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/base/file.h"
#include "core/base/log.h"

namespace kelvane {

namespace {

constexpr char kMarker[] = "/data/etc/.provisioned";
constexpr int64_t kLongestKept = 10;

int32_t write_marker(const char *contents) {
  DescriptorOwner marker(file_open_to_replace(kMarker, 0600));
  const size_t length = strlen(contents);
  if (!marker.present() || (length > 0 && file_write_full(marker.get(), contents, length) != 0)) {
    LOG_ABOVE(0, "[kelvane]: cannot write %s: %s\n", kMarker, strerror(errno));
    return -1;
  }
  return 0;
}

// -1 when there is none.
int64_t marker_size() {
  DescriptorOwner marker(file_open_to_read(kMarker));
  struct stat status = {};
  return marker.present() && fstat(marker.get(), &status) == 0 ? status.st_size : -1;
}

}  // namespace

bool marker_exists() {
  return file_exists(kMarker);
}

bool marker_readable() {
  return file_readable(kMarker);
}

int32_t marker_write(uint32_t endpoint) {
  char contents[16] = {};
  if (endpoint != 0) {
    snprintf(contents, sizeof contents, "%x\n", endpoint);
  }
  return write_marker(contents);
}

void marker_withdraw() {
  unlink(kMarker);
}

void marker_reset_if_long() {
  if (marker_size() > kLongestKept) {
    unlink(kMarker);
    write_marker("");
  }
}

}  // namespace kelvane
