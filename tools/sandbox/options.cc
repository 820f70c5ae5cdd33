#include "tools/sandbox/options.h"

#include <functional>
#include <map>

namespace sandbox {
namespace {

int64_t number(const std::string &option, const std::string &text) {
  size_t used = 0;
  int64_t value = 0;
  try {
    value = std::stoll(text, &used);
  } catch (const std::exception &) {
    used = 0;
  }
  if (used == 0 || used != text.size() || value < 0) {
    throw OptionError(option + " takes a number that is not negative, not '" + text + "'");
  }
  return value;
}

void set_clock(Options &options, const std::string &text) {
  if (text == "real") {
    options.clock = ClockKind::kReal;
  } else if (text == "virtual") {
    options.clock = ClockKind::kVirtual;
  } else if (text.rfind("scaled:", 0) == 0) {
    options.clock = ClockKind::kScaled;
    options.clock_factor = static_cast<double>(number("--clock scaled:", text.substr(7)));
    if (options.clock_factor < 1) {
      throw OptionError("--clock scaled:N takes a factor of 1 or more");
    }
  } else {
    throw OptionError("--clock takes real, virtual or scaled:N, not '" + text + "'");
  }
}

void set_media_type(Options &options, const std::string &text) {
  if (text != "udf" && text != "iso9660" && text != "none") {
    throw OptionError("--media-type takes udf, iso9660 or none, not '" + text + "'");
  }
  options.media_type = text;
}

struct Row {
  const char *name;
  const char *value;  // what the value is called in the help; null for an option without one
  const char *help;
  std::function<void(Options &, const std::string &)> set;
};

const std::vector<Row> &rows() {
  static const std::vector<Row> kRows = {
      {"--root", "DIR", "the folder that stands for /; made when it is missing",
       [](Options &o, const std::string &v) { o.root = v; }},
      {"--media", "DIR", "what the provisioning CD-ROM holds", [](Options &o, const std::string &v) { o.media = v; }},
      {"--media-type", "TYPE", "the file system on it: udf (default), iso9660, or none for an empty drive",
       set_media_type},
      {"--media-mount-failures", "N", "the first N mount calls fail with EIO",
       [](Options &o, const std::string &v) {
         o.media_mount_failures = static_cast<int>(number("--media-mount-failures", v));
       }},
      {"--clock", "CLOCK", "real (default), scaled:N (N times as fast), virtual (a sleep only moves the clock)",
       set_clock},
      {"--start-time", "EPOCH", "the agent's time at its start, in seconds since 1970; default: now",
       [](Options &o, const std::string &v) { o.start_time = number("--start-time", v); }},
      {"--stop-after", "SECONDS", "end with status 0 at the sleep that reaches this agent time",
       [](Options &o, const std::string &v) { o.stop_after = number("--stop-after", v); }},
      {"--host-name-file", "FILE", "where sethostname writes; default: etc/hostname below the root",
       [](Options &o, const std::string &v) { o.host_name_file = v; }},
      {"--proxy", "URL", "the fabric, through which every request goes",
       [](Options &o, const std::string &v) { o.proxy = v; }},
      {"--no-proxy", "HOSTS", "hosts, with commas between them, that are reached without it",
       [](Options &o, const std::string &v) { o.no_proxy = v; }},
      {"--trace", "FILE", "write one line for each thing the agent does to the outside world; - for standard output",
       [](Options &o, const std::string &v) { o.trace = v; }},
      {"--trace-times", nullptr, "put the agent's seconds in front of each line of the trace",
       [](Options &o, const std::string &) { o.trace_times = true; }},
      {"--log", "FILE", "write the appliance log there, byte for byte; - for standard output",
       [](Options &o, const std::string &v) { o.log = v; }},
      {"--script", "FILE", "what happens at which agent time (JSON)",
       [](Options &o, const std::string &v) { o.script = v; }},
      {"--fault", "CALL:SUBJECT:ERROR:WHICH", "let a call fail; may be given more than once",
       [](Options &o, const std::string &v) { o.faults.push_back(v); }},
      {"--sites", "FILE", "write one line for each call that can fail, with its class and number",
       [](Options &o, const std::string &v) { o.sites = v; }},
      {"--key", "FILE", "the RSA key that the platform makes at each start is kept there, and always the same",
       [](Options &o, const std::string &v) { o.key = v; }},
      {"--unsynced", "FILE", "what a killed process had not synced yet is kept there, and taken over by the next one",
       [](Options &o, const std::string &v) { o.unsynced = v; }},
      {"--memory", "MIB", "the memory that sysinfo tells of; default 2048",
       [](Options &o, const std::string &v) { o.memory_mib = number("--memory", v); }},
      {"--processors", "N", "the processors that sysconf tells of; default 2",
       [](Options &o, const std::string &v) { o.processors = number("--processors", v); }},
      {"--help", nullptr, "print this list", [](Options &o, const std::string &) { o.help = true; }},
  };
  return kRows;
}

const Row &row_of(const std::string &name) {
  for (const Row &row : rows()) {
    if (name == row.name) {
      return row;
    }
  }
  throw OptionError("unknown option '" + name + "' (the agent's own arguments stand behind --)");
}

void check(const Options &options) {
  if (options.help) {
    return;
  }
  if (options.root.empty()) {
    throw OptionError("--root DIR is needed");
  }
  if (options.media.empty() && options.media_mount_failures > 0) {
    throw OptionError("--media-mount-failures needs --media");
  }
}

}  // namespace

Options parse_options(const std::vector<std::string> &argv) {
  Options options;
  for (size_t i = 1; i < argv.size(); ++i) {
    if (argv[i] == "--") {
      options.agent_arguments.assign(argv.begin() + static_cast<std::ptrdiff_t>(i) + 1, argv.end());
      break;
    }
    const Row &row = row_of(argv[i]);
    if (row.value != nullptr && i + 1 == argv.size()) {
      throw OptionError(argv[i] + " needs " + row.value);
    }
    row.set(options, row.value != nullptr ? argv[++i] : std::string());
  }
  check(options);
  return options;
}

std::string options_help() {
  std::string text = "usage: kelvane-sandbox --root DIR [options] [-- agent arguments]\n";
  for (const Row &row : rows()) {
    std::string left = std::string("  ") + row.name + (row.value != nullptr ? std::string(" ") + row.value : "");
    text += left + std::string(left.size() < 36 ? 36 - left.size() : 1, ' ') + row.help + "\n";
  }
  return text;
}

}  // namespace sandbox
