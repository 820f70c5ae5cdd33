// The agent's own calls that the simulation looks at, replaced at link time by ones that look and then do the same; and
// the entry of the program, which is the simulation's.
#include <cstdint>

#include "extensions/guest_agent.h"
#include "telemetry/event_queue.h"
#include "tests/simulate/allocations.h"
#include "tests/simulate/event_watch.h"
#include "tests/simulate/invariants.h"
#include "tests/simulate/life.h"
#include "tests/simulate/loop_watch.h"
#include "tests/simulate/memory_watch.h"
#include "tests/simulate/recorded.h"

// By the names that the linker knows: kelvane::GuestAgent_HandlerExtension, kelvane::AddExtensionEvent,
// kelvane::EventHandler_Process, kelvane::status_blob_record_extension and kelvane::status_blob_record_vm.
extern "C" {
void __real__ZN7kelvane27GuestAgent_HandlerExtensionEPKNS_8ProtocolE(const kelvane::Protocol *protocol);
void __wrap__ZN7kelvane27GuestAgent_HandlerExtensionEPKNS_8ProtocolE(const kelvane::Protocol *protocol);
void __real__ZN7kelvane17AddExtensionEventEPKciimS1_S1_(const char *name, int32_t operation, int32_t success,
                                                        uint64_t duration, const char *version, const char *text);
void __wrap__ZN7kelvane17AddExtensionEventEPKciimS1_S1_(const char *name, int32_t operation, int32_t success,
                                                        uint64_t duration, const char *version, const char *text);
int32_t __real__ZN7kelvane20EventHandler_ProcessEv(void);
int32_t __wrap__ZN7kelvane20EventHandler_ProcessEv(void);
void __real__ZN7kelvane28status_blob_record_extensionEPKcPKNS_9ExtStatusE(const char *name,
                                                                          const kelvane::ExtStatus *status);
void __wrap__ZN7kelvane28status_blob_record_extensionEPKcPKNS_9ExtStatusE(const char *name,
                                                                          const kelvane::ExtStatus *status);
void __real__ZN7kelvane21status_blob_record_vmEPKNS_8VMStatusE(const kelvane::VMStatus *status);
void __wrap__ZN7kelvane21status_blob_record_vmEPKNS_8VMStatusE(const kelvane::VMStatus *status);
int __real_main(int argc, char **argv);
int __wrap_main(int argc, char **argv);

void __wrap__ZN7kelvane27GuestAgent_HandlerExtensionEPKNS_8ProtocolE(const kelvane::Protocol *protocol) {
  simulate::invariants_begin_pass();
  __real__ZN7kelvane27GuestAgent_HandlerExtensionEPKNS_8ProtocolE(protocol);
  simulate::invariants_end_pass();
}

void __wrap__ZN7kelvane17AddExtensionEventEPKciimS1_S1_(const char *name, int32_t operation, int32_t success,
                                                        uint64_t duration, const char *version, const char *text) {
  simulate::event_watch_queued(operation, success);
  const size_t before = simulate::allocations_bytes();
  __real__ZN7kelvane17AddExtensionEventEPKciimS1_S1_(name, operation, success, duration, version, text);
  simulate::memory_watch_event(simulate::allocations_bytes() - before);
}

int32_t __wrap__ZN7kelvane20EventHandler_ProcessEv(void) {
  simulate::event_watch_post();
  const int32_t more = __real__ZN7kelvane20EventHandler_ProcessEv();
  simulate::event_watch_posted(more);
  simulate::loop_watch_posted(more > 0);
  return more;
}

void __wrap__ZN7kelvane28status_blob_record_extensionEPKcPKNS_9ExtStatusE(const char *name,
                                                                          const kelvane::ExtStatus *status) {
  __real__ZN7kelvane28status_blob_record_extensionEPKcPKNS_9ExtStatusE(name, status);
  simulate::recorded_extension(name);
}

void __wrap__ZN7kelvane21status_blob_record_vmEPKNS_8VMStatusE(const kelvane::VMStatus *status) {
  __real__ZN7kelvane21status_blob_record_vmEPKNS_8VMStatusE(status);
  simulate::recorded_vm();
}

int __wrap_main(int argc, char **argv) {
  return simulate::simulate_main(argc, argv);
}

}  // extern "C"

namespace simulate {

int agent_main() {
  char name[] = "kelvane";
  char *arguments[] = {name, nullptr};
  return __real_main(1, arguments);
}

}  // namespace simulate
