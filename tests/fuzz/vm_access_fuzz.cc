// The settings of the VM-access extension, once decrypted: a JSON object. Whatever it asks for, a hidden account stays
// as it is, no query is left open, and what is logged, at any level, is the same for every password.
#include "core/base/json.h"
#include "plugins/vm_access_operations.h"
#include "tests/fuzz/world.h"

namespace {

std::string logged(json_object *settings) {
  recording::reset();
  recording::set_debug_level(8);
  recording::seed_factory_defaults();
  recording::seed_account("hidden", "kept", 1);
  const auto before = recording::account("hidden");
  const int32_t result = kelvane::vm_access_apply(nullptr, settings);
  fuzz::require(result == 0 || result == -1, "the result is one of two");
  const auto after = recording::account("hidden");
  fuzz::require(after && std::memcmp(&*before, &*after, sizeof *before) == 0, "a hidden account stays as it is");
  fuzz::require(recording::open_queries() == 0 && recording::misuses().empty(), "the platform is used as it wants");
  return recording::log_text() + std::to_string(result);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FakeOs os;  // without a file of the SSH daemon's, so that nobody gets a signal
  const kelvane::JsonOwner settings = kelvane::json_load(fuzz::text_of(data, size).c_str());
  if (json_object_is_type(settings.get(), json_type_object) == 0) {
    return 0;
  }
  const std::string first = logged(settings.get());
  const char *password = kelvane::json_member_text(settings.get(), "password");
  if (password != nullptr && password[0] != '\0') {
    json_object_object_add(settings.get(), "password", json_object_new_string("another"));
  }
  fuzz::require(logged(settings.get()) == first, "the log says nothing of a password");
  recording::reset();
  return 0;
}
