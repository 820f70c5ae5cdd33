#include "core/base/xml_gate.h"

#include <gtest/gtest.h>
#include <mxml.h>

#include <memory>
#include <ostream>
#include <string>

#include "core/base/xml.h"
#include "tests/support/repeated.h"

namespace kelvane {

void PrintTo(XmlGateVerdict verdict, std::ostream *out) {
  *out << "verdict " << static_cast<int>(verdict);
}

}  // namespace kelvane

namespace {

using support::repeated;
using Verdict = kelvane::XmlGateVerdict;

Verdict check(const std::string &document) {
  return kelvane::xml_gate_check(document.c_str(), document.size());
}

// What passes must also parse.
void expect_passed(const std::string &document) {
  EXPECT_EQ(check(document), Verdict::kPassed) << document.substr(0, 200);
  EXPECT_TRUE(kelvane::XmlOwner(mxmlLoadString(nullptr, document.c_str(), MXML_NO_CALLBACK)).present())
      << document.substr(0, 200);
}

void expect_malformed(const std::string &document) {
  EXPECT_EQ(check(document), Verdict::kNotWellFormed) << document.substr(0, 200);
}

TEST(XmlGate, PassesWhatIsWellFormed) {
  for (const char *document : {"<a/>",
                               "<a></a>",
                               "<a ></a >",
                               "<a />",
                               "<a/>\n",
                               "<?xml version=\"1.0\"?><a/>",
                               "<?xml version='1.0' encoding='utf-8' standalone=\"yes\" ?>\n<a/>",
                               "<?xml version = \"1.1\"?>\n\n<a/>",
                               "\xEF\xBB\xBF<a/>",
                               "\xEF\xBB\xBF<?xml version=\"1.0\"?><a/>",
                               "<a b=\"1\" c='2'/>",
                               "<a b = '1'\n\tc='\"'/>",
                               "<a b='>'/>",
                               "<a b=''/>",
                               "<n:a xmlns:n='urn:x'><n:b/></n:a>",
                               "<_a.b-c1/>",
                               "<:/>",
                               "<\xC3\xA4 \xC3\xB6='\xE2\x82\xAC'>\xF0\x9F\x98\x80</\xC3\xA4>",
                               "<a>one two\tthree\r\n</a>",
                               "<a>&amp;&lt;&gt;&quot;&apos;</a>",
                               "<a b='&amp;&lt;&#65;'/>",
                               "<a>&#9;&#10;&#13;&#32;&#xD7FF;&#xE000;&#xFFFD;&#x10ffFF;&#0000000065;</a>",
                               "<a><!-- c --><!-- - --><!---c--></a>",
                               "<a><?p?><?p  q ? > ?></a>",
                               "<a><![CDATA[]]><![CDATA[<&]]]]><![CDATA[>]]></a>",
                               "<a>]] ]></a>",
                               "<?xml version='1.0'?><!-- c --><?p?><a/><!-- d --><?q?>",
                               "<?p?><!-- c --><a/>",
                               "<a>\xEF\xBB\xBF"
                               "b\xEF\xBB\xBF</a>",
                               "<a b='\xEF\xBB\xBF'/>",
                               "<a>\x7F</a>",
                               "<?xmlx?><a/>"}) {
    expect_passed(document);
  }
}

TEST(XmlGate, NothingIsEmpty) {
  EXPECT_EQ(kelvane::xml_gate_check(nullptr, 0), Verdict::kEmpty);
  EXPECT_EQ(check(""), Verdict::kEmpty);
}

TEST(XmlGate, RefusesWhatIsNoStrictUtf8OrForbiddenAnywhere) {
  for (const char *bytes : {"\x80", "\xC0\x80", "\xC3", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFE\xFF", "\x01", "\x08",
                            "\x0B", "\x0C", "\x0E", "\x1F", "\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
    for (const char *frame : {"<a>", "<a b='", "<a><!--", "<a><![CDATA[", "<"}) {
      EXPECT_EQ(check(std::string(frame) + bytes), Verdict::kNotUtf8)
          << ::testing::PrintToString(frame + std::string(bytes));
    }
  }
  EXPECT_EQ(check(std::string("<a>\0</a>", 8)), Verdict::kNotUtf8);
  EXPECT_EQ(check(std::string("<a/>\0", 5)), Verdict::kNotUtf8);
}

TEST(XmlGate, CharactersAreJudgedBeforeStructure) {
  EXPECT_EQ(check("no markup \xFF"), Verdict::kNotUtf8);
}

TEST(XmlGate, RefusesWhatIsNotWellFormed) {
  for (const char *document : {"text",
                               "<",
                               "<a",
                               "<a>",
                               "</a>",
                               "<a></b>",
                               "<a></a",
                               "<a></a></a>",
                               "<a><b></a></b>",
                               "<a/><b/>",
                               "<a/>text",
                               "text<a/>",
                               "<a></ a>",
                               "< a/>",
                               "<a / >",
                               "<a/",
                               "<1/>",
                               "<-a/>",
                               "<a&amp;/>",
                               "<a></a b='1'>",
                               "<a b/>",
                               "<a b=/>",
                               "<a b=1/>",
                               "<a b='1/>",
                               "<a b='1\"/>",
                               "<a b='1'c='2'/>",
                               "<a b='<'/>",
                               "<a b='&'/>",
                               "<a b='1' b='2'/>",
                               "<a b='1' c='2' b='3'/>",
                               "<a 1='1'/>",
                               "<a 'b'='1'/>",
                               "<a>&</a>",
                               "<a>&amp</a>",
                               "<a>&unknown;</a>",
                               "<a>&nbsp;</a>",
                               "<a>&AMP;</a>",
                               "<a>&;</a>",
                               "<a>&#;</a>",
                               "<a>&#x;</a>",
                               "<a>&#0;</a>",
                               "<a>&#8;</a>",
                               "<a>&#xD800;</a>",
                               "<a>&#xDFFF;</a>",
                               "<a>&#xFFFE;</a>",
                               "<a>&#x110000;</a>",
                               "<a>&#X41;</a>",
                               "<a>&#6a;</a>",
                               "<a>&#-1;</a>",
                               "<a>&#65</a>",
                               "<a>&#99999999999999999999;</a>",
                               "<a>]]></a>",
                               "<a>x]]>y</a>",
                               "<a><!-- -- --></a>",
                               "<a><!-- c ---></a>",
                               "<a><!-- c</a>",
                               "<a><!- c --></a>",
                               "<a><!--></a>",
                               "<a><![CDATA[x]]</a>",
                               "<![CDATA[x]]><a/>",
                               "<a/><![CDATA[x]]>",
                               "<a><![cdata[x]]></a>",
                               "<a><?></a>",
                               "<a><? p?></a>",
                               "<a><?p</a>",
                               "<a><?p+?></a>",
                               "<a><?xml version='1.0'?></a>",
                               "<a><?XmL?></a>",
                               "<?xml?><a/>",
                               "<?xml version=1.0?><a/>",
                               "<?xml version=''?><a/>",
                               "<?xml encoding='utf-8'?><a/>",
                               "<?xml version='1.0' version='1.0'?><a/>",
                               "<?xml standalone='yes' version='1.0'?><a/>",
                               "<?xml version='1.0'><a/>",
                               "<?xml version='1.0'?><?xml version='1.0'?><a/>",
                               "<?xml version='1.0\"?><a/>",
                               "<?xml version='1.0",
                               "<?xml ",
                               "<?xml version='1.0'?>",
                               "<?xml version='1.0'?><!-- c -->",
                               "<!DOCTYPE a><a/>",
                               "<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>",
                               "<?xml version='1.0'?><!DOCTYPE a><a/>",
                               "<a><!ELEMENT></a>",
                               "\xEF\xBB\xBF",
                               " ",
                               "\n"}) {
    expect_malformed(document);
  }
}

// Both documents that once hurt the library are of these kinds.
TEST(XmlGate, RefusesTheKindsOfDocumentThatTheLibraryLeaksOrOverreads) {
  EXPECT_EQ(
      check("<0?xml versi/Test=\"1.0<!-- t=\"1.0<!-- e --></Other- e --></Otherx]]></b?xml version=\"1.0<!-- e -->"),
      Verdict::kNotWellFormed);
  EXPECT_EQ(check("<?xml versjon=\"1.0\"?><b c=\"\xFE\xFF\xFF\xFF\xFF![CDATA[\xFF\xFF\"></b>"), Verdict::kNotUtf8);
}

// Well-formed; Mini-XML answers with nothing, or with another document.
TEST(XmlGate, RefusesWhatTheLibraryCannotRead) {
  for (const char *document :
       {" <a/>", "\xEF\xBB\xBF\n<a/>", "<!-- c --><a/>", "<a/><!-- c -->", "<a/><?p?>", "<!-- c --><?p?><a/>",
        "<a><!----></a>", "<a>&#00000000065;</a>", "<a>\xEF\xBB\xBF\xEF\xBB\xBF</a>",
        "<a b='\xEF\xBB\xBF\xEF\xBB\xBF'/>", "<a\xEF\xBB\xBF/>",
        "<\xEF\xBB\xBF"
        "a/>",
        "<a b='1' b\xEF\xBB\xBF='2'/>", "<a><!-- -\xEF\xBB\xBF-> --></a>", "<a><![CDATA[]\xEF\xBB\xBF]>]]></a>",
        "<a><?p ?\xEF\xBB\xBF> ?></a>", "\xEF\xBB\xBF\xEF\xBB\xBF<a/>"}) {
    expect_malformed(document);
  }
}

TEST(XmlGate, CapsTheBytes) {
  const std::string most = "<a>" + std::string(kelvane::kXmlMaxBytes - 7, 'x') + "</a>";
  expect_passed(most);
  EXPECT_EQ(check(most + "\n"), Verdict::kTooLong);
}

TEST(XmlGate, TheCapsAreTheseNumbers) {
  EXPECT_EQ(kelvane::kXmlMaxBytes, 2097152u);
  EXPECT_EQ(kelvane::kXmlMaxNodes, 65536u);
  EXPECT_EQ(kelvane::kXmlMaxReferences, 65536u);
  EXPECT_EQ(kelvane::kXmlMaxElements, 8192u);
  EXPECT_EQ(kelvane::kXmlMaxAttributes, 32u);
  EXPECT_EQ(kelvane::kXmlMaxDocumentAttributes, 4096u);
  EXPECT_EQ(kelvane::kXmlMaxDepth, 16u);
}

TEST(XmlGate, CapsTheNodes) {
  const std::string most = "<a>" + repeated("w ", kelvane::kXmlMaxNodes - 1002) + repeated("<b/>", 1000);
  expect_passed(most + "</a>");
  EXPECT_EQ(check(most + "<b/></a>"), Verdict::kTooManyNodes);
}

TEST(XmlGate, CapsTheElements) {
  const std::string most = "<a>" + repeated("<b/>", kelvane::kXmlMaxElements - 1);
  expect_passed(most + "w <!--c--></a>");
  EXPECT_EQ(check(most + "<b/></a>"), Verdict::kTooManyElements);
  EXPECT_EQ(check(most + "<b></b></a>"), Verdict::kTooManyElements);
}

TEST(XmlGate, CountsEveryKindOfMarkupAsANode) {
  for (const char *unit : {"<!--c-->", "<?p?>", "<![CDATA[]]>"}) {
    const std::string fill = repeated("w ", kelvane::kXmlMaxNodes - 1002) + "w";
    EXPECT_EQ(check("<a>" + fill + repeated(unit, 1000) + "</a>"), Verdict::kPassed) << unit;
    EXPECT_EQ(check("<a>" + fill + repeated(unit, 1001) + "</a>"), Verdict::kTooManyNodes) << unit;
  }
  const std::string declared = "<?xml version='1.0'?><a>" + repeated("w ", kelvane::kXmlMaxNodes - 2) + "</a>";
  EXPECT_EQ(check(declared), Verdict::kTooManyNodes);
}

TEST(XmlGate, CountsEveryWordOfTextAsANode) {
  expect_passed("<a>" + repeated("w ", kelvane::kXmlMaxNodes - 2) + "</a>");
  EXPECT_EQ(check("<a>" + repeated("w ", kelvane::kXmlMaxNodes - 1) + "</a>"), Verdict::kTooManyNodes)
      << "the space in front of the end tag is a node too";
  EXPECT_EQ(check("<a>" + repeated("<!--c--> ", kelvane::kXmlMaxNodes / 2) + "</a>"), Verdict::kTooManyNodes);
}

TEST(XmlGate, CapsTheReferences) {
  for (const char *unit : {"&lt;", "&#65;"}) {
    const std::string most = "<a b='" + std::string(unit) + "'>" + repeated(unit, kelvane::kXmlMaxReferences - 1);
    expect_passed(most + "</a>");
    EXPECT_EQ(check(most + unit + "</a>"), Verdict::kTooManyReferences) << unit;
  }
}

TEST(XmlGate, CapsTheAttributesOfAnElement) {
  std::string most = "<a";
  for (uint32_t i = 0; i < kelvane::kXmlMaxAttributes; i++) {
    most += " b" + std::to_string(i) + "=''";
  }
  expect_passed(most + "/>");
  EXPECT_EQ(check(most + " c=''/>"), Verdict::kTooManyAttributes);
}

TEST(XmlGate, CapsTheAttributesOfTheDocument) {
  const std::string most = "<a>" + repeated("<b c='' d=''/>", kelvane::kXmlMaxDocumentAttributes / 2);
  expect_passed(most + "</a>");
  EXPECT_EQ(check(most + "<b c=''/></a>"), Verdict::kTooManyAttributes);
}

TEST(XmlGate, CapsTheDepth) {
  const auto nested = [](uint32_t depth) { return repeated("<a>", depth) + repeated("</a>", depth); };
  expect_passed(nested(kelvane::kXmlMaxDepth));
  EXPECT_EQ(check(nested(kelvane::kXmlMaxDepth + 1)), Verdict::kTooDeep);
}

TEST(XmlGate, NeverLooksBehindTheEnd) {
  const std::string whole =
      "<?xml version='1.0' encoding='u'?><!--c--><a b='&lt;&#65;'>\xC3\xA4<![CDATA[x]]><?p q?>w &amp; </a>";
  for (size_t length = 1; length < whole.size(); length++) {
    const std::unique_ptr<char[]> exact(new char[length]);
    whole.copy(exact.get(), length);
    EXPECT_NE(kelvane::xml_gate_check(exact.get(), length), Verdict::kPassed) << length;
  }
  expect_passed(whole);
}

}  // namespace
