// kelvane-demo: plays a first boot against the fabric and tells it. Status 0 when everything that the scenario expects
// has held, 1 when not, 2 when the demo itself could not go on.
#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <iostream>

#include "tools/demo/demo.h"
#include "tools/demo/report.h"

int main(int argc, char **argv) {
  demo::Options options;
  CLI::App app("plays a first boot of the agent against the fabric, and tells it");
  app.add_option("--build", options.build, "the build folder that holds the programs")->required();
  app.add_option("--scenario", options.scenario, "what the fabric plays; the last one given counts")
      ->required()
      ->take_last();
  app.add_option("--out", options.out, "the folder for everything that comes out; emptied first")
      ->required()
      ->take_last();
  app.add_option("--speed", options.speed, "agent seconds in a second")->check(CLI::Range(1, 100));
  app.add_option("--seconds", options.seconds, "agent seconds to watch")->check(CLI::Range(1, 100000));
  app.add_option("--debug-level", options.debug_level, "of the agent's log; 7 shows everything")
      ->check(CLI::Range(0, 7));
  app.add_flag("--keep", options.keep, "leave fabric and agent running");
  CLI11_PARSE(app, argc, argv);

  std::signal(SIGINT, [](int) { demo::Demo::interrupt(); });
  std::signal(SIGTERM, [](int) { demo::Demo::interrupt(); });
  try {
    demo::Demo demo(options);
    demo.play();
    return demo::report(demo) ? 0 : 1;
  } catch (const std::exception &error) {
    std::cerr << "demo: " << error.what() << "\n";
    return 2;
  }
}
