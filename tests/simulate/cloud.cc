#include "tests/simulate/cloud.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "tests/simulate/documents.h"
#include "tests/simulate/events.h"
#include "tests/simulate/view.h"

namespace simulate {

// ---- what it wants ---------------------------------------------------------------------------------------------

namespace {

// Equal numbers in other texts, three numbers, and one that is longer than what a plugin keeps.
constexpr const char *kVersions[] = {
    "1.0.0.0",
    "1.2.0.0",
    "1.1.9.9",
    "1.10.0.0",
    "2.0.0.1",
    "2.0.0.10",
    "01.2.0.0",
    "1.2.3",
    "not.a.one",
    "",
    "1.2.0.0.build-of-the-long-winter-2025",
};

void draw_version(Wanted *wanted) {
  Dice &dice = world().dice;
  // Mostly ordinary ones.
  const uint32_t count = dice.percent(85) ? 6 : sizeof kVersions / sizeof kVersions[0];
  std::snprintf(wanted->version, sizeof wanted->version, "%s", kVersions[dice.below(count)]);
}

void draw_asked(Wanted *wanted) {
  Dice &dice = world().dice;
  const uint32_t roll = dice.below(100);
  wanted->asked = roll < 70   ? Asked::kEnabled
                  : roll < 83 ? Asked::kDisabled
                  : roll < 97 ? Asked::kUninstall
                              : Asked::kUnknown;
  wanted->other_case = dice.percent(10);
}

void draw_settings(Wanted *wanted) {
  Dice &dice = world().dice;
  wanted->settings = static_cast<Settings>(dice.below(static_cast<uint32_t>(Settings::kCount)));
  // Numbers that come again, one that means "none" to a plugin, and ever new ones.
  const uint32_t roll = dice.below(100);
  wanted->sequence_number = roll < 30   ? static_cast<int32_t>(dice.below(4))
                            : roll < 33 ? -1
                                        : world().current.incarnation;
}

bool listed(const Revision &revision, int name) {
  return std::any_of(revision.wanted, revision.wanted + revision.count,
                     [name](const Wanted &each) { return each.name == name; });
}

void add(Revision *revision) {
  Dice &dice = world().dice;
  const int name = static_cast<int>(dice.below(kNames));
  // One name twice, with other versions, is allowed but rare.
  if (revision->count == kMostWanted || (listed(*revision, name) && !dice.percent(10))) {
    return;
  }
  Wanted &made = revision->wanted[revision->count++];
  made = {};
  made.name = name;
  draw_version(&made);
  draw_asked(&made);
  draw_settings(&made);
}

void remove_one(Revision *revision, uint32_t index) {
  std::copy(revision->wanted + index + 1, revision->wanted + revision->count, revision->wanted + index);
  revision->count--;
}

void change_one(Revision *revision) {
  if (revision->count == 0) {
    add(revision);
    return;
  }
  const uint32_t index = world().dice.below(static_cast<uint32_t>(revision->count));
  Wanted *wanted = &revision->wanted[index];
  switch (world().dice.below(6)) {
    case 0:
      draw_version(wanted);
      break;
    case 1:
      draw_asked(wanted);
      break;
    case 2:
      draw_settings(wanted);
      break;
    case 3:
      remove_one(revision, index);
      break;
    case 4:
      add(revision);
      break;
    default:
      wanted->asked = Asked::kEnabled;
      wanted->sequence_number = revision->incarnation;
      break;
  }
}

void note_revision(const Revision &revision) {
  char text[100];
  int used = std::snprintf(text, sizeof text, "incarnation %d:", revision.incarnation);
  for (int i = 0; i < revision.count && used < static_cast<int>(sizeof text) - 1; i++) {
    const Wanted &each = revision.wanted[i];
    used += std::snprintf(text + used, sizeof text - static_cast<size_t>(used), " %d%c%s#%d/%d", each.name,
                          "+-xo"[static_cast<int>(each.asked)], each.version, each.sequence_number,
                          static_cast<int>(each.settings));
  }
  happened("%s", text);
}

}  // namespace

void cloud_publish() {
  World &w = world();
  w.previous = w.current;
  w.current.incarnation++;
  w.counts.revisions++;
  w.current.page_blob = w.dice.percent(30);
  // At times nothing at all is wanted.
  if (w.dice.percent(4)) {
    w.current.count = 0;
  } else {
    for (uint32_t changes = 1 + w.dice.below(4); changes > 0; changes--) {
      change_one(&w.current);
    }
  }
  note_revision(w.current);
}

void cloud_begin() {
  world().current.incarnation = 0;
  cloud_publish();
  world().previous = world().current;
}

std::string appliance_of(const Wanted &wanted) {
  return "appliance-" + std::to_string(wanted.sequence_number);
}

std::string command_of(const Wanted &wanted) {
  switch (wanted.settings) {
    case Settings::kInvalid:
      return "sh other.sh now";
    case Settings::kPartial:
      return "sh config-eventhub.sh op-1 " + base64("{\"Logging\": {\"ApplianceID\": \"half\"}}");
    case Settings::kEventHub:
      return "sh config-eventhub.sh op-" + std::to_string(wanted.sequence_number) + " " +
             base64("{\"Logging\": {\"ApplianceID\": \"" + appliance_of(wanted) +
                    "\", \"Connection\": {\"PolicySASKey\": \"k\", \"PolicyName\": \"p\", \"EventHubName\": \"e\", "
                    "\"ServiceBusNamespace\": \"s\"}}}");
    default:
      return "";
  }
}

// ---- what it answers -------------------------------------------------------------------------------------------

namespace {

constexpr char kHtmlPage[] = "<html><head><title>504</title></head><body><h1>Gateway<br>time-out</h1></body></html>";
constexpr char kErrorDocument[] =
    "<?xml version=\"1.0\"?><Error><Code>TryAgain</Code><Message>the server is busy</Message></Error>";
constexpr char kBlockType[] = "x-ms-blob-type: BlockBlob\r\n";
constexpr char kPageType[] = "X-MS-Blob-Type:   PageBlob\r\n";
constexpr char kForeignType[] = "x-ms-blob-type: AppendBlob\r\n";
constexpr char kEmptyType[] = "x-ms-blob-type: \r\n";

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
  kOld,  // the document before this one
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
  return gsGarbage;
}

// Behind the prologue, so that what was sent before is part of the document that follows it, and breaks it.
std::string_view first_part(std::string_view body) {
  const size_t lowest = std::min<size_t>(body.size() - 1, 48);
  return body.substr(0, static_cast<size_t>(
                            world().dice.between(static_cast<int64_t>(lowest), static_cast<int64_t>(body.size() - 1))));
}

Reply status(const Request &request, long code) {
  return {request.fail_on_error && code >= 400 ? CURLE_HTTP_RETURNED_ERROR : CURLE_OK, code, {}, {}};
}

Reply with_body(std::string_view body) {
  return {CURLE_OK, 200, {}, body};
}

Reply fail_whole(const Request &request, Fault fault) {
  Dice &dice = world().dice;
  switch (fault) {
    case Fault::kRefused:
      return {CURLE_COULDNT_CONNECT, 0, {}, {}};
    case Fault::kTimeOut:
      // Telemetry sets no limit of its own: the kernel gives up.
      pass_time(request.fail_on_error || request.method == Method::kPut ? 10 : 127);
      return {CURLE_OPERATION_TIMEDOUT, 0, {}, {}};
    case Fault::kReset:
      return {CURLE_RECV_ERROR, 0, {}, {}};
    case Fault::kNoAnswer:
      return {CURLE_GOT_NOTHING, 0, {}, {}};
    case Fault::kClientError:
      return status(request, kClientErrors[dice.below(sizeof kClientErrors / sizeof *kClientErrors)]);
    default:
      return status(request, kServerErrors[dice.below(sizeof kServerErrors / sizeof *kServerErrors)]);
  }
}

Reply fail_document(Fault fault, std::string_view body, std::string_view old) {
  switch (fault) {
    case Fault::kEmpty:
      return with_body({});
    case Fault::kHtml:
      return with_body(kHtmlPage);
    case Fault::kCut:
      return {CURLE_PARTIAL_FILE, 200, {}, first_part(body)};
    case Fault::kShort:
      return with_body(first_part(body));
    case Fault::kGarbage:
      return with_body(garbage());
    case Fault::kOld:
      return with_body(old.empty() ? body : old);
    default:
      return with_body(kErrorDocument);
  }
}

bool faulty() {
  return world().dice.percent(world().fault_percent);
}

void note_fault(const char *what, Fault fault) {
  world().counts.faults++;
  happened("%s: %s", what, kFaultTexts[static_cast<int>(fault)]);
}

Reply answer_document(const Request &request, const char *what, std::string_view body, std::string_view old) {
  if (!faulty()) {
    return with_body(body);
  }
  const auto fault = static_cast<Fault>(world().dice.below(static_cast<uint32_t>(Fault::kCount)));
  note_fault(what, fault);
  return fault <= Fault::kServerError ? fail_whole(request, fault) : fail_document(fault, body, old);
}

// Requests whose answer has no body that counts.
Reply answer_plain(const Request &request, const char *what, long code) {
  if (!faulty()) {
    return status(request, code);
  }
  const auto fault = static_cast<Fault>(world().dice.below(static_cast<uint32_t>(Fault::kEmpty)));
  note_fault(what, fault);
  return fail_whole(request, fault);
}

Reply answer_goal_state(const Request &request) {
  const World &w = world();
  return answer_document(request, "goal state", goal_state_document(w.current), goal_state_document(w.previous));
}

// The incarnation that the address names, as far as it is still served.
const Revision &asked_revision(std::string_view url) {
  const size_t equals = url.rfind('=');
  const int32_t asked = std::atoi(std::string(url.substr(equals + 1)).c_str());
  return asked == world().previous.incarnation ? world().previous : world().current;
}

Reply answer_extensions(const Request &request) {
  const Revision &revision = asked_revision(request.url);
  return answer_document(request, "extensions", extensions_document(revision), extensions_document(world().previous));
}

Reply answer_certificates(const Request &request) {
  return answer_document(request, "certificates", certificates_document(), {});
}

Reply answer_versions(const Request &request) {
  return answer_document(request, "versions", versions_document(), {});
}

Reply answer_report(const Request &request) {
  return answer_plain(request, "report", 200);
}

Reply answer_telemetry(const Request &request) {
  return answer_plain(request, "telemetry", 200);
}

Reply answer_head(const Request &request) {
  Reply reply = answer_plain(request, "blob type", 200);
  reply.header = world().current.page_blob ? kPageType : kBlockType;
  if (world().dice.percent(3)) {
    reply.header = world().dice.percent(50) ? kForeignType : kEmptyType;
  }
  return reply;
}

Reply answer_storage(const Request &request) {
  return request.method == Method::kHead ? answer_head(request) : answer_plain(request, "status", 201);
}

struct Route {
  const char *part;  // of the address
  Reply (*answer)(const Request &request);
};

constexpr Route kRoutes[] = {
    {"comp=goalstate", answer_goal_state},
    {"storage.example.net", answer_storage},
    {"comp=telemetrydata", answer_telemetry},
    {"comp=extensions", answer_extensions},
    {"comp=certificates", answer_certificates},
    {"comp=versions", answer_versions},
    {"comp=health", answer_report},
    {"comp=roleProperties", answer_report},
};

}  // namespace

Reply cloud_answer(const Request &request) {
  World &w = world();
  w.counts.requests++;
  digest_add(request.url.data(), request.url.size());
  digest_add(request.body.data(), request.body.size());
  for (const Route &route : kRoutes) {
    if (request.url.find(route.part) == std::string_view::npos) {
      continue;
    }
    // An answer takes a second at times, and what happens meanwhile happens.
    if (w.dice.percent(5)) {
      pass_time(1);
    }
    return route.answer(request);
  }
  broken("a request for an address that nothing names: %.*s", static_cast<int>(request.url.size()), request.url.data());
}

}  // namespace simulate
