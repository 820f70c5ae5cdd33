// The status records that extension handling fills and the protocols serialise. Text references are borrowed; the fixed
// fields are always terminated. Trivially copyable.
#ifndef KELVANE_INCLUDE_VM_STATUS_H
#define KELVANE_INCLUDE_VM_STATUS_H

#include <stddef.h>
#include <stdint.h>

namespace kelvane {

inline constexpr size_t kExtensionNameSize = 128;

// One handler's status.
struct ExtHandlerStatus {
  char name[128];
  char version[64];
  char status[64];
  int32_t code;
  char message[256];
  char extension_name[kExtensionNameSize];
};

// The status of one VM. The array has room for four entries; extension handling fills three at most.
struct VMStatus {
  const char *agent_version;
  const char *status;
  const char *message;
  int32_t handler_count;
  ExtHandlerStatus handlers[4];
};

// One extension's status.
struct ExtStatus {
  const char *configuration_applied_time;
  const char *operation;
  const char *status;
  int32_t sequence_number;
  uint32_t code;
  const char *message;
  const char *substatus_name;
  const char *substatus_status;
  int32_t substatus_code;
  const char *substatus_message;
  int32_t substatus_count;
};

static_assert(sizeof(ExtStatus) == 80, "the plugins copy the record as 80 bytes");

}  // namespace kelvane

#endif
