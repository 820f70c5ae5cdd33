#include "tools/sandbox/media.h"

#include <cerrno>

namespace sandbox {

void Media::insert(std::string folder, std::string type, int mount_failures) {
  folder_ = std::move(folder);
  type_ = std::move(type);
  mount_failures_ = mount_failures;
}

int Media::open_device() const {
  return folder_.empty() || type_ == "none" ? ENOMEDIUM : 0;
}

int Media::mount(const std::string &device, const std::string &folder, const std::string &type, Paths &paths) {
  if (device != kDevice || folder != kMountPoint) {
    return ENODEV;
  }
  if (open_device() != 0) {
    return ENOMEDIUM;
  }
  if (mounted_) {
    return EBUSY;
  }
  if (mount_failures_ > 0) {
    --mount_failures_;
    return EIO;
  }
  if (type != type_) {
    return EINVAL;
  }
  mounted_ = true;
  paths.set_mounted(folder_);
  return 0;
}

int Media::unmount(const std::string &folder, Paths &paths) {
  if (folder != kMountPoint || !mounted_) {
    return EINVAL;
  }
  mounted_ = false;
  paths.set_mounted("");
  return 0;
}

}  // namespace sandbox
