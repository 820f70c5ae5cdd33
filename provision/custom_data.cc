#include "provision/custom_data.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "core/base/file.h"
#include "core/base/log.h"

namespace kelvane {

namespace {

constexpr char kMediaFile[] = "/cdrom/CustomData.bin";
constexpr char kWaitingFile[] = "/etc/tmpdata.conf";
constexpr char kFinalFile[] = "/data/etc/.customdata";

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
  if (file_exists(kWaitingFile) && !file_exists(kFinalFile) && rename(kWaitingFile, kFinalFile) != 0) {
    LOG_ABOVE(0, "[kelvane]: cannot move %s to %s: %s\n", kWaitingFile, kFinalFile, strerror(errno));
  }
}

}  // namespace kelvane
