#include "tests/torture/state.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "tests/support/files.h"

namespace torture {
namespace {

namespace files = std::filesystem;

std::vector<std::string> files_of(const std::vector<std::string> &files_and_folders) {
  std::vector<std::string> out;
  for (const std::string &one : files_and_folders) {
    if (!files::is_directory(one)) {
      out.push_back(one);
      continue;
    }
    for (const auto &entry : files::directory_iterator(one)) {
      if (entry.path().extension() == ".json") {
        out.push_back(entry.path().string());
      }
    }
  }
  std::sort(out.begin(), out.end());
  return out;
}

}  // namespace

std::string digest_of(const std::vector<std::string> &files_and_folders) {
  std::string all;
  for (const std::string &file : files_of(files_and_folders)) {
    all += std::to_string(std::hash<std::string>()(support::read_file(file))) + " ";
  }
  return std::to_string(std::hash<std::string>()(all));
}

State::State(const std::string &file, const std::string &digest) : file_(file), digest_(digest) {
  read();
}

void State::read() {
  lines_.clear();
  failed_.clear();
  std::ifstream stream(file_);
  for (std::string line; std::getline(stream, line);) {
    const Json entry = Json::parse(line, nullptr, false);
    if (entry.is_object() && entry.value("build", "") == digest_) {
      const auto address = entry["address"].get<std::string>();
      lines_[address] = entry;
      if (entry["report"] != "") {
        failed_.insert({address, entry["call"].get<std::string>()});
      }
    }
  }
}

// One line, in one piece.
void State::write(const Strike &strike, const std::string &report, const std::string &missed, const Json &meant,
                  const std::string &second) const {
  const Json entry = {{"address", strike.address()},
                      {"call", strike.place},
                      {"build", digest_},
                      {"report", report},
                      {"missed", missed},
                      {"meant", meant},
                      {"second", second}};
  const std::string line = entry.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  const int descriptor = open(file_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (descriptor < 0 || ::write(descriptor, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw std::runtime_error("cannot write " + file_);
  }
  close(descriptor);
}

// The call at a number may be another one than when the line was written, of the same text, too.
bool State::played(const Strike &strike) const {
  const auto found = lines_.find(strike.address());
  return found != lines_.end() && found->second["call"] == strike.place;
}

bool State::missed(const Strike &strike) const {
  return played(strike) && lines_.at(strike.address())["missed"] != "";
}

bool State::survived(const Strike &strike) const {
  return played(strike) && !missed(strike) && lines_.at(strike.address())["report"] == "";
}

bool State::second_fell(const Strike &strike) const {
  return played(strike) && !missed(strike) && lines_.at(strike.address()).value("second", "") != "";
}

bool State::failed_before(const Strike &strike) const {
  return survived(strike) && failed_.count({strike.address(), strike.place}) != 0;
}

Json State::meant(const Strike &strike) const {
  return played(strike) ? lines_.at(strike.address()).value("meant", Json::object()) : Json::object();
}

}  // namespace torture
