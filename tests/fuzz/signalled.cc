#include "tests/fuzz/signalled.h"

#include <signal.h>

#include <algorithm>

#include "tests/fuzz/properties.h"

namespace {

std::string allowed;

}  // namespace

extern "C" int __wrap_kill(pid_t process, int number);
extern "C" int __wrap_kill(pid_t process, int number) {
  fuzz::require(process > 0 && number == SIGTERM, "one process gets SIGTERM");
  fuzz::require(allowed.find(std::to_string(process)) != std::string::npos, "its number stands in the file");
  return 0;
}

void fuzz::signals_may_go_to(const std::string &text) {
  allowed = text;
}

std::string fuzz::without_colons(std::string text, size_t length) {
  text.erase(std::remove(text.begin(), text.end(), ':'), text.end());
  return text.substr(0, length).c_str();
}
