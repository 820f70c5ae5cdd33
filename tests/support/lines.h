// Expected texts, line by line, for tests that compare a log or a trace.
#ifndef KELVANE_TESTS_SUPPORT_LINES_H
#define KELVANE_TESTS_SUPPORT_LINES_H

#include <string>
#include <vector>

// EXPECT_EQ(recording::messages(), Lines{"[kelvane]: ...\n", "..."}).
using Lines = std::vector<std::string>;

inline Lines operator+(Lines first, const Lines &second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// As one text: a failure then shows the lines that differ.
inline std::string joined(const Lines &lines) {
  std::string text;
  for (const std::string &line : lines) {
    text += line + '\n';
  }
  return text;
}

#endif
