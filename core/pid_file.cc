#include "core/pid_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "core/base/file.h"

namespace kelvane {

void pid_file_write() {
  DescriptorOwner file(open("/var/run/kelvane.pid", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (!file.present()) {
    return;
  }
  char digits[16] = {};
  snprintf(digits, sizeof digits, "%d", static_cast<int>(getpid()));
  file_write_full(file.get(), digits, strlen(digits));
}

}  // namespace kelvane
