#include "tools/fabric/bytes.h"
#include "tools/fabric/scenario_parts.h"

namespace kelvane::fabric {

namespace {

constexpr int64_t kMost = 1000000;

void read_json(JsonFields &fields, const std::string &key, std::optional<std::string> &text) {
  if (const Json *value = fields.find(key)) text = value->dump();
}

// What a document or a blob must hold.
void read_content_members(JsonFields &fields, ContentSpec &content) {
  content.bytes = fields.optional_text("text");
  if (auto encoded = fields.optional_text("base64")) {
    content.bytes = base64_decode(*encoded);
    if (!content.bytes) throw ScenarioError(fields.path_of("base64") + ": not base64");
  }
  read_json(fields, "json", content.json);
  read_json(fields, "includes", content.includes);
  content.type = fields.optional_text("type");
  content.size = fields.optional_number("size", 0, StorageSpec::kLargest);
}

ContentSpec read_document(const Json &value, const std::string &path) {
  JsonFields fields(value, path);
  ContentSpec content;
  read_content_members(fields, content);
  content.blob = fields.optional_text("blob");
  if (fields.find("resource") != nullptr) content.blob = fields.required_text("resource");
  content.writes = fields.optional_number("writes", 0, kMost);
  fields.finish();
  return content;
}

std::vector<ContentSpec> read_documents(JsonFields &fields, const std::string &key) {
  std::vector<ContentSpec> out;
  for (const Json *document : fields.list(key))
    out.push_back(read_document(*document, numbered(fields.path_of(key), out.size())));
  return out;
}

DocumentsExpectSpec read_documents_expectation(const Json &value, const std::string &path) {
  DocumentsExpectSpec spec;
  JsonFields fields(value, path);
  spec.count = fields.optional_number("count", 0, kMost);
  spec.at_least = fields.optional_number("atLeast", 0, kMost);
  spec.at_most = fields.optional_number("atMost", 0, kMost);
  spec.incomplete = fields.optional_number("incomplete", 0, kMost);
  if (const Json *last = fields.find("last")) spec.last = read_document(*last, fields.path_of("last"));
  if (fields.find("documents") != nullptr) spec.documents = read_documents(fields, "documents");
  spec.in_order = read_documents(fields, "inOrder");
  fields.finish();
  return spec;
}

MetadataExpectSpec read_metadata_expectation(const Json &value, const std::string &path) {
  JsonFields fields(value, path);
  MetadataExpectSpec metadata;
  auto read = [&](const char *key, std::optional<DocumentsExpectSpec> &spec) {
    if (const Json *found = fields.find(key)) spec = read_documents_expectation(*found, fields.path_of(key));
  };
  read("provisioning", metadata.provisioning);
  read("vmStatus", metadata.vm_status);
  read("extensionStatus", metadata.extension_status);
  read("telemetry", metadata.telemetry);
  fields.finish();
  return metadata;
}

BlobExpectSpec read_blob_expectation(const Json &value, const std::string &path, const std::string &host) {
  JsonFields fields(value, path);
  BlobExpectSpec blob;
  blob.name = fields.required_text("name");
  blob.host = fields.text("host", host);
  blob.absent = fields.flag("absent", false);
  read_content_members(fields, blob.content);
  fields.finish();
  check_blob_name(blob.name, fields.path_of("name"));
  return blob;
}

EventSpec read_event(const Json &value, const std::string &path) {
  JsonFields fields(value, path);
  EventSpec event;
  event.name = fields.optional_text("name");
  event.operation = fields.optional_text("operation");
  event.version = fields.optional_text("version");
  event.message = fields.optional_text("message");
  if (fields.find("success") != nullptr) event.success = fields.flag("success", true);
  event.duration = fields.optional_number("duration", 0, INT64_MAX);
  fields.finish();
  return event;
}

// A list is all of them; {"inOrder": list} lets others stand between.
EventsExpectSpec read_events(JsonFields &parent) {
  EventsExpectSpec out;
  const Json *value = parent.find("events");
  out.others_between = value->is_object();
  const std::string path = parent.path_of(out.others_between ? "events.inOrder" : "events");
  std::vector<const Json *> list;
  if (out.others_between) {
    JsonFields fields(*value, parent.path_of("events"));
    list = fields.list("inOrder");
    fields.finish();
  } else {
    list = parent.list("events");
  }
  for (const Json *event : list) out.events.push_back(read_event(*event, numbered(path, out.events.size())));
  return out;
}

}  // namespace

void read_upload_expectations(JsonFields &fields, const std::string &host, ExpectSpec &expect) {
  if (fields.find("events") != nullptr) expect.events = read_events(fields);
  if (const Json *status = fields.find("status"))
    expect.status = read_documents_expectation(*status, fields.path_of("status"));
  if (const Json *metadata = fields.find("metadata"))
    expect.metadata = read_metadata_expectation(*metadata, fields.path_of("metadata"));
  for (const Json *blob : fields.list("blobs"))
    expect.blobs.push_back(read_blob_expectation(*blob, numbered(fields.path_of("blobs"), expect.blobs.size()), host));
}

}  // namespace kelvane::fabric
