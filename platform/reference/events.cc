// The system event log: a table of the database, and a line in the system's log for each entry. An entry that cannot be
// stored is still logged.
#include <ctime>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/reference/database.h"
#include "platform/reference/guard.h"
#include "platform/reference/log.h"
#include "platform/reference/reference.h"
#include "platform/reference/sqlite.h"

namespace kelvane::reference {
namespace {

constexpr int64_t kEventsKept = 1000;

void store_event(sqlite3 *handle, const reference_event &event) {
  Transaction transaction(handle);
  Statement(handle,
            "INSERT INTO events (time, event_id, version, category, source, kind, result, text) "
            "VALUES (?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(event.time)
      .bind(int64_t{event.event_id})
      .bind(int64_t{event.version})
      .bind(int64_t{event.category})
      .bind(event.source)
      .bind(int64_t{event.kind})
      .bind(int64_t{event.result})
      .bind(event.text)
      .step();
  Statement(handle, "DELETE FROM events WHERE number <= (SELECT max(number) FROM events) - ?").bind(kEventsKept).step();
  transaction.commit();
}

void log_event(const reference_event &event) {
  const char *result = event.result == 1 ? "success" : "failure";
  log_to_system("event " + std::to_string(event.event_id) + " " + event.source + " " + result + ": " + event.text);
}

std::vector<reference_event> read_events(sqlite3 *handle, int64_t after) {
  std::vector<reference_event> events;
  Statement statement(handle,
                      "SELECT number, time, event_id, version, category, source, kind, result, text FROM events "
                      "WHERE number > ? ORDER BY number");
  statement.bind(after);
  while (statement.step()) {
    events.push_back({.number = statement.integer(0),
                      .time = statement.integer(1),
                      .event_id = static_cast<uint32_t>(statement.integer(2)),
                      .version = static_cast<int32_t>(statement.integer(3)),
                      .category = static_cast<int32_t>(statement.integer(4)),
                      .source = statement.text(5),
                      .kind = static_cast<int32_t>(statement.integer(6)),
                      .result = static_cast<int32_t>(statement.integer(7)),
                      .text = statement.text(8)});
  }
  return events;
}

}  // namespace
}  // namespace kelvane::reference

using namespace kelvane::reference;

std::vector<reference_event> reference_events(int64_t after) {
  return guarded("reference_events", std::vector<reference_event>(), [=] {
    sqlite3 *handle = database();
    return handle == nullptr ? std::vector<reference_event>() : read_events(handle, after);
  });
}

void log_system_event(uint32_t event_id, int32_t version, int32_t category, const char *source, int32_t kind,
                      int32_t result, const char *text) {
  guarded("log_system_event", -1, [=] {
    const reference_event event = {.number = 0,
                                   .time = time(nullptr),
                                   .event_id = event_id,
                                   .version = version,
                                   .category = category,
                                   .source = source == nullptr ? "" : source,
                                   .kind = kind,
                                   .result = result,
                                   .text = text == nullptr ? "" : text};
    log_event(event);
    if (sqlite3 *handle = database()) {
      store_event(handle, event);
    }
    return 0;
  });
}
