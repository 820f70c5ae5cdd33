// The extensions configuration with its runtime settings: the handler list keeps its properties, every text that names
// an extension is found in the document, reading it twice gives the same, and a released one is empty.
#include "core/base/xml.h"
#include "extensions/handler_settings.h"
#include "protocol/wire/ext_config.h"
#include "tests/fuzz/ext_handler_shape.h"

namespace {

std::string shown(const kelvane::ExtConfig &config) {
  fuzz::require(config.page_blob <= 1, "the flag is 0 or 1");
  fuzz::require_text(config.status_upload_url.get());
  return fuzz::handlers_shown(config.handlers) + kelvane::text_or(config.status_upload_url.get(), "(none)") +
         std::to_string(config.incarnation);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start();
  const std::string document = fuzz::bytes_of(data, size);
  const kelvane::XmlOwner tree = kelvane::xml_load(document.c_str(), document.size());
  kelvane::ExtConfig config = {};
  if (!tree.present() || kelvane::ExtConfigParse(tree.get(), &config) != 0) {
    fuzz::require(shown(config) == "(none)0", "a document without extensions changes nothing");
    return 0;
  }
  const std::string first = shown(config);
  for (int32_t i = 0; i < config.handlers.count; i++) {
    const kelvane::ExtHandler &handler = config.handlers.handlers[i];
    fuzz::require(handler.runtime_settings == nullptr || handler.has_runtime_settings == 1, "settings are flagged");
    kelvane::HandlerUtilParseConfig(handler.runtime_settings);
  }
  kelvane::ExtConfigParse(tree.get(), &config);
  fuzz::require(shown(config) == first, "reading twice gives the same");
  kelvane::ext_config_release(&config);
  fuzz::require(config.handlers.count == 0 && config.status_upload_url.empty(), "a released one is empty");
  return 0;
}
