#include "tests/scenario/run/secrets.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <vector>

#include "tests/scenario/run/read_verbs.h"
#include "tests/support/files.h"

namespace scenario {
namespace {

namespace files = std::filesystem;

constexpr const char *kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// So much of a private key's end is looked for: it belongs to a number that only the key's owner knows.
constexpr size_t kKeyBytes = 48;

// The characters of the base64 text that depend on these bytes alone, when `before` other bytes stand in front.
std::string base64_part(const std::string &bytes, size_t before) {
  const size_t whole = (before + bytes.size()) * 8;
  std::string out;
  for (size_t bit = (before * 8 + 5) / 6 * 6; bit + 6 <= whole; bit += 6) {
    unsigned value = 0;
    for (size_t i = bit; i < bit + 6; ++i) {
      const auto byte = static_cast<uint8_t>(bytes[i / 8 - before]);
      value = value << 1 | (byte >> (7 - i % 8) & 1u);
    }
    out += kAlphabet[value];
  }
  return out;
}

std::string hexadecimal(const std::string &bytes, const char *digits) {
  std::string out;
  for (const char c : bytes) {
    out += digits[static_cast<uint8_t>(c) >> 4];
    out += digits[static_cast<uint8_t>(c) & 15];
  }
  return out;
}

std::vector<std::string> forms_of(const std::string &secret) {
  return {secret,
          base64_part(secret, 0),
          base64_part(secret, 1),
          base64_part(secret, 2),
          hexadecimal(secret, "0123456789abcdef"),
          hexadecimal(secret, "0123456789ABCDEF")};
}

// Line ends may stand anywhere in base64 text.
std::string without_line_ends(std::string text) {
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }), text.end());
  return text;
}

bool holds(const std::string &text, const std::string &secret) {
  const std::string joined = without_line_ends(text);
  const auto forms = forms_of(secret);
  return std::any_of(forms.begin(), forms.end(), [&](const std::string &form) {
    return text.find(form) != std::string::npos || joined.find(form) != std::string::npos;
  });
}

std::string decoded(const std::string &pem) {
  std::string out;
  unsigned value = 0;
  int bits = 0;
  const size_t begin = pem.find('\n');
  for (const char c : pem.substr(begin, pem.find("-----END") - begin)) {
    const char *found = std::find(kAlphabet, kAlphabet + 64, c);
    if (found == kAlphabet + 64) {
      continue;
    }
    value = value << 6 | static_cast<unsigned>(found - kAlphabet);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out += static_cast<char>(value >> bits & 0xff);
    }
  }
  return out;
}

std::vector<std::string> private_keys(const std::string &cloud) {
  std::vector<std::string> out;
  for (const auto &entry : files::directory_iterator(cloud + "/tenant")) {
    const std::string name = entry.path().filename().string();
    if (name.size() > 8 && name.substr(name.size() - 8) == ".key.pem") {
      const std::string der = decoded(support::read_file(entry.path()));
      out.push_back(der.substr(der.size() - kKeyBytes));
    }
  }
  if (out.empty()) {
    throw std::runtime_error("the fabric shows no private key");
  }
  return out;
}

std::map<std::string, std::string> outputs(const RunResult &run) {
  std::map<std::string, std::string> out = {
      {"the log", run.log}, {"standard output", run.standard_output}, {"standard error", run.standard_error}};
  for (const std::string &line : run.trace) {
    out["the trace"] += line + "\n";
  }
  if (!run.cloud.empty()) {
    out["the fabric's journal"] = support::read_file(run.cloud + "/journal.jsonl");
  }
  out.merge(outputs_of_read_verbs(run.kelvanectl, run.root, run.base + ".kelvanectl"));
  for (const auto &entry : files::recursive_directory_iterator(run.root)) {
    if (entry.is_regular_file() && !entry.is_symlink()) {
      out[entry.path().string().substr(run.root.size())] = support::read_file(entry.path());
    }
  }
  return out;
}

bool lists(const Json &allowed, const std::string &place, const std::string &text) {
  const Json &here = part(allowed, place.c_str());
  return std::find(here.begin(), here.end(), Json(text)) != here.end();
}

}  // namespace

std::string check_secrets(const Json &value, const RunResult &run) {
  std::string report;
  const auto found = outputs(run);
  const Json &allowed = part(value, "allowed");
  for (const Json &entry : value.at("texts")) {
    const auto text = entry.get<std::string>();
    for (const auto &[place, contents] : found) {
      if (holds(contents, text) != lists(allowed, place, text)) {
        report +=
            "  the secret \"" + text + "\" stands in " + place + (lists(allowed, place, text) ? " no more\n" : "\n");
      }
    }
  }
  for (const auto &[place, contents] : allowed.items()) {
    report += found.count(place) != 0 ? "" : "  there is no " + place + "\n";
  }
  for (const std::string &key :
       value.value("private_keys", false) ? private_keys(run.cloud) : std::vector<std::string>()) {
    for (const auto &[place, contents] : found) {
      report += holds(contents, key) ? "  a private key stands in " + place + "\n" : "";
    }
  }
  return report;
}

}  // namespace scenario
