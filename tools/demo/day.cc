#include "tools/demo/day.h"

#include <chrono>
#include <fstream>
#include <optional>

#include "tools/demo/fabric_client.h"
#include "tools/demo/files.h"
#include "tools/demo/output.h"
#include "tools/demo/questions.h"
#include "tools/demo/status.h"

namespace demo {
namespace {

// On the machine's clock: a busy machine needs its time, whatever the agent's clock says. A step takes two seconds.
constexpr std::chrono::seconds kLongestStep(120);

class Player {
 public:
  Player(Demo &demo, size_t steps) : demo_(demo), steps_(steps) {}

  // False when the step's status document did not arrive.
  bool play(const Step &step) {
    number_++;
    const std::string count = std::to_string(number_) + " of " + std::to_string(steps_);
    headline("Step " + count + ", " + step.name + ": " + step.title);
    const std::filesystem::path log = step.restart != 0 ? "" : demo_.log();
    const size_t begin = log.empty() || number_ == 1 ? 0 : contents(log).size();
    const std::optional<StatusDocument> document = wait_for_status(step);
    add(step, "status", document ? mismatch(step, *document) : "no status document arrived");
    if (!document) {
      return false;
    }
    show(*document, step);
    check_log(step, contents(demo_.log()).substr(begin));
    for (const Check &check : ask_appliance(demo_, step.appliance)) {
      add(step, check.name, check.explanation);
    }
    return true;
  }

  const Checks &checks() const { return checks_; }

 private:
  void add(const Step &step, const std::string &what, const std::string &why_not) {
    checks_.push_back({"step " + step.name + ": " + what, why_not.empty(), why_not});
    if (!why_not.empty()) {
      say("  FAIL  " + what + ": " + why_not, Look::kBad);
    }
  }

  // The goal state that the documents of the step are of; empty: any.
  std::string begin(const Step &step) {
    if (step.restart != 0) {
      demo_.restart_agent(step.restart);
      seen_ = status_documents(demo_.port()).size();
      return "";
    }
    seen_ = status_documents(demo_.port()).size();
    return number_ == 1 ? "" : Json::parse(http_post(demo_.port(), "/_fabric/advance")).at("incarnation");
  }

  std::optional<StatusDocument> wait_for_status(const Step &step) {
    const std::string incarnation = begin(step);
    const auto limit = std::chrono::steady_clock::now() + kLongestStep;
    std::optional<StatusDocument> found;
    demo_.watch([&] {
      found = first_new_document(incarnation);
      return found.has_value() || std::chrono::steady_clock::now() >= limit;
    });
    return found;
  }

  std::optional<StatusDocument> first_new_document(const std::string &incarnation) const {
    const std::vector<StatusDocument> all = status_documents(demo_.port());
    for (size_t i = seen_; i < all.size(); ++i) {
      if (incarnation.empty() || all[i].incarnation == incarnation) {
        return all[i];
      }
    }
    return std::nullopt;
  }

  void show(const StatusDocument &document, const Step &step) const {
    const std::string name = (number_ < 10 ? "0" : "") + std::to_string(number_) + "-" + step.name + ".json";
    std::filesystem::create_directories(demo_.options().out / "status");
    std::ofstream(demo_.options().out / "status" / name) << document.text;
    say("  the status document that arrived (status/" + name + "):");
    indented(in_words(document));
  }

  void check_log(const Step &step, const std::string &log) {
    for (const std::string &text : step.log) {
      add(step, "the agent logs \"" + text + "\"", log.find(text) != std::string::npos ? "" : "it did not");
    }
  }

  Demo &demo_;
  size_t steps_;
  size_t number_ = 0;
  size_t seen_ = 0;  // status documents before the step
  Checks checks_;
};

}  // namespace

Checks play_day(Demo &demo, const std::vector<Step> &steps, const std::function<void()> &after_first) {
  Player player(demo, steps.size());
  for (const Step &step : steps) {
    if (!player.play(step)) {
      break;
    }
    if (&step == &steps.front()) {
      after_first();
    }
  }
  return player.checks();
}

}  // namespace demo
