// Scenario files: what is refused and in which words, what is left alone, and that ours are good.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/fabric/fabric_program.h"
#include "tools/fabric/bytes.h"
#include "tools/fabric/scenario.h"

namespace kelvane::fabric_test {
namespace {

using fabric::parse_scenario;
using fabric::Scenario;
using fabric::ScenarioError;
using ::testing::HasSubstr;

// What the reader says to a bad scenario.
std::string complaint(const std::string &text) {
  try {
    parse_scenario(text, "it");
  } catch (const ScenarioError &error) {
    return error.what();
  }
  return "(good)";
}

std::string in_fabric(const std::string &members) {
  return complaint("{\"fabric\":{" + members + "}}");
}

TEST(ScenarioFile, UnknownKeysAreNamed) {
  EXPECT_EQ(in_fabric(R"("colour":1)"),
            "it: fabric: unknown key \"colour\"; known are: endpoint, extensions, faults, goalStates, metadata, ovf, "
            "statusUploadBlob, storage, tenant");
  EXPECT_THAT(in_fabric(R"("ovf":{"hostname":"x"})"), HasSubstr("it: fabric.ovf: unknown key \"hostname\""));
  EXPECT_THAT(in_fabric(R"("ovf":{"publicKeys":[{},{"print":"x"}]})"),
              HasSubstr("it: fabric.ovf.publicKeys[1]: unknown key \"print\""));
  EXPECT_THAT(in_fabric(R"("tenant":{"certificates":[{"name":"a","size":1}]})"),
              HasSubstr("it: fabric.tenant.certificates[0]: unknown key \"size\""));
  EXPECT_THAT(in_fabric(R"("tenant":{"container":{"x":1}})"), HasSubstr("fabric.tenant.container: unknown key \"x\""));
  EXPECT_THAT(in_fabric(R"("goalStates":[{"x":1}])"), HasSubstr("fabric.goalStates[0]: unknown key \"x\""));
  EXPECT_THAT(in_fabric(R"("extensions":[{"name":"e","x":1}])"), HasSubstr("fabric.extensions[0]: unknown key \"x\""));
  EXPECT_THAT(in_fabric(R"("faults":[{"kind":"html","x":1}])"), HasSubstr("fabric.faults[0]: unknown key \"x\""));
  EXPECT_THAT(complaint(R"({"expect":{"requests":[{"x":1}]}})"), HasSubstr("expect.requests[0]: unknown key \"x\""));
}

TEST(ScenarioFile, KeysOfOthersAreLeftAlone) {
  EXPECT_EQ(complaint(R"({"appliance":{"x":1},"agent":[],"other":null,"expect":{"log":["x"],"files":{}}})"), "(good)");
}

TEST(ScenarioFile, WrongTypesAndValuesAreNamed) {
  EXPECT_EQ(in_fabric(R"("ovf":{"hostName":7})"), "it: fabric.ovf.hostName: expected a text, found a number");
  EXPECT_EQ(in_fabric(R"("goalStates":{})"), "it: fabric.goalStates: expected a list, found an object");
  EXPECT_EQ(in_fabric(R"("ovf":[])"), "it: fabric.ovf: expected an object, found a list");
  EXPECT_EQ(in_fabric(R"("tenant":{"container":{"order":"best"}})"),
            "it: fabric.tenant.container.order: \"best\" is none of: certificates-first, keys-first");
  EXPECT_EQ(in_fabric(R"("faults":[{"kind":"status","status":99}])"),
            "it: fabric.faults[0].status: 99 is not between 100 and 599");
  EXPECT_EQ(in_fabric(R"("faults":[{"kind":"delay","ms":1.5}])"),
            "it: fabric.faults[0].ms: expected a whole number, found a number");
  EXPECT_EQ(in_fabric(R"("ovf":{"namespaces":"no"})"),
            "it: fabric.ovf.namespaces: expected true or false, found a text");
  EXPECT_EQ(in_fabric(R"("ovf":{"customData":{"base64":"?"}})"), "it: fabric.ovf.customData.base64: not base64");
}

TEST(ScenarioFile, MissingMembersAreNamed) {
  EXPECT_EQ(in_fabric(R"("tenant":{"certificates":[{}]})"), "it: fabric.tenant.certificates[0].name: missing");
  EXPECT_THAT(in_fabric(R"("faults":[{}])"), HasSubstr("fabric.faults[0].kind: \"(none)\" is none of: refuse, close"));
  EXPECT_EQ(in_fabric(R"("faults":[{"kind":"omit-element"}])"), "it: fabric.faults[0].element: missing");
  EXPECT_EQ(in_fabric(R"("faults":[{"kind":"wrong-length"}])"), "it: fabric.faults[0].lengthChange: missing");
}

TEST(ScenarioFile, NamesMustBeThereAndBeOne) {
  EXPECT_EQ(in_fabric(R"("ovf":{"publicKeys":[{"fingerprint":{"certificate":"x"}}]})"),
            "it: fabric.ovf.publicKeys: no certificate is named \"x\"");
  EXPECT_EQ(in_fabric(R"("goalStates":[{"certificates":["x"]}])"),
            "it: fabric.goalStates: certificates: no certificate is named \"x\"");
  EXPECT_EQ(in_fabric(R"("extensions":[{"name":"e","certificate":"x"}])"),
            "it: fabric.extensions: e: no certificate is named \"x\"");
  EXPECT_EQ(in_fabric(R"("tenant":{"certificates":[{"name":"a"},{"name":"a"}]})"),
            "it: fabric.tenant.certificates: two are named \"a\"");
  EXPECT_EQ(in_fabric(R"("faults":[{"name":"f","kind":"html"},{"name":"f","kind":"html"}])"),
            "it: fabric.faults: two are named \"f\"");
}

TEST(ScenarioFile, WhatCannotBeIsRefused) {
  EXPECT_THAT(in_fabric(R"("faults":[{"kind":"refuse","target":"/x"}])"),
              HasSubstr("a refused connection is not read"));
  EXPECT_THAT(complaint(R"({"expect":{"requests":[{"count":1}]}})"),
              HasSubstr("counts are for the order \"unordered\""));
  EXPECT_THAT(complaint(R"({"expect":{"requests":[{"xpath":{"//[":"x"}}]}})"), HasSubstr("not an XPath expression"));
  EXPECT_THAT(complaint("{\"name\":"), HasSubstr("it: not JSON: "));
  EXPECT_EQ(complaint("[]"), "it: the document: expected an object, found a list");
}

TEST(ScenarioFile, OfStorageAndItsExpectationsAreStrict) {
  EXPECT_THAT(in_fabric(R"("storage":{"x":1})"), HasSubstr("fabric.storage: unknown key \"x\""));
  EXPECT_EQ(in_fabric(R"("storage":{"blobs":[{"name":"b"}]})"),
            "it: fabric.storage.blobs[0].name: expected \"container/blob\", found \"b\"");
  EXPECT_EQ(in_fabric(R"("storage":{"blobs":[{"name":"c/b","type":"PageBlob","size":100}]})"),
            "it: fabric.storage.blobs[0]: a page blob's size is a multiple of 512");
  EXPECT_EQ(in_fabric(R"("extensions":[{"name":"e","certificate":"tenant","transport":true}])"),
            "it: fabric.extensions[0]: \"certificate\" and \"transport\" exclude each other");
  EXPECT_THAT(in_fabric(R"("extensions":[{"name":"e","settings":[{"x":1}]}])"),
              HasSubstr("fabric.extensions[0].settings[0]: unknown key \"x\""));
  EXPECT_EQ(in_fabric(R"("extensions":[{"name":"e","settings":[{"certificate":"x"}]}])"),
            "it: fabric.extensions: e: no certificate is named \"x\"");
  EXPECT_EQ(in_fabric(R"("faults":[{"kind":"header"}])"), "it: fabric.faults[0].header: missing");
  EXPECT_THAT(in_fabric(R"("goalStates":[{"advanceOn":{"x":1}}])"),
              HasSubstr("fabric.goalStates[0].advanceOn: unknown key \"x\""));
  EXPECT_THAT(complaint(R"({"expect":{"status":{"last":{"x":1}}}})"), HasSubstr("expect.status.last: unknown key"));
  EXPECT_THAT(complaint(R"({"expect":{"blobs":[{"name":"b"}]}})"), HasSubstr("expect.blobs[0].name: expected"));
  EXPECT_THAT(complaint(R"({"expect":{"events":[{"x":1}]}})"), HasSubstr("expect.events[0]: unknown key"));
  EXPECT_THAT(complaint(R"({"expect":{"events":{"inOrder":[{"x":1}]}}})"), HasSubstr("expect.events.inOrder[0]"));
}

TEST(ScenarioFile, DescribedTextsAreStrict) {
  for (const char *form :
       {R"({"repeat":"a"})", R"({"repeat":["a"]})", R"({"repeat":["a",-1]})", R"({"repeat":["a",1,2]})",
        R"({"repeat":["a",33554433]})", R"({"join":"a"})", R"({"join":["a",1]})"})
    EXPECT_THAT(in_fabric(R"("ovf":{"hostName":)" + std::string(form) + "}"),
                HasSubstr(std::string("it: ") + form + ": expected {\"repeat\": [TEXT, N]}"));
  EXPECT_EQ(in_fabric(R"("ovf":{"hostName":{"repeat":["a",0]}})"), "(good)");
  EXPECT_EQ(in_fabric(R"("extensions":[{"name":"e","thumbprint":{"certificate":"x"}}])"),
            "it: fabric.extensions: e: no certificate is named \"x\"");
  EXPECT_THAT(in_fabric(R"("extensions":[{"name":"e","sealedBy":"pgp"}])"), HasSubstr("is none of: smime, cms"));
  EXPECT_THAT(in_fabric(R"("extensions":[{"name":"e","count":0}])"), HasSubstr("0 is not between 1 and 10000"));
}

TEST(ScenarioFile, DefaultsAreFilledIn) {
  Scenario scenario = parse_scenario("{}", "it");
  EXPECT_EQ(scenario.endpoint, "168.63.129.16");
  ASSERT_EQ(scenario.goal_states.size(), 1u);
  EXPECT_EQ(scenario.goal_states[0].incarnation, "1");
  ASSERT_EQ(scenario.tenant.certificates.size(), 1u);
  EXPECT_EQ(scenario.tenant.certificates[0].name, "tenant");
}

TEST(ScenarioFile, OfThisTreeAreGood) {
  int seen = 0;
  for (const auto &entry : std::filesystem::directory_iterator(KELVANE_SCENARIOS)) {
    if (entry.path().extension() != ".json") continue;
    EXPECT_EQ(complaint(read_file(entry.path().string())), "(good)") << entry.path();
    seen++;
  }
  EXPECT_GE(seen, 1);
}

TEST(Program, RefusesABadStart) {
  Ended ended = run_fabric("--nonsense");
  EXPECT_EQ(ended.status, 2);
  EXPECT_EQ(ended.output, "kelvane-fabric: --nonsense: unknown option; see --help\n");
  EXPECT_EQ(run_fabric("--port 70000").output, "kelvane-fabric: 70000: not a port\n");
  EXPECT_EQ(run_fabric("--port").output, "kelvane-fabric: --port: its value is missing\n");
  EXPECT_EQ(run_fabric("--scenario /nowhere.json").output, "kelvane-fabric: /nowhere.json: cannot be read\n");
  EXPECT_EQ(run_fabric("--journal /nowhere/j").output, "kelvane-fabric: /nowhere/j: the journal cannot be opened\n");
}

TEST(Program, ChecksAScenario) {
  TempDir folder;
  write_file(folder.file("good.json"), "{}");
  write_file(folder.file("bad.json"), R"({"fabric":{"x":1}})");
  EXPECT_EQ(run_fabric("--check --scenario " + folder.file("good.json")).status, 0);
  Ended bad = run_fabric("--check --scenario " + folder.file("bad.json"));
  EXPECT_EQ(bad.status, 2);
  EXPECT_THAT(bad.output, HasSubstr("bad.json: fabric: unknown key \"x\""));
}

TEST(Bytes, GlobMatchesRunsOfCharacters) {
  EXPECT_TRUE(fabric::glob_match("*comp=versions", "http://h/?comp=versions"));
  EXPECT_FALSE(fabric::glob_match("*comp=versions", "http://h/?comp=versions&x"));
  EXPECT_TRUE(fabric::glob_match("a*b*c", "aXbYbZc"));
  EXPECT_FALSE(fabric::glob_match("a*b", "a"));
  EXPECT_TRUE(fabric::glob_match("*", ""));
  EXPECT_FALSE(fabric::glob_match("", "x"));
  EXPECT_TRUE(fabric::glob_match("a?c", "a?c"));
  EXPECT_FALSE(fabric::glob_match("a?c", "abc"));
}

TEST(Bytes, Base64IsStrict) {
  EXPECT_EQ(fabric::base64_encode("ab"), "YWI=");
  EXPECT_EQ(fabric::base64_decode("YWI=").value_or("(none)"), "ab");
  EXPECT_EQ(fabric::base64_decode("").value_or("(none)"), "");
  EXPECT_FALSE(fabric::base64_decode("YWI").has_value());
  EXPECT_FALSE(fabric::base64_decode("YW\nI").has_value());
  EXPECT_FALSE(fabric::base64_decode("Y===").has_value());
  EXPECT_FALSE(fabric::base64_decode("=").has_value());
}

TEST(Bytes, Utf8IsStrict) {
  EXPECT_TRUE(fabric::is_utf8("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"));
  EXPECT_FALSE(fabric::is_utf8("\xC0\x80"));
  EXPECT_FALSE(fabric::is_utf8("\xED\xA0\x80"));
  EXPECT_FALSE(fabric::is_utf8("\xF4\x90\x80\x80"));
  EXPECT_FALSE(fabric::is_utf8("\xE2\x82"));
  EXPECT_FALSE(fabric::is_utf8("\x80"));
}

}  // namespace
}  // namespace kelvane::fabric_test
