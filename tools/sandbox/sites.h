// The sites: every call that can be made to fail or be the last one, in classes, each class counted from 1.
//   memory    malloc, calloc and realloc in the agent's own code (the libraries' allocations are not counted)
//   file      the calls that take a path
//   bytes     read, write and fstat on the files that the agent opened, and sync
//   system    the other calls into the operating system; dup2 has the name of the file that had the number before
//   platform  the calls into the platform
//   request   the transfers
//   database  what SQLite does to the files of the configuration database, on the agent's behalf, with the call into
//             the platform that it is part of: "write(FILE in CALL)"
//   inside    what the platform does to other files in the agent's calls
//   closing   what SQLite does to its files after the agent's end
// With a file, each is a line "CLASS NUMBER CALL(SUBJECT)", and at the end come remarks: "open NAME" for whatever
// is left open (open_files.h), and "end STATUS". Where the first planned fault of the process fell stands in a line
// "struck CLASS NUMBER CALL(SUBJECT)" of its own, and where the agent slept in a line "sleep SECONDS". The numbers are
// those by which faults.h names a call of a class. Blocks for as long as the disk does; a line that cannot be written
// is lost.
#ifndef KELVANE_TOOLS_SANDBOX_SITES_H
#define KELVANE_TOOLS_SANDBOX_SITES_H

#include <cstdio>
#include <map>
#include <string>

namespace sandbox {

class Sites {
 public:
  ~Sites();

  // "" for no file. False when it cannot be made.
  bool open(const std::string &file);

  void note(const std::string &call_class, const std::string &call, const std::string &subject);
  // The call that was noted last, when it is the first to be struck.
  void struck(const std::string &call_class, const std::string &call, const std::string &subject);
  void remark(const std::string &what, const std::string &text);

 private:
  std::FILE *stream_ = nullptr;
  bool struck_ = false;
  std::map<std::string, size_t> counts_;
};

}  // namespace sandbox

#endif
