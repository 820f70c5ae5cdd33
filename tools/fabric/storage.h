// The blobs of the storage service, in memory, and what was uploaded in the course of time. Owned by the world; the
// storage service changes it, the expectations read it. Pure, nothing blocks, only memory can fail. HTTP is not known
// here, nor who may do what.
#ifndef KELVANE_TOOLS_FABRIC_STORAGE_H
#define KELVANE_TOOLS_FABRIC_STORAGE_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/fabric/scenario.h"

namespace kelvane::fabric {

// A blob is named by its key, "host/container/blob".
struct Blob {
  std::string type;
  std::string content;
  std::string etag;
  std::string modified;  // as Last-Modified tells it
};

// One document that was put into a blob: whole at once, or page by page after the blob was created.
struct Upload {
  std::string key;
  std::string type;
  std::string content;
  int64_t writes = 0;           // requests that carried some of it
  std::vector<bool> written{};  // of each page
  std::string incarnation{};    // of the goal state that the agent knew when it began
  bool complete() const;
  // What was written, without the zeros that fill the last page of a page blob.
  std::string document() const;
};

class Storage {
 public:
  explicit Storage(const Scenario &scenario);

  bool has_host(const std::string &host) const { return hosts_.count(host) != 0; }
  // `container` is "host/container".
  bool has_container(const std::string &container) const { return containers_.count(container) != 0; }
  // None when there is no such blob; valid until the next change.
  const Blob *find(const std::string &key) const;
  // The queries under which the goal states name that blob; empty when they name it nowhere.
  const std::vector<std::string> &announced_queries(const std::string &key) const;

  // Creates or replaces a blob: a whole document, or zeros that pages will fill.
  void put_block_blob(const std::string &key, const std::string &content);
  void put_page_blob(const std::string &key, size_t size);
  // Writes whole pages; they lie within the blob, which is there.
  void put_pages(const std::string &key, size_t first, const std::string &content);

  const std::map<std::string, Blob> &blobs() const { return blobs_; }
  const std::vector<Upload> &uploads() const { return uploads_; }

  // The goal state that the agent knows; uploads from now on are of its time.
  void goal_state_told(const std::string &incarnation) { incarnation_ = incarnation; }

 private:
  void put(const std::string &key, const std::string &type, std::string content);
  void announce(const StatusBlobSpec &blob, bool make);

  std::set<std::string> hosts_;
  std::set<std::string> containers_;
  std::map<std::string, std::vector<std::string>> queries_;
  std::map<std::string, Blob> blobs_;
  std::vector<Upload> uploads_;
  std::string incarnation_;
  unsigned changes_ = 0;
};

inline constexpr char kBlockBlob[] = "BlockBlob";
inline constexpr char kPageBlob[] = "PageBlob";
inline constexpr size_t kPage = 512;

// Now, as HTTP writes a date.
std::string http_date();

}  // namespace kelvane::fabric

#endif
