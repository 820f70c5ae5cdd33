// The metadata service's extensions document: the handler list keeps its properties, fetching it twice gives the same,
// the document that is kept is JSON, and nothing is left after a release.
#include "protocol/metadata/metadata_state.h"
#include "tests/fuzz/ext_handler_shape.h"
#include "tests/fuzz/metadata_world.h"

namespace {

std::string fetched(const kelvane::Protocol *protocol) {
  char *tag = nullptr;
  kelvane::ExtHandlerList list = {};
  fuzz::require(protocol->get_ext_handlers(protocol, nullptr, &tag, &list) == 0, "the operation succeeds always");
  free(tag);
  const kelvane::Text &kept = kelvane::metadata_state()->extensions;
  fuzz::require(!kept.present() || fuzz::is_loose_json(kept.get()), "the document that is kept is JSON");
  fuzz::require(kept.present() || list.count == 0, "no document gives no handlers");
  return fuzz::handlers_shown(list);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start();
  fuzz::answer_with(fuzz::text_of(data, size));
  const kelvane::Protocol *protocol = kelvane::ProtocolGetMetaData();
  const std::string first = fetched(protocol);
  fuzz::require(fetched(protocol) == first, "fetching twice gives the same");
  protocol->release(protocol);
  fuzz::require(kelvane::metadata_state()->handlers.count == 0, "nothing is left after a release");
  return 0;
}
