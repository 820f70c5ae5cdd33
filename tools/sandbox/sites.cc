#include "tools/sandbox/sites.h"

extern "C" FILE *__real_fopen(const char *path, const char *mode);

namespace sandbox {

Sites::~Sites() {
  if (stream_ != nullptr) {
    std::fclose(stream_);
  }
}

bool Sites::open(const std::string &file) {
  stream_ = file.empty() ? nullptr : __real_fopen(file.c_str(), "we");
  return file.empty() || stream_ != nullptr;
}

void Sites::note(const std::string &call_class, const std::string &call, const std::string &subject) {
  if (stream_ != nullptr) {
    std::fprintf(stream_, "%s %zu %s(%s)\n", call_class.c_str(), ++counts_[call_class], call.c_str(), subject.c_str());
  }
}

void Sites::struck(const std::string &call_class, const std::string &call, const std::string &subject) {
  if (!struck_) {
    remark("struck", call_class + " " + std::to_string(counts_[call_class]) + " " + call + "(" + subject + ")");
  }
  struck_ = true;
}

void Sites::remark(const std::string &what, const std::string &text) {
  if (stream_ != nullptr) {
    std::fprintf(stream_, "%s %s\n", what.c_str(), text.c_str());
    std::fflush(stream_);
  }
}

}  // namespace sandbox
