#include "tests/scenario/run/checks.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <regex>
#include <stdexcept>

#include "tests/scenario/run/record_bytes.h"
#include "tests/scenario/run/secrets.h"
#include "tests/support/files.h"
#include "tools/sandbox/text_forms.h"

namespace scenario {
namespace {

namespace files = std::filesystem;

// A list in the scenario, or the name of a file beside it.
Lines written_lines(const Json &value, const RunResult &run) {
  if (value.is_string()) {
    return expand(split_lines(support::read_file(run.folder + "/" + value.get<std::string>())), run.debug_level);
  }
  Lines lines;
  for (const Json &line : value) {
    lines.push_back(line.is_string() ? line.get<std::string>() : line.dump());
  }
  return expand(lines, run.debug_level);
}

std::string compare(const std::string &what, const Lines &expected, const Lines &got) {
  return all_fit(expected, got) ? "" : "  " + what + " differs:\n" + difference(expected, got);
}

bool begins_with_any(const std::string &line, const Json &beginnings) {
  return std::any_of(beginnings.begin(), beginnings.end(),
                     [&](const Json &beginning) { return line.rfind(beginning.get<std::string>(), 0) == 0; });
}

Lines log_lines(const RunResult &run) {
  Lines lines;
  for (const std::string &line : run.trace) {
    if (line.rfind("log ", 0) == 0) {
      lines.push_back(line.substr(4));
    }
  }
  return lines;
}

std::string check_trace(const Json &value, const RunResult &run) {
  return compare("trace", written_lines(value, run), run.trace);
}

// What the wire protocol and its HTTP client log in an extension pass.
constexpr std::array kProtocolLines = {
    "log [kelvane]: http",          "log [kelvane]: curl",          "log [kelvane]: __curl",
    "log [kelvane]: start - __",    "log [kelvane]: Running Event", "log [kelvane]: HttpPost",
    "log [kelvane]: EVENT: Posted",
};

// What plugins and extension handling log, and the files they touch.
bool is_of_extensions(const std::string &line) {
  const auto begins = [&](const char *text) { return line.rfind(text, 0) == 0; };
  return (begins("log ") || begins("system ")) && !begins("system open(\"/tmp/") &&
         (begins("log [kelvane]: start - __ExtHandlerInstance") ||
          std::none_of(kProtocolLines.begin(), kProtocolLines.end(), begins));
}

bool is_of(const std::string &line, const Json &of) {
  if (!of.is_string()) {
    return begins_with_any(line, of);
  }
  return of == "extensions" ? is_of_extensions(line) : throw std::runtime_error("no lines are \"of\": " + of.dump());
}

// The lines of the trace in a stretch of the agent's seconds.
Lines lines_between(const Lines &trace, int64_t from, int64_t until) {
  Lines out;
  int64_t now = 0;
  for (const std::string &line : trace) {
    if (now >= from && now < until) {
      out.push_back(line);
    }
    now += line.rfind("sleep ", 0) == 0 ? std::stoll(line.substr(6)) : 0;
  }
  return out;
}

std::string check_part_of_trace(const Json &value, const RunResult &run) {
  const Lines stretch = lines_between(run.trace, value.value("from", int64_t{0}), value.value("until", INT64_MAX));
  Lines got;
  std::copy_if(stretch.begin(), stretch.end(), std::back_inserter(got),
               [&](const std::string &line) { return is_of(line, value.at("of")); });
  return compare("the trace's part " + value.at("of").dump(), written_lines(value.at("lines"), run), got);
}

std::string check_events(const Json &value, const RunResult &run) {
  if (value.is_object()) {
    return check_part_of_trace(value, run);
  }
  std::string report;
  for (const Json &part : value) {
    report += check_part_of_trace(part, run);
  }
  return report;
}

std::string check_trace_contains(const Json &value, const RunResult &run) {
  const std::string missing = missing_in_order(written_lines(value, run), run.trace);
  return missing.empty() ? "" : "  the trace lacks, or has too early: " + missing + "\n";
}

std::string check_log(const Json &value, const RunResult &run) {
  return compare("log", written_lines(value, run), log_lines(run));
}

std::string check_log_contains(const Json &value, const RunResult &run) {
  const std::string missing = missing_in_order(written_lines(value, run), log_lines(run));
  return missing.empty() ? "" : "  the log lacks, or has too early: " + missing + "\n";
}

std::string check_log_lacks(const Json &value, const RunResult &run) {
  std::string report;
  for (const Json &text : value) {
    if (run.log.find(text.get<std::string>()) != std::string::npos) {
      report += "  the log holds what it must not: " + text.get<std::string>() + "\n";
    }
  }
  return report;
}

std::string check_log_holds(const Json &value, const RunResult &run) {
  std::string report;
  for (const Json &text : value) {
    if (run.log.find(text.get<std::string>()) == std::string::npos) {
      report += "  the log lacks: " + text.get<std::string>() + "\n";
    }
  }
  return report;
}

std::string check_sleeps(const Json &value, const RunResult &run) {
  Lines got;
  for (const std::string &line : run.trace) {
    if (line.rfind("sleep ", 0) == 0) {
      got.push_back(line.substr(6));
    }
  }
  return compare("the sequence of sleeps", written_lines(value, run), got);
}

// How many errors OpenSSL tells for the same thing depends on its version.
Lines openssl_errors_as_one(const Lines &lines) {
  static const std::regex kError("[0-9A-F]+:error:[0-9A-F]+:.*");
  Lines out;
  for (const std::string &line : lines) {
    const std::string kept = std::regex_match(line, kError) ? "OpenSSL's errors" : line;
    if (kept == line || out.empty() || out.back() != kept) {
      out.push_back(kept);
    }
  }
  return out;
}

std::string check_output(const Json &value, const RunResult &run) {
  if (value.is_array()) {
    return compare("standard output", written_lines(value, run),
                   openssl_errors_as_one(split_lines(run.standard_output)));
  }
  const auto expected = value.get<std::string>();
  return expected == run.standard_output ? ""
                                         : compare("standard output", split_lines(sandbox::escaped(expected)),
                                                   split_lines(sandbox::escaped(run.standard_output)));
}

// ---- files ------------------------------------------------------------------------------------------------------

std::string octal(mode_t mode) {
  char text[16];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
  return text;
}

std::string mismatch(const std::string &what, const std::string &expected, const std::string &got) {
  return "  " + what + ":\n    expected " + expected + "\n    got      " + got + "\n";
}

std::string check_file_text(const std::string &name, const Json &file, const std::string &place) {
  const std::string got = support::read_file(place);
  std::string report;
  if (file.contains("text") && got != file["text"].get<std::string>()) {
    report += mismatch("file " + name, sandbox::quoted(file["text"].get<std::string>().c_str()),
                       sandbox::quoted(got.c_str()));
  }
  if (file.contains("size") && got.size() != file["size"].get<size_t>()) {
    report += mismatch("size of " + name, file["size"].dump(), std::to_string(got.size()));
  }
  for (const Json &part : file.value("contains", Json::array())) {
    if (got.find(part.get<std::string>()) == std::string::npos) {
      report += mismatch("file " + name, "to contain " + part.dump(), sandbox::quoted(got.c_str()));
    }
  }
  return report;
}

std::string check_file(const std::string &name, const Json &file, const std::string &root) {
  const std::string place = root + name;
  const bool exists = files::symlink_status(place).type() != files::file_type::not_found;
  if (file.value("absent", false) || !exists) {
    const bool fits_absent = file.value("absent", false) && !exists;
    return fits_absent ? "" : mismatch("file " + name, exists ? "none" : "one", exists ? "one" : "none");
  }
  std::string report;
  if (file.value("pipe", false)) {
    return files::is_fifo(place) ? "" : mismatch("file " + name, "a pipe", "none");
  }
  if (file.contains("symlink")) {
    const std::string target = files::is_symlink(place) ? files::read_symlink(place).string() : "no link";
    return target == file["symlink"].get<std::string>() ? "" : mismatch("link " + name, file["symlink"].dump(), target);
  }
  struct stat status = {};
  stat(place.c_str(), &status);
  if (file.contains("mode") && octal(status.st_mode) != file["mode"].get<std::string>()) {
    report += mismatch("mode of " + name, file["mode"].get<std::string>(), octal(status.st_mode));
  }
  return report + (files::is_regular_file(place) ? check_file_text(name, file, place) : "");
}

// ---- tables -----------------------------------------------------------------------------------------------------

// Whether the expected value fits: texts with placeholders, {"password": "clear"} for a stored password, of an object
// only the members that are named.
bool value_fits(const Json &expected, const Json &got) {
  if (expected.is_string() && got.is_string()) {
    return fits(expected.get<std::string>(), got.get<std::string>());
  }
  if (expected.is_object() && expected.contains("password_of") && got.is_string()) {
    return password_fits(got.get<std::string>(), expected["password_of"].get<std::string>());
  }
  if (expected.is_array() && got.is_array()) {
    return std::equal(expected.begin(), expected.end(), got.begin(), got.end(), value_fits);
  }
  if (expected.is_object() && got.is_object()) {
    return std::all_of(expected.items().begin(), expected.items().end(), [&](const auto &item) {
      return got.contains(item.key()) && value_fits(item.value(), got[item.key()]);
    });
  }
  return expected == got;
}

constexpr std::array kAnswers = {"fields", "records", "keys", "events", "absent", "debug"};

std::string check_bytes(const Json &entry, const Json &got) {
  const std::string differs =
      got.contains("bytes") ? bytes_difference(entry["bytes"], got["bytes"].get<std::string>()) : "no such record";
  return differs.empty() ? "" : mismatch("configuration", entry.dump(), differs);
}

std::string check_table(const Json &entry, const std::string &root) {
  const Json got = look_up(root, entry);
  if (entry.contains("bytes")) {
    return check_bytes(entry, got);
  }
  for (const char *name : kAnswers) {
    if (entry.contains(name) && (!got.contains(name) || !value_fits(entry[name], got[name]))) {
      return mismatch("configuration", entry.dump(), got.dump());
    }
  }
  return "";
}

struct Check {
  const char *key;
  std::string (*check)(const Json &value, const RunResult &run);
};

constexpr Check kChecks[] = {
    {"trace", check_trace},
    {"events", check_events},
    {"trace_contains", check_trace_contains},
    {"log", check_log},
    {"log_contains", check_log_contains},
    {"log_lacks", check_log_lacks},
    {"log_holds", check_log_holds},
    {"sleeps", check_sleeps},
    {"output", check_output},
    {"secrets", check_secrets},
    {"files", [](const Json &value, const RunResult &run) { return check_files(value, run.root); }},
    {"tables", [](const Json &value, const RunResult &run) { return check_tables(value, run.root); }},
};

}  // namespace

std::string check_files(const Json &files, const std::string &root) {
  std::string report;
  for (const auto &[name, file] : files.items()) {
    report += check_file(name, file, root);
  }
  return report;
}

std::string check_tables(const Json &tables, const std::string &root) {
  std::string report;
  for (const Json &entry : tables) {
    report += check_table(entry, root);
  }
  return report;
}

std::string check_run(const Json &expect, const RunResult &run) {
  std::string report;
  for (const Check &check : kChecks) {
    if (expect.contains(check.key)) {
      report += check.check(expect[check.key], run);
    }
  }
  return report;
}

bool is_run_expectation(const std::string &key) {
  return std::any_of(std::begin(kChecks), std::end(kChecks), [&](const Check &check) { return key == check.key; });
}

}  // namespace scenario
