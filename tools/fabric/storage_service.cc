#include "tools/fabric/storage_service.h"

#include <array>

#include "tools/fabric/bytes.h"
#include "tools/fabric/storage_access.h"
#include "tools/fabric/storage_service_parts.h"

namespace kelvane::fabric {

namespace {

Answer blob_head(const Blob &blob) {
  Answer answer = storage_answer(200, &blob);
  answer.headers.push_back({"x-ms-blob-type", blob.type});
  answer.headers.push_back({"Content-Type", "application/octet-stream"});
  answer.headers.push_back({"Accept-Ranges", "bytes"});
  return answer;
}

// HEAD and GET alike: the body of an answer to HEAD is told in its Content-Length alone.
Answer read_blob(const StorageCall &call) {
  const Blob *blob = call.world.storage.find(call.key);
  if (blob == nullptr) return storage_error("BlobNotFound");
  Answer answer = blob_head(*blob);
  answer.body = blob->content;
  const std::string *header = range_header(call.request);
  if (header == nullptr || call.request.method == "HEAD") return answer;
  auto range = parse_range(*header);
  if (!range || range->first >= blob->content.size())
    return storage_complaint({"InvalidRange", "range", "bytes that the blob has", in_quotes(*header)}, call.judgement);
  answer.status = 206;
  answer.body = blob->content.substr(range->first, range->last - range->first + 1);
  return answer;
}

struct Row {
  const char *method;
  const char *component;
  bool agents;  // with the headers that the agent puts on such a request
  Answer (*serve)(const StorageCall &call);
};

constexpr std::array kRows{
    Row{"HEAD", "", true, read_blob},
    Row{"GET", "", false, read_blob},
    Row{"PUT", "", true, put_blob},
    Row{"PUT", "page", true, put_pages},
};

// The row of the request; none, with the refusal in `refusal`, when there is none.
const Row *find_row(const StorageCall &call, Answer &refusal) {
  const std::string component = query_value(call.target, "comp").value_or("");
  bool known_component = false;
  for (const Row &row : kRows) {
    known_component = known_component || component == row.component;
    if (component == row.component && call.request.method == row.method) return &row;
  }
  if (known_component)
    refusal =
        storage_complaint({"UnsupportedHttpVerb", "method", "HEAD, GET or PUT", call.request.method}, call.judgement);
  else
    refusal = storage_complaint({"InvalidQueryParameterValue", "query comp", "\"page\" or none", in_quotes(component)},
                                call.judgement);
  return nullptr;
}

// "/container/blob", whose container is there.
std::optional<Answer> refuse_path(const StorageCall &call) {
  const std::string &path = call.target.path;
  size_t slash = path.find('/', 1);
  if (slash == std::string::npos || slash == 1 || slash + 1 == path.size())
    return storage_complaint({"InvalidUri", "path", "/container/blob", in_quotes(path)}, call.judgement);
  const std::string container = call.target.host + path.substr(0, slash);
  if (call.world.storage.has_container(container)) return std::nullopt;
  return storage_complaint({"ContainerNotFound", "path", "a container of this scenario", in_quotes(container)},
                           call.judgement);
}

}  // namespace

bool storage_service_claims(const World &world, const Target &target) {
  return world.storage.has_host(target.host);
}

Answer storage_service_serve(World &world, const Request &request, const Target &target, Judgement &judgement) {
  const StorageCall call{world, request, target, target.host + target.path, judgement};
  Answer refusal;
  std::optional<Answer> refused = refuse_path(call);
  const Row *row = refused ? nullptr : find_row(call, refusal);
  if (row == nullptr) return refused ? *refused : refusal;
  if (row->agents) refused = refuse_headers(request, judgement);
  if (!refused && world.scenario().storage.signatures)
    refused = refuse_signature(world.storage, call.key, request, target, judgement);
  if (refused) return *refused;
  if (request.method != "PUT") judge_no_body(request, judgement);
  return row->serve(call);
}

}  // namespace kelvane::fabric
