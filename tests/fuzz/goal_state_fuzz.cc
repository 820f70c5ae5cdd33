// The goal state: each value is found in the document, reading it twice gives the same, and a document that is none
// changes nothing.
#include "core/base/buffer.h"
#include "protocol/wire/goal_state.h"
#include "tests/fuzz/world.h"

namespace {

std::string parse(const std::string &document) {
  kelvane::BufferOwner buffer;
  if (!document.empty()) {
    kelvane::event_curl_recv_cb(const_cast<char *>(document.data()), 1, document.size(), buffer.get());
  }
  kelvane::goal_state_parse(buffer.get());
  const kelvane::GoalState *state = kelvane::goal_state();
  std::string shown;
  for (const kelvane::Text *text :
       {&state->incarnation, &state->expected_state, &state->hosting_environment_uri, &state->shared_config_uri,
        &state->extensions_config_uri, &state->instance_id, &state->config_name, &state->certificates_uri,
        &state->container_id, &state->probe_port}) {
    fuzz::require_from(document.empty() ? shown : document, document.empty() ? nullptr : text->get());
    shown += std::string(kelvane::text_or(text->get(), "(none)")) + '\n';
  }
  return shown;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start();
  kelvane::goal_state_release();
  const std::string document = fuzz::bytes_of(data, size);
  const std::string first = parse(document);
  fuzz::require(parse(document) == first, "reading twice gives the same");
  fuzz::require(parse("") == first, "no document changes nothing");
  fuzz::require(fuzz::logged().empty(), "nothing is logged but what is over a cap");
  return 0;
}
