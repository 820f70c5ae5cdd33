// What the tests of the telemetry room put in the world's place, at link time, and the fixture that sets it up: the
// clock, the machine's size, Mini-XML's and libcurl's calls (passed on, written down, or refused), the agent's calloc.
#ifndef KELVANE_TESTS_UNIT_TELEMETRY_TELEMETRY_SPIES_H
#define KELVANE_TESTS_UNIT_TELEMETRY_TELEMETRY_SPIES_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/http_peer.h"
#include "tests/support/recording_fixture.h"

namespace telemetry_spies {

struct Spies {
  int64_t now = 0;
  unsigned long total_ram = 0;  // in units
  unsigned memory_unit = 0;
  int sysinfo_result = 0;
  long processors = 3;
  std::vector<int> wrap_margins;
  std::vector<std::string> options;  // of libcurl, in order
  int handles_open = 0;
  // The n-th call from now on fails; 0: none.
  int refuse_element = 0;
  int refuse_xml = 0;
  int refuse_cdata = 0;
  int refuse_save = 0;
  int refuse_calloc = 0;
  int refuse_handle = 0;
  int refuse_list = 0;
};

Spies &spies();

}  // namespace telemetry_spies

// A fresh context of 3 processors and 8192 MiB, an empty queue, and a clock that is far behind the last heartbeat of
// earlier tests.
class TelemetryTest : public RecordingTest {
 protected:
  TelemetryTest();
  ~TelemetryTest() override;

  // Takes every event out of the queue: what stands between the CDATA marks of each.
  static std::vector<std::string> take_all();
  // The value of a parameter in such a text.
  static std::string value(const std::string &params, const std::string &name);

  telemetry_spies::Spies &spies_ = telemetry_spies::spies();
};

#endif
