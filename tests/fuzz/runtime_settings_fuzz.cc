// A runtime-settings document, with the certificate of its protected settings in the store: what comes of it is JSON
// again, protected settings are handed out as an object only, and below the trace level nothing is logged.
#include "core/base/json.h"
#include "extensions/handler_settings.h"
#include "tests/fuzz/fixed_key.h"
#include "tests/fuzz/world.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start(6);
  static const bool stored = fuzz::store_fixed_certificate();
  fuzz::require(stored, "the certificate of the settings is in the store");
  const std::string text = fuzz::text_of(data, size);
  const kelvane::JsonSecretOwner document = kelvane::HandlerUtilParseConfig(text.c_str());
  json_object *hidden = nullptr, *open = nullptr;
  const int32_t code = kelvane::HandlerUtilGetSettings(document.get(), &hidden, &open);
  fuzz::require(code <= 0 && code >= -6 && code != -2, "the codes are those of the table");
  fuzz::require(code == 0 || (hidden == nullptr && open == nullptr), "a failure hands nothing out");
  for (json_object *settings : {hidden, open}) {
    fuzz::require(settings == nullptr || json_object_is_type(settings, json_type_object) != 0, "settings are objects");
  }
  if (document.present()) {
    fuzz::require(fuzz::is_loose_json(json_object_to_json_string(document.get())), "the document is JSON again");
  }
  fuzz::require(fuzz::logged().empty(), "nothing is logged below the trace level");
  return 0;
}
