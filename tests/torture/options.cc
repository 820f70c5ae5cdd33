#include "tests/torture/options.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>

#include "tests/torture/pairs.h"

namespace torture {
namespace {

namespace files = std::filesystem;

constexpr char kHelp[] =
    "usage: kelvane-torture [options]\n"
    "  --kill             kill the agent, or take its power, instead of letting calls fail\n"
    "  --twice            the same, and kill the start that follows, too\n"
    "  --protocol NAME    only wire, metadata, wire-restart or metadata-restart\n"
    "  --class NAMES      only these, with commas between: memory, file, bytes, system, platform, request, database,\n"
    "                     inside, closing\n"
    "  --blow NAMES       only these blows, as they stand at the end of an address\n"
    "  --from N, --to N   only these numbers of sites\n"
    "  --sample N         so many strikes, evenly from all classes and blows; --seed N for others (1)\n"
    "  --only ADDRESSES   these strikes of any kind, with commas between, whatever the state says; the files of the "
    "last\n"
    "                     one are kept in the --artifacts folder\n"
    "  --state FILE       leaves out what the file says the same build survived; receives a line of JSON a strike\n"
    "  --minutes N        begin no strike after so long\n"
    "  --workers N        processes side by side (1)\n"
    "  --list             print the addresses and what stands at each, and end\n"
    "  --artifacts DIR    the folder for everything (a temporary one)\n"
    "  --sandbox PROGRAM, --fabric PROGRAM, --scenarios DIR\n";

std::string beside(const char *name) {
  return (files::canonical("/proc/self/exe").parent_path() / name).string();
}

// Throws for anything but digits, and for what is less than the least.
size_t number(const std::string &option, const std::string &text, size_t least = 1) {
  size_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < least) {
    throw std::runtime_error(option + " wants a number from " + std::to_string(least) + " on, not " + text);
  }
  return value;
}

// False for an option that there is not.
bool take(Options &options, const std::string &option, const std::string &value) {
  const std::map<std::string, std::string *> texts = {{"--protocol", &options.protocol},
                                                      {"--class", &options.classes},
                                                      {"--blow", &options.blows},
                                                      {"--only", &options.only},
                                                      {"--state", &options.state},
                                                      {"--artifacts", &options.artifacts},
                                                      {"--sandbox", &options.programs.sandbox},
                                                      {"--fabric", &options.programs.fabric},
                                                      {"--scenarios", &options.programs.scenarios}};
  const std::map<std::string, size_t *> numbers = {
      {"--from", &options.from}, {"--to", &options.to}, {"--sample", &options.sample}, {"--workers", &options.workers}};
  if (value.empty()) {  // such as a variable of a shell that is not set
    throw std::runtime_error(option + " wants a value");
  }
  if (texts.count(option) != 0) {
    *texts.at(option) = value;
  } else if (numbers.count(option) != 0) {
    *numbers.at(option) = number(option, value);
  } else if (option == "--seed") {
    options.seed = static_cast<unsigned>(number(option, value, 0));
  } else if (option == "--minutes") {
    options.minutes = static_cast<double>(number(option, value));
  } else {
    return false;
  }
  return true;
}

using NameOf = const std::string &(const Strike &strike);

const std::string &class_of(const Strike &strike) {
  return strike.site.call_class;
}

const std::string &blow_of(const Strike &strike) {
  return strike.blow;
}

// A name that no strike has, such as a misspelt one, would silently be nothing.
void check_names(const std::string &list, const std::vector<Strike> &all, NameOf *name_of) {
  std::istringstream parts(list);
  for (std::string name; std::getline(parts, name, ',');) {
    if (std::none_of(all.begin(), all.end(), [&](const Strike &strike) { return name_of(strike) == name; })) {
      throw std::runtime_error("there is no strike of \"" + name + "\"");
    }
  }
}

bool listed(const std::string &list, const std::string &name) {
  return list.empty() || ("," + list + ",").find("," + name + ",") != std::string::npos;
}

}  // namespace

bool Options::whole() const {
  return !twice && protocol.empty() && classes.empty() && blows.empty() && only.empty() && sample == 0 && from <= 1 &&
         to == Options().to;
}

std::vector<Strike> Options::wanted(const std::vector<Strike> &all) const {
  if (!only.empty()) {
    return with_addresses(all, only);
  }
  check_names(classes, all, class_of);
  check_names(blows, all, blow_of);
  std::vector<Strike> out;
  std::copy_if(all.begin(), all.end(), std::back_inserter(out), [&](const Strike &strike) {
    return listed(classes, strike.site.call_class) && listed(blows, strike.blow) && strike.site.number >= from &&
           strike.site.number <= to;
  });
  return out;
}

Options read_options(int argc, char **argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--kill" || option == "--list") {
      (option == "--kill" ? options.kill : options.list) = true;
    } else if (option == "--twice") {
      options.kill = options.twice = true;
    } else if (i + 1 == argc || !take(options, option, argv[i + 1])) {
      throw std::runtime_error(kHelp);
    } else {
      ++i;
    }
  }
  Programs &programs = options.programs;
  programs.sandbox = programs.sandbox.empty() ? beside("../../tools/sandbox/kelvane-sandbox") : programs.sandbox;
  programs.fabric = programs.fabric.empty() ? beside("../../tools/fabric/kelvane-fabric") : programs.fabric;
  programs.scenarios =
      programs.scenarios.empty() ? (files::current_path() / "tests/torture").string() : programs.scenarios;
  return options;
}

}  // namespace torture
