#include "tests/fuzz/metadata_world.h"

#include "core/base/json.h"
#include "core/base/text.h"
#include "protocol/metadata/metadata_http.h"

namespace {

std::string body;

}  // namespace

kelvane::JsonOwner answered(const char *, curl_slist *,
                            kelvane::Text *etag) __asm__("__wrap__ZN7kelvane12metadata_getEPKcP10curl_slistPNS_4TextE");

kelvane::JsonOwner answered(const char *, curl_slist *, kelvane::Text *etag) {
  if (etag != nullptr) {
    kelvane::text_copy(etag, "\"1\"");
  }
  return kelvane::json_load(body.c_str());
}

void fuzz::answer_with(const std::string &new_body) {
  body = new_body;
}
