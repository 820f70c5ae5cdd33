#include "tools/fabric/fabric.h"

#include <nlohmann/json.hpp>

#include "tools/fabric/bytes.h"
#include "tools/fabric/services.h"

namespace kelvane::fabric {

Fabric::Fabric(Scenario scenario, const std::string &journal_path)
    : world_(std::move(scenario)), faults_(world_.scenario().faults), journal_(journal_path) {}

Answer Fabric::serve(const Request &request, const Target &target, Exchange &exchange) {
  Judgement &judgement = exchange.judgement;
  if (!request.defect.empty()) {
    judgement.add("request", "a whole HTTP request", request.defect);
    return text_answer(400, judgement.explanation());
  }
  const Service *service = find_service(world_, target);
  if (service == nullptr) {
    judgement.add("host", "one of the services", in_quotes(target.host));
    return text_answer(502, judgement.explanation());
  }
  exchange.service = service->name;
  try {
    return service->serve(world_, request, target, judgement);
  } catch (const std::exception &error) {
    judgement.add("fabric", "to be able to answer", error.what());
    return text_answer(500, judgement.explanation());
  }
}

Delivery Fabric::handle(const Request &request) {
  std::lock_guard<std::mutex> guard(lock_);
  const FaultSpec *fault = faults_.choose(request);
  const size_t goal_state = world_.goal_state_number();
  Exchange exchange;
  exchange.request = request;
  Answer answer = serve(request, split_target(request), exchange);
  // What the agent will not learn, did not happen.
  if (delivers_whole(fault)) {
    if (answer.delivered) answer.delivered();
    if (answer.goal_state) world_.goal_state_delivered(fault == nullptr ? "" : fault->element);
    if (goal_state == world_.goal_state_number()) world_.request_answered(request);
  }
  Delivery delivery = plan_delivery(std::move(answer), fault, request);
  exchange.status = delivery.status;
  exchange.headers = delivery.headers;
  exchange.body = delivery.body;
  exchange.body_length = delivery.body.size() + delivery.filler;
  if (fault != nullptr) {
    exchange.fault = fault->name;
    exchange.fault_kind = fault->kind;
  }
  journal_.add(std::move(exchange));
  return delivery;
}

bool Fabric::refuses_connection() {
  std::lock_guard<std::mutex> guard(lock_);
  const FaultSpec *fault = faults_.choose_for_connection();
  if (fault == nullptr) return false;
  Exchange exchange;
  exchange.fault = fault->name;
  exchange.fault_kind = fault->kind;
  journal_.add(std::move(exchange));
  return true;
}

Verdict Fabric::verdict() {
  std::lock_guard<std::mutex> guard(lock_);
  return judge_expectations(world_, journal_);
}

std::string Fabric::journal() {
  std::lock_guard<std::mutex> guard(lock_);
  return journal_.as_array();
}

std::string Fabric::status_documents() {
  std::lock_guard<std::mutex> guard(lock_);
  nlohmann::ordered_json out = nlohmann::ordered_json::array();
  for (const Upload &upload : world_.storage.uploads()) {
    if (!upload.complete() || world_.storage.announced_queries(upload.key).empty()) continue;
    out.push_back({{"blob", upload.key},
                   {"type", upload.type},
                   {"size", upload.content.size()},
                   {"writes", upload.writes},
                   {"incarnation", upload.incarnation},
                   {"text", upload.document()}});
  }
  return out.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string Fabric::state(bool listening) {
  std::lock_guard<std::mutex> guard(lock_);
  nlohmann::ordered_json out;
  out["scenario"] = world_.scenario().name;
  out["listening"] = listening;
  out["requests"] = journal_.exchanges().size();
  out["goalState"]["number"] = world_.goal_state_number();
  out["goalState"]["incarnation"] = world_.goal_state().incarnation;
  out["goalState"]["delivered"] = world_.goal_states_delivered();
  out["faults"] = nlohmann::ordered_json::array();
  for (const Fault &fault : faults_.all()) {
    nlohmann::ordered_json one;
    one["name"] = fault.spec.name;
    one["kind"] = fault.spec.kind;
    one["enabled"] = fault.spec.enabled;
    one["seen"] = fault.seen;
    one["applied"] = fault.applied;
    out["faults"].push_back(one);
  }
  return out.dump(2) + "\n";
}

std::string Fabric::advance() {
  std::lock_guard<std::mutex> guard(lock_);
  return world_.advance() ? world_.goal_state().incarnation : "";
}

void Fabric::add_fault(FaultSpec spec) {
  std::lock_guard<std::mutex> guard(lock_);
  faults_.add(std::move(spec));
}

bool Fabric::enable_fault(const std::string &name, bool enabled) {
  std::lock_guard<std::mutex> guard(lock_);
  return faults_.enable(name, enabled);
}

void Fabric::reset() {
  std::lock_guard<std::mutex> guard(lock_);
  Scenario scenario = world_.scenario();
  World fresh(std::move(scenario), std::move(world_));
  world_ = std::move(fresh);
  faults_ = Faults(world_.scenario().faults);
  journal_.clear();
}

bool Fabric::remove_fault(const std::string &name) {
  std::lock_guard<std::mutex> guard(lock_);
  return faults_.remove(name);
}

}  // namespace kelvane::fabric
