// Runs a fuzz target over the files of a corpus folder, with any compiler: what a fuzzer once found stays found.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int count, char **arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: %s CORPUS-FOLDER\n", arguments[0]);
    return 2;
  }
  std::vector<std::string> files;
  for (const auto &entry : std::filesystem::directory_iterator(arguments[1])) {
    files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  for (const std::string &file : files) {
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    const std::string bytes = support::read_file(file);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
