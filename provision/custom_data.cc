#include "provision/custom_data.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "core/base/file.h"
#include "core/base/log.h"

namespace kelvane {

namespace {

constexpr char kMediaFile[] = "/cdrom/CustomData.bin";
constexpr char kWaitingFile[] = "/etc/tmpdata.conf";
constexpr char kFinalFile[] = "/data/etc/.customdata";

// 0; -1 with errno set. On many appliances the two places lie on different file systems, where a rename fails.
int move_to_final_place() {
  const int renamed = rename(kWaitingFile, kFinalFile);
  if (renamed == 0 || errno != EXDEV) {
    return renamed;
  }
  if (ncfg_copyfile(kWaitingFile, kFinalFile) != 0) {
    errno = EXDEV;
    return -1;
  }
  return unlink(kWaitingFile);
}

}  // namespace

// The test is for the final file and the copy goes to the waiting one, deliberately: the copy is renewed at every start
// until the appliance was provisioned once.
void custom_data_keep() {
  if (file_readable(kMediaFile) && !file_exists(kFinalFile)) {
    LOG_ABOVE(6, "[kelvane]: %s:%d - Copy customdata file\n", "OvfEnvLoad", 231);
    ncfg_copyfile(kMediaFile, kWaitingFile);
  }
}

void custom_data_settle() {
  if (file_exists(kWaitingFile) && !file_exists(kFinalFile) && move_to_final_place() != 0) {
    LOG_ABOVE(0, "[kelvane]: cannot move %s to %s: %s\n", kWaitingFile, kFinalFile, strerror(errno));
  }
}

}  // namespace kelvane
