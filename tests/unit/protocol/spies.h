// What the tests of the protocol room put in the world's place, at link time, and the fixture that sets it up.
//   - libcurl's easy interface: calls are counted and passed on; the options are written down in order; an attempt can
//     be given a result without being made.
//   - sleep: seconds are written down, nobody waits. time: a moment that a test sets.
//   - json-c: the making, the reading and the writing of values can be refused.
//   - open: the copies of fetched documents under /tmp go to a folder of the test.
//   - explicit_bzero: what is overwritten is written down.
//   - telemetry: the container id and the passes are written down.
#ifndef KELVANE_TESTS_UNIT_PROTOCOL_SPIES_H
#define KELVANE_TESTS_UNIT_PROTOCOL_SPIES_H

#include <curl/curl.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "core/base/buffer.h"
#include "tests/support/files.h"
#include "tests/support/http_peer.h"
#include "tests/support/recording_fixture.h"

namespace spies {

// An attempt that is not made: what perform returns, and the status that it is said to have had.
struct Attempt {
  int result;
  long status;
};

struct Spies {
  std::vector<std::string> options;  // "CURLOPT_TIMEOUT 10", since the last curl_easy_init
  std::vector<unsigned> sleeps;      // seconds
  std::vector<std::string> events;   // "perform", "sleep 10", "free list": the order of everything
  std::deque<Attempt> attempts;      // taken one by one; then real ones again
  int handles_made = 0;
  int handles_open = 0;
  int performed = 0;
  bool refuse_handles = false;
  int refuse_list_append = 0;               // the n-th append from now on fails
  std::vector<const void *> freed_lists;    // null is not counted
  const void *expected_response = nullptr;  // named "response" among the options, any other buffer "own buffer"
  std::string temporary_folder;             // where /tmp/kelvane_* goes
  bool refuse_files = false;
  std::vector<std::string> container_ids;
  int64_t now = 0;                 // what time returns; 0: the real clock
  int refuse_json = 0;             // the n-th JSON value from now on cannot be made
  bool refuse_json_text = false;   // no JSON value can be written
  int refuse_json_parse = 0;       // the n-th JSON text from now on finds no memory
  std::vector<std::string> wiped;  // what was overwritten as a secret
  int event_passes = 0;
  int event_result = 0;
};

Spies &spies();

}  // namespace spies

// A fresh world with an HTTP server behind every URL, the wire server's address set, and empty protocol caches.
class WireTest : public RecordingTest {
 protected:
  WireTest();
  ~WireTest() override;

  // What the wire server's URLs begin with.
  static constexpr const char *kServer = "http://168.63.129.16";

  // The sleeps so far.
  static std::vector<unsigned> &sleeps() { return spies::spies().sleeps; }
  // The bytes of a copy under /tmp, or "(none)".
  std::string copy(const std::string &name) const;

  support::TempDir folder_;
  std::unique_ptr<support::HttpPeer> peer_;
};

// A buffer of a test.
std::string bytes_of(const kelvane::BufferOwner &buffer);

#endif
