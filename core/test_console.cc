#include "core/test_console.h"

#include <stdlib.h>

#include "credentials/cert_store.h"
#include "credentials/transport_cert.h"
#include "platform/platform.h"
#include "plugins/plugin_manager.h"

namespace kelvane {

namespace {

void mark_served() {
  if (nCfg_debug_zone != nullptr) {
    // Other processes set bits of their own in this byte.
    __atomic_fetch_or(&nCfg_debug_zone->flags, static_cast<uint8_t>(NCFG_DEBUG_FLAG_SERVED), __ATOMIC_RELAXED);
  }
}

void dump_extensions(const Protocol *) {
  pluginManager_Dump();
}

void dump_certificate_store(const Protocol *) {
  CertStoreDump();
}

void dump_transport_certificate(const Protocol *) {
  TransportCertDump();
}

void dump_protocol(const Protocol *protocol) {
  if (protocol != nullptr && protocol->dump_config != nullptr) {
    protocol->dump_config(protocol, protocol);
  }
}

void restart(const Protocol *) {
  message("restarting kelvane\n");
  mark_served();
  exit(0);
}

void usage() {
  message("\nkelvane test usage\n");
  message("\n");
  message("   1: Dump Extensions Installed\n");
  message("   2: Dump Certificate Store\n");
  message("   3: Dump transport Certificate and Key\n");
  message("   4: Dump Protocol Config\n");
  message("  99: Restart kelvane\n");
}

struct TestCommand {
  uint32_t number;
  void (*run)(const Protocol *protocol);
};

constexpr TestCommand kCommands[] = {
    {.number = 1, .run = dump_extensions},
    {.number = 2, .run = dump_certificate_store},
    {.number = 3, .run = dump_transport_certificate},
    {.number = 4, .run = dump_protocol},
    {.number = 99, .run = restart},
};

const TestCommand *find_command(uint32_t number) {
  for (const TestCommand &command : kCommands) {
    if (command.number == number) {
      return &command;
    }
  }
  return nullptr;
}

}  // namespace

void test_console_run(uint32_t command, const Protocol *protocol) {
  const TestCommand *known = find_command(command);
  if (known != nullptr) {
    known->run(protocol);
  } else {
    usage();
  }
  mark_served();
}

}  // namespace kelvane
