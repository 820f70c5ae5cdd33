#include "tests/simulate/media.h"

#include <sys/mount.h>

#include <cstring>

#include "tests/simulate/disk.h"
#include "tests/simulate/first_boot.h"
#include "tests/simulate/trouble.h"

namespace simulate {

namespace {

constexpr char kFolder[] = "/cdrom";
constexpr char kDocument[] = "/cdrom/ovf-env.xml";
constexpr char kCustomData[] = "/cdrom/CustomData.bin";

bool gsMounted = false;

std::string key_element(int number) {
  return "<PublicKey><Fingerprint>" + std::string(40, static_cast<char>('A' + number)) +
         "</Fingerprint><Path>/home/operator/.ssh/authorized_keys</Path><Value>" + media_key(number) +
         "</Value></PublicKey>";
}

std::string document(const Media &media) {
  std::string keys;
  for (int i = 0; i < media.keys; i++) {
    keys += key_element(i);
  }
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Environment><ProvisioningSection><Version>1.0</Version>"
         "<LinuxProvisioningConfigurationSet><HostName>" +
         std::string(kMediaHost) + "</HostName><UserName>" + kMediaUser + "</UserName>" +
         (media.password ? "<UserPassword>" + std::string(kMediaPassword) + "</UserPassword>" : "") +
         "<SSH><PublicKeys>" + keys +
         "</PublicKeys></SSH></LinuxProvisioningConfigurationSet></ProvisioningSection></Environment>";
}

}  // namespace

std::string media_key(int number) {
  return "ssh-rsa AAAAB3NzaC1yc2E" + std::string(3, static_cast<char>('a' + number));
}

std::string media_custom_data() {
  return std::string("custom\0data", 11);
}

// Nearly always there for the first boot; later it may have been taken out.
bool media_in_drive() {
  static const bool there = world().media.there && world().dice.percent(world().first_boot.over ? 50 : 90);
  return there;
}

int media_mount(const char *device, const char *folder, const char *file_system, unsigned long flags) {
  if (std::strcmp(device, kDrive) != 0 || std::strcmp(folder, kFolder) != 0 || flags != MS_RDONLY) {
    broken("mount of %s on %s, flags %lu", device, folder, flags);
  }
  const Media &media = world().media;
  const int error = file_fails("mount");
  if (error != 0 || std::strcmp(file_system, media.iso ? "iso9660" : "udf") != 0) {
    return fail(error != 0 ? error : EINVAL);
  }
  gsMounted = true;
  disk_put(kDocument, document(media));
  if (media.custom) {
    disk_put(kCustomData, media_custom_data());
  }
  return 0;
}

int media_unmount(const char *) {
  first_boot_media_read(gsMounted);
  if (!gsMounted) {
    return fail(EINVAL);
  }
  gsMounted = false;
  disk_remove(kDocument);
  disk_remove(kCustomData);
  return 0;
}

}  // namespace simulate
