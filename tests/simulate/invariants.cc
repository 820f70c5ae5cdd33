#include "tests/simulate/invariants.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "protocol/metadata/metadata_state.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/goal_state.h"
#include "tests/simulate/accounts.h"
#include "tests/simulate/asked.h"
#include "tests/simulate/disk.h"
#include "tests/simulate/event_hub.h"
#include "tests/simulate/event_watch.h"
#include "tests/simulate/expectation.h"
#include "tests/simulate/first_boot.h"
#include "tests/simulate/loop_watch.h"
#include "tests/simulate/memory_watch.h"
#include "tests/simulate/registry.h"
#include "tests/simulate/reports.h"
#include "tests/simulate/requests.h"
#include "tests/simulate/same.h"
#include "tests/simulate/view.h"

extern "C" int __real_close(int descriptor);

namespace simulate {

namespace {

int64_t gsPasses = 0;         // of this life
View gsBefore = {};           // what was known before this pass
int gsLowestDescriptor = -1;  // at the end of the first of them

void check_commands() {
  same_number("pass", "number of commands", expectation_seen(), expectation_commands());
}

// ---- what the agent knows --------------------------------------------------------------------------------------

void check_wire_followed(const View &told) {
  const char *incarnation = kelvane::goal_state()->incarnation.get();
  const std::string should = told.incarnation != 0 ? std::to_string(told.incarnation) : "";
  same_text("goal state", "incarnation", incarnation != nullptr ? incarnation : "", should.c_str());
  same_number("extensions", "incarnation", kelvane::ext_config()->incarnation, told.held.incarnation);
  same_number("extensions", "count", kelvane::ext_config()->handlers.count, told.held.count);
}

void check_metadata_followed(const View &told) {
  const kelvane::MetadataState *state = kelvane::metadata_state();
  const std::string should = told.held_etag != 0 ? "\"" + std::to_string(told.held_etag) + "\"" : "";
  same_text("metadata", "ETag", state->etag.present() ? state->etag.get() : "", should.c_str());
  same_number("metadata", "number of handlers", state->handlers.count, told.held.count);
}

// What a goal state names is asked for when its incarnation is another than the one before, and at no other time but
// the start; the metadata service is asked for its list of certificates, and for what that names, in every pass.
void check_asked_for(const View &told) {
  const bool due = world().metadata || told.incarnation != gsBefore.incarnation;
  same_number("pass", "question what is wanted", told.asked > gsBefore.asked, true);
  same_number("pass", "question for certificates", told.certificates_asked > gsBefore.certificates_asked, due);
  same_number("pass", "question for the extensions", told.extensions_asked > gsBefore.extensions_asked,
              due && !world().metadata);
  same_number("pass", "certificate that is named and not asked for", told.certificate_due, false);
}

// By a start, whose questions are the same; but what is wanted the metadata service is asked in passes only.
void check_asked_at_start(const View &told) {
  const bool named = !world().metadata && told.incarnation != 0;
  same_number("start", "question what is wanted", told.asked > 0, !world().metadata);
  same_number("start", "question for certificates", told.certificates_asked > 0, named || world().metadata);
  same_number("start", "question for the extensions", told.extensions_asked > 0, named);
  same_number("start", "certificate that is named and not asked for", told.certificate_due, false);
}

void check_followed() {
  check_asked_for(view());
  if (world().metadata) {
    check_metadata_followed(view());
  } else {
    check_wire_followed(view());
  }
}

// ---- descriptors -----------------------------------------------------------------------------------------------

void check_descriptors() {
  same_number("descriptors", "number of open ones", disk_open_count(), 0);
  same_number("requests", "number of open handles", requests_open(), 0);
  if (gsPasses == 1) {
    gsLowestDescriptor = dup(STDOUT_FILENO);
    __real_close(gsLowestDescriptor);
  } else if (fcntl(gsLowestDescriptor, F_GETFD) != -1) {
    broken("descriptor %d, the lowest that was free, is open", gsLowestDescriptor);
  }
}

}  // namespace

void invariants_begin_life() {
  gsPasses = 0;
  event_watch_begin_life();
  expectation_begin();
  first_boot_begin_life();
}

void invariants_begin_pass() {
  World &w = world();
  const auto silence = static_cast<uint64_t>(std::max<int64_t>(0, w.now - w.last_pass - w.back_since_pass));
  w.counts.longest_silence = std::max(w.counts.longest_silence, silence);
  w.last_pass = w.now;
  w.back_since_pass = 0;
  w.counts.passes++;
  w.counts.metadata_lives += w.metadata && gsPasses == 0 ? 1 : 0;
  gsPasses++;
  loop_watch_pass();
  gsBefore = view();
  happened("pass");
  if (gsPasses == 1) {
    check_asked_at_start(view());
    w.port_hidden = false;  // it did not give up
    first_boot_over();
    accounts_begin();
  }
  expectation_begin_pass();
  event_hub_begin_pass();
  event_watch_begin_pass();
}

void invariants_end_pass() {
  expectation_foretell();
  check_followed();
  check_commands();
  check_plugins();
  accounts_check();
  check_asked();
  check_descriptors();
  event_watch_end_pass();
  memory_watch_pass();
  check_reports();
  view_end_pass();
}

}  // namespace simulate
