// One response header line, not terminated, as libcurl hands it to both callbacks: the line is accepted whole, and what
// is kept of it stands in it, behind the header's name and without a line end.
#include <strings.h>

#include <memory>

#include "protocol/metadata/metadata_http.h"
#include "protocol/wire/http_client.h"
#include "tests/fuzz/world.h"

namespace {

void require_value(const std::string &line, const char *name, const char *value, const char *line_ends) {
  fuzz::require(strncasecmp(line.c_str(), name, std::string(name).size()) == 0, "only the named header is kept");
  fuzz::require(line.find(value) != std::string::npos, "a value stands in its line");
  fuzz::require(std::string(value).find_first_of(line_ends) == std::string::npos, "a value holds no line end");
  fuzz::require(value[0] != ' ', "a value begins behind the spaces");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start();
  const std::string line = fuzz::bytes_of(data, size);
  const std::unique_ptr<char[]> bytes(new char[size]);  // exactly as large: the sanitizer sees a step behind it
  line.copy(bytes.get(), size);
  kelvane::captured_blob_type_clear();
  fuzz::require(kelvane::__curl_header_recv_cb(bytes.get(), 1, size, nullptr) == size, "a line is accepted whole");
  if (const char *type = kelvane::captured_blob_type()) {
    require_value(line, "x-ms-blob-type:", type, "\r\n");
    fuzz::require(*type != '\0', "an empty type is none");
  }
  kelvane::Text etag;
  fuzz::require(kelvane::metadata_header_recv_cb(bytes.get(), 1, size, &etag) == size, "a line is accepted whole");
  if (etag.present()) {
    require_value(line, "ETag:", etag.get(), "\r");
  }
  return 0;
}
