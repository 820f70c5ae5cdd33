#include "core/base/xml.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "core/base/file.h"
#include "core/base/xml_caps.h"
#include "tests/support/files.h"
#include "tests/support/recording_fixture.h"
#include "tests/support/refused_memory.h"
#include "tests/support/repeated.h"
#include "tests/support/watched_memory.h"

extern "C" {
mxml_node_t *__real_mxmlLoadString(mxml_node_t *top, const char *text, mxml_load_cb_t callback);
mxml_node_t *__wrap_mxmlLoadString(mxml_node_t *top, const char *text, mxml_load_cb_t callback);
void __wrap_mxmlSetErrorCallback(mxml_error_cb_t callback);
const char *__real_mxmlGetText(mxml_node_t *node, int *whitespace);
const char *__wrap_mxmlGetText(mxml_node_t *node, int *whitespace);
const char *__real_mxmlGetElement(mxml_node_t *node);
const char *__wrap_mxmlGetElement(mxml_node_t *node);
}

// What the library does without memory: no tree, a tree that lacks something of which it tells, a word without text, or
// an element without a name.
enum class Lacks { kNothing, kTree, kAttribute, kWord, kName };
static Lacks gsLacks = Lacks::kNothing;
static mxml_error_cb_t gsErrorCallback = nullptr;

mxml_node_t *__wrap_mxmlLoadString(mxml_node_t *top, const char *text, mxml_load_cb_t callback) {
  if (gsLacks == Lacks::kAttribute) {
    gsErrorCallback("Unable to add attribute.");
  }
  return gsLacks == Lacks::kTree ? nullptr : __real_mxmlLoadString(top, text, callback);
}

void __wrap_mxmlSetErrorCallback(mxml_error_cb_t callback) {
  gsErrorCallback = callback;
}

const char *__wrap_mxmlGetText(mxml_node_t *node, int *whitespace) {
  return gsLacks == Lacks::kWord ? nullptr : __real_mxmlGetText(node, whitespace);
}

// Of an element without content alone: its name is what the library does not look at.
const char *__wrap_mxmlGetElement(mxml_node_t *node) {
  const bool lacking = gsLacks == Lacks::kName && mxmlGetFirstChild(node) == nullptr;
  return lacking ? nullptr : __real_mxmlGetElement(node);
}

namespace {

using kelvane::XmlOwner;
using support::repeated;

XmlOwner load(const std::string &document) {
  return kelvane::xml_load(document.c_str(), document.size());
}

XmlOwner load_descriptor(int descriptor) {
  bool no_memory = true;
  XmlOwner loaded = kelvane::xml_load_descriptor(descriptor, &no_memory);
  EXPECT_FALSE(no_memory);
  return loaded;
}

std::string text_in(const XmlOwner &xml) {
  kelvane::Text text;
  EXPECT_EQ(kelvane::text_copy(&text, "(absent)"), 0);
  EXPECT_EQ(kelvane::xml_take_text(xml.get(), "t", &text), 0);
  return text.get();
}

std::string text_of(const std::string &document) {
  return text_in(load(document));
}

TEST(Xml, LoadsWhatTheGatePasses) {
  EXPECT_TRUE(load("<a/>").present());
  EXPECT_FALSE(load("<a>").present());
  EXPECT_FALSE(load("").present());
  EXPECT_FALSE(load("<a>\xFF</a>").present());
}

TEST(Xml, LoadsFromADescriptorAndLeavesItOpen) {
  support::TempDir dir;
  kelvane::DescriptorOwner file(open(dir.write("a.xml", "<a><t>x</t></a>").c_str(), O_RDONLY | O_CLOEXEC));
  const XmlOwner xml = load_descriptor(file.get());
  EXPECT_EQ(text_in(xml), "x");
  EXPECT_NE(fcntl(file.get(), F_GETFD), -1);
  EXPECT_FALSE(load_descriptor(file.get()).present()) << "at its end";
  EXPECT_FALSE(load_descriptor(-1).present());
}

TEST(Xml, LoadsNothingThatIsTooLong) {
  support::TempDir dir;
  const std::string document = "<a>" + std::string(kelvane::kXmlMaxBytes, ' ') + "</a>";
  kelvane::DescriptorOwner file(open(dir.write("a.xml", document).c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_FALSE(load_descriptor(file.get()).present());
}

TEST(Xml, TellsWhenMemoryRunsOut) {
  support::TempDir dir;
  const std::string path = dir.write("a.xml", "<a><t>" + std::string(1486, 'x') + "</t></a>");
  bool no_memory = false;
  {
    const refused_memory::Refusal refusal(16385);
    const kelvane::DescriptorOwner file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_FALSE(kelvane::xml_load_descriptor(file.get(), &no_memory).present());
    EXPECT_TRUE(no_memory);
  }
  // The library has none for what the gate has passed.
  const std::string document = "<a><t>x</t><u/></a>";
  dir.write("a.xml", document);
  for (const Lacks lacks : {Lacks::kTree, Lacks::kAttribute, Lacks::kWord, Lacks::kName}) {
    gsLacks = lacks;
    const kelvane::DescriptorOwner file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    no_memory = false;
    EXPECT_FALSE(kelvane::xml_load_descriptor(file.get(), &no_memory).present()) << static_cast<int>(lacks);
    EXPECT_TRUE(no_memory) << static_cast<int>(lacks);
    no_memory = false;
    EXPECT_FALSE(kelvane::xml_load(document.c_str(), document.size(), &no_memory).present());
    EXPECT_TRUE(no_memory) << static_cast<int>(lacks);
  }
  gsLacks = Lacks::kNothing;
  EXPECT_TRUE(kelvane::xml_load(document.c_str(), document.size(), &no_memory).present());
  EXPECT_FALSE(no_memory) << "what failed before is no matter any more";
}

TEST(Xml, ATreeThatLacksAPartLeavesNothingOfItsWords) {
  const std::string document = "<a><UserPassword>secret-1 two</UserPassword><b><![CDATA[secret-2]]></b></a>";
  bool no_memory = false;
  watched_memory::wiped.clear();
  gsLacks = Lacks::kAttribute;
  EXPECT_FALSE(kelvane::xml_load(document.c_str(), document.size(), &no_memory).present());
  gsLacks = Lacks::kNothing;
  EXPECT_TRUE(no_memory);
  EXPECT_THAT(watched_memory::wiped, testing::IsSupersetOf({"secret-1", "two"}));
  EXPECT_THAT(watched_memory::wiped, testing::Contains(testing::HasSubstr("secret-2")));
  watched_memory::wiped.clear();
  EXPECT_TRUE(kelvane::xml_load(document.c_str(), document.size()).present());
  EXPECT_THAT(watched_memory::wiped, testing::IsEmpty());
}

// ---- what is over a cap ----

class XmlCaps : public RecordingTest {
 protected:
  // The lines that a document that is refused leaves in the log.
  static Lines refusal(const std::string &document) {
    recording::clear_trace();
    EXPECT_FALSE(load(document).present());
    return recording::messages();
  }
};

TEST_F(XmlCaps, WhichOneItWasIsLogged) {
  recording::set_debug_level(1);
  const std::string line = "[kelvane]: an XML document is over a cap and is not read: ";
  EXPECT_EQ(refusal("<a>" + std::string(2097152, ' ') + "</a>"), Lines{line + "bytes\n"});
  EXPECT_EQ(refusal("<a>" + repeated("w ", 65537) + "</a>"), Lines{line + "words and other nodes\n"});
  EXPECT_EQ(refusal("<a>" + repeated("<b/>", 8192) + "</a>"), Lines{line + "elements\n"});
  EXPECT_EQ(refusal("<a>" + repeated("&lt;", 65537) + "</a>"), Lines{line + "references\n"});
  EXPECT_EQ(refusal("<a>" + repeated("<b c=''/>", 4097) + "</a>"), Lines{line + "attributes\n"});
  EXPECT_EQ(refusal(repeated("<a>", 17) + repeated("</a>", 17)), Lines{line + "levels\n"});
}

TEST_F(XmlCaps, TheLineIsAFailures) {
  EXPECT_EQ(refusal(repeated("<a>", 17) + repeated("</a>", 17)), Lines{});
}

TEST_F(XmlCaps, AFileThatIsTooLongIsLogged) {
  recording::set_debug_level(1);
  support::TempDir dir;
  const std::string path = dir.write("a.xml", "<a>" + std::string(2097152, ' ') + "</a>");
  const kelvane::DescriptorOwner file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_FALSE(load_descriptor(file.get()).present());
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: an XML document is over a cap and is not read: bytes\n"});
}

TEST_F(XmlCaps, WhatIsNoXmlIsRefusedWithoutAWord) {
  recording::set_debug_level(100);
  for (const char *document : {"", "no XML", "<a>", "<a>\xFF</a>", "<a b='1' b='2'/>", "<!DOCTYPE a><a/>"}) {
    EXPECT_EQ(refusal(document), Lines{}) << document;
  }
  EXPECT_TRUE(load("<a>" + repeated("<b/>", 8191) + "</a>").present());
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST(NodeText, JoinsWordsWithOneSpaceEach) {
  EXPECT_EQ(text_of("<a><t>one</t></a>"), "one");
  EXPECT_EQ(text_of("<a><t>one  two\n\tthree</t></a>"), "one two three");
  EXPECT_EQ(text_of("<a><t> one</t></a>"), " one");
  EXPECT_EQ(text_of("<a><t>one </t></a>"), "one ");
  EXPECT_EQ(text_of("<a><t>a&#32;&lt;b</t></a>"), "a <b");
}

TEST(NodeText, StopsAtTheFirstElement) {
  EXPECT_EQ(text_of("<a><t>one<b/>two</t></a>"), "one");
  EXPECT_EQ(text_of("<a><t>one<!--c-->two</t></a>"), "one");
}

TEST(NodeText, IsAbsentWhereThereIsNone) {
  EXPECT_EQ(text_of("<a><t/></a>"), "(absent)");
  EXPECT_EQ(text_of("<a><t><b/>x</t></a>"), "(absent)");
  EXPECT_EQ(text_of("<a><u>x</u></a>"), "(absent)");
  EXPECT_FALSE(kelvane::GetNodeTextData(nullptr).present());
  EXPECT_FALSE(kelvane::xml_is_text(nullptr));
}

TEST(NodeText, WhiteSpaceAloneIsOneSpace) {
  EXPECT_EQ(text_of("<a><t>  \n </t></a>"), " ");
}

TEST(XmlFind, IsTheFirstOfThatNameDepthFirst) {
  EXPECT_EQ(text_of("<?xml version='1.0'?><a><b><t>deep</t></b><t>late</t></a>"), "deep");
  XmlOwner xml = load("<a><b c='1'/><b c='2'/></a>");
  EXPECT_STREQ(mxmlElementGetAttr(kelvane::xml_find(xml.get(), "b"), "c"), "1");
  EXPECT_EQ(kelvane::xml_find(xml.get(), "d"), nullptr);
}

}  // namespace
