#include "tools/demo/step.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <initializer_list>
#include <stdexcept>

#include "tools/fabric/json_match.h"
#include "tools/fabric/made_texts.h"
#include "tools/fabric/named_parts.h"

namespace demo {
namespace {

using kelvane::fabric::json_mismatch;
using kelvane::fabric::Members;

void refuse_unknown(const Json &object, std::initializer_list<const char *> known, const std::string &where) {
  for (const auto &[key, value] : object.items()) {
    if (std::find(known.begin(), known.end(), key) == known.end()) {
      throw std::runtime_error(where + ": unknown key \"" + key + "\"");
    }
  }
}

Expected expected_of(const Json &object) {
  const bool whole = object.contains("json");
  return {whole ? object["json"] : object.value("includes", Json()), whole};
}

int signal_of(const std::string &name, const std::string &where) {
  if (name != "TERM" && name != "KILL") {
    throw std::runtime_error(where + ": restart is \"TERM\" or \"KILL\"");
  }
  return name == "TERM" ? SIGTERM : SIGKILL;
}

Question question_of(const Json &entry, const std::string &where) {
  refuse_unknown(entry, {"kelvanectl", "json", "includes"}, where);
  return {entry.at("kelvanectl").get<std::vector<std::string>>(), expected_of(entry)};
}

std::vector<Question> questions_in(const Json &list, const std::string &where) {
  std::vector<Question> questions;
  for (const Json &one : list) {
    questions.push_back(question_of(one, where));
  }
  return questions;
}

Step step_of(const Json &entry) {
  Step step;
  step.name = entry.at("name");
  const std::string where = "step " + step.name;
  refuse_unknown(entry, {"name", "title", "restart", "status", "log", "appliance"}, where);
  step.title = entry.value("title", step.name);
  step.restart = entry.contains("restart") ? signal_of(entry["restart"], where) : 0;
  const Json status = entry.value("status", Json::object());
  refuse_unknown(status, {"json", "includes", "type", "blob"}, where + ", status");
  step.status = expected_of(status);
  step.type = status.value("type", "");
  step.blob = status.value("blob", "");
  step.log = entry.value("log", std::vector<std::string>());
  step.appliance = questions_in(entry.value("appliance", Json::array()), where + ", appliance");
  return step;
}

}  // namespace

std::string Expected::mismatch(const std::string &text) const {
  return json.is_null() ? "" : json_mismatch(json.dump(), text, whole ? Members::kAll : Members::kNamed);
}

Json read_scenario(const std::filesystem::path &file) {
  std::ifstream stream(file);
  if (!stream) {
    throw std::runtime_error("cannot read " + file.string());
  }
  return kelvane::fabric::with_made_texts(kelvane::fabric::with_named_parts(Json::parse(stream, nullptr, true, true)));
}

std::vector<Step> steps_of(const Json &scenario) {
  std::vector<Step> steps;
  for (const Json &entry : scenario.value("steps", Json::array())) {
    steps.push_back(step_of(entry));
  }
  if (!steps.empty() && steps.front().restart != 0) {
    throw std::runtime_error("step " + steps.front().name + ": the first step cannot be a restart");
  }
  return steps;
}

std::vector<Question> questions_of(const Json &scenario) {
  return questions_in(scenario.value("questions", Json::array()), "questions");
}

}  // namespace demo
