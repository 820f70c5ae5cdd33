// What a server sends back, from the status line on, through libcurl itself: a socket pair stands in for the network.
// The first byte says who asks. A good answer comes through, and what is kept of any stands in it.
#include "core/base/json.h"
#include "protocol/metadata/metadata_http.h"
#include "protocol/wire/http_client.h"
#include "tests/fuzz/served_socket.h"
#include "tests/fuzz/world.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FakeOs os({"close", "open", "sleep"});  // which does not sleep between attempts
  fuzz::start();
  fuzz::answer_requests_with("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
  static const auto plain = fuzz::asked(kelvane::httpGet);
  fuzz::require(plain.first == 0 && plain.second == "ok", "answers come through");
  const std::string bytes = fuzz::bytes_of(data, size).substr(size != 0);
  const auto stands_there = [&](const char *text) { return text == nullptr || bytes.find(text) != std::string::npos; };
  fuzz::answer_requests_with(bytes);
  const char who = size != 0 ? static_cast<char>(data[0]) : ' ';
  if (who == 'g') {
    const std::string body = fuzz::asked(kelvane::httpGet).second;
    fuzz::require(fuzz::in_chunks(bytes) || bytes.find(body) != std::string::npos, "the body stands in the answer");
  } else if (who == 'h') {
    kelvane::captured_blob_type_clear();
    fuzz::require(fuzz::asked(kelvane::httpHead).second.empty(), "a look at the headers alone has no body");
    fuzz::require(stands_there(kelvane::captured_blob_type()), "the blob type stands in the answer");
  } else {
    kelvane::Text etag;
    kelvane::metadata_get("http://127.0.0.1/", nullptr, &etag);
    fuzz::require(stands_there(etag.get()), "an ETag stands in the answer");
  }
  recording::clear_trace();
  return 0;
}
