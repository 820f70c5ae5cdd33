#include "tests/scenario/run/lines.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace scenario {
namespace {

constexpr size_t kContext = 3;

// Takes "{>N} " off the line. False when the line does not count at this level.
bool at_level(std::string &line, int64_t debug_level) {
  if (line.compare(0, 2, "{>") != 0) {
    return true;
  }
  const size_t end = line.find("} ");
  if (end == std::string::npos) {
    return true;
  }
  const int64_t threshold = std::stoll(line.substr(2, end - 2));
  line.erase(0, end + 2);
  return debug_level > threshold;
}

// Takes "N * " off the line.
size_t repetitions(std::string &line) {
  const size_t end = line.find(" * ");
  if (end == std::string::npos || end == 0 || line.find_first_not_of("0123456789") != end) {
    return 1;
  }
  const size_t count = std::stoul(line.substr(0, end));
  line.erase(0, end + 3);
  return count;
}

bool fits_from(const char *expected, const char *got) {
  while (*expected != '\0') {
    const std::string_view rest(expected);
    if (rest.substr(0, 5) == "<any>") {
      for (const char *end = got + std::string_view(got).size(); end >= got; --end) {
        if (fits_from(expected + 5, end)) {
          return true;
        }
      }
      return false;
    }
    if (rest.substr(0, 3) == "<n>") {
      if (std::isdigit(static_cast<unsigned char>(*got)) == 0) {
        return false;
      }
      while (std::isdigit(static_cast<unsigned char>(*got)) != 0) {
        ++got;
      }
      expected += 3;
      continue;
    }
    if (*expected != *got) {
      return false;
    }
    ++expected;
    ++got;
  }
  return *got == '\0';
}

struct Edit {
  char mark;
  std::string line;
};

// Sleeps come by the ten thousand.
bool is_sleep(const std::string &line) {
  return line.rfind("sleep ", 0) == 0 || line.find_first_not_of("0123456789") == std::string::npos;
}

// With each run of the same sleep as one line, "N * sleep 1".
Lines runs_told_once(const Lines &lines) {
  Lines out;
  for (size_t at = 0; at < lines.size();) {
    size_t end = at + 1;
    while (is_sleep(lines[at]) && end < lines.size() && lines[end] == lines[at]) {
      ++end;
    }
    out.push_back((end - at > 1 ? std::to_string(end - at) + " * " : "") + lines[at]);
    at = end;
  }
  return out;
}

// The shortest edit script, by the longest common subsequence.
std::vector<Edit> edits(const Lines &a, const Lines &b) {
  std::vector<std::vector<size_t>> common(a.size() + 1, std::vector<size_t>(b.size() + 1, 0));
  for (size_t i = a.size(); i-- > 0;) {
    for (size_t j = b.size(); j-- > 0;) {
      common[i][j] = fits(a[i], b[j]) ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
    }
  }
  std::vector<Edit> out;
  size_t i = 0;
  size_t j = 0;
  while (i < a.size() || j < b.size()) {
    if (i < a.size() && j < b.size() && fits(a[i], b[j])) {
      out.push_back({' ', b[j]});
      ++i;
      ++j;
    } else if (j == b.size() || (i < a.size() && common[i + 1][j] >= common[i][j + 1])) {
      out.push_back({'-', a[i++]});
    } else {
      out.push_back({'+', b[j++]});
    }
  }
  return out;
}

bool near_a_change(const std::vector<Edit> &all, size_t at) {
  const size_t from = at < kContext ? 0 : at - kContext;
  const size_t to = std::min(all.size(), at + kContext + 1);
  return std::any_of(all.begin() + static_cast<std::ptrdiff_t>(from), all.begin() + static_cast<std::ptrdiff_t>(to),
                     [](const Edit &edit) { return edit.mark != ' '; });
}

}  // namespace

Lines split_lines(const std::string &text) {
  Lines out;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    out.push_back(line);
  }
  return out;
}

Lines expand(const Lines &written, int64_t debug_level) {
  Lines out;
  for (std::string line : written) {
    if (line.empty() || line[0] == '#' || !at_level(line, debug_level)) {
      continue;
    }
    const size_t count = repetitions(line);
    out.insert(out.end(), count, line);
  }
  return out;
}

bool fits(const std::string &expected, const std::string &got) {
  return fits_from(expected.c_str(), got.c_str());
}

bool all_fit(const Lines &expected, const Lines &got) {
  return std::equal(expected.begin(), expected.end(), got.begin(), got.end(), fits);
}

std::string missing_in_order(const Lines &expected, const Lines &got) {
  size_t at = 0;
  for (const std::string &line : expected) {
    while (at < got.size() && !fits(line, got[at])) {
      ++at;
    }
    if (at == got.size()) {
      return line;
    }
    ++at;
  }
  return {};
}

std::string difference(const Lines &expected, const Lines &got) {
  const std::vector<Edit> all = edits(runs_told_once(expected), runs_told_once(got));
  std::string out = "    --- expected\n    +++ got\n";
  bool cut = false;
  for (size_t i = 0; i < all.size(); ++i) {
    const bool shown = near_a_change(all, i);
    if (shown) {
      out += std::string("    ") + all[i].mark + " " + all[i].line + "\n";
    } else if (!cut) {
      out += "      ...\n";
    }
    cut = !shown;
  }
  return out;
}

}  // namespace scenario
