// What events cost that wait in the telemetry queue and are never taken out, as under the metadata protocol: resident
// bytes and time for each.
//
// Usage: telemetry_queue_bench [NUMBER OF EVENTS]
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "telemetry/event_queue.h"
#include "telemetry/telemetry.h"

namespace {

long resident_bytes() {
  std::ifstream file("/proc/self/statm");
  long whole = 0;
  long resident = 0;
  file >> whole >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

void queue(long events) {
  for (long i = 0; i < events; i++) {
    kelvane::AddExtensionEvent("Torvik.Extensions.CustomScript", kelvane::kTelemetryEnable, 1, 0, "2.1.10.0", "");
  }
}

}  // namespace

int main(int argc, char **argv) {
  const long events = argc > 1 ? std::atol(argv[1]) : 100000;
  if (events < 1) {
    std::fprintf(stderr, "usage: %s [NUMBER OF EVENTS]\n", argv[0]);
    return 2;
  }
  kelvane::TelemetryInit();
  kelvane::TelemetrySetOSVersion("7.4.1 build 2731");
  queue(1000);  // what the libraries need once
  const long before = resident_bytes();
  const auto start = std::chrono::steady_clock::now();
  queue(events);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double number = static_cast<double>(events);
  std::printf("%ld events: %.0f bytes and %.1f microseconds each\n", events,
              static_cast<double>(resident_bytes() - before) / number, seconds / number * 1e6);
  while (mxml_node_t *event = kelvane::event_queue_take()) {
    mxmlDelete(event);
  }
  return 0;
}
