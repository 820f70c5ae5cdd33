#include "tools/fabric/metadata_service.h"

#include <array>

#include "tools/fabric/bytes.h"
#include "tools/fabric/judge_metadata.h"
#include "tools/fabric/metadata_documents.h"

namespace kelvane::fabric {

namespace {

constexpr std::string_view kRoot = "/Microsoft.Compute/";

// One request in the hands of the operation that serves it.
struct Call {
  World &world;
  const Request &request;
  std::string resource;
  Judgement &judgement;

  const GoalStateSpec &state() const { return world.goal_state(); }
  const MetadataSpec &metadata() const { return *world.goal_state().metadata; }
};

Answer with_etag(Answer answer, const ETagSpec &etag, const std::string &own) {
  if (etag.told) answer.headers.push_back(etag.header.value_or(Header{"ETag", own}));
  return answer;
}

// The certificate of the request becomes the agent's; false when there is none.
bool take_certificate(const Call &call) {
  X509Ptr certificate = judge_certificate(call.request, kMetadataCertificateHeader, call.judgement);
  if (certificate == nullptr) return false;
  call.world.transport = std::move(certificate);
  return true;
}

Answer serve_identity(const Call &call) {
  return json_answer(identity_document(call.metadata()));
}

Answer serve_certificate_list(const Call &call) {
  return json_answer(certificate_list_document(call.state(), call.world.tenant()));
}

// An agent that asks for another one than those of the list took it from nowhere.
Answer serve_certificate(const Call &call) {
  const auto number = decimal_number(std::string_view(call.resource).substr(call.resource.find('/') + 1));
  const auto count = static_cast<int64_t>(certificate_document_count(call.state(), call.world.tenant()));
  if (!number || *number < 1 || *number > count) {
    call.judgement.add("target", "one of the " + std::to_string(count) + " certificates of the list",
                       in_quotes(call.resource));
    return {};
  }
  if (!take_certificate(call)) return {};
  return json_answer(certificate_document(call.state(), call.world.tenant(), static_cast<size_t>(*number),
                                          call.world.transport.get()));
}

Answer serve_extension_handlers(const Call &call) {
  if (!take_certificate(call)) return {};
  return with_etag(
      json_answer(extension_handlers_document(call.state(), call.world.tenant(), call.world.transport.get())),
      call.metadata().handlers_etag, "\"handlers-" + call.state().incarnation + "\"");
}

Answer serve_agent_versions(const Call &call) {
  return with_etag(json_answer(agent_versions_document(call.metadata())), call.metadata().versions_etag,
                   "\"versions-" + call.state().incarnation + "\"");
}

// A report is judged, and kept once it has arrived.
template <auto Judge, auto List>
Answer serve_report(const Call &call) {
  Judge(call.request.body, call.judgement);
  Upload upload{.key = call.resource, .type = "application/json", .content = call.request.body, .writes = 1};
  return taken_answer([&world = call.world, upload] { (world.metadata.*List).push_back(upload); });
}

// What the service answers to.
struct Row {
  const char *resource;
  bool named;  // a name follows
  const char *method;
  bool certificate;  // the request carries the agent's certificate
  Answer (*serve)(const Call &call);
};

constexpr std::array kRows{
    Row{"identity", false, "GET", false, serve_identity},
    Row{"certificates", false, "GET", false, serve_certificate_list},
    Row{"certificates/", true, "GET", true, serve_certificate},
    Row{"extensionHandlers", false, "GET", true, serve_extension_handlers},
    Row{"vmAgentVersions", false, "GET", false, serve_agent_versions},
    Row{"provisioningStatus", false, "PUT", false,
        serve_report<judge_provisioning_status, &MetadataReports::provisioning>},
    Row{"status/vmagent", false, "PUT", false, serve_report<judge_vm_status, &MetadataReports::vm_status>},
    Row{"status/extensions/", true, "PUT", false,
        serve_report<judge_extension_status, &MetadataReports::extension_status>},
    Row{"status/telemetry", false, "PUT", false, serve_report<judge_metadata_events, &MetadataReports::telemetry>},
};

const Row *find_row(const std::string &resource) {
  for (const Row &row : kRows) {
    const std::string_view begin = row.resource;
    const bool fits =
        row.named ? resource.size() > begin.size() && resource.compare(0, begin.size(), begin) == 0 : resource == begin;
    if (fits) return &row;
  }
  return nullptr;
}

}  // namespace

bool metadata_service_claims(const World &world, const Target &target) {
  return target.host == kMetadataHost && world.goal_state().metadata;
}

Answer metadata_service_serve(World &world, const Request &request, const Target &target, Judgement &judgement) {
  const bool below = target.path.compare(0, kRoot.size(), kRoot) == 0;
  const Call call{world, request, below ? target.path.substr(kRoot.size()) : "", judgement};
  const Row *row = find_row(call.resource);
  if (row == nullptr) {
    judgement.add("target", "a resource of the metadata service", in_quotes(request.target));
    return text_answer(404, judgement.explanation());
  }
  judge_method(request, row->method, judgement);
  judge_metadata_query(target, judgement);
  judge_metadata_headers(request, row->certificate, judgement);
  Answer answer = row->serve(call);
  return judgement.held() ? answer : text_answer(400, judgement.explanation());
}

}  // namespace kelvane::fabric
