#include "protocol/wire/goal_state.h"

#include <algorithm>
#include <string>

#include "core/base/buffer.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/spies.h"

using kelvane::BufferOwner;
using kelvane::GoalState;
using kelvane::Text;

namespace {

struct Field {
  const char *element;
  Text GoalState::*member;
};

constexpr Field kFields[] = {
    {"Incarnation", &GoalState::incarnation},
    {"ExpectedState", &GoalState::expected_state},
    {"HostingEnvironmentConfig", &GoalState::hosting_environment_uri},
    {"SharedConfig", &GoalState::shared_config_uri},
    {"ExtensionsConfig", &GoalState::extensions_config_uri},
    {"InstanceId", &GoalState::instance_id},
    {"ConfigName", &GoalState::config_name},
    {"Certificates", &GoalState::certificates_uri},
    {"ContainerId", &GoalState::container_id},
    {"Port", &GoalState::probe_port},
};

class GoalStateTest : public WireTest {
 protected:
  static void parse(const std::string &document) {
    BufferOwner buffer;
    kelvane::event_curl_recv_cb(const_cast<char *>(document.data()), 1, document.size(), buffer.get());
    kelvane::goal_state_parse(buffer.get());
  }

  static std::string value(Text GoalState::*member) {
    const Text &text = kelvane::goal_state()->*member;
    return text.present() ? text.get() : "(absent)";
  }

  static Lines values() {
    Lines all;
    for (const Field &field : kFields) {
      all.push_back(value(field.member));
    }
    return all;
  }
};

// As the platform nests them; each value ends in the mark. Without the named element.
std::string document(const std::string &mark, const std::string &without = "") {
  const auto element = [&](const std::string &name, const std::string &text) {
    return name == without ? "" : "<" + name + ">" + text + mark + "</" + name + ">";
  };
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<GoalState>\n  <Version>2012-11-30</Version>\n  " +
         element("Incarnation", "1") + "\n  <Machine>\n    " + element("ExpectedState", "Started") +
         "\n    <LBProbePorts>" + element("Port", "16001") + "</LBProbePorts>\n  </Machine>\n  <Container>\n    " +
         element("ContainerId", "c0ffee") + "\n    <RoleInstanceList>\n      <RoleInstance>\n        " +
         element("InstanceId", "role_IN_0") + "\n        <Configuration>\n          " +
         element("HostingEnvironmentConfig", "http://w/h?a=1&amp;b=2") + element("SharedConfig", "http://w/s") +
         element("ExtensionsConfig", "http://w/e") + element("Certificates", "http://w/c") +
         element("ConfigName", "full.xml") +
         "\n        </Configuration>\n      </RoleInstance>\n    </RoleInstanceList>\n  </Container>\n</GoalState>\n";
}

const Lines kAbsent(10, "(absent)");

TEST_F(GoalStateTest, EverythingIsAbsentAtFirst) {
  EXPECT_EQ(values(), kAbsent);
}

TEST_F(GoalStateTest, TheTenValuesAreFoundWhereverTheyStand) {
  parse(document("-x"));
  EXPECT_EQ(values(), (Lines{"1-x", "Started-x", "http://w/h?a=1&b=2-x", "http://w/s-x", "http://w/e-x", "role_IN_0-x",
                             "full.xml-x", "http://w/c-x", "c0ffee-x", "16001-x"}));
}

TEST_F(GoalStateTest, ALaterDocumentReplacesAllValues) {
  parse(document("-a"));
  parse(document("-b"));
  EXPECT_EQ(values(), (Lines{"1-b", "Started-b", "http://w/h?a=1&b=2-b", "http://w/s-b", "http://w/e-b", "role_IN_0-b",
                             "full.xml-b", "http://w/c-b", "c0ffee-b", "16001-b"}));
}

TEST_F(GoalStateTest, AValueWhoseElementIsMissingKeepsTheEarlierOne) {
  for (const Field &missing : kFields) {
    parse(document("-a"));
    const std::string before = value(missing.member);
    parse(document("-b", missing.element));
    EXPECT_EQ(value(missing.member), before) << missing.element;
    for (const Field &other : kFields) {
      if (other.element != missing.element) {
        EXPECT_EQ(value(other.member).substr(value(other.member).size() - 2), "-b") << other.element;
      }
    }
  }
}

TEST_F(GoalStateTest, AnElementWithoutTextKeepsTheEarlierValue) {
  parse("<G><Incarnation>7</Incarnation></G>");
  parse("<G><Incarnation></Incarnation></G>");
  parse("<G><Incarnation/></G>");
  parse("<G><Incarnation><b>8</b></Incarnation></G>");
  parse("<G><Incarnation><!-- 9 --></Incarnation></G>");
  EXPECT_EQ(value(&GoalState::incarnation), "7");
}

TEST_F(GoalStateTest, TheFirstElementOfANameCounts) {
  parse("<G><A><Port>1</Port></A><Port>2</Port></G>");
  EXPECT_EQ(value(&GoalState::probe_port), "1");
}

TEST_F(GoalStateTest, WhiteSpaceInATextBecomesOneSpaceEach) {
  parse("<G><ConfigName>a\n\t b  c</ConfigName><Port>\n 80 \n</Port></G>");
  EXPECT_EQ(value(&GoalState::config_name), "a b c");
  EXPECT_EQ(value(&GoalState::probe_port), " 80 ");
}

TEST_F(GoalStateTest, TextBehindAChildElementIsIgnored) {
  parse("<G><ConfigName>a b<i/>c</ConfigName></G>");
  EXPECT_EQ(value(&GoalState::config_name), "a b");
}

TEST_F(GoalStateTest, NamesAreExact) {
  parse(
      "<G><incarnation>1</incarnation><Incarnations>2</Incarnations><x:Incarnation "
      "xmlns:x=\"u\">3</x:Incarnation></G>");
  EXPECT_EQ(values(), kAbsent);
}

TEST_F(GoalStateTest, TheContainerIdIsHandedToTelemetryOnceItIsKnown) {
  parse("<G><Incarnation>1</Incarnation></G>");
  EXPECT_EQ(spies::spies().container_ids, Lines{});
  parse("<G><ContainerId>c1</ContainerId></G>");
  EXPECT_EQ(spies::spies().container_ids, Lines{"c1"});
  parse("<G><Incarnation>2</Incarnation></G>");
  EXPECT_EQ(spies::spies().container_ids, (Lines{"c1", "c1"}));
}

TEST_F(GoalStateTest, WhatIsNoDocumentChangesNothing) {
  parse(document("-a"));
  const Lines before = values();
  std::string half = document("-b");
  half.resize(half.size() / 2);
  for (const std::string &hostile :
       {std::string("<html><body>Service <br> down</body></html>"), half, std::string("{\"Incarnation\": 9}"),
        std::string("<GoalState><Incarnation>9</GoalState>"), std::string("\0<Incarnation>9</Incarnation>", 29),
        std::string("<G><Incarnation>\xFF\xFE</Incarnation></G>"), std::string(100000, '<'), std::string(" "),
        std::string("<?xml version=\"1.0\"?>")}) {
    parse(hostile);
    EXPECT_EQ(values(), before) << hostile.substr(0, 60);
  }
}

TEST_F(GoalStateTest, AnHtmlPageThatParsesChangesNothing) {
  parse(document("-a"));
  const Lines before = values();
  parse("<html><head><title>502</title></head><body><h1>Bad Gateway</h1></body></html>");
  EXPECT_EQ(values(), before);
}

// The incarnation, too: the next pass takes the document for a new one.
TEST_F(GoalStateTest, WithoutMemoryForAValueItAndTheIncarnationStay) {
  const Lines line = {"[kelvane]: no memory for the goal state, the next pass takes it again\n"};
  for (int nth = 1; nth <= 10; nth++) {
    parse(document("-a"));
    recording::clear_trace();
    recording::set_debug_level(nth % 2);
    spies::refuse_malloc = nth;
    parse(document("-b"));
    EXPECT_EQ(spies::refuse_malloc, 0) << nth;
    EXPECT_EQ(recording::messages(), nth % 2 != 0 ? line : Lines{});
    EXPECT_EQ(value(&GoalState::incarnation), "1-a") << nth;
    EXPECT_TRUE(kelvane::goal_state()->incomplete) << nth;
    const Lines all = values();
    const auto old = std::count_if(all.begin(), all.end(),
                                   [](const std::string &text) { return text.substr(text.size() - 2) == "-a"; });
    EXPECT_EQ(old, nth < 10 ? 2 : 1) << nth;
  }
  spies::refuse_malloc = 11;
  recording::clear_trace();
  parse(document("-b"));
  EXPECT_EQ(spies::refuse_malloc, 1) << "none more than these";
  spies::refuse_malloc = 0;
  EXPECT_EQ(value(&GoalState::incarnation), "1-b");
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_FALSE(kelvane::goal_state()->incomplete);
}

// First boot's reports name the incarnation, and are sent once.
TEST_F(GoalStateTest, WithoutMemoryForAValueOfTheFirstOneTheIncarnationIsTakenAllTheSame) {
  for (int nth = 1; nth <= 10; nth++) {
    kelvane::goal_state_release();
    EXPECT_FALSE(kelvane::goal_state()->incomplete);
    spies::refuse_malloc = nth;
    parse(document("-a"));
    EXPECT_EQ(spies::refuse_malloc, 0) << nth;
    EXPECT_EQ(value(&GoalState::incarnation), nth < 10 ? "1-a" : "(absent)") << nth;
    EXPECT_TRUE(kelvane::goal_state()->incomplete) << nth;
  }
  parse("no document");
  EXPECT_TRUE(kelvane::goal_state()->incomplete) << "it is wanted still";
}

TEST_F(GoalStateTest, ReleaseMakesEveryValueAbsent) {
  parse(document("-a"));
  kelvane::goal_state_release();
  EXPECT_EQ(values(), kAbsent);
  kelvane::goal_state_release();
}

}  // namespace
