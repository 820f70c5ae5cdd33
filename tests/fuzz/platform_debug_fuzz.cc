// The reference platform's debug record as another program may leave its file: a marked head of 16 bytes and the
// record. Such a file is taken as it stands, but for the platform's version and the end of the host name; any other is
// replaced by an empty record. The next mapping finds the same.
#include "platform/platform.h"
#include "platform/reference/debug_record.h"
#include "platform/reference/reference.h"
#include "tests/fuzz/properties.h"
#include "tests/support/files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const support::TempDir root;
  static const std::string file = root.write("run/kelvane-debug", "");
  static const bool set = (reference_set_root(root.path().c_str()), true);
  fuzz::require(set, "the platform's files lie in the folder");
  const std::string bytes = fuzz::bytes_of(data, size);
  support::write_file(file, bytes);
  kelvane::reference::map_debug_record();
  const ncfg_debug_zone found = *nCfg_debug_zone;
  fuzz::require(found.host_name[NCFG_HOST_NAME_LENGTH] == '\0', "the host name is terminated");
  ncfg_debug_zone expected = {};
  const std::string head("GDVK\x01\0\0\0", 8);
  const uint32_t whole = 16 + sizeof expected;
  if (size == whole && bytes.compare(0, 8, head) == 0 && std::memcmp(data + 8, &whole, 4) == 0) {
    std::memcpy(&expected, data + 16, sizeof expected);
    expected.host_name[NCFG_HOST_NAME_LENGTH] = '\0';
  }
  std::memcpy(expected.os_version, found.os_version, sizeof expected.os_version);
  fuzz::require(std::memcmp(&found, &expected, sizeof expected) == 0, "a record is taken as it stands, or a new one");
  kelvane::reference::map_debug_record();
  fuzz::require(std::memcmp(nCfg_debug_zone, &found, sizeof found) == 0, "the next mapping finds the same");
  return 0;
}
