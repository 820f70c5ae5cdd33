#include "tools/sandbox/trace.h"

extern "C" FILE *__real_fopen(const char *path, const char *mode);

namespace sandbox {

Trace::~Trace() {
  if (stream_ != nullptr && stream_ != stdout) {
    std::fclose(stream_);
  }
}

bool Trace::open(const std::string &file) {
  if (!file.empty()) {
    stream_ = file == "-" ? stdout : __real_fopen(file.c_str(), "we");
  }
  return file.empty() || stream_ != nullptr;
}

void Trace::line(const std::string &text) {
  if (stream_ == nullptr || depth_ != 0) {
    return;
  }
  const std::string whole = (prefix_ ? prefix_() + " " : "") + text + "\n";
  std::fwrite(whole.data(), 1, whole.size(), stream_);
  std::fflush(stream_);
}

}  // namespace sandbox
