// Records and keys that a caller hands to the reference platform: each input is a run of calls, three bytes and a text
// each, on tables of its choice. No key is there twice, key numbers are never 0, what is written is found again by the
// next connection and by another process, and the walk of a table finds what a look-up by key finds.
#include "tests/fuzz/durable_records.h"
#include "tests/fuzz/record_calls.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static fuzz::DurableRecords durable;
  durable.restore();
  fuzz::RecordCalls(data, size).run();
  const std::string before = fuzz::all_records();
  fuzz::require(cmf_write_config(cmf_get_cur_domain_id()) == 0, "what is pending is written");
  fuzz::require(fuzz::all_records_as_they_are() == before, "writing changes nothing that this process sees");
  fuzz::require(durable.shown() == before, "what was written is found by another process");
  return 0;
}
