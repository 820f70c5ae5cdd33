#include "tools/sandbox/script.h"

#include <gtest/gtest.h>

namespace sandbox {
namespace {

using nlohmann::json;

TEST(Script, EventsComeInOrderOfTimeAndEqualTimesInTheirOwn) {
  Script script = Script::parse(
      json::parse(R"([{"at": 5, "command": 1}, {"at": 0.5, "debug_level": 7}, {"at": 5, "command": 2}])"));
  std::vector<std::string> seen;
  std::vector<int64_t> times;
  while (script.next()) {
    times.push_back(*script.next());
    script.run_next([&](const json &event) { seen.push_back(event.dump()); });
  }
  EXPECT_EQ(times, (std::vector<int64_t>{500000000, 5000000000, 5000000000}));
  EXPECT_EQ(seen, (std::vector<std::string>{R"({"at":0.5,"debug_level":7})", R"({"at":5,"command":1})",
                                            R"({"at":5,"command":2})"}));
}

TEST(Script, AnEmptyOneHasNothingToCome) {
  EXPECT_FALSE(Script().next().has_value());
}

TEST(Script, NonsenseIsRefused) {
  for (const char *text : {"{}", "[1]", R"([{"command": 1}])", R"([{"at": -1, "command": 1}])", R"([{"at": 1}])",
                           R"([{"at": 1, "comand": 1}])", R"([{"at": 1, "command": 1, "kill": 9}])"}) {
    EXPECT_THROW(Script::parse(json::parse(text)), std::runtime_error) << text;
  }
}

}  // namespace
}  // namespace sandbox
