// Where the agent's absolute paths lead in the sandbox: below the root folder, but for the few that are the machine's
// own and, while the CD-ROM is mounted, "/cdrom". A rule is a row of a table. Called by every wrapped call that takes a
// path; never blocks, touches no file.
#ifndef KELVANE_TOOLS_SANDBOX_PATHS_H
#define KELVANE_TOOLS_SANDBOX_PATHS_H

#include <string>

namespace sandbox {

class Paths {
 public:
  // An absolute path without "." or ".." parts and without a slash at its end.
  void set_root(std::string root) { root_ = std::move(root); }
  const std::string &root() const { return root_; }

  // The folder that "/cdrom" shows; empty while nothing is mounted.
  void set_mounted(std::string folder) { mounted_ = std::move(folder); }

  // The machine's path for a path of the agent's. A relative path and one that lies below the root already stay as they
  // are; ".." never leads out of the root.
  std::string map(const std::string &path) const;

  // The path as the agent would name it: without the root in front, and on the mounted CD-ROM below "/cdrom".
  std::string shown(const std::string &path) const;

 private:
  bool below_root(const std::string &path) const;

  std::string root_;
  std::string mounted_;
};

}  // namespace sandbox

#endif
