// What a server sends back, from the status line on, through libcurl itself: a socket pair stands in for the network. A
// request that succeeds has a status below 400, its body stands in the bytes unless it comes in chunks, and so do the
// headers that are kept.
#include "core/base/buffer.h"
#include "core/base/json.h"
#include "protocol/metadata/metadata_http.h"
#include "protocol/wire/http_client.h"
#include "tests/fuzz/served_socket.h"
#include "tests/fuzz/world.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FakeOs os;  // which does not sleep between attempts
  os.hide({"close", "open", "sleep"});
  fuzz::start();
  const std::string bytes = fuzz::bytes_of(data, size);
  const auto stands_in_answer = [&](const std::string &text) { return bytes.find(text) != std::string::npos; };
  fuzz::answer_requests_with(bytes);
  kelvane::BufferOwner body, none;
  int64_t code = 0;
  int32_t result = kelvane::httpGet("http://127.0.0.1/", nullptr, body.get(), &code);
  fuzz::require(result != 0 || (code >= 100 && code < 400), "a request that succeeds has a status below 400");
  const std::string text = body.empty() ? "" : std::string(body.data(), body.length());
  fuzz::require(fuzz::in_chunks(bytes) || stands_in_answer(text), "the body stands in the answer");
  kelvane::captured_blob_type_clear();
  result = kelvane::httpHead("http://127.0.0.1/", nullptr, none.get(), &code);
  fuzz::require(result != 0 || (code >= 100 && code < 400), "a request that succeeds has a status below 400");
  const char *type = kelvane::captured_blob_type();
  fuzz::require(none.empty() && (type == nullptr || stands_in_answer(type)), "only a header is kept");
  kelvane::Text etag;
  kelvane::metadata_get("http://127.0.0.1/", nullptr, &etag);
  fuzz::require(!etag.present() || stands_in_answer(etag.get()), "an ETag stands in the answer");
  recording::clear_trace();
  return 0;
}
