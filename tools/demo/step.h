// The steps of a day, as the scenario has them, and what each expects. Read once before anything runs; what is wrong
// with them throws std::runtime_error.
#ifndef KELVANE_TOOLS_DEMO_STEP_H
#define KELVANE_TOOLS_DEMO_STEP_H

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace demo {

using Json = nlohmann::ordered_json;  // documents are shown in their own order

// A JSON document that is expected: the whole, or of objects the members that are named. Null: nothing is expected.
struct Expected {
  Json json;
  bool whole = false;

  // Why the text does not fit; empty when it does.
  std::string mismatch(const std::string &text) const;
};

struct Question {
  std::vector<std::string> kelvanectl;  // the arguments
  Expected answer;
};

struct Step {
  std::string name;
  std::string title;
  int restart = 0;               // the signal that ends the agent, which is started again; 0: the next goal state
  Expected status;               // of the status document that arrives
  std::string type;              // of its blob; empty: any
  std::string blob;              // a pattern of "host/container/blob"; empty: any
  std::vector<std::string> log;  // texts that the agent logs meanwhile
  std::vector<Question> appliance;
};

// The scenario with its parts and made texts in place.
Json read_scenario(const std::filesystem::path &file);

// Empty for a scenario without steps.
std::vector<Step> steps_of(const Json &scenario);

// What is asked at the end of a scenario without steps.
std::vector<Question> questions_of(const Json &scenario);

}  // namespace demo

#endif
