#include "tests/simulate/faults.h"

#include <sys/mman.h>

#include <algorithm>
#include <string>

#include "core/base/buffer.h"
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
  kCut,    // the transfer fails half way, in one of three ways
  kShort,  // half of it, and all is said to be well
  kGarbage,
  kWrongElement,
  kOld,       // the document before this one, where there is one; the last of those that are drawn
  kOversize,  // more than the agent takes: in place of some garbage
};

constexpr const char *kFaultTexts[] = {"refused", "time-out", "reset", "no answer", "4xx",           "5xx", "empty",
                                       "html",    "cut",      "short", "garbage",   "wrong element", "old", "oversize"};

std::string gsGarbage;

std::string_view garbage() {
  gsGarbage.resize(1 + world().dice.below(600));
  for (char &byte : gsGarbage) {
    byte = static_cast<char>(world().dice.next());
  }
  gsGarbage[0] = '\1';  // no document of any kind by chance
  return gsGarbage;
}

// Zeroes for which no memory is used: the agent refuses all but the first of them.
std::string_view oversize() {
  static const size_t size = kelvane::kBufferMaxBytes + 1;
  static void *memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) {
    broken("no room for an oversized answer");
  }
  return {static_cast<const char *>(memory), size};
}

// Behind the prologue, so that what was sent before is part of the document that follows it, and breaks it.
std::string_view first_part(std::string_view body) {
  const size_t lowest = std::min<size_t>(body.size() - 1, 48);
  return body.substr(0, static_cast<size_t>(
                            world().dice.between(static_cast<int64_t>(lowest), static_cast<int64_t>(body.size() - 1))));
}

// Telemetry sets no limit of its own: the kernel gives up.
void wait_out(const Request &request) {
  pass_time(request.timeout != 0 ? request.timeout : 127);
}

// What curl says of a transfer that ends half way, after the time that it takes.
CURLcode cut_result(const Request &request) {
  constexpr CURLcode kResults[] = {CURLE_PARTIAL_FILE, CURLE_RECV_ERROR, CURLE_OPERATION_TIMEDOUT};
  const CURLcode result = kResults[world().dice.below(sizeof kResults / sizeof *kResults)];
  if (result == CURLE_OPERATION_TIMEDOUT) {
    wait_out(request);
  }
  return result;
}

// A broken body may come behind the header of a whole one.
std::string_view header_at_times(const Answer &answer) {
  return !answer.header.empty() && world().dice.percent(50) ? answer.header : std::string_view();
}

Reply answer_status(const Request &request, long code) {
  return {request.fail_on_error && code >= 400 ? CURLE_HTTP_RETURNED_ERROR : CURLE_OK, code, {}, {}};
}

// libcurl hands over no body of an error that it fails on, and none at all of a HEAD.
bool has_body(const Request &request, const Reply &reply) {
  return reply.code != 0 && reply.result == CURLE_OK && request.method != Method::kHead;
}

Reply fail_whole(const Request &request, Fault fault) {
  Dice &dice = world().dice;
  switch (fault) {
    case Fault::kRefused:
      return {CURLE_COULDNT_CONNECT, 0, {}, {}};
    case Fault::kTimeOut:
      wait_out(request);
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

Reply fail_document(const Request &request, Fault fault, const Answer &answer) {
  switch (fault) {
    case Fault::kEmpty:
      return {CURLE_OK, 200, header_at_times(answer), {}};
    case Fault::kHtml:
      return {CURLE_OK, 200, {}, kHtmlPage};
    case Fault::kCut:
      return {cut_result(request), 200, header_at_times(answer), first_part(answer.body)};
    case Fault::kShort:
      return {CURLE_OK, 200, header_at_times(answer), first_part(answer.body)};
    case Fault::kGarbage:
      return {CURLE_OK, 200, header_at_times(answer), garbage()};
    case Fault::kOversize:
      return {CURLE_OK, 200, header_at_times(answer), oversize()};
    case Fault::kOld:
      return {CURLE_OK, 200, answer.old_header, answer.old_body};
    default:
      return {CURLE_OK, 200, {}, answer.error_body};
  }
}

bool faulty() {
  return world().dice.percent(world().fault_percent);
}

// Of those before end.
Fault draw_fault(Fault end) {
  Dice &dice = world().dice;
  const auto fault = static_cast<Fault>(dice.below(static_cast<uint32_t>(end)));
  return fault == Fault::kGarbage && dice.percent(5) ? Fault::kOversize : fault;
}

void note_fault(const char *what, Fault fault) {
  world().counts.faults++;
  happened("%s: %s", what, kFaultTexts[static_cast<int>(fault)]);
}

}  // namespace

Reply answer_document(const Request &request, const char *what, const Answer &answer) {
  if (request.method != Method::kGet) {
    broken("%s: not asked for with a GET", what);
  }
  if (!faulty()) {
    return {CURLE_OK, 200, answer.header, answer.body};
  }
  const bool older = !answer.old_body.empty() && answer.old_body != answer.body;
  const Fault fault = draw_fault(older ? Fault::kOversize : Fault::kOld);
  note_fault(what, fault);
  if (fault > Fault::kServerError) {
    return fail_document(request, fault, answer);
  }
  Reply reply = fail_whole(request, fault);
  if (reply.code != 0) {
    reply.header = header_at_times(answer);
    reply.body = has_body(request, reply) ? answer.error_body : std::string_view();
  }
  return reply;
}

Reply answer_plain(const Request &request, const char *what, long code) {
  const bool right = !faulty();
  const Fault fault = right ? Fault::kEmpty : draw_fault(Fault::kEmpty);
  if (!right) {
    note_fault(what, fault);
  }
  Reply reply = right ? answer_status(request, code) : fail_whole(request, fault);
  if (has_body(request, reply) && world().dice.percent(20)) {
    reply.body = kHtmlPage;
  }
  return reply;
}

}  // namespace simulate
