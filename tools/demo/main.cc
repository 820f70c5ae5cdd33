// kelvane-demo: plays a first boot against the fabric, and the day that the scenario's steps tell, and shows it. Status
// 0 when everything that the scenario expects has held, 1 when not, 2 when the demo itself could not go on.
#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <exception>
#include <iostream>

#include "tools/demo/day.h"
#include "tools/demo/demo.h"
#include "tools/demo/fabric_client.h"
#include "tools/demo/first_boot.h"
#include "tools/demo/output.h"
#include "tools/demo/questions.h"
#include "tools/demo/report.h"

namespace {

demo::Checks after_first_boot(demo::Demo &demo, const demo::Json &scenario) {
  demo.dump_certificates();
  demo::show_first_boot(demo, scenario);
  return demo::first_boot_checks(demo, scenario);
}

// On the machine's clock: so long a busy machine has for what the fabric expects.
constexpr std::chrono::seconds kLongest(50);

void watch_first_boot(demo::Demo &demo) {
  const auto limit = std::chrono::steady_clock::now() + kLongest;
  demo.watch([&] {
    return demo.second() >= demo.options().seconds &&
           (std::chrono::steady_clock::now() >= limit ||
            demo::Json::parse(demo::http_get(demo.port(), "/_fabric/verdict")).at("held"));
  });
}

// A scenario without steps is a first boot and some of the time after it.
demo::Checks play(demo::Demo &demo, const demo::Json &scenario) {
  const std::vector<demo::Step> steps = demo::steps_of(scenario);
  demo.start();
  if (steps.empty()) {
    watch_first_boot(demo);
    demo::Checks checks = after_first_boot(demo, scenario);
    const demo::Checks answers = demo::ask_appliance(demo, demo::questions_of(scenario));
    checks.insert(checks.end(), answers.begin(), answers.end());
    return checks;
  }
  demo::Checks checks;
  const demo::Checks of_steps = demo::play_day(demo, steps, [&] { checks = after_first_boot(demo, scenario); });
  checks.insert(checks.end(), of_steps.begin(), of_steps.end());
  return checks;
}

int run(const demo::Options &options) {
  const demo::Json scenario = demo::read_scenario(options.scenario);
  demo::keep_secrets_of(scenario);
  demo::Demo demo(options);
  demo::say(scenario.value("name", "a scenario") + ": " + std::to_string(options.speed) +
                " agent seconds in a second, from " + options.scenario.filename().string(),
            demo::Look::kBold);
  const demo::Checks checks = play(demo, scenario);
  return demo::report(demo, checks) ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
  demo::Options options;
  CLI::App app("plays a first boot of the agent, and the day after it, against the fabric, and tells it");
  app.add_option("--build", options.build, "the build folder that holds the programs")->required();
  app.add_option("--scenario", options.scenario, "what the fabric plays; the last one given counts")
      ->required()
      ->take_last();
  app.add_option("--out", options.out, "the folder for everything that comes out; emptied first")
      ->required()
      ->take_last();
  app.add_option("--speed", options.speed, "agent seconds in a second")->check(CLI::Range(1, 100));
  app.add_option("--seconds", options.seconds, "agent seconds to watch a scenario without steps")
      ->check(CLI::Range(1, 100000));
  app.add_option("--debug-level", options.debug_level, "of the agent's log; 7 shows everything")
      ->check(CLI::Range(0, 7));
  app.add_flag("--keep", options.keep, "leave fabric and agent running");
  CLI11_PARSE(app, argc, argv);

  std::signal(SIGINT, [](int) { demo::Demo::interrupt(); });
  std::signal(SIGTERM, [](int) { demo::Demo::interrupt(); });
  try {
    return run(options);
  } catch (const std::exception &error) {
    std::cerr << "demo: " << demo::without_secrets(error.what()) << "\n";
    return 2;
  }
}
