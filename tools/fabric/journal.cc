#include "tools/fabric/journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tools/fabric/bytes.h"

namespace kelvane::fabric {

namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kMostBytesKept = 256 * 1024;

Json header_list(const std::vector<Header> &headers) {
  Json out = Json::array();
  for (const Header &header : headers) out.push_back(Json::array({header.name, header.value}));
  return out;
}

// Bytes that are no text go in as base64, under another name.
void put_body(Json &object, const std::string &body) {
  if (is_utf8(body))
    object["body"] = body;
  else
    object["bodyBase64"] = base64_encode(body);
}

Json answer_object(const Exchange &exchange) {
  if (exchange.status == 0) return nullptr;
  Json answer;
  answer["status"] = exchange.status;
  answer["headers"] = header_list(exchange.headers);
  put_body(answer, exchange.body);
  if (exchange.body_length != exchange.body.size()) answer["bodyLength"] = exchange.body_length;
  return answer;
}

Json judgement_object(const Judgement &judgement) {
  Json out;
  out["held"] = judgement.held();
  if (judgement.held()) return out;
  out["violations"] = Json::array();
  for (const Violation &violation : judgement.violations) {
    Json one;
    one["what"] = violation.what;
    one["expected"] = violation.expected;
    one["came"] = violation.came;
    out["violations"].push_back(one);
  }
  return out;
}

}  // namespace

std::string journal_line(const Exchange &exchange) {
  Json line;
  line["n"] = exchange.number;
  line["service"] = exchange.service;
  line["request"]["method"] = exchange.request.method;
  line["request"]["target"] = exchange.request.target;
  line["request"]["headers"] = header_list(exchange.request.headers);
  put_body(line["request"], exchange.request.body);
  line["fault"] = exchange.fault.empty() ? Json(nullptr) : Json(exchange.fault);
  if (!exchange.fault.empty()) line["faultKind"] = exchange.fault_kind;
  line["answer"] = answer_object(exchange);
  line["judgement"] = judgement_object(exchange.judgement);
  return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Journal::Journal(const std::string &path) {
  if (path.empty()) return;
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  file_.reset(fd < 0 ? nullptr : fdopen(fd, "w"));
  if (file_ == nullptr) throw std::runtime_error(path + ": the journal cannot be opened");
}

void Journal::add(Exchange exchange) {
  exchange.number = exchanges_.size() + 1;
  if (exchange.body.size() > kMostBytesKept) exchange.body.resize(kMostBytesKept);
  exchanges_.push_back(std::move(exchange));
  if (file_ == nullptr) return;
  std::string line = journal_line(exchanges_.back()) + "\n";
  bool written = fwrite(line.data(), 1, line.size(), file_.get()) == line.size() && fflush(file_.get()) == 0;
  if (!written && !write_failed_) fprintf(stderr, "kelvane-fabric: the journal cannot be written\n");
  write_failed_ = write_failed_ || !written;
}

void Journal::clear() {
  exchanges_.clear();
  if (file_ != nullptr && (fflush(file_.get()) != 0 || ftruncate(fileno(file_.get()), 0) != 0)) write_failed_ = true;
  if (file_ != nullptr) rewind(file_.get());
}

std::string Journal::as_array() const {
  std::string out;
  for (const Exchange &exchange : exchanges_) out += (out.empty() ? "[" : ",\n") + journal_line(exchange);
  return out.empty() ? "[]" : out + "]";
}

}  // namespace kelvane::fabric
