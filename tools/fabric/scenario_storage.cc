#include "tools/fabric/bytes.h"
#include "tools/fabric/scenario_parts.h"

namespace kelvane::fabric {

namespace {

// What a blob holds: a text, bytes in base64, or so many zeros.
std::string read_content(JsonFields &fields) {
  const int64_t size = fields.number("size", 0, 0, StorageSpec::kLargest);
  const auto encoded = fields.optional_text("base64");
  std::string content = fields.text("text", std::string(static_cast<size_t>(size), '\0'));
  if (!encoded) return content;
  auto bytes = base64_decode(*encoded);
  if (!bytes) throw ScenarioError(fields.path_of("base64") + ": not base64");
  return *bytes;
}

BlobSpec read_blob(const Json &value, const std::string &path, const std::string &host) {
  JsonFields fields(value, path);
  BlobSpec blob;
  blob.name = fields.required_text("name");
  blob.host = fields.text("host", host);
  blob.type = fields.choice("type", blob.type, {"BlockBlob", "PageBlob"});
  blob.content = read_content(fields);
  fields.finish();
  check_blob_name(blob.name, fields.path_of("name"));
  if (blob.type == "PageBlob" && blob.content.size() % 512 != 0)
    throw ScenarioError(path + ": a page blob's size is a multiple of 512");
  return blob;
}

}  // namespace

void check_blob_name(const std::string &name, const std::string &path) {
  size_t slash = name.find('/');
  if (slash == std::string::npos || slash == 0 || slash + 1 == name.size())
    throw ScenarioError(path + ": expected \"container/blob\", found \"" + name + "\"");
}

std::string storage_host(const StorageSpec &storage, const std::vector<GoalStateSpec> &goal_states) {
  if (!storage.hosts.empty()) return storage.hosts[0];
  for (const GoalStateSpec &state : goal_states) {
    Request request;
    request.target = state.status_blob ? state.status_blob->url : "";
    const std::string host = split_target(request).host;
    if (!host.empty()) return host;
  }
  return "storage.example.invalid";
}

StorageSpec read_storage(const Json &value, const std::string &path, const Scenario &scenario) {
  JsonFields fields(value, path);
  StorageSpec storage;
  storage.hosts = fields.texts("hosts");
  storage.signatures = fields.flag("signatures", storage.signatures);
  const std::string host = storage_host(storage, scenario.goal_states);
  if (fields.find("blobs") != nullptr) storage.blobs.emplace();
  for (const Json *blob : fields.list("blobs"))
    storage.blobs->push_back(read_blob(*blob, numbered(fields.path_of("blobs"), storage.blobs->size()), host));
  fields.finish();
  return storage;
}

}  // namespace kelvane::fabric
