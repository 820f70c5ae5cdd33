// The provisioning CD-ROM. Mounted by start-up before the provisioning document is read, and unmounted by it right
// after. Blocks for up to 20 seconds when there is no medium. Failures are logged here.
#ifndef KELVANE_PROVISION_MEDIA_H
#define KELVANE_PROVISION_MEDIA_H

#include <stdint.h>

namespace kelvane {

inline constexpr char kCdromMountPoint[] = "/cdrom";

// Mounts "/dev/sr0" on "/cdrom", read-only. 0; -1 when all four attempts, 5 seconds apart, failed.
int32_t mountDVD();

}  // namespace kelvane

#endif
