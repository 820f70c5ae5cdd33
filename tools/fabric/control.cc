#include "tools/fabric/control.h"

#include <array>

#include "tools/fabric/json_fields.h"

namespace kelvane::fabric {

namespace {

struct ControlCall {
  Fabric &fabric;
  const Request &request;
  const ControlContext &context;
};

Json request_object(const ControlCall &call) {
  Json value = Json::parse(call.request.body, nullptr, false);
  if (value.is_discarded()) throw ScenarioError("the body is not JSON");
  return value;
}

ControlResult get_journal(const ControlCall &call) {
  return {json_answer(call.fabric.journal() + "\n")};
}
ControlResult get_status_documents(const ControlCall &call) {
  return {json_answer(call.fabric.status_documents())};
}
ControlResult get_state(const ControlCall &call) {
  return {json_answer(call.fabric.state(call.context.listening))};
}
ControlResult get_verdict(const ControlCall &call) {
  return {json_answer(call.fabric.verdict().as_json())};
}
ControlResult quit(const ControlCall &) {
  return {text_answer(200, "ending\n"), ControlAction::kQuit};
}

ControlResult reset(const ControlCall &call) {
  call.fabric.reset();
  return {text_answer(200, "as at the start\n")};
}

ControlResult advance(const ControlCall &call) {
  std::string incarnation = call.fabric.advance();
  if (incarnation.empty()) return {text_answer(409, "there is no next goal state\n")};
  return {json_answer(Json{{"incarnation", incarnation}}.dump() + "\n")};
}

// {"enable": name}, {"disable": name}, {"remove": name}, or a fault as in a scenario, which is added.
ControlResult change_fault(const ControlCall &call) {
  Json value = request_object(call);
  JsonFields fields(value, "");
  auto enable = fields.optional_text("enable");
  auto disable = fields.optional_text("disable");
  auto removed = fields.optional_text("remove");
  if (!enable && !disable && !removed) {
    call.fabric.add_fault(parse_fault_text(call.request.body));
    return {text_answer(200, "added\n")};
  }
  fields.finish();
  bool found = enable    ? call.fabric.enable_fault(*enable, true)
               : disable ? call.fabric.enable_fault(*disable, false)
                         : call.fabric.remove_fault(*removed);
  return {found ? text_answer(200, "done\n") : text_answer(404, "no fault has that name\n")};
}

// {"listening": false, "ms": 2000} or {"listening": true}.
ControlResult change_listening(const ControlCall &call) {
  Json value = request_object(call);
  JsonFields fields(value, "");
  bool listening = fields.flag("listening", true);
  int64_t milliseconds = fields.number("ms", 0, 0, 3600 * 1000);
  fields.finish();
  if (listening) return {text_answer(200, "listening\n"), ControlAction::kListen};
  if (milliseconds == 0 && !call.context.own_port)
    throw ScenarioError("ms: missing; without it only the control port could undo this");
  return {text_answer(200, "not listening\n"), ControlAction::kStopListening, milliseconds};
}

struct Row {
  const char *target;
  const char *method;
  ControlResult (*serve)(const ControlCall &call);
};

constexpr std::array kRows{
    Row{"/_fabric/journal", "GET", get_journal},
    Row{"/_fabric/state", "GET", get_state},
    Row{"/_fabric/status", "GET", get_status_documents},
    Row{"/_fabric/verdict", "GET", get_verdict},
    Row{"/_fabric/advance", "POST", advance},
    Row{"/_fabric/reset", "POST", reset},
    Row{"/_fabric/fault", "POST", change_fault},
    Row{"/_fabric/listen", "POST", change_listening},
    Row{"/_fabric/quit", "POST", quit},
};

}  // namespace

bool is_control(const Request &request) {
  return split_target(request).path.compare(0, 9, "/_fabric/") == 0;
}

ControlResult control(Fabric &fabric, const Request &request, const ControlContext &context) {
  const std::string path = split_target(request).path;
  for (const Row &row : kRows) {
    if (path != row.target) continue;
    if (request.method != row.method)
      return {text_answer(405, std::string("method: expected ") + row.method + ", came " + request.method + "\n")};
    try {
      return row.serve({fabric, request, context});
    } catch (const ScenarioError &error) {
      return {text_answer(400, std::string(error.what()) + "\n")};
    }
  }
  std::string all;
  for (const Row &row : kRows) all += std::string(row.method) + " " + row.target + "\n";
  return {text_answer(404, "no such control request; there are:\n" + all)};
}

}  // namespace kelvane::fabric
