#include "tests/simulate/faults.h"

#include <algorithm>
#include <string>

#include "tests/simulate/events.h"

namespace simulate {

namespace {

constexpr char kHtmlPage[] = "<html><head><title>504</title></head><body><h1>Gateway<br>time-out</h1></body></html>";
constexpr long kClientErrors[] = {400, 401, 403, 404, 409, 410, 429};
constexpr long kServerErrors[] = {500, 502, 503, 504};

enum class Fault {
  kRefused,
  kTimeOut,
  kReset,
  kNoAnswer,
  kClientError,
  kServerError,
  kEmpty,
  kHtml,
  kCut,    // the transfer fails half way
  kShort,  // half of it, and all is said to be well
  kGarbage,
  kWrongElement,
  kOld,  // the document before this one, where there is one; the last of them
  kCount,
};

constexpr const char *kFaultTexts[] = {"refused", "time-out", "reset", "no answer", "4xx",           "5xx", "empty",
                                       "html",    "cut",      "short", "garbage",   "wrong element", "old"};

std::string gsGarbage;

std::string_view garbage() {
  gsGarbage.resize(1 + world().dice.below(600));
  for (char &byte : gsGarbage) {
    byte = static_cast<char>(world().dice.next());
  }
  gsGarbage[0] = '\1';  // no document of any kind by chance
  return gsGarbage;
}

// Behind the prologue, so that what was sent before is part of the document that follows it, and breaks it.
std::string_view first_part(std::string_view body) {
  const size_t lowest = std::min<size_t>(body.size() - 1, 48);
  return body.substr(0, static_cast<size_t>(
                            world().dice.between(static_cast<int64_t>(lowest), static_cast<int64_t>(body.size() - 1))));
}

// A broken body may come behind the header of a whole one.
std::string_view header_at_times(const Answer &answer) {
  return !answer.header.empty() && world().dice.percent(50) ? answer.header : std::string_view();
}

Reply fail_whole(const Request &request, Fault fault) {
  Dice &dice = world().dice;
  switch (fault) {
    case Fault::kRefused:
      return {CURLE_COULDNT_CONNECT, 0, {}, {}};
    case Fault::kTimeOut:
      // Telemetry sets no limit of its own: the kernel gives up.
      pass_time(request.timeout != 0 ? request.timeout : 127);
      return {CURLE_OPERATION_TIMEDOUT, 0, {}, {}};
    case Fault::kReset:
      return {CURLE_RECV_ERROR, 0, {}, {}};
    case Fault::kNoAnswer:
      return {CURLE_GOT_NOTHING, 0, {}, {}};
    case Fault::kClientError:
      return answer_status(request, kClientErrors[dice.below(sizeof kClientErrors / sizeof *kClientErrors)]);
    default:
      return answer_status(request, kServerErrors[dice.below(sizeof kServerErrors / sizeof *kServerErrors)]);
  }
}

Reply fail_document(Fault fault, const Answer &answer) {
  switch (fault) {
    case Fault::kEmpty:
      return {CURLE_OK, 200, header_at_times(answer), {}};
    case Fault::kHtml:
      return {CURLE_OK, 200, {}, kHtmlPage};
    case Fault::kCut:
      return {CURLE_PARTIAL_FILE, 200, header_at_times(answer), first_part(answer.body)};
    case Fault::kShort:
      return {CURLE_OK, 200, header_at_times(answer), first_part(answer.body)};
    case Fault::kGarbage:
      return {CURLE_OK, 200, header_at_times(answer), garbage()};
    case Fault::kOld:
      return {CURLE_OK, 200, answer.old_header, answer.old_body};
    default:
      return {CURLE_OK, 200, {}, answer.error_body};
  }
}

bool faulty() {
  return world().dice.percent(world().fault_percent);
}

void note_fault(const char *what, Fault fault) {
  world().counts.faults++;
  happened("%s: %s", what, kFaultTexts[static_cast<int>(fault)]);
}

}  // namespace

Reply answer_status(const Request &request, long code) {
  return {request.fail_on_error && code >= 400 ? CURLE_HTTP_RETURNED_ERROR : CURLE_OK, code, {}, {}};
}

Reply answer_document(const Request &request, const char *what, const Answer &answer) {
  if (!faulty()) {
    return {CURLE_OK, 200, answer.header, answer.body};
  }
  const bool older = !answer.old_body.empty() && answer.old_body != answer.body;
  const Fault end = older ? Fault::kCount : Fault::kOld;
  const auto fault = static_cast<Fault>(world().dice.below(static_cast<uint32_t>(end)));
  note_fault(what, fault);
  return fault <= Fault::kServerError ? fail_whole(request, fault) : fail_document(fault, answer);
}

Reply answer_plain(const Request &request, const char *what, long code) {
  if (!faulty()) {
    return answer_status(request, code);
  }
  const auto fault = static_cast<Fault>(world().dice.below(static_cast<uint32_t>(Fault::kEmpty)));
  note_fault(what, fault);
  return fail_whole(request, fault);
}

}  // namespace simulate
