// The metadata service's identity and agent-versions documents: what the record holds stands in the document's text as
// it is kept, which is JSON, and a document that is none leaves the record as it was.
#include <cstring>

#include "core/base/json_owners.h"
#include "protocol/metadata/metadata_state.h"
#include "tests/fuzz/metadata_world.h"
#include "tests/fuzz/world.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start();
  fuzz::answer_with(fuzz::text_of(data, size));
  const kelvane::Protocol *protocol = kelvane::ProtocolGetMetaData();
  protocol->release(protocol);
  kelvane::VmInfo info;
  std::memset(static_cast<void *>(&info), 'x', sizeof info);
  fuzz::require(protocol->get_vminfo(protocol, &info) == 0, "the operation succeeds always");
  const kelvane::Text &kept = kelvane::metadata_state()->identity;
  const bool filled = info.vm_name[0] != 'x' || info.subscription_id[0] != 'x';
  fuzz::require(kept.present() || !filled, "no document leaves the record as it was");
  fuzz::require(!kept.present() || fuzz::is_loose_json(kept.get()), "the document that is kept is JSON");
  const kelvane::JsonOwner document(json_tokener_parse(kept.present() ? kept.get() : "{}"));
  const auto require_kept = [&](const auto &field, const char *member) {
    const std::string text(field, strnlen(field, sizeof field));
    json_object *value = nullptr;
    json_object_object_get_ex(document.get(), member, &value);
    const bool is_text = json_object_is_type(value, json_type_string) != 0;
    const std::string cut = std::string(is_text ? json_object_get_string(value) : "").substr(0, sizeof field);
    fuzz::require(!kept.present() || text == cut, "what the record holds stands in the document");
  };
  require_kept(info.vm_name, "vmName");
  require_kept(info.subscription_id, "subscriptionId");
  char *tag = nullptr;
  auto *versions = reinterpret_cast<json_object *>(protocol->get_vmagent_manifests(protocol, nullptr, &tag));
  fuzz::require((versions != nullptr) == kept.present() && tag != nullptr, "both documents are the same one");
  json_object_put(versions);
  free(tag);
  return 0;
}
