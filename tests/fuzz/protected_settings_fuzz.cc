// Protected settings: the first byte says whether the rest is the base64 text as it stands or the PKCS#7 message in it.
// What is decrypted is JSON again, below the trace level nothing is logged, and decrypting twice gives the same object:
// a message with a broken key decrypts to random bytes, deliberately of the library, which may well begin with a
// number.
#include <openssl/err.h>

#include "core/base/json.h"
#include "extensions/handler_settings.h"
#include "tests/fuzz/world.h"
#include "tests/support/base64.h"

namespace {

std::string decrypted(const std::string &text) {
  const kelvane::JsonSecretOwner value = kelvane::HandlerUtilParseProtectedSettings(text.c_str(), nullptr);
  fuzz::require(fuzz::logged().empty(), "nothing is logged below the trace level");
  ERR_clear_error();
  const char *shown = value.present() ? json_object_to_json_string(value.get()) : "null";
  fuzz::require(fuzz::is_loose_json(shown), "what is decrypted is JSON");
  return shown;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start(6);
  const bool as_text = size != 0 && data[0] == 't';
  const std::string rest = size != 0 ? fuzz::bytes_of(data + 1, size - 1) : "";
  const std::string text = as_text ? rest.c_str() : support::base64(rest);
  const std::string first = decrypted(text);
  fuzz::require(first.rfind("{ \"", 0) != 0 || decrypted(text) == first, "decrypting twice gives the same");
  return 0;
}
