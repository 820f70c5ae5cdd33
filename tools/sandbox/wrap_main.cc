// The process entry: sets the sandbox up, then runs the agent's own main with the agent's own arguments.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "platform/reference/reference.h"
#include "tools/sandbox/world.h"

extern "C" {
int __real_main(int argc, char **argv);
int __wrap_main(int argc, char **argv);
FILE *__real_fopen(const char *path, const char *mode);
}

namespace {

void write_log(const char *text, void *stream) {
  std::fputs(text, static_cast<FILE *>(stream));
  std::fflush(static_cast<FILE *>(stream));
}

void open_log(const std::string &file) {
  if (file.empty()) {
    return;
  }
  FILE *stream = file == "-" ? stdout : __real_fopen(file.c_str(), "we");
  if (stream == nullptr) {
    throw std::runtime_error("cannot write the log " + file);
  }
  reference_set_log_sink(write_log, stream);
}

int run_agent(const sandbox::Options &options) {
  std::vector<std::string> arguments = options.agent_arguments;
  arguments.insert(arguments.begin(), "kelvane");
  std::vector<char *> pointers;
  for (std::string &argument : arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  return __real_main(static_cast<int>(arguments.size()), pointers.data());
}

}  // namespace

int __wrap_main(int argc, char **argv) {
  try {
    const sandbox::Options options = sandbox::parse_options(std::vector<std::string>(argv, argv + argc));
    if (options.help) {
      std::fputs(sandbox::options_help().c_str(), stdout);
      return 0;
    }
    open_log(options.log);
    sandbox::set_up(options);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "kelvane-sandbox: %s\n", error.what());
    return 2;
  }
  const int status = run_agent(sandbox::world().options) & 0xff;
  sandbox::end_process(status, "exit " + std::to_string(status));
}
