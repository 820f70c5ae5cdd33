#include "tools/fabric/expectations_uploads.h"

#include <algorithm>

#include "tools/fabric/bytes.h"
#include "tools/fabric/expectations_documents.h"

namespace kelvane::fabric {

namespace {

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

void judge_reports(const MetadataExpectSpec &expect, const MetadataReports &came, Verdict &verdict) {
  if (expect.provisioning) judge_documents("metadata provisioning", *expect.provisioning, came.provisioning, verdict);
  if (expect.vm_status) judge_documents("metadata vmStatus", *expect.vm_status, came.vm_status, verdict);
  if (expect.extension_status)
    judge_documents("metadata extensionStatus", *expect.extension_status, came.extension_status, verdict);
  if (expect.telemetry) judge_documents("metadata telemetry", *expect.telemetry, came.telemetry, verdict);
}

}  // namespace

void judge_uploads(const World &world, Verdict &verdict) {
  const ExpectSpec &expect = world.scenario().expect;
  if (expect.events) verdict.findings.push_back(events_finding(*expect.events, world.events));
  if (expect.status) judge_documents("status", *expect.status, world.storage.uploads(), verdict);
  judge_reports(expect.metadata, world.metadata, verdict);
  for (const BlobExpectSpec &blob : expect.blobs) verdict.findings.push_back(blob_finding(blob, world.storage));
}

}  // namespace kelvane::fabric
