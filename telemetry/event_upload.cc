#include "telemetry/event_upload.h"

#include <stdio.h>
#include <string.h>
#include <time.h>

#include "core/base/buffer.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "core/base/xml.h"
#include "protocol/http_request.h"
#include "protocol/wire/endpoint.h"
#include "telemetry/event_queue.h"

namespace kelvane {

namespace {

constexpr int64_t kHeartbeatSeconds = 43200;
constexpr int kEventsPerPost = 3;
constexpr char kProviderId[] = "69B669B9-4AF8-4C50-BDC4-6006FA76E975";

int64_t gsLastHeartbeat = 0;

void queue_heartbeat_when_due() {
  const int64_t now = time(nullptr);
  if (now - gsLastHeartbeat > kHeartbeatSeconds) {
    AddExtensionEvent("TORV", kTelemetryHeartBeat, 1, 0, "", "");
    gsLastHeartbeat = now;
  }
}

// The request document without events; *provider receives the element that takes them, lent.
XmlOwner make_document(mxml_node_t **provider) {
  XmlOwner document(mxmlNewXML("1.0"));
  mxml_node_t *root = document.present() ? mxmlNewElement(document.get(), "TelemetryData") : nullptr;
  *provider = root != nullptr ? mxmlNewElement(root, "Provider") : nullptr;
  if (*provider == nullptr) {
    return XmlOwner();
  }
  mxmlElementSetAttr(root, "version", "1.0");
  mxmlElementSetAttr(*provider, "id", kProviderId);
  return document;
}

// Moves the oldest events into the document. Their number.
int move_events(mxml_node_t *provider) {
  int moved = 0;
  while (moved < kEventsPerPost && event_queue_waiting()) {
    mxmlAdd(provider, MXML_ADD_AFTER, MXML_ADD_TO_PARENT, event_queue_take());
    moved++;
  }
  return moved;
}

void post(const char *document, int count) {
  const uint32_t address = WireProtocolGetEndpoint();
  char url[kWireUrlSize];
  snprintf(url, sizeof url, "http://%u.%u.%u.%u/machine/?comp=telemetrydata", address & 0xFFu, address >> 8 & 0xFFu,
           address >> 16 & 0xFFu, address >> 24);
  BufferOwner response;
  const int32_t result = HttpPostWithHeaders(url, document, response.get());
  LOG_ABOVE(6, "[kelvane]: EVENT: Posted %d events, res %d\n", count, result);
  LOG_ABOVE(6, "[kelvane]: EVENT: Posted details %s\n", document);
}

}  // namespace

int32_t EventHandler_Process() {
  queue_heartbeat_when_due();
  if (!event_queue_waiting()) {
    return 0;
  }
  mxml_node_t *provider = nullptr;
  XmlOwner document = make_document(&provider);
  if (!document.present()) {
    return -1;
  }
  const int moved = move_events(provider);
  const Text text = Text::adopt(mxmlSaveAllocString(document.get(), MXML_NO_CALLBACK));
  document.reset();
  if (text.present()) {
    post(text.get(), moved);
  }
  return event_queue_waiting() ? 1 : 0;
}

int32_t HttpPostWithHeaders(const char *url, const char *body, Buffer *response) {
  LOG_ABOVE(6, "[kelvane]: %s:%d URL: %s\n", "HttpPostWithHeaders", 322, url);
  CurlOwner handle(curl_easy_init());
  if (!handle.present()) {
    return -1;
  }
  const CurlListOwner headers = http_header_list(
      {"x-ms-agent-name: TorvikGuest", "Content-Type: text/xml; charset=utf-8", "x-ms-version: 2012-11-30"});
  CURL *curl = handle.get();
  curl_easy_setopt(curl, CURLOPT_URL, url);
  // GET first, then POST: the later setting wins.
  curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
  curl_easy_setopt(curl, CURLOPT_POST, 1L);
  http_collect(curl, response);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(strlen(body)));
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body);
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
  const int32_t result = http_perform(curl, nullptr);
  if (result != 0) {
    LOG_ABOVE(0, "[kelvane]: curl_error: %s:%d res %d\n", "HttpPostWithHeaders", 353, result);
  }
  return result;
}

}  // namespace kelvane
