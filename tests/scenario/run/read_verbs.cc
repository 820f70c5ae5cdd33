#include "tests/scenario/run/read_verbs.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "tests/scenario/run/process.h"
#include "tests/support/files.h"

namespace scenario {
namespace {

using Words = std::vector<std::string>;

constexpr int kLimitSeconds = 30;

const std::vector<Words> &verbs() {
  static const std::vector<Words> kVerbs = {
      {"table", "list"},
      {"table", "show", "100"},
      {"table", "show", "280"},
      {"table", "show", "330"},
      {"table", "show", "340"},
      {"table", "show", "440"},
      {"table", "show", "640"},
      {"hostname"},
      {"events"},
      {"plugins"},
      {"eventhub"},
      {"account", "list"},
      {"interface", "list"},
      {"endpoint", "show"},
      {"debug", "show"},
      {"debug", "level"},
  };
  return kVerbs;
}

// Runs kelvanectl on one root folder and keeps what each command line shows.
class Reader {
 public:
  Reader(std::string program, std::string root, std::string base)
      : program_(std::move(program)), root_(std::move(root)), base_(std::move(base)) {}

  std::string show(Words words) {
    Words command = {program_, "--root", root_};
    std::string name = "kelvanectl";
    for (const std::string &word : words) {
      name += " " + word;
      command.push_back(word);
    }
    Process process(command, base_ + ".out", base_ + ".err");
    if (process.wait(kLimitSeconds) != 0) {
      throw std::runtime_error(name + " fails: " + support::read_file(base_ + ".err"));
    }
    shown_[name] = support::read_file(base_ + ".out") + support::read_file(base_ + ".err");
    return support::read_file(base_ + ".out");
  }

  std::map<std::string, std::string> take() { return std::move(shown_); }

 private:
  std::string program_;
  std::string root_;
  std::string base_;
  std::map<std::string, std::string> shown_;
};

}  // namespace

std::map<std::string, std::string> outputs_of_read_verbs(const std::string &program, const std::string &root,
                                                         const std::string &base) {
  Reader reader(program, root, base);
  for (const Words &verb : verbs()) {
    reader.show(verb);
    Words with_json = verb;
    with_json.insert(with_json.begin(), "--json");
    reader.show(with_json);
  }
  for (const auto &account : nlohmann::json::parse(reader.show({"--json", "account", "list"}))) {
    const auto name = account.at("name").get<std::string>();
    reader.show({"account", "show", name});
    reader.show({"--json", "account", "show", name});
    reader.show({"keys", name});
  }
  std::filesystem::remove(base + ".out");
  std::filesystem::remove(base + ".err");
  return reader.take();
}

}  // namespace scenario
