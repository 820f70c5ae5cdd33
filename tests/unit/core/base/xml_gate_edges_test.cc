// The edges of the gate's rules for single characters, and of its caps, each from both sides.
#include <gtest/gtest.h>

#include <string>

#include "core/base/xml_gate.h"

namespace {

using Verdict = kelvane::XmlGateVerdict;

int check(const std::string &document) {
  return static_cast<int>(kelvane::xml_gate_check(document.c_str(), document.size()));
}

constexpr int kPassed = static_cast<int>(Verdict::kPassed);
constexpr int kNotWellFormed = static_cast<int>(Verdict::kNotWellFormed);
constexpr int kTooManyNodes = static_cast<int>(Verdict::kTooManyNodes);

// The characters beside the ranges of letters and digits, and beside one of those above ASCII.
TEST(XmlGateEdges, NamesEndBesideTheirRanges) {
  for (const char *name : {"A", "Z", "a", "z", "_", ":", "x0", "x9", "x-", "x.", "x\xC2\xB7", "\xC3\x80"}) {
    EXPECT_EQ(check("<" + std::string(name) + "/>"), kPassed) << name;
  }
  for (const char *name : {"@", "[", "`", "{", "~", "0", "x{", "x@", "x`", "x;", "x\xC3\x97", "\xC2\xB7", "\xC3\x97"}) {
    EXPECT_EQ(check("<" + std::string(name) + "/>"), kNotWellFormed) << name;
  }
}

TEST(XmlGateEdges, DigitsOfReferencesEndAtTheirBase) {
  for (const char *reference : {"&#x61;", "&#x4A;", "&#x4f;", "&#57;", "&#48;"}) {
    EXPECT_EQ(check("<a>" + std::string(reference) + "</a>"), kPassed) << reference;
  }
  for (const char *reference : {"&#xg;", "&#xG;", "&#x`;", "&#x@;", "&#:;", "&#/;"}) {
    EXPECT_EQ(check("<a>" + std::string(reference) + "</a>"), kNotWellFormed) << reference;
  }
}

TEST(XmlGateEdges, OnlyTheWholeEndOfASectionMayNotStandInText) {
  for (const char *text : {">", "x>", "]>", "x]>", "]x>", "xx>", "]]x>"}) {
    EXPECT_EQ(check("<a>" + std::string(text) + "</a>"), kPassed) << text;
  }
  EXPECT_EQ(check("<a>]]></a>"), kNotWellFormed);
}

TEST(XmlGateEdges, AnInstructionOfThreeLettersIsNoDeclaration) {
  EXPECT_EQ(check("<a><?php?></a>"), kPassed);
}

TEST(XmlGateEdges, AnEncodingHasLettersDigitsAndThreeOthers) {
  EXPECT_EQ(check("<?xml version='1.0' encoding='Az09._-'?><a/>"), kPassed);
  for (const char *encoding : {"@", "[", "`", "{", "/", "+", "x x"}) {
    EXPECT_EQ(check("<?xml version='1.0' encoding='" + std::string(encoding) + "'?><a/>"), kNotWellFormed) << encoding;
  }
}

TEST(XmlGateEdges, TheLastWordOfATextMayBeTheOneTooMany) {
  std::string words = "<a>w";
  for (uint64_t i = 2; i < kelvane::kXmlMaxNodes; i++) {
    words += " w";
  }
  EXPECT_EQ(check(words + "</a>"), kPassed);
  EXPECT_EQ(check(words + " w</a>"), kTooManyNodes);
}

}  // namespace
