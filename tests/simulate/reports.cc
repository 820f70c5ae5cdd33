#include "tests/simulate/reports.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "tests/simulate/disk.h"
#include "tests/simulate/expectation.h"
#include "tests/simulate/metadata_reports.h"
#include "tests/simulate/recorded.h"
#include "tests/simulate/sent.h"
#include "tests/simulate/stored.h"
#include "tests/simulate/told.h"
#include "tests/simulate/upload.h"
#include "tests/simulate/view.h"

namespace simulate {

namespace {

// The moment at which a status document is made stands in it a few times.
constexpr std::string_view kTime = "\"timestampUTC\":";
constexpr size_t kTimeLength = sizeof " \"2026-01-01T00:00:00Z\"" - 1;

// What was read and found right last. While the agent goes by the same extensions and runs no command, the same bytes,
// but for the moments, are right again.
struct Right {
  int32_t incarnation;  // -1 before any
  std::string document;
  std::vector<size_t> times;  // where they stand in it
  Sent sent;                  // to the metadata service, which is told no moments
};

Right gsRight = {-1, {}, {}, {}};

std::vector<size_t> times_in(std::string_view document) {
  std::vector<size_t> times;
  for (size_t at = document.find(kTime); at != std::string_view::npos; at = document.find(kTime, at)) {
    at += kTime.size();
    times.push_back(at);
  }
  return times;
}

bool same_but_for_times(std::string_view document) {
  const std::string_view right = gsRight.document;
  const std::string moment = " \"" + time_text(recorded_at()) + "\"";
  if (document.size() != right.size()) {
    return false;
  }
  size_t from = 0;
  for (const size_t at : gsRight.times) {
    if (document.substr(from, at - from) != right.substr(from, at - from) ||
        document.substr(at, kTimeLength) != moment) {
      return false;
    }
    from = std::min(at + kTimeLength, right.size());
  }
  return document.substr(from) == right.substr(from);
}

bool alike() {
  return expectation_commands() == 0 && gsRight.incarnation == view().effective.incarnation;
}

void check_document(const std::string &document) {
  if (document.empty() || (alike() && same_but_for_times(document))) {
    return;
  }
  world().counts.documents++;
  check_status_document(document);
  gsRight.incarnation = view().effective.incarnation;
  gsRight.document = document;
  gsRight.times = times_in(document);
}

void check_metadata(const Sent &sent) {
  if (alike() && sent.vm_status == gsRight.sent.vm_status && sent.extensions == gsRight.sent.extensions) {
    return;
  }
  world().counts.documents++;
  check_metadata_reports(sent);
  gsRight.incarnation = view().effective.incarnation;
  gsRight.sent = sent;
}

}  // namespace

void check_reports() {
  if (expectation_commands() > 0 && !world().status_spoilt) {
    world().counts.status_files++;
    check_status_file(disk_bytes(kStatusFile));
  }
  if (world().metadata) {
    check_metadata(sent_last());
  } else {
    upload_check();
    check_document(upload_document());
  }
  sent_forget();
  upload_forget();
}

}  // namespace simulate
