// Whole passes of extension handling: what an extensions configuration asks for, in two passes, and then, if any, the
// one behind a zero byte. The plugins' state stays between the passes. At most three handlers are reported, with fields
// that are terminated and UTF-8, all status documents are JSON, every event is XML, and the status file is JSON.
#include "core/base/xml.h"
#include "extensions/guest_agent.h"
#include "tests/fuzz/pass_world.h"
#include "tests/fuzz/plugin_file.h"
#include "tests/fuzz/world.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FakeOs os({"access", "close", "open", "time", "unlink"});
  static const bool fresh = (fuzz::fresh_registry(), true);
  fuzz::require(fresh, "an input finds the registry as the one before has left it");
  fuzz::start(6);
  os.write("/data/etc/.plugin_status", "[]");
  const std::string input = fuzz::bytes_of(data, size);
  const std::string first = input.c_str();
  const bool another = first.size() < size;
  for (int pass = 0; pass < (another ? 3 : 2); pass++) {
    fuzz::ask_for(pass < 2 ? first : input.substr(first.size() + 1));
    recording::clear_trace();
    kelvane::GuestAgent_HandlerExtension(fuzz::asking_protocol());
    fuzz::require_events_are_xml();
  }
  fuzz::require(fuzz::is_json(os.read("/data/etc/.plugin_status").c_str()), "the status file is JSON");
  fuzz::require(recording::open_queries() == 0 && recording::misuses().empty(), "the platform is used as it wants");
  kelvane::GuestAgent_HandlerExtensionCleanup();
  fuzz::forget_pass();
  fuzz::fresh_registry();
  recording::clear_trace();
  return 0;
}
