#include "tests/fuzz/fabric_answers.h"

#include "tools/fabric/documents.h"
#include "tools/fabric/judge_metadata.h"
#include "tools/fabric/metadata_documents.h"

namespace fuzz {

namespace {

using namespace kelvane::fabric;

class Asker {
 public:
  Asker(Fabric *fabric, const std::string &certificate) : fabric_(fabric), certificate_(certificate) {}

  void ask_wire_server(const GoalStateSpec &state, const std::string &endpoint) {
    const std::vector<Header> headers = {{"x-ms-agent-name", "TorvikGuest"},
                                         {"x-ms-version", "2012-11-30"},
                                         {"x-ms-cipher-name", "DES_EDE3_CBC"},
                                         {"x-ms-guest-agent-public-x509-cert", certificate_}};
    ask('g', "versions", "http://" + endpoint + "/?comp=versions", headers);
    ask('g', "goal_state", "http://" + endpoint + "/machine/?comp=goalstate", headers);
    for (const GoalStateValue &value : goal_state_values(state, endpoint))
      if (value.value.rfind("http://", 0) == 0) ask('g', value.element, value.value, headers);
  }
  void ask_storage(const StatusBlobSpec &blob) {
    ask('h', "blob", blob.url, {{"x-ms-date", "2026-01-01T00:00:00Z"}, {"x-ms-version", "2014-02-14"}});
  }
  void ask_metadata_service() {
    for (const char *resource : {"identity", "certificates", "vmAgentVersions"}) ask_metadata(resource, {});
    for (const char *resource : {"certificates/1", "extensionHandlers"})
      ask_metadata(resource, {{kMetadataCertificateHeader, certificate_}});
  }
  // What the fabric does not answer at all is left out.
  void add(char asker, const std::string &name, const Delivery &delivery) {
    if (!delivery.bytes.empty()) answers_.push_back({asker, name, delivery.bytes});
  }
  const std::vector<WireAnswer> &answers() const { return answers_; }

 private:
  void ask(char asker, const std::string &name, const std::string &url, const std::vector<Header> &headers) {
    Request request;
    request.method = asker == 'h' ? "HEAD" : "GET";
    request.target = url;
    request.headers = headers;
    add(asker, name, fabric_->handle(request));
  }
  void ask_metadata(const std::string &resource, const std::vector<Header> &headers) {
    ask('m', resource.substr(resource.find('/') + 1),
        "http://" + std::string(kMetadataHost) + "/Microsoft.Compute/" + resource + "?" + kMetadataQuery, headers);
  }

  Fabric *fabric_;
  std::string certificate_;
  std::vector<WireAnswer> answers_;
};

}  // namespace

std::vector<WireAnswer> fabric_answers(Fabric *fabric, const std::string &certificate) {
  const Scenario &scenario = fabric->world().scenario();
  const GoalStateSpec state = fabric->world().goal_state();
  const bool wire_server = !scenario.endpoint.empty();
  Asker asker(fabric, certificate);
  if (wire_server) asker.ask_wire_server(state, scenario.endpoint);
  if (state.status_blob) asker.ask_storage(*state.status_blob);
  asker.ask_metadata_service();
  const Answer answer = wire_server ? xml_answer(goal_state_document(state, scenario.endpoint))
                                    : json_answer(identity_document(*state.metadata));
  for (const FaultSpec &fault : scenario.faults)
    asker.add(wire_server ? 'g' : 'm', fault.name, plan_delivery(answer, &fault, {}));
  return asker.answers();
}

std::vector<std::string> head_lines(const std::string &answer) {
  std::vector<std::string> lines;
  const size_t head = answer.find("\r\n\r\n");
  for (size_t at = 0, end = 0; head != std::string::npos && at < head; at = end) {
    end = answer.find("\r\n", at) + 2;
    lines.push_back(answer.substr(at, end - at));
  }
  return lines;
}

}  // namespace fuzz
