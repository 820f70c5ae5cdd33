// The telemetry document, judged to the last parameter, and what a scenario may expect of events.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/fabric/storage_client.h"

namespace kelvane::fabric_test {
namespace {

using ::testing::HasSubstr;

class Telemetry : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { fabric = new FabricProgram("{}"); }
  static void TearDownTestSuite() { delete fabric; }
  static std::string answer(const std::string &body) { return post_telemetry(*fabric, body).body; }
  static FabricProgram *fabric;
};
FabricProgram *Telemetry::fabric = nullptr;

const std::string kEvent = event(event_parameters("TORV", "HeartBeat"));

TEST_F(Telemetry, TakesOneToThreeEvents) {
  EXPECT_EQ(post_telemetry(*fabric, telemetry(kEvent)).status, 200);
  EXPECT_EQ(post_telemetry(*fabric, telemetry(kEvent + kEvent + kEvent)).status, 200);
  EXPECT_EQ(post_telemetry(*fabric, replaced(telemetry(kEvent), " encoding=\"utf-8\"", "")).status, 200);
  EXPECT_EQ(answer(telemetry("")), "/TelemetryData/Provider: expected one to three events, came 0 of them\n");
  EXPECT_EQ(answer(telemetry(kEvent + kEvent + kEvent + kEvent)),
            "/TelemetryData/Provider: expected one to three events, came 4 of them\n");
}

TEST_F(Telemetry, WantsTheFrame) {
  const std::string good = telemetry(kEvent);
  EXPECT_THAT(answer(good.substr(good.find("<Tele"))), HasSubstr("body: expected to begin with an XML declaration"));
  EXPECT_THAT(answer(replaced(good, "?xml version=\"1.0\"", "?xml version=\"1.1\"")), HasSubstr("version 1.0, came"));
  EXPECT_EQ(answer(replaced(good, "TelemetryData version=\"1.0\"", "TelemetryData version=\"2.0\"")),
            "attributes of /TelemetryData: expected \" version=\"1.0\"\", came \" version=\"2.0\"\"\n");
  EXPECT_THAT(answer(replaced(good, "69B669B9", "69b669b9")), HasSubstr("attributes of /TelemetryData/Provider"));
  EXPECT_EQ(answer(replaced(good, "</Provider>", "</Provider><Provider/>")),
            "/TelemetryData: expected <Provider> alone, came <Provider>\n");
  EXPECT_THAT(answer(replaced(good, "Event id=\"1\"", "Event id=\"2\"")),
              HasSubstr("attributes of /TelemetryData/Provider/Event[1]: expected"));
  EXPECT_EQ(answer("<Other/>"),
            "body: expected to begin with an XML declaration, version 1.0, came \"<Other/>\"\n"
            "body: expected <TelemetryData>, came <Other>\n");
  EXPECT_THAT(answer(replaced(good, "<Event", "\n<Event")), HasSubstr("<Event> here, came text \"?\""));
}

TEST_F(Telemetry, WantsCdataAndNothingElse) {
  const std::string path = "/TelemetryData/Provider/Event[1]: expected one CDATA section alone, came ";
  EXPECT_EQ(answer(telemetry("<Event id=\"1\">" + event_parameters("a", "Enable") + "</Event>")), path + "<Param>\n");
  EXPECT_EQ(answer(telemetry("<Event id=\"1\"/>")), path + "nothing\n");
  EXPECT_EQ(answer(telemetry("<Event id=\"1\"><![CDATA[]]><a/></Event>")), path + "<a>\n");
  EXPECT_THAT(answer(telemetry(event("<Param"))), HasSubstr("a well-formed XML document"));
}

TEST_F(Telemetry, WantsTheTwentyParametersInOrder) {
  auto said = [](const std::string &from, const std::string &to) {
    std::string text = answer(telemetry(event(replaced(event_parameters("n", "Install"), from, to))));
    return replaced(text, "/TelemetryData/Provider/Event[1]", "E");
  };
  EXPECT_THAT(said("<Param Name=\"RAM\" T=\"mt:uint64\" Value=\"2048\" />", ""), HasSubstr("attributes of E/RAM"));
  EXPECT_EQ(said("<Param Name=\"Duration\" T=\"mt:uint64\" Value=\"0\" />", ""),
            "E/Duration: expected <Param> here, came nothing\n");
  EXPECT_EQ(said("Value=\"0\" />", "Value=\"0\" /><Param/>"), "E: expected nothing more, came <Param>\n");
  EXPECT_EQ(said("Value=\"False\" />", "Value=\"True\" />"), "E/IsInternal: expected \"False\", came \"True\"\n");
  EXPECT_EQ(said("IAAS", "PAAS"), "E/ExecutionMode: expected \"IAAS\", came \"PAAS\"\n");
  EXPECT_EQ(said("2.0.16", "2.2.26"), "E/GAVersion: expected \"TorvikGuest-2.0.16\", came \"TorvikGuest-2.2.26\"\n");
  EXPECT_EQ(said("Value=\"2\"", "Value=\"-2\""), "E/Processors: expected a whole number, came \"-2\"\n");
  EXPECT_EQ(said("Value=\"2048\"", "Value=\"\""), "E/RAM: expected a whole number, came \"\"\n");
  EXPECT_EQ(said("Value=\"Install\"", "Value=\"install\""),
            "E/Operation: expected one of the operations, came \"install\"\n");
  EXPECT_EQ(said("\"OperationSuccess\" T=\"mt:bool\" Value=\"True\"", "\"OperationSuccess\" T=\"mt:bool\" Value=\"1\""),
            "E/OperationSuccess: expected \"True\" or \"False\", came \"1\"\n");
  EXPECT_THAT(said("T=\"mt:bool\" Value=\"False\"", "Value=\"False\" T=\"mt:bool\""),
              HasSubstr("attributes of E/IsInternal"));
}

TEST(TelemetryContainer, IsOneThatAGoalStateToldOrNone) {
  FabricProgram fabric("{}");
  const std::string body =
      telemetry(event(replaced(event_parameters("n", "Enable"), "Name=\"ContainerId\" T=\"mt:wstr\" Value=\"\"",
                               "Name=\"ContainerId\" T=\"mt:wstr\" Value=\"7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27\"")));
  EXPECT_THAT(post_telemetry(fabric, body).body, HasSubstr("ContainerId: expected one that a goal state told, came"));
  fabric.get("/machine/?comp=goalstate", kAgent);
  EXPECT_EQ(post_telemetry(fabric, body).status, 200);
}

TEST(Events, AreComparedInOrder) {
  FabricProgram fabric(R"({"expect":{"events":[{"name":"TORV","operation":"HeartBeat","success":true,"message":""},
    {"name":"Sample","operation":"Enable","success":false,"version":"1.2.0.0","message":"a<b","duration":0}]}})");
  EXPECT_EQ(finding_of(fabric, "events"),
            "expected [TORV HeartBeat True * \"\" *; Sample Enable False \"1.2.0.0\" \"a<b\" 0], came []");
  post_telemetry(fabric, telemetry(kEvent));
  post_telemetry(fabric, telemetry(event(event_parameters("Sample", "Enable", "a&lt;b", "False"))));
  EXPECT_EQ(finding_of(fabric, "events"), "held");
  post_telemetry(fabric, telemetry(kEvent));
  EXPECT_THAT(finding_of(fabric, "events"), HasSubstr("; TORV HeartBeat True \"1.2.0.0\" \"\" 0]"));
}

TEST(Events, MayLeaveOthersBetween) {
  FabricProgram fabric(R"({"expect":{"events":{"inOrder":[{"operation":"Install"},{"operation":"Enable"}]}}})");
  post_telemetry(fabric, telemetry(event(event_parameters("a", "Enable")) + event(event_parameters("a", "Install"))));
  EXPECT_THAT(finding_of(fabric, "events, in order"), HasSubstr("came [a Enable"));
  post_telemetry(fabric, telemetry(kEvent + event(event_parameters("a", "Enable"))));
  EXPECT_EQ(finding_of(fabric, "events, in order"), "held");
}

TEST(Events, AreNotTakenWhenTheAnswerIsLost) {
  FabricProgram fabric(R"({"fabric":{"faults":[{"kind":"status","status":503,"target":"*comp=telemetrydata"}]},
    "expect":{"events":[]}})");
  EXPECT_EQ(post_telemetry(fabric, telemetry(kEvent)).status, 503);
  EXPECT_EQ(finding_of(fabric, "events"), "held");
  post_telemetry(fabric, telemetry(""));
  EXPECT_EQ(finding_of(fabric, "events"), "held");
}

}  // namespace
}  // namespace kelvane::fabric_test
