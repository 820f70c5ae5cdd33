#include "tests/simulate/cloud.h"

#include <cstdlib>

#include "tests/simulate/documents.h"
#include "tests/simulate/events.h"
#include "tests/simulate/faults.h"
#include "tests/simulate/metadata_service.h"
#include "tests/simulate/text.h"
#include "tests/simulate/upload.h"

namespace simulate {

namespace {

constexpr char kBlockType[] = "x-ms-blob-type: BlockBlob\r\n";
constexpr char kPageType[] = "X-MS-Blob-Type:   PageBlob\r\n";

constexpr char kErrorDocument[] =
    "<?xml version=\"1.0\"?><Error><Code>TryAgain</Code><Message>the server is busy</Message></Error>";

Reply answer_xml(const Request &request, const char *what, std::string_view body, std::string_view old_body) {
  return answer_document(request, what, {body, {}, old_body, {}, kErrorDocument});
}

Reply answer_goal_state(const Request &request) {
  const World &w = world();
  return answer_xml(request, "goal state", goal_state_document(w.current), goal_state_document(w.previous));
}

// The incarnation that the address names, as far as it is still served.
const Revision &asked_revision(std::string_view url) {
  const size_t equals = url.rfind('=');
  const int32_t asked = std::atoi(std::string(url.substr(equals + 1)).c_str());
  return asked == world().previous.incarnation ? world().previous : world().current;
}

Reply answer_extensions(const Request &request) {
  const Revision &revision = asked_revision(request.url);
  return answer_xml(request, "extensions", extensions_document(revision), extensions_document(world().previous));
}

Reply answer_certificates(const Request &request) {
  check_transport_certificate(request, "x-ms-guest-agent-public-x509-cert: ");
  return answer_xml(request, "certificates", certificates_document(world().current),
                    certificates_document(world().previous));
}

Reply answer_versions(const Request &request) {
  return answer_xml(request, "versions", versions_document(), {});
}

Reply answer_report(const Request &request) {
  return answer_plain(request, "report", 200);
}

Reply answer_telemetry(const Request &request) {
  return answer_plain(request, "telemetry", 200);
}

struct TypeRow {
  const char *line;
  BlobType type;
};

constexpr TypeRow kBlock = {kBlockType, BlobType::kBlock};
constexpr TypeRow kPage = {kPageType, BlobType::kPage};
constexpr TypeRow kForeign = {"x-ms-blob-type: AppendBlob\r\n", BlobType::kForeign};
constexpr TypeRow kNothing = {"x-ms-blob-type: \r\n", BlobType::kNone};

const TypeRow &draw_type() {
  Dice &dice = world().dice;
  if (dice.percent(3)) {
    return dice.percent(50) ? kForeign : kNothing;
  }
  return world().current.page_blob ? kPage : kBlock;
}

// An answer that never comes has no header; a refusal may have one.
Reply answer_head(const Request &request) {
  Reply reply = answer_plain(request, "blob type", 200);
  BlobType type = BlobType::kNone;
  if (reply.code != 0) {
    const TypeRow &drawn = draw_type();
    reply.header = drawn.line;
    type = drawn.type;
  }
  upload_type_told(type, reply.result == CURLE_OK);
  return reply;
}

Reply answer_storage(const Request &request) {
  if (request.method == Method::kHead) {
    return answer_head(request);
  }
  const Reply reply = answer_plain(request, "status", 201);
  upload_put(request, reply);
  return reply;
}

constexpr Route kWireRoutes[] = {
    {"comp=goalstate", answer_goal_state},
    {"storage.example.net", answer_storage},
    {"comp=telemetrydata", answer_telemetry},
    {"comp=extensions", answer_extensions},
    {"comp=certificates", answer_certificates},
    {"comp=versions", answer_versions},
    {"comp=health", answer_report},
    {"comp=roleProperties", answer_report},
};

const Route *route_of(std::string_view url) {
  const Route *found = metadata_route(url);
  for (const Route &route : kWireRoutes) {
    found = found == nullptr && url.find(route.part) != std::string_view::npos ? &route : found;
  }
  return found;
}

// The service that answers is the one that the start found, and no other is asked.
void check_service(const Request &request) {
  const bool metadata = request.url.find("//169.254.169.254/") != std::string_view::npos;
  if (metadata != world().metadata) {
    broken("the %s service is asked: %.*s", metadata ? "metadata" : "wire", static_cast<int>(request.url.size()),
           request.url.data());
  }
}

// But for the certificates: each start makes one anew, with the real clock's dates.
void digest_headers(const Request &request) {
  for (const curl_slist *each = request.headers; each != nullptr; each = each->next) {
    const std::string_view line = each->data;
    digest_add(line.data(), contains(line, "x509-cert: ") ? line.find(':') : line.size());
  }
}

}  // namespace

std::string_view header_value(const Request &request, std::string_view beginning) {
  for (const curl_slist *each = request.headers; each != nullptr; each = each->next) {
    const std::string_view line = each->data;
    if (line.substr(0, beginning.size()) == beginning) {
      return line.substr(beginning.size());
    }
  }
  return {};
}

void check_transport_certificate(const Request &request, std::string_view beginning) {
  if (header_value(request, beginning).empty() && !world().keyless) {
    broken("without the transport certificate: %.*s", static_cast<int>(request.url.size()), request.url.data());
  }
}

Reply cloud_answer(const Request &request) {
  World &w = world();
  w.counts.requests++;
  digest_add(request.url.data(), request.url.size());
  digest_add(request.body.data(), request.body.size());
  digest_headers(request);
  const Route *route = route_of(request.url);
  if (route == nullptr) {
    broken("a request for an address that nothing names: %.*s", static_cast<int>(request.url.size()),
           request.url.data());
  }
  check_service(request);
  // An answer takes a second at times, and what happens meanwhile happens.
  if (w.dice.percent(5)) {
    pass_time(1);
  }
  return route->answer(request);
}

}  // namespace simulate
