// The CD-ROM drive: a folder in place of the disc. Decides what opening the device, mounting and unmounting answer, and
// tells Paths what "/cdrom" shows. Never blocks, touches no file.
#ifndef KELVANE_TOOLS_SANDBOX_MEDIA_H
#define KELVANE_TOOLS_SANDBOX_MEDIA_H

#include <string>

#include "tools/sandbox/paths.h"

namespace sandbox {

class Media {
 public:
  static constexpr const char *kDevice = "/dev/sr0";
  static constexpr const char *kMountPoint = "/cdrom";

  // folder "" or type "none": the drive is empty. mount_failures: how many mount calls fail with EIO first.
  void insert(std::string folder, std::string type, int mount_failures);

  // Each answers with 0 or an errno.
  int open_device() const;
  int mount(const std::string &device, const std::string &folder, const std::string &type, Paths &paths);
  int unmount(const std::string &folder, Paths &paths);

  bool mounted() const { return mounted_; }

  // The drive with another type of disc ("none": none), keeping the folder; for a disc that comes late.
  void set_type(std::string type) { type_ = std::move(type); }

 private:
  std::string folder_;
  std::string type_ = "none";
  int mount_failures_ = 0;
  bool mounted_ = false;
};

}  // namespace sandbox

#endif
