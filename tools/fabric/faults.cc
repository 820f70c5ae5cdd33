#include "tools/fabric/faults.h"

#include <algorithm>
#include <array>

#include "tools/fabric/bytes.h"
#include "tools/fabric/documents.h"

namespace kelvane::fabric {

namespace {

bool fits(const FaultSpec &spec, const Request *request) {
  if (request == nullptr || spec.kind == "refuse") return request == nullptr && spec.kind == "refuse";
  return (spec.method.empty() || spec.method == request->method) && glob_match(spec.target, request->target);
}

bool due(const Fault &fault) {
  return fault.seen >= fault.spec.occurrence &&
         (fault.spec.times == 0 || fault.seen < fault.spec.occurrence + fault.spec.times);
}

// The head of an answer; `length` is what Content-Length says.
std::string head_of(Delivery &delivery, size_t length, bool keep_alive) {
  delivery.headers.push_back({"Content-Length", std::to_string(length)});
  delivery.headers.push_back({"Connection", keep_alive ? "keep-alive" : "close"});
  std::string head = "HTTP/1.1 " + std::to_string(delivery.status) + " " + std::string(reason_of(delivery.status));
  head += "\r\n";
  for (const Header &header : delivery.headers) head += header.name + header.separator + header.value + "\r\n";
  return head + "\r\n";
}

// One answer on its way to the wire: what the effects change.
struct Plan {
  Delivery delivery;
  const FaultSpec *fault;
  const Request &request;

  size_t body_size() const { return delivery.body.size(); }
};

void send(Plan &plan, size_t length, size_t body_bytes, bool keep) {
  plan.delivery.bytes = head_of(plan.delivery, length, keep);
  plan.delivery.ending = keep ? Ending::kKeep : Ending::kClose;
  if (plan.request.method == "HEAD") {
    plan.delivery.body.clear();
    plan.delivery.filler = 0;
    return;
  }
  plan.delivery.body.resize(std::min(body_bytes, plan.body_size()));
  plan.delivery.bytes += plan.delivery.body;
}

void send_whole(Plan &plan) {
  send(plan, plan.body_size(), plan.body_size(), plan.request.keep_alive);
}

void no_answer(Plan &plan, Ending ending) {
  plan.delivery = {.ending = ending};
}

void replace_answer(Plan &plan, int64_t status, const char *type, std::string body) {
  plan.delivery.status = static_cast<int>(status);
  plan.delivery.headers = {{"Content-Type", type}};
  plan.delivery.body = std::move(body);
  send_whole(plan);
}

// Bytes that are neither text nor UTF-8, always the same ones.
std::string garbage(int64_t bytes) {
  std::string out(static_cast<size_t>(bytes == 0 ? 512 : bytes), '\0');
  uint32_t state = 0x2545F491;
  for (char &c : out) {
    state = state * 1664525u + 1013904223u;
    c = static_cast<char>(state >> 24 | 0x80);
  }
  return out;
}

void close_connection(Plan &plan) {
  no_answer(plan, Ending::kClose);
  plan.delivery.delay_ms = plan.fault->milliseconds;
}

void silent(Plan &plan) {
  no_answer(plan, Ending::kHold);
}

void reset(Plan &plan) {
  if (plan.fault->bytes == 0) {
    no_answer(plan, Ending::kReset);
    return;
  }
  send(plan, plan.body_size(), static_cast<size_t>(plan.fault->bytes), false);
  plan.delivery.ending = Ending::kReset;
}

void delay(Plan &plan) {
  plan.delivery.delay_ms = plan.fault->milliseconds;
  send_whole(plan);
}

void status(Plan &plan) {
  replace_answer(plan, plan.fault->status, "text/plain; charset=utf-8", plan.fault->body);
}

void empty(Plan &plan) {
  replace_answer(plan, 200, "text/xml; charset=utf-8", "");
}

void html(Plan &plan) {
  replace_answer(plan, 200, "text/html",
                 "<!DOCTYPE html>\n<html><head><title>Sign in</title><meta charset=utf-8></head>\n"
                 "<body><p>This network needs you to sign in.<br>Press & hold.</body></html>\n");
}

void cut(Plan &plan) {
  size_t kept = plan.fault->bytes == 0 ? plan.body_size() / 2 : static_cast<size_t>(plan.fault->bytes);
  kept = std::min(kept, plan.body_size());
  send(plan, plan.fault->full_length ? plan.body_size() : kept, kept, false);
}

void wrong_length(Plan &plan) {
  auto length = static_cast<int64_t>(plan.body_size()) + plan.fault->length_change;
  send(plan, static_cast<size_t>(std::max<int64_t>(length, 0)), plan.body_size(), false);
}

void omit_element(Plan &plan) {
  plan.delivery.body = without_element(plan.delivery.body, plan.fault->element);
  send_whole(plan);
}

void drip(Plan &plan) {
  plan.delivery.drip_bytes = plan.fault->bytes == 0 ? 1 : static_cast<size_t>(plan.fault->bytes);
  plan.delivery.drip_ms = plan.fault->milliseconds == 0 ? 10 : plan.fault->milliseconds;
  send_whole(plan);
}

void raw_garbage(Plan &plan) {
  plan.delivery = {.bytes = garbage(plan.fault->bytes), .ending = Ending::kClose};
}

void garbage_body(Plan &plan) {
  replace_answer(plan, 200, "text/xml; charset=utf-8", garbage(plan.fault->bytes));
}

void huge(Plan &plan) {
  plan.delivery.filler = static_cast<size_t>(plan.fault->megabytes) * 1024 * 1024;
  send(plan, plan.body_size() + plan.delivery.filler, plan.body_size(), plan.request.keep_alive);
}

void not_listening(Plan &plan) {
  send_whole(plan);
  plan.delivery.stop_listening = true;
  plan.delivery.stop_listening_ms = plan.fault->milliseconds;
}

void header(Plan &plan) {
  auto same = [&](const Header &one) { return find_header({one}, plan.fault->header) != nullptr; };
  std::vector<Header> &headers = plan.delivery.headers;
  headers.erase(std::remove_if(headers.begin(), headers.end(), same), headers.end());
  if (plan.fault->value) headers.push_back({plan.fault->header, *plan.fault->value});
  send_whole(plan);
}

struct Row {
  const char *kind;
  void (*apply)(Plan &plan);
  bool whole;  // the answer still reaches the agent
};

constexpr std::array kRows{
    Row{"close", close_connection, false},
    Row{"reset", reset, false},
    Row{"silent", silent, false},
    Row{"delay", delay, true},
    Row{"status", status, false},
    Row{"empty", empty, false},
    Row{"html", html, false},
    Row{"cut", cut, false},
    Row{"wrong-length", wrong_length, false},
    Row{"omit-element", omit_element, true},
    Row{"drip", drip, true},
    Row{"garbage", raw_garbage, false},
    Row{"garbage-body", garbage_body, false},
    Row{"huge", huge, false},
    Row{"not-listening", not_listening, true},
    Row{"header", header, true},
};

const Row *find_row(const FaultSpec *fault) {
  if (fault == nullptr) return nullptr;
  for (const Row &row : kRows)
    if (fault->kind == row.kind) return &row;
  return nullptr;
}

}  // namespace

Faults::Faults(const std::vector<FaultSpec> &specs) {
  for (const FaultSpec &spec : specs) all_.push_back({spec});
}

const FaultSpec *Faults::first_due(const Request *request) {
  Fault *chosen = nullptr;
  for (Fault &fault : all_) {
    if (!fault.spec.enabled || !fits(fault.spec, request)) continue;
    fault.seen++;
    if (chosen == nullptr && due(fault)) chosen = &fault;
  }
  if (chosen == nullptr) return nullptr;
  chosen->applied++;
  return &chosen->spec;
}

const FaultSpec *Faults::choose(const Request &request) {
  return first_due(&request);
}

const FaultSpec *Faults::choose_for_connection() {
  return first_due(nullptr);
}

void Faults::add(FaultSpec spec) {
  remove(spec.name);
  all_.push_back({std::move(spec)});
}

bool Faults::enable(const std::string &name, bool enabled) {
  for (Fault &fault : all_) {
    if (fault.spec.name != name) continue;
    if (enabled) fault.seen = 0;
    fault.spec.enabled = enabled;
    return true;
  }
  return false;
}

bool Faults::remove(const std::string &name) {
  auto found = std::find_if(all_.begin(), all_.end(), [&](const Fault &fault) { return fault.spec.name == name; });
  if (found == all_.end()) return false;
  all_.erase(found);
  return true;
}

bool delivers_whole(const FaultSpec *fault) {
  const Row *row = find_row(fault);
  return row == nullptr || row->whole;
}

Delivery plan_delivery(Answer answer, const FaultSpec *fault, const Request &request) {
  Plan plan{.delivery = {.status = answer.status, .headers = std::move(answer.headers), .body = std::move(answer.body)},
            .fault = fault,
            .request = request};
  const Row *row = find_row(fault);
  if (row == nullptr)
    send_whole(plan);
  else
    row->apply(plan);
  return plan.delivery;
}

}  // namespace kelvane::fabric
