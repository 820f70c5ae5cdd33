// Everything that the demo prints goes through here, so that no secret of the scenario gets out: each is replaced
// before a line is cut or coloured. Only prints; nothing here can fail.
#ifndef KELVANE_TOOLS_DEMO_OUTPUT_H
#define KELVANE_TOOLS_DEMO_OUTPUT_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace demo {

// The texts of the scenario's "secrets", its account's password, and the words of protected settings that hold one of
// them in base64. They are not printed from then on.
void keep_secrets_of(const nlohmann::ordered_json &scenario);
const std::vector<std::string> &secrets();

// The same text with every secret replaced.
std::string without_secrets(std::string text);

// Bold, green, red and the like on a terminal, plain elsewhere.
enum class Look { kPlain, kBold, kGood, kBad, kAsks, kWrites, kConfigures, kMachine, kLogs, kReports };

// A line as it is; `look` for the whole of it.
void say(const std::string &text, Look look = Look::kPlain);
// A bold line with an empty one in front.
void headline(const std::string &text);
// The lines of a text, indented; long ones, such as key texts, are cut.
void indented(const std::string &text);

}  // namespace demo

#endif
