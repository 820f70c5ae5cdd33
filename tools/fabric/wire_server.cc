#include "tools/fabric/wire_server.h"

#include <array>

#include "tools/fabric/bytes.h"
#include "tools/fabric/container.h"
#include "tools/fabric/documents.h"

namespace kelvane::fabric {

namespace {

// One request in the hands of the operation that serves it.
struct Call {
  World &world;
  const Request &request;
  const Target &target;
  Judgement &judgement;
};

Answer serve_versions(const Call &) {
  return xml_answer(versions_document());
}

Answer serve_goal_state(const Call &call) {
  Answer answer = xml_answer(goal_state_document(call.world.goal_state(), call.world.scenario().endpoint));
  answer.goal_state = true;
  return answer;
}

// The URI must be the one of the goal state: an agent that asks for another took it from nowhere.
void judge_uri(const Call &call, const std::string &element) {
  auto known = call.world.known().find(element);
  std::string path_and_query = call.target.path + "?" + call.target.query;
  if (known == call.world.known().end()) {
    call.judgement.add("target", "a goal state to be asked for first", in_quotes(path_and_query));
    return;
  }
  std::string expected = known->second.substr(known->second.find("/machine/"));
  if (path_and_query != expected) call.judgement.add("target", in_quotes(expected), in_quotes(path_and_query));
}

Answer serve_hosting_environment(const Call &call) {
  judge_uri(call, "HostingEnvironmentConfig");
  return xml_answer(hosting_environment_document(call.world.goal_state()));
}

Answer serve_shared_config(const Call &call) {
  judge_uri(call, "SharedConfig");
  return xml_answer(shared_config_document(call.world.goal_state()));
}

Answer serve_extensions(const Call &call) {
  judge_uri(call, "ExtensionsConfig");
  return xml_answer(extensions_document(call.world.goal_state(), call.world.tenant(), call.world.transport.get()));
}

Answer serve_certificates(const Call &call) {
  judge_uri(call, "Certificates");
  X509Ptr recipient = judge_certificate_headers(call.request, call.judgement);
  if (recipient == nullptr) return {};
  const TenantSpec &tenant = call.world.scenario().tenant;
  const GoalStateSpec &state = call.world.goal_state();
  std::string data =
      make_certificates_data(call.world.tenant().chosen(state.certificates), tenant.container, recipient.get());
  call.world.transport = std::move(recipient);
  return xml_answer(certificates_document(state, tenant.document, data));
}

Answer serve_health(const Call &call) {
  HealthReport report = judge_health(call.request.body, call.world.known(), call.judgement);
  return taken_answer([&world = call.world, report] { world.health.push_back(report); });
}

Answer serve_role_properties(const Call &call) {
  std::string thumbprint = judge_role_properties(call.request.body, call.world.known(), call.judgement);
  return taken_answer([&world = call.world, thumbprint] { world.thumbprints.push_back(thumbprint); });
}

Answer serve_telemetry(const Call &call) {
  std::vector<Event> events = judge_telemetry(call.request.body, call.world.told_container_ids(), call.judgement);
  return taken_answer([&world = call.world, events] {
    for (const Event &event : events) world.events.push_back(event);
  });
}

// What the wire server answers to. Paths are exact, "/machine/*" is any document of a machine.
struct Row {
  const char *path;
  const char *component;
  const char *type;  // empty: no type is given
  const char *method;
  bool agent_headers;
  Answer (*serve)(const Call &call);
};

constexpr std::array kRows{
    Row{"/", "versions", "", "GET", false, serve_versions},
    Row{"/machine/", "goalstate", "", "GET", true, serve_goal_state},
    Row{"/machine/", "health", "", "POST", true, serve_health},
    Row{"/machine/", "roleProperties", "", "POST", true, serve_role_properties},
    Row{"/machine/", "telemetrydata", "", "POST", true, serve_telemetry},
    Row{"/machine/*", "certificates", "", "GET", true, serve_certificates},
    Row{"/machine/*", "config", "hostingEnvironmentConfig", "GET", true, serve_hosting_environment},
    Row{"/machine/*", "config", "sharedConfig", "GET", true, serve_shared_config},
    Row{"/machine/*", "config", "extensionsConfig", "GET", true, serve_extensions},
};

const Row *find_row(const Target &target) {
  for (const Row &row : kRows)
    if (glob_match(row.path, target.path) && query_value(target, "comp").value_or("") == row.component &&
        query_value(target, "type").value_or("") == row.type)
      return &row;
  return nullptr;
}

}  // namespace

bool wire_server_claims(const World &world, const Target &target) {
  const std::string &endpoint = world.scenario().endpoint;
  if (endpoint.empty()) return false;
  return target.host == endpoint || target.host.empty() || target.host == "localhost" ||
         target.host.compare(0, 4, "127.") == 0;
}

Answer wire_server_serve(World &world, const Request &request, const Target &target, Judgement &judgement) {
  const Row *row = find_row(target);
  if (row == nullptr) {
    judgement.add("target", "a document of the wire server", in_quotes(request.target));
    return text_answer(404, judgement.explanation());
  }
  judge_method(request, row->method, judgement);
  if (row->agent_headers) judge_agent_headers(request, judgement);
  if (row->method == std::string_view("POST"))
    judge_content_type(request, judgement);
  else
    judge_no_body(request, judgement);
  Answer answer = row->serve({world, request, target, judgement});
  return judgement.held() ? answer : text_answer(400, judgement.explanation());
}

}  // namespace kelvane::fabric
