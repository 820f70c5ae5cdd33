// What the sandbox's command line says. Parsed once, before anything of the agent runs; what stands behind "--" is the
// agent's own command line. Nothing is opened or created here.
#ifndef KELVANE_TOOLS_SANDBOX_OPTIONS_H
#define KELVANE_TOOLS_SANDBOX_OPTIONS_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace sandbox {

enum class ClockKind { kReal, kScaled, kVirtual };

struct Options {
  std::string root;
  std::string media;
  std::string media_type = "udf";
  int media_mount_failures = 0;
  ClockKind clock = ClockKind::kReal;
  double clock_factor = 1;
  std::optional<int64_t> start_time;
  std::optional<int64_t> stop_after;
  std::string host_name_file;
  std::string proxy;
  std::string no_proxy;
  std::string trace;
  bool trace_times = false;
  std::string log;
  std::string script;
  std::vector<std::string> faults;
  std::string sites;
  std::string key;
  std::string unsynced;
  int64_t memory_mib = 2048;
  int64_t processors = 2;
  bool help = false;
  std::vector<std::string> agent_arguments;
};

struct OptionError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws OptionError with a sentence for the user. argv[0] is skipped.
Options parse_options(const std::vector<std::string> &argv);

// The list of options for --help, one a line.
std::string options_help();

}  // namespace sandbox

#endif
