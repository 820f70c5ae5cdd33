// What the fabric says in the end, and the control requests.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/fabric/fabric_program.h"

namespace kelvane::fabric_test {
namespace {

using ::testing::HasSubstr;

std::string expecting(const std::string &expect, const std::string &fabric = "{}") {
  return "{\"fabric\":" + fabric + ",\"expect\":" + expect + "}";
}

nlohmann::json verdict(const FabricProgram &fabric) {
  return nlohmann::json::parse(fabric.control("GET", "/_fabric/verdict").body);
}

// The finding of that name: "held" or the explanation of why not.
std::string finding(const FabricProgram &fabric, const std::string &name) {
  const nlohmann::json all = verdict(fabric);
  for (const auto &one : all["expectations"])
    if (one["name"] == name) return one["held"] == true ? "held" : one["explanation"].get<std::string>();
  return "(none)";
}

void ask_twice(const FabricProgram &fabric) {
  fabric.get("/?comp=versions", "");
  fabric.get("/machine/?comp=goalstate", kAgent);
}

std::string health(const std::string &state, const std::string &details) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Health xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
         "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><GoalStateIncarnation>1</GoalStateIncarnation><Container>"
         "<ContainerId>7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27</ContainerId><RoleInstanceList><Role>"
         "<InstanceId>kelvane-role_IN_0</InstanceId><Health><State>" +
         state + "</State>" + details + "</Health></Role></RoleInstanceList></Container></Health>";
}

constexpr char kVersions[] = R"({"name":"v","target":"*comp=versions"})";
constexpr char kGoalState[] = R"({"name":"g","method":"GET","target":"*comp=goalstate"})";

std::string in_order(const std::string &order, const std::string &matchers) {
  return expecting("{\"requestOrder\":\"" + order + "\",\"requests\":[" + matchers + "]}");
}

TEST(Verdict, HoldsWhenNothingIsWrong) {
  FabricProgram fabric("{}");
  ask_twice(fabric);
  EXPECT_EQ(verdict(fabric)["held"], true);
  EXPECT_EQ(fabric.end(), 0);
  EXPECT_THAT(fabric.output(), HasSubstr("held:   violations: expected 0, came 0\n"));
}

TEST(Verdict, FailsForAViolation) {
  FabricProgram fabric("{}");
  fabric.get("/machine/?comp=goalstate", "");
  EXPECT_EQ(finding(fabric, "violations"),
            "expected 0, came 1; #1 GET http://168.63.129.16/machine/?comp=goalstate: header x-ms-agent-name: expected "
            "\"TorvikGuest\", came no such header\nheader x-ms-version: expected \"2012-11-30\", came no such header");
  EXPECT_EQ(fabric.end(), 1);
  EXPECT_THAT(fabric.output(), HasSubstr("FAILED: violations: "));
}

TEST(Verdict, ViolationsMayBeExpected) {
  FabricProgram fabric(expecting(R"({"violations":1})"));
  EXPECT_EQ(finding(fabric, "violations"), "expected 1, came 0");
  fabric.get("/machine/?comp=goalstate", "");
  EXPECT_EQ(fabric.end(), 0);
}

TEST(Verdict, OrderedRequestsMayHaveOthersBetween) {
  FabricProgram fabric(in_order("ordered", std::string(kVersions) + "," + kGoalState));
  fabric.get("/?comp=versions", "");
  EXPECT_EQ(finding(fabric, "requests, in order"), "g: no request fits; none was left");
  fabric.get("/?comp=versions", "");
  EXPECT_EQ(finding(fabric, "requests, in order"),
            "g: no request fits; the first of those left was #2 GET http://168.63.129.16/?comp=versions: target: "
            "expected \"*comp=goalstate\", came \"http://168.63.129.16/?comp=versions\"");
  fabric.get("/machine/?comp=goalstate", kAgent);
  EXPECT_EQ(finding(fabric, "requests, in order"), "held");
}

TEST(Verdict, OrderedRequestsMustBeInOrder) {
  FabricProgram fabric(in_order("ordered", std::string(kGoalState) + "," + kVersions));
  ask_twice(fabric);
  EXPECT_EQ(finding(fabric, "requests, in order"), "v: no request fits; none was left");
}

TEST(Verdict, ExactRequestsHaveNoneBetweenAndNoneAfter) {
  FabricProgram fabric(in_order("exact", std::string(kVersions) + "," + kGoalState));
  fabric.get("/?comp=versions", "");
  EXPECT_EQ(finding(fabric, "requests, exactly"), "g: expected, but no more requests came");
  fabric.get("/machine/?comp=goalstate", kAgent);
  EXPECT_EQ(finding(fabric, "requests, exactly"), "held");
  fabric.get("/?comp=versions", "");
  EXPECT_EQ(finding(fabric, "requests, exactly"),
            "#3 GET http://168.63.129.16/?comp=versions: came, but no more requests were expected");
}

TEST(Verdict, UnorderedRequestsAreCounted) {
  FabricProgram fabric(in_order("unordered", R"({"name":"v","target":"*versions","count":2},
    {"name":"g","target":"*goalstate","atLeast":1},{"name":"none","method":"POST","count":0},
    {"name":"few","method":"GET","atMost":2})"));
  fabric.get("/?comp=versions", "");
  EXPECT_THAT(finding(fabric, "v"), HasSubstr("expected 2 to 2, came 1"));
  EXPECT_THAT(finding(fabric, "g"), HasSubstr("expected 1 or more, came 0"));
  fabric.get("/?comp=versions", "");
  fabric.get("/machine/?comp=goalstate", kAgent);
  EXPECT_EQ(finding(fabric, "v"), "held");
  EXPECT_EQ(finding(fabric, "g"), "held");
  EXPECT_EQ(finding(fabric, "none"), "held");
  EXPECT_EQ(finding(fabric, "few"), "expected 0 to 2, came 3");
}

// One matcher against one request: "held" or why not.
std::string matched(const std::string &matcher, const std::string &headers, const std::string &body) {
  FabricProgram fabric(in_order("exact", matcher));
  fabric.post("/machine/?comp=telemetrydata", headers, body);
  return finding(fabric, "requests, exactly");
}

TEST(Matcher, HeadersAreExactAndOrdered) {
  const std::string headers =
      R"({"name":"m","headers":[["Host","168.63.129.16"],["A","1"],["B","*"],["Content-Length","4"]]})";
  EXPECT_EQ(matched(headers, "A: 1\r\nB: 2\r\n", "<a/>"), "held");
  EXPECT_THAT(matched(headers, "B: 2\r\nA: 1\r\n", "<a/>"), HasSubstr("header 2: expected \"A: 1\", came \"B: 2\""));
  EXPECT_THAT(matched(headers, "A: 1\r\n", "<a/>"),
              HasSubstr("header 3: expected \"B: *\", came \"Content-Length: 4\""));
  EXPECT_THAT(matched(headers, "A: 1\r\nB: 2\r\nC: 3\r\n", "<a/>"),
              HasSubstr("header 4: expected \"Content-Length: 4\", came \"C: 3\""));
}

TEST(Matcher, IncludedHeadersMayStandAnywhere) {
  const std::string headers = R"({"name":"m","headersInclude":[["a","1"],["B","*"]]})";
  EXPECT_EQ(matched(headers, "B: 2\r\nA: 1\r\n", "<a/>"), "held");
  EXPECT_THAT(matched(headers, "A: 2\r\nB: 2\r\n", ""), HasSubstr("header a: expected \"1\", came \"2\""));
  EXPECT_THAT(matched(headers, "A: 1\r\n", ""), HasSubstr("header B: expected, but there is none"));
}

TEST(Matcher, BodyIsLookedAtThreeWays) {
  const std::string body = "<r><a x=\"1\">t</a></r>";
  const std::string exact = R"({"name":"m","body":"<r><a x=\"1\">t</a></r>"})";
  const std::string paths = R"x({"name":"m","xpath":{"/r/a/@x":"1","string(/r/a)":"t","count(//a)":"1"}})x";
  EXPECT_EQ(matched(exact, "", body), "held");
  EXPECT_THAT(matched(R"({"name":"m","body":"<r/>"})", "", body), HasSubstr("body: expected \"<r/>\""));
  EXPECT_EQ(matched(R"({"name":"m","bodyContains":["<a ","</r>"]})", "", body), "held");
  EXPECT_THAT(matched(R"({"name":"m","bodyContains":["<b"]})", "", body), HasSubstr("body: expected to hold \"<b\""));
  EXPECT_EQ(matched(paths, "", body), "held");
  EXPECT_THAT(matched(R"({"name":"m","xpath":{"/r/a/@x":"2"}})", "", body),
              HasSubstr("/r/a/@x: expected \"2\", came \"1\""));
}

TEST(Matcher, StatusAndFaultAreLookedAt) {
  FabricProgram fabric(expecting(R"({"requestOrder":"exact","requests":[{"name":"m","status":503,"fault":"busy"}]})",
                                 R"({"faults":[{"name":"busy","kind":"status"}]})"));
  fabric.get("/?comp=versions", "");
  EXPECT_EQ(finding(fabric, "requests, exactly"), "held");
  EXPECT_THAT(matched(R"({"name":"m","status":200})", "", ""), HasSubstr("status: expected \"200\", came \"400\""));
  EXPECT_THAT(matched(R"({"name":"m","fault":"busy"})", "", ""), HasSubstr("fault: expected \"busy\", came \"\""));
}

TEST(Verdict, HealthIsASequence) {
  FabricProgram fabric(
      expecting(R"({"health":[{"state":"NotReady","substatus":"Provisioning","description":"Starting"},"Ready"]})"));
  fabric.get("/machine/?comp=goalstate", kAgent);
  fabric.post("/machine/?comp=health", kAgentPost,
              health("NotReady",
                     "<Details><SubStatus>Provisioning</SubStatus><Description>Starting</Description>"
                     "</Details>"));
  EXPECT_EQ(finding(fabric, "health"),
            "expected \"NotReady/Provisioning/Starting, Ready\", came \"NotReady/Provisioning/Starting\"");
  fabric.post("/machine/?comp=health", kAgentPost, health("Ready", ""));
  EXPECT_EQ(finding(fabric, "health"), "held");
  fabric.post("/machine/?comp=health", kAgentPost, health("Ready", ""));
  EXPECT_THAT(finding(fabric, "health"), HasSubstr("came \"NotReady/Provisioning/Starting, Ready, Ready\""));
}

TEST(Verdict, AReportWhoseAnswerIsLostWasNotTaken) {
  FabricProgram fabric(
      expecting(R"({"health":["Ready"]})", R"({"faults":[{"kind":"status","status":503,"method":"POST"}]})"));
  fabric.get("/machine/?comp=goalstate", kAgent);
  fabric.post("/machine/?comp=health", kAgentPost, health("Ready", ""));
  EXPECT_EQ(finding(fabric, "health"), "expected \"Ready\", came \"\"");
  fabric.post("/machine/?comp=health", kAgentPost, health("Ready", ""));
  EXPECT_EQ(finding(fabric, "health"), "held");
}

TEST(Verdict, ThumbprintsAndGoalStatesAreCompared) {
  FabricProgram fabric(expecting(R"({"roleProperties":["12ab"],"goalStates":1})"));
  EXPECT_EQ(finding(fabric, "goalStates"), "expected 1 deliveries, came 0");
  EXPECT_EQ(finding(fabric, "roleProperties"), "expected [\"12ab\"], came []");
  fabric.get("/machine/?comp=goalstate", kAgent);
  fabric.post("/machine/?comp=roleProperties", kAgentPost,
              "<?xml version=\"1.0\" encoding=\"utf-8\"?><RoleProperties><Container>"
              "<ContainerId>7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27</ContainerId><RoleInstances><RoleInstance>"
              "<Id>kelvane-role_IN_0</Id><Properties><Property name=\"CertificateThumbprint\" value=\"12ab\" />"
              "</Properties></RoleInstance></RoleInstances></Container></RoleProperties>");
  EXPECT_EQ(finding(fabric, "goalStates"), "held");
  EXPECT_EQ(finding(fabric, "roleProperties"), "held");
}

TEST(Control, QuitEndsTheProgramWithItsVerdict) {
  FabricProgram fabric(expecting(R"({"goalStates":1})"));
  EXPECT_EQ(fabric.control("POST", "/_fabric/quit").body, "ending\n");
  EXPECT_EQ(fabric.wait_for_end(), 1);
  EXPECT_THAT(fabric.output(), HasSubstr("FAILED: goalStates: expected 1 deliveries, came 0\n"));
}

TEST(Control, IsServedOnTheMainPortTooAndNotJournalled) {
  FabricProgram fabric("{}");
  fabric.get("/?comp=versions", "");
  Reply reply = fabric.exchange("GET /_fabric/journal HTTP/1.1\r\n\r\n");
  auto journal = nlohmann::json::parse(reply.body);
  ASSERT_EQ(journal.size(), 1u);
  EXPECT_EQ(journal[0].dump(), nlohmann::json::parse(fabric.journal().at(0)).dump());
  EXPECT_EQ(journal[0]["request"]["target"], "http://168.63.129.16/?comp=versions");
  EXPECT_EQ(journal[0]["service"], "wire");
}

TEST(Control, TellsWhatThereIsAndWhatItWants) {
  FabricProgram fabric("{}");
  Reply reply = fabric.control("GET", "/_fabric/nothing");
  EXPECT_EQ(reply.status, 404);
  EXPECT_THAT(reply.body, HasSubstr("POST /_fabric/advance\n"));
  EXPECT_EQ(fabric.control("GET", "/_fabric/quit").body, "method: expected POST, came GET\n");
}

}  // namespace
}  // namespace kelvane::fabric_test
