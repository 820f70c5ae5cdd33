#include "tools/fabric/storage.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

namespace kelvane::fabric {

namespace {

std::string container_of(const std::string &key) {
  return key.substr(0, key.find('/', key.find('/') + 1));
}

}  // namespace

std::string http_date() {
  time_t now = time(nullptr);
  tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 64> text{};
  strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
  return text.data();
}

bool Upload::complete() const {
  return std::all_of(written.begin(), written.end(), [](bool page) { return page; });
}

std::string Upload::document() const {
  return type == kPageBlob ? content.substr(0, content.find_last_not_of('\0') + 1) : content;
}

Storage::Storage(const Scenario &scenario) {
  const StorageSpec &spec = scenario.storage;
  hosts_.insert(spec.hosts.begin(), spec.hosts.end());
  for (const GoalStateSpec &state : scenario.goal_states)
    if (state.status_blob) announce(*state.status_blob, !spec.blobs);
  for (const BlobSpec &blob : spec.blobs.value_or(std::vector<BlobSpec>())) {
    hosts_.insert(blob.host);
    put(blob.host + "/" + blob.name, blob.type, blob.content);
  }
}

// Notes what a goal state tells of its status blob; makes the blob, of the announced type, when asked to.
void Storage::announce(const StatusBlobSpec &blob, bool make) {
  Request request;
  request.target = blob.url;
  const Target target = split_target(request);
  if (target.host.empty()) return;
  const std::string key = target.host + target.path;
  hosts_.insert(target.host);
  containers_.insert(container_of(key));
  queries_[key].push_back(target.query);
  if (make) put(key, blob.type == kPageBlob ? kPageBlob : kBlockBlob, "");
}

const Blob *Storage::find(const std::string &key) const {
  auto found = blobs_.find(key);
  return found == blobs_.end() ? nullptr : &found->second;
}

const std::vector<std::string> &Storage::announced_queries(const std::string &key) const {
  static const std::vector<std::string> none;
  auto found = queries_.find(key);
  return found == queries_.end() ? none : found->second;
}

void Storage::put(const std::string &key, const std::string &type, std::string content) {
  std::array<char, 32> etag{};
  snprintf(etag.data(), etag.size(), "\"0x8D%012X\"", ++changes_);
  containers_.insert(container_of(key));
  blobs_[key] = {type, std::move(content), etag.data(), http_date()};
}

void Storage::put_block_blob(const std::string &key, const std::string &content) {
  put(key, kBlockBlob, content);
  uploads_.push_back({.key = key, .type = kBlockBlob, .content = content, .writes = 1, .incarnation = incarnation_});
}

void Storage::put_page_blob(const std::string &key, size_t size) {
  put(key, kPageBlob, std::string(size, '\0'));
  uploads_.push_back({.key = key,
                      .type = kPageBlob,
                      .content = std::string(size, '\0'),
                      .written = std::vector<bool>(size / kPage, false),
                      .incarnation = incarnation_});
}

void Storage::put_pages(const std::string &key, size_t first, const std::string &content) {
  std::string whole = blobs_.at(key).content;
  put(key, kPageBlob, whole.replace(first, content.size(), content));
  auto upload = std::find_if(uploads_.rbegin(), uploads_.rend(), [&](const Upload &one) { return one.key == key; });
  if (upload == uploads_.rend()) return;
  upload->content.replace(first, content.size(), content);
  upload->writes++;
  auto page = upload->written.begin() + static_cast<std::ptrdiff_t>(first / kPage);
  std::fill_n(page, content.size() / kPage, true);
}

}  // namespace kelvane::fabric
