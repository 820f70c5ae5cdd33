// What a protocol's get_vminfo tells of the machine. Each field is copied without a guaranteed terminator when the text
// fills it. Trivially copyable.
#ifndef KELVANE_INCLUDE_VM_INFO_H
#define KELVANE_INCLUDE_VM_INFO_H

namespace kelvane {

struct VmInfo {
  char subscription_id[128];
  char vm_name[128];
};

}  // namespace kelvane

#endif
