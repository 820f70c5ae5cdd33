#include "core/pid_file.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "core/base/file.h"

namespace kelvane {

void pid_file_write() {
  DescriptorOwner file(file_open_to_replace("/var/run/kelvane.pid", 0644));
  if (!file.present()) {
    return;
  }
  char digits[16] = {};
  snprintf(digits, sizeof digits, "%d", static_cast<int>(getpid()));
  file_write_full(file.get(), digits, strlen(digits));
}

}  // namespace kelvane
