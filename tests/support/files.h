// Temporary folders, whole files and programs, for tests. Failures throw std::runtime_error: they fail the test.
#ifndef KELVANE_TESTS_SUPPORT_FILES_H
#define KELVANE_TESTS_SUPPORT_FILES_H

#include <string>
#include <vector>

namespace support {

// A folder of its own below the system's temporary folder, removed with everything in it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  const std::string &path() const { return path_; }
  // The path of a name in it ("a/b" is fine; the folders are not made).
  std::string file(const std::string &name) const { return path_ + "/" + name; }
  // Writes a file, making the folders above it; returns its path.
  std::string write(const std::string &name, const std::string &bytes) const;
  std::string read(const std::string &name) const;

 private:
  std::string path_;
};

std::string read_file(const std::string &path);
// The same, and "" when there is no such file.
std::string read_if_there(const std::string &path);
void write_file(const std::string &path, const std::string &bytes);
bool exists(const std::string &path);
// The permission bits, 0600 for instance; -1 when there is no such file.
int mode_of(const std::string &path);

struct CommandResult {
  int status = -1;  // exit status; 128 + n when signal n ended it; 127 when the program could not be started
  std::string out;
  std::string err;
};

// Runs a program (found by PATH, no shell) to its end, at most so many seconds (then it is killed and the call throws).
CommandResult run_command(const std::vector<std::string> &arguments, const std::string &input = "",
                          unsigned seconds = 60);

// Runs the openssl command line tool; throws with its error output when it fails. Returns its standard output.
std::string openssl(std::vector<std::string> arguments, const std::string &input = "");
// Whether the tool is there: tests that need it skip otherwise.
bool have_openssl();

}  // namespace support

#endif
