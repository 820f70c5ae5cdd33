// Runs a fuzz target over the files of corpus folders, with any compiler: what a fuzzer once found stays found. Says
// which input took longest, in CPU time, as the machine may be busy. A folder that is missing is empty, but without any
// input at all nothing is replayed: a failure where the tools make the seeds.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

constexpr int kSkipped = 77;  // as CMakeLists.txt tells ctest

std::vector<std::string> files_in(const char *folder) {
  std::vector<std::string> files;
  if (std::filesystem::is_directory(folder)) {
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
      files.push_back(entry.path().string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

// In milliseconds.
double run(const std::string &file) {
  std::fprintf(stderr, "%s\n", file.c_str());
  const std::string bytes = support::read_file(file);
  const std::clock_t start = std::clock();
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
  return static_cast<double>(std::clock() - start) * 1000 / CLOCKS_PER_SEC;
}

}  // namespace

int main(int count, char **arguments) {
  if (count < 2) {
    std::fprintf(stderr, "usage: %s CORPUS-FOLDER...\n", arguments[0]);
    return 2;
  }
  LLVMFuzzerTestOneInput(nullptr, 0);  // what a target makes once is not the first input's time
  size_t inputs = 0;
  double longest = 0;
  std::string slowest;
  for (int i = 1; i < count; i++) {
    for (const std::string &file : files_in(arguments[i])) {
      const double time = run(file);
      inputs++;
      if (time >= longest) {
        longest = time;
        slowest = file;
      }
    }
  }
  if (inputs == 0) {
    std::fprintf(stderr, "SKIP  there are no inputs, which is right without the tools alone: they make the seeds\n");
    return kSkipped;
  }
  std::fprintf(stderr, "%zu inputs, the slowest %.1f ms of CPU: %s\n", inputs, longest, slowest.c_str());
  return 0;
}
