// Whether what happened is what the scenario expected. Called for a verdict, at any time; pure, nothing blocks.
#ifndef KELVANE_TOOLS_FABRIC_EXPECTATIONS_H
#define KELVANE_TOOLS_FABRIC_EXPECTATIONS_H

#include <string>
#include <vector>

#include "tools/fabric/journal.h"
#include "tools/fabric/world.h"

namespace kelvane::fabric {

struct Finding {
  std::string name;
  bool held = false;
  std::string explanation = {};
};

struct Verdict {
  std::vector<Finding> findings;

  bool held() const;
  // {"held": ..., "expectations": [{"name", "held", "explanation"}]}
  std::string as_json() const;
  // One line for each finding, for people.
  std::string as_text() const;
};

Verdict judge_expectations(const World &world, const Journal &journal);

// Why the exchange is not what the matcher asks for; empty when it is.
std::string mismatch(const RequestMatcher &matcher, const Exchange &exchange);

}  // namespace kelvane::fabric

#endif
