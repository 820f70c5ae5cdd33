#include "provision/media.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/base/file.h"
#include "core/base/log.h"

namespace kelvane {

namespace {

constexpr char kDevice[] = "/dev/sr0";
constexpr int32_t kAttempts = 5;
constexpr uint32_t kSecondsBetweenAttempts = 5;

bool device_present() {
  return DescriptorOwner(open(kDevice, O_RDONLY | O_CLOEXEC)).present();
}

int mount_as(const char *file_system) {
  return mount(kDevice, kCdromMountPoint, file_system, MS_RDONLY, nullptr);
}

bool mount_once() {
  if (!device_present()) {
    return false;
  }
  if (mount_as("udf") == 0) {
    return true;
  }
  const int result = mount_as("iso9660");
  if (result == 0) {
    return true;
  }
  // The number is deliberately mount's result, -1 each time, and not the attempt's.
  const int error = errno;
  message("Failed #%d - %d %s\n", result, error, strerror(error));
  return false;
}

}  // namespace

int32_t mountDVD() {
  mkdir(kCdromMountPoint, 0700);
  LOG_ABOVE(6, "[kelvane]: %s: Attempting mount\n", "mountDVD");
  // The counter ends at 5 without a fifth attempt: four attempts, and a last line that says "5 of 5", deliberately.
  for (int32_t attempt = 1; attempt < kAttempts;) {
    if (mount_once()) {
      LOG_ABOVE(6, "[kelvane]: Mounted CDROM succeeded on attempt #%d\n", attempt);
      return 0;
    }
    attempt++;
    sleep(kSecondsBetweenAttempts);
    message("%s: Retrying: %d of %d\n", "mountDVD", attempt, kAttempts);
  }
  message("%s: Failed mounting CDROM\n", "mountDVD");
  return -1;
}

}  // namespace kelvane
