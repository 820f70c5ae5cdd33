#include "protocol/wire/wire_client.h"

#include <string.h>

#include "core/base/buffer.h"
#include "core/base/file.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "core/base/xml.h"
#include "protocol/wire/certificates.h"
#include "protocol/wire/endpoint.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/goal_state.h"
#include "protocol/wire/http_client.h"
#include "protocol/wire/status_blob.h"

namespace kelvane {

namespace {

constexpr size_t kOldIncarnationSize = 64;

// Only a file that is not there yet is written.
void keep_first_copy(const char *path, const Buffer *document) {
  file_create_with(path, document->data, document->length);
}

int32_t get(const char *url, curl_slist *headers, Buffer *response) {
  return __WireClient_call_wireserver(0, url, headers, nullptr, response);
}

// Whatever the request's result: only the body counts.
void fetch_certificates(const Text &uri) {
  if (uri.empty()) {
    return;
  }
  BufferOwner document;
  get(uri.get(), wire_certificates_headers(), document.get());
  if (!document.empty()) {
    keep_first_copy("/tmp/kelvane_certificates.xml", document.get());
    certificates_process(document.get());
  }
}

// As above.
void fetch_ext_config(const Text &uri) {
  if (uri.empty()) {
    return;
  }
  BufferOwner document;
  get(uri.get(), wire_get_headers(), document.get());
  if (document.empty()) {
    return;
  }
  keep_first_copy("/tmp/kelvane_ext_uri.xml", document.get());
  bool no_memory = false;
  const XmlOwner xml = xml_load(document.data(), document.length(), &no_memory);
  if (xml.present()) {
    ExtConfigParse(xml.get(), ext_config());
  } else {
    LOG_ABOVE(0, "[kelvane]: the extensions configuration cannot be read, the last one stays\n");
    ext_config()->incomplete = no_memory ? 1 : ext_config()->incomplete;
  }
  blob_type_reported_set(false);
}

// 0, or the result of the request, which then has changed nothing.
int32_t fetch_goal_state() {
  BufferOwner document;
  const int32_t result = get(wire_urls()->goal_state, wire_get_headers(), document.get());
  if (result != 0) {
    return result;
  }
  if (!document.empty()) {
    keep_first_copy("/tmp/kelvane_goalstate.xml", document.get());
    goal_state_parse(document.get());
  }
  return 0;
}

// Whether the current incarnation is known and equals the old one; a change is logged.
bool same_incarnation(const char *old_incarnation) {
  const Text &current = goal_state()->incarnation;
  if (old_incarnation[0] != '\0' && !current.empty() && strcmp(old_incarnation, current.get()) == 0) {
    return true;
  }
  LOG_ABOVE(5, "[kelvane]: %s:%d - Incarnation changed: '%s' => '%s'\n", "__WireClient_update_goal_state", 913,
            old_incarnation, text_or(current.get(), ""));
  return false;
}

}  // namespace

int32_t VersionInfo_parse(const Buffer *, void *) {
  return -1;
}

int32_t __WireClient_get_versions() {
  BufferOwner document;
  const int32_t result = get(wire_urls()->versions, nullptr, document.get());
  if (!document.empty()) {
    keep_first_copy("/tmp/kelvane_versioninfo.xml", document.get());
  }
  if (result != 0) {
    return result;
  }
  VersionInfo_parse(document.get(), nullptr);
  return 0;
}

void __WireClient_update_goal_state(int32_t forced) {
  // An incarnation of more than 63 characters never equals its cut copy: it counts as changed every time.
  char old_incarnation[kOldIncarnationSize];
  text_copy_field(old_incarnation, goal_state()->incarnation.get());
  // What there was no memory for the last time is asked for again, so that it is not lost until the next incarnation.
  const bool incomplete = goal_state()->incomplete || ext_config()->incomplete != 0;
  if (fetch_goal_state() != 0) {
    return;
  }
  if (forced == 0 && same_incarnation(old_incarnation) && !incomplete) {
    return;
  }
  fetch_certificates(goal_state()->certificates_uri);
  fetch_ext_config(goal_state()->extensions_config_uri);
}

}  // namespace kelvane
