#include "tools/fabric/judge_metadata.h"

#include <strings.h>

#include <nlohmann/json.hpp>

#include "tools/fabric/bytes.h"
#include "tools/fabric/json_match.h"
#include "tools/fabric/metadata_documents.h"

namespace kelvane::fabric {

namespace {

using Json = nlohmann::ordered_json;

constexpr char kProvisioning[] =
    R"({"status":"<text>","subStatus":"<text>","description":"<text>","properties":{"certificateThumbprint":"<text>"}})";

constexpr char kVmStatus[] =
    R"({"vmAgent":{"version":"2.2.26","status":"Ready","message":"Guest Agent is running"},
        "extensionHandlers":["<each>",{"name":"<text>","version":"<text>","status":"<text>","message":"<text>",
                                       "extensions":["<text>"]}]})";

constexpr char kExtensionStatus[] =
    R"({"configurationAppliedTime":"<text>","operation":"<text>","status":"<text>","sequenceNumber":"<n>",
        "code":"<digits>","message":"<text>"})";

constexpr char kSubstatus[] = R"([{"name":"<text>","status":"<text>","code":"<n>","message":"<text>"}])";

constexpr char kEvents[] =
    R"(["<each>",{"eventId":"<text>","providerId":"<text>",
                  "parameters":["<each>",{"name":"<text>","value":"<text>"}]}])";

constexpr size_t kMostHandlers = 3;
constexpr size_t kMostParameters = 10;

// The document when it has that shape; none, with a word in the judgement, when it has not.
Json judge_shape(const std::string &shape, const std::string &body, Judgement &judgement) {
  auto mismatch = find_json_mismatch(shape, body, Members::kAll);
  if (!mismatch) return Json::parse(body, nullptr, false);
  judgement.add(mismatch->where.empty() ? "body" : "body " + mismatch->where, mismatch->expected, mismatch->came);
  return nullptr;
}

void judge_count(const std::string &what, const Json &list, size_t most, Judgement &judgement) {
  if (list.size() > most) judgement.add("body " + what, "at most " + std::to_string(most), std::to_string(list.size()));
}

// Whether the value fits into so many bits, with a sign or without.
void judge_range(const std::string &what, int64_t low, int64_t high, int64_t came, Judgement &judgement) {
  if (came < low || came > high)
    judgement.add("body " + what, std::to_string(low) + " to " + std::to_string(high), std::to_string(came));
}

}  // namespace

void judge_metadata_query(const Target &target, Judgement &judgement) {
  if (target.query != kMetadataQuery) judgement.add("query", in_quotes(kMetadataQuery), in_quotes(target.query));
}

void judge_metadata_headers(const Request &request, bool certificate, Judgement &judgement) {
  for (const Header &header : request.headers) {
    const bool due = certificate && strcasecmp(header.name.c_str(), kMetadataCertificateHeader) == 0;
    if (strncasecmp(header.name.c_str(), "x-ms-", 5) == 0 && !due)
      judgement.add("header " + header.name, "none", in_quotes(header.value));
  }
  if (request.method == "PUT") {
    judge_header(request, "Content-Type", "application/json", judgement);
    judge_header(request, "Content-Length", std::to_string(request.body.size()), judgement);
    return;
  }
  judge_no_body(request, judgement);
  if (const std::string *type = find_header(request.headers, "Content-Type"))
    judgement.add("header Content-Type", "none", in_quotes(*type));
}

void judge_provisioning_status(const std::string &body, Judgement &judgement) {
  const Json document = judge_shape(kProvisioning, body, judgement);
  if (document.is_null()) return;
  const std::string status = document["status"];
  if (status != "NotReady" && status != "Ready")
    judgement.add("body $.status", "\"NotReady\" or \"Ready\"", in_quotes(status));
}

void judge_vm_status(const std::string &body, Judgement &judgement) {
  const Json document = judge_shape(kVmStatus, body, judgement);
  if (!document.is_null()) judge_count("$.extensionHandlers", document["extensionHandlers"], kMostHandlers, judgement);
}

void judge_extension_status(const std::string &body, Judgement &judgement) {
  Json shape = Json::parse(kExtensionStatus);
  const Json came = Json::parse(body, nullptr, false);
  // It is there only when there is one to tell.
  if (came.is_object() && came.contains("substatus")) shape["substatus"] = Json::parse(kSubstatus);
  const Json document = judge_shape(shape.dump(), body, judgement);
  if (document.is_null()) return;
  judge_range("$.sequenceNumber", INT32_MIN, INT32_MAX, document["sequenceNumber"], judgement);
  judge_range("$.code", 0, UINT32_MAX, *decimal_number(document["code"].get<std::string>()), judgement);
}

void judge_metadata_events(const std::string &body, Judgement &judgement) {
  const Json document = judge_shape(kEvents, body, judgement);
  if (document.is_null()) return;
  if (document.empty()) judgement.add("body $", "one event or more", "none");
  for (size_t i = 0; i < document.size(); i++)
    judge_count("$[" + std::to_string(i) + "].parameters", document[i]["parameters"], kMostParameters, judgement);
}

}  // namespace kelvane::fabric
