#include "tests/simulate/sent.h"

#include "tests/simulate/text.h"

namespace simulate {

namespace {

Sent gsSent;
uint64_t gsEventsPosted = 0;

uint64_t count(std::string_view text, std::string_view part) {
  uint64_t found = 0;
  for (size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size())) {
    found++;
  }
  return found;
}

// Attempts repeat it.
void provisioning_sent(std::string_view body) {
  const char state = contains(body, "NotReady") ? 'N' : 'R';
  if (gsSent.provisioning.empty() || gsSent.provisioning.back() != state) {
    gsSent.provisioning += state;
  }
}

// Between the resource and the query.
std::string extension_in(std::string_view url) {
  constexpr std::string_view kResource = "/status/extensions/";
  const std::string_view rest = url.substr(url.find(kResource) + kResource.size());
  return std::string(rest.substr(0, rest.find("?api-version=")));
}

}  // namespace

void sent(const Request &request) {
  const std::string_view url = request.url;
  const std::string_view body = request.body;
  if (body.empty()) {
    return;
  }
  if (contains(url, "comp=telemetrydata")) {
    gsEventsPosted += count(body, "<Event ");
  } else if (contains(url, "comp=health") || contains(url, "/provisioningStatus?")) {
    provisioning_sent(body);
  } else if (contains(url, "/status/vmagent?")) {
    gsSent.vm_status = body;
  } else if (contains(url, "/status/extensions/")) {
    gsSent.extensions[extension_in(url)] = body;
  }
}

const Sent &sent_last() {
  return gsSent;
}

void sent_forget() {
  gsSent.vm_status.clear();
  gsSent.extensions.clear();
  gsSent.provisioning.clear();
}

uint64_t events_posted() {
  return gsEventsPosted;
}

}  // namespace simulate
