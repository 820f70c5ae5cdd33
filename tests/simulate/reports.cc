#include "tests/simulate/reports.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "tests/simulate/disk.h"
#include "tests/simulate/expectation.h"
#include "tests/simulate/metadata_reports.h"
#include "tests/simulate/same.h"
#include "tests/simulate/sent.h"
#include "tests/simulate/stored.h"
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
  if (document.size() != right.size()) {
    return false;
  }
  size_t from = 0;
  for (const size_t at : gsRight.times) {
    if (document.substr(from, at - from) != right.substr(from, at - from)) {
      return false;
    }
    from = std::min(at + kTimeLength, right.size());
  }
  return document.substr(from) == right.substr(from);
}

bool alike() {
  return expectation_commands() == 0 && gsRight.incarnation == view().effective.incarnation;
}

// The service is asked for the type whenever there is an address to put the document to, and gets it if it says one.
void check_upload(const Sent &sent) {
  same_number("status blob", "question for its type", sent.types_asked > 0, view().held.incarnation != 0);
  same_number("status blob", "put", sent.puts > 0, sent.type_known && sent.type_taken);
}

void check_document(const Sent &sent) {
  check_upload(sent);
  if (sent.status_blob.empty() || (alike() && same_but_for_times(sent.status_blob))) {
    return;
  }
  world().counts.documents++;
  check_status_document(sent.status_blob);
  gsRight.incarnation = view().effective.incarnation;
  gsRight.document = sent.status_blob;
  gsRight.times = times_in(sent.status_blob);
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
    check_status_file(disk_bytes(kStatusFile));
  }
  if (world().metadata) {
    check_metadata(sent_last());
  } else {
    check_document(sent_last());
  }
  sent_forget();
}

}  // namespace simulate
