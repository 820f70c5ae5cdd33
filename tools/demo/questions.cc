#include "tools/demo/questions.h"

#include <string>

#include "tools/demo/output.h"

namespace demo {
namespace {

std::string joined(const std::vector<std::string> &words) {
  std::string text;
  for (const std::string &word : words) {
    text += " " + word;
  }
  return text;
}

}  // namespace

Checks ask_appliance(const Demo &demo, const std::vector<Question> &questions) {
  Checks checks;
  for (const Question &question : questions) {
    const std::string command = "kelvanectl" + joined(question.kelvanectl);
    say("  " + command + ":");
    const std::string answer = demo.kelvanectl(question.kelvanectl);
    indented(answer.empty() ? "none" : answer);
    std::vector<std::string> for_scripts = question.kelvanectl;
    for_scripts.insert(for_scripts.begin(), "--json");
    const std::string why_not = question.answer.mismatch(demo.kelvanectl(for_scripts));
    checks.push_back({command, why_not.empty(), why_not});
  }
  return checks;
}

}  // namespace demo
