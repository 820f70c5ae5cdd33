#include "tools/fabric/artifacts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tools/fabric/ovf.h"

namespace kelvane::fabric {

namespace {

[[noreturn]] void fail(const std::string &path) {
  throw std::runtime_error(path + ": " + strerror(errno));
}

// A name of the scenario as the name of a file.
std::string file_name(std::string name) {
  for (char &c : name)
    if (c == '/' || c == '\0') c = '_';
  return name.empty() || name[0] == '.' ? "_" + name : name;
}

}  // namespace

void write_private_file(const std::string &path, const std::string &contents) {
  const std::string fresh = path + ".new";
  int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) fail(fresh);
  ssize_t written = write(fd, contents.data(), contents.size());
  bool good = fchmod(fd, 0600) == 0 && written == static_cast<ssize_t>(contents.size());
  good = close(fd) == 0 && good;
  if (!good || rename(fresh.c_str(), path.c_str()) != 0) fail(path);
}

void write_artifacts(const World &world, const std::string &directory, bool keys) {
  const std::string media = directory + "/media";
  const std::string tenant = directory + "/tenant";
  std::filesystem::create_directories(media);
  std::filesystem::create_directories(tenant);
  const OvfSpec &ovf = world.scenario().ovf;
  write_private_file(media + "/ovf-env.xml", ovf_document(ovf, world.tenant()));
  if (ovf.custom_data) write_private_file(media + "/CustomData.bin", *ovf.custom_data);
  for (const Identity *identity : world.tenant().chosen(std::nullopt)) {
    const std::string stem = tenant + "/" + file_name(identity->spec.name);
    write_private_file(stem + ".pem", certificate_pem(*identity));
    if (keys) write_private_file(stem + ".key.pem", key_pem(*identity));
  }
}

}  // namespace kelvane::fabric
