#include "tools/fabric/expectations_uploads.h"

#include <algorithm>

#include "tools/fabric/bytes.h"
#include "tools/fabric/json_match.h"

namespace kelvane::fabric {

namespace {

std::string number_mismatch(const std::string &what, int64_t expected, int64_t came) {
  if (expected == came) return "";
  return what + ": expected " + std::to_string(expected) + ", came " + std::to_string(came);
}

std::string text_mismatch(const std::string &what, const std::string &expected, const std::string &came) {
  if (expected == came) return "";
  size_t at = 0;
  while (at < expected.size() && at < came.size() && expected[at] == came[at]) at++;
  return what + ": expected " + in_quotes(expected) + ", came " + in_quotes(came) + ", different from byte " +
         std::to_string(at) + " on";
}

// A page blob's document ends where the zeros of its last page begin.
std::string document_of(const std::string &type, const std::string &content) {
  return type == kPageBlob ? content.substr(0, content.find_last_not_of('\0') + 1) : content;
}

std::string content_mismatch(const ContentSpec &spec, const std::string &type, const std::string &content) {
  std::string why;
  if (spec.type) why = text_mismatch("type", *spec.type, type);
  if (why.empty() && spec.size) why = number_mismatch("size", *spec.size, static_cast<int64_t>(content.size()));
  if (why.empty() && spec.bytes) why = text_mismatch("bytes", *spec.bytes, content);
  if (why.empty() && spec.json) why = json_mismatch(*spec.json, document_of(type, content), Members::kAll);
  if (why.empty() && spec.includes) why = json_mismatch(*spec.includes, document_of(type, content), Members::kNamed);
  return why;
}

std::string upload_mismatch(const ContentSpec &spec, const Upload &upload) {
  if (spec.blob && !glob_match(*spec.blob, upload.key))
    return "blob: expected " + in_quotes(*spec.blob) + ", came " + in_quotes(upload.key);
  std::string why = spec.writes ? number_mismatch("writes", *spec.writes, upload.writes) : "";
  return why.empty() ? content_mismatch(spec, upload.type, upload.content) : why;
}

using Uploads = std::vector<const Upload *>;

Finding count_finding(const StatusExpectSpec &status, int64_t came) {
  int64_t low = status.count.value_or(status.at_least.value_or(0));
  int64_t high = status.count.value_or(status.at_most.value_or(INT64_MAX));
  std::string expected = std::to_string(low) + (high == INT64_MAX ? " or more" : " to " + std::to_string(high));
  return {"status documents", came >= low && came <= high, "expected " + expected + ", came " + std::to_string(came)};
}

Finding last_finding(const ContentSpec &spec, const Uploads &uploads) {
  std::string why = uploads.empty() ? "no document was uploaded" : upload_mismatch(spec, *uploads.back());
  return {"status, the last document", why.empty(), why.empty() ? "it came as expected" : why};
}

Finding all_finding(const std::vector<ContentSpec> &specs, const Uploads &uploads) {
  Finding finding{"status, all documents", true, std::to_string(specs.size()) + " came as expected"};
  for (size_t i = 0; i < std::max(specs.size(), uploads.size()) && finding.held; i++) {
    std::string why;
    if (i >= uploads.size())
      why = "expected, but no more came";
    else
      why = i >= specs.size() ? "came, but no more were expected" : upload_mismatch(specs[i], *uploads[i]);
    if (!why.empty()) finding = {finding.name, false, "document " + std::to_string(i + 1) + ": " + why};
  }
  return finding;
}

Finding ordered_finding(const std::vector<ContentSpec> &specs, const Uploads &uploads) {
  size_t at = 0;
  for (size_t i = 0; i < specs.size(); i++) {
    const std::string why = at < uploads.size() ? upload_mismatch(specs[i], *uploads[at]) : "none was left";
    while (at < uploads.size() && !upload_mismatch(specs[i], *uploads[at]).empty()) at++;
    if (at++ >= uploads.size())
      return {"status, in order", false,
              "expectation " + std::to_string(i + 1) + ": no document fits; the first of those left: " + why};
  }
  return {"status, in order", true, std::to_string(specs.size()) + " came as expected"};
}

void judge_status(const StatusExpectSpec &status, const Storage &storage, Verdict &verdict) {
  Uploads complete;
  for (const Upload &upload : storage.uploads())
    if (upload.complete()) complete.push_back(&upload);
  if (status.count || status.at_least || status.at_most)
    verdict.findings.push_back(count_finding(status, static_cast<int64_t>(complete.size())));
  if (status.incomplete) {
    auto broken = static_cast<int64_t>(storage.uploads().size() - complete.size());
    std::string why = number_mismatch("incomplete", *status.incomplete, broken);
    verdict.findings.push_back({"status, incomplete documents", why.empty(), why.empty() ? "as expected" : why});
  }
  if (status.last) verdict.findings.push_back(last_finding(*status.last, complete));
  if (status.documents) verdict.findings.push_back(all_finding(*status.documents, complete));
  if (!status.in_order.empty()) verdict.findings.push_back(ordered_finding(status.in_order, complete));
}

Finding blob_finding(const BlobExpectSpec &spec, const Storage &storage) {
  const std::string key = spec.host + "/" + spec.name;
  const Blob *blob = storage.find(key);
  std::string why;
  if (spec.absent)
    why = blob == nullptr ? "" : "expected none, came one of " + std::to_string(blob->content.size()) + " bytes";
  else
    why = blob == nullptr ? "there is no such blob" : content_mismatch(spec.content, blob->type, blob->content);
  return {"blob " + key, why.empty(), why.empty() ? "as expected" : why};
}

std::string event_text(const Event &event) {
  return event.name + " " + event.operation + (event.success ? " True " : " False ") + in_quotes(event.version) + " " +
         in_quotes(event.message) + " " + std::to_string(event.duration);
}

// What the expectation says, "*" for what it leaves open.
std::string event_text(const EventSpec &spec) {
  auto quoted = [](const std::optional<std::string> &text) { return text ? in_quotes(*text) : std::string("*"); };
  return spec.name.value_or("*") + " " + spec.operation.value_or("*") +
         (!spec.success   ? " * "
          : *spec.success ? " True "
                          : " False ") +
         quoted(spec.version) + " " + quoted(spec.message) + " " +
         (spec.duration ? std::to_string(*spec.duration) : "*");
}

bool fits(const EventSpec &spec, const Event &event) {
  return spec.name.value_or(event.name) == event.name && spec.operation.value_or(event.operation) == event.operation &&
         spec.version.value_or(event.version) == event.version &&
         spec.message.value_or(event.message) == event.message &&
         spec.success.value_or(event.success) == event.success &&
         spec.duration.value_or(event.duration) == event.duration;
}

template <typename List>
std::string event_list(const List &events) {
  std::string out;
  for (const auto &event : events) out += (out.empty() ? "" : "; ") + event_text(event);
  return "[" + out + "]";
}

Finding events_finding(const EventsExpectSpec &spec, const std::vector<Event> &came) {
  size_t expected = 0;
  for (const Event &event : came)
    if (expected < spec.events.size() && fits(spec.events[expected], event)) expected++;
  bool all = expected == spec.events.size();
  // Each took its own, so with equal numbers nothing stood between.
  bool held = all && (spec.others_between || came.size() == spec.events.size());
  return {spec.others_between ? "events, in order" : "events", held,
          "expected " + event_list(spec.events) + ", came " + event_list(came)};
}

}  // namespace

void judge_uploads(const World &world, Verdict &verdict) {
  const ExpectSpec &expect = world.scenario().expect;
  if (expect.events) verdict.findings.push_back(events_finding(*expect.events, world.events));
  if (expect.status) judge_status(*expect.status, world.storage, verdict);
  for (const BlobExpectSpec &blob : expect.blobs) verdict.findings.push_back(blob_finding(blob, world.storage));
}

}  // namespace kelvane::fabric
