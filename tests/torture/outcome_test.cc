// What a play reads out of the fabric's journal and documents, and how two outcomes are compared.
#include "tests/torture/outcome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace torture {
namespace {

Json sent(const char *method, const char *target, const char *body) {
  return {{"request", {{"method", method}, {"target", target}, {"body", body}}}, {"fault", nullptr}};
}

constexpr char kAgent[] = "/Microsoft.Compute/status/vmagent", kScript[] = "/Microsoft.Compute/status/extensions/a";

TEST(Outcome, AStatusThatTheQuietRunDoesNotTellIsNotTold) {
  const Json journal = {sent("PUT", kAgent, R"({"status": "old"})"), sent("PUT", kScript, R"({"status": "old"})"),
                        sent("PUT", kAgent, R"({"status": "new"})")};
  const Json expected = {{kAgent, {{"status", "new"}}}};
  EXPECT_EQ(last_reports(journal, Json::array(), {2, 0}), expected);
}

TEST(Outcome, WhatIsToldOnceStaysTold) {
  const Json journal = {sent("POST", "/machine/?comp=health", "<State>Ready</State>"),
                        sent("PUT", "/Microsoft.Compute/provisioningStatus?v=1", R"({"status": "Ready"})")};
  const Json expected = {{"health", "<State>Ready</State>"}, {"provisioning", {{"status", "Ready"}}}};
  EXPECT_EQ(last_reports(journal, Json::array(), {2, 0}), expected);
}

TEST(Outcome, AStatusIsTheQuietRunsFromItsFirstRequestOn) {
  const Json journal = {sent("PUT", kScript, R"({"status": "old"})"), sent("PUT", kAgent, R"({"status": "new"})")};
  const Json expected = {{kAgent, {{"status", "new"}}}};
  EXPECT_EQ(last_reports(journal, Json::array(), {1, 0}), expected);
  EXPECT_EQ(last_reports(journal, Json::array(), {2, 0}), Json::object());
}

// What a fault befell may not have come to the platform.
TEST(Outcome, AFaultedRequestTellsNothing) {
  Json lost = sent("POST", "/machine/?comp=health", "<State>Ready</State>");
  lost["fault"] = "strike";
  const Json journal = {sent("POST", "/machine/?comp=health", "<State>NotReady</State>"), lost};
  const Json expected = {{"health", "<State>NotReady</State>"}};
  EXPECT_EQ(last_reports(journal, Json::array(), {2, 0}), expected);
}

TEST(Outcome, WhatIsNoReportIsLeftOut) {
  Json without_body = sent("PUT", kAgent, "");
  without_body["request"]["body"] = nullptr;
  const Json journal = {sent("PUT", "/blob?comp=page", "x"),
                        sent("GET", "/machine/?comp=health", "<State>Ready</State>"),
                        sent("POST", "/machine/?comp=telemetry", "<Data/>"),
                        sent("GET", "/Microsoft.Compute/provisioningStatus?v=1", "{}"),
                        sent("PUT", "/elsewhere/provisioningStatus?v=1", "{}"),
                        without_body};
  EXPECT_EQ(last_reports(journal, Json::array(), {0, 0}), Json::object());
}

TEST(Outcome, AReportIsComparedWithoutItsTimesAndTheGoalStateInIt) {
  const Json journal = {sent("POST", "/?comp=health",
                             "<Health><GoalStateIncarnation>1</GoalStateIncarnation><State>NotReady</State>"
                             "<Details><SubStatus>Provisioning</SubStatus></Details></Health>"),
                        sent("POST", "/?comp=roleProperties",
                             R"(<Id>a</Id><Property name="CertificateThumbprint" value="AA" /></Properties>)"),
                        sent("PUT", kAgent, R"({"at": "2023-11-14T22:13:20Z", "cmdtime": 1700000000})"),
                        sent("PUT", kScript, "no document")};
  const Json expected = {{"health", "<State>NotReady</State><Details><SubStatus>Provisioning</SubStatus></Details>"},
                         {"role properties", R"(<Property name="CertificateThumbprint" value="AA" />)"},
                         {kAgent, {{"at", "<time>"}, {"cmdtime", "<time>"}}},
                         {kScript, "no document"}};
  EXPECT_EQ(last_reports(journal, Json::array(), {0, 0}), expected);
}

// A name that comes twice stands for both.
TEST(Outcome, ThingsInAListGoByTheirNames) {
  const Json documents = {{{"text", R"({"handlers": [{"handlerName": "b", "code": 1}, {"handlerName": "a", "code": 2},
                                                     {"handlerName": "b", "code": 3}, {"handlerName": "b", "code": 4}],
                                        "deep": {"list": [{"name": "c", "list": [{"name": "d"}]}]},
                                        "plain": [1, 2], "empty": [], "nameless": [{"code": 5}]})"}}};
  const Json expected = {{"handlers",
                          {{"b", {{"handlerName", "b"}, {"code", 1}}},
                           {"a", {{"handlerName", "a"}, {"code", 2}}},
                           {"b again", {{"handlerName", "b"}, {"code", 3}}},
                           {"b again again", {{"handlerName", "b"}, {"code", 4}}}}},
                         {"deep", {{"list", {{"c", {{"name", "c"}, {"list", {{"d", {{"name", "d"}}}}}}}}}}},
                         {"plain", {1, 2}},
                         {"empty", Json::array()},
                         {"nameless", Json::array({{{"code", 5}}})}};
  EXPECT_EQ(last_reports(Json::array(), documents, {0, 0}), Json({{"status blob", expected}}));
}

TEST(Outcome, AnEventThatIsLoggedAgainIsOne) {
  const Json first = {{"id", 1}, {"text", "it is done"}}, second = {{"id", 2}, {"text", "it is done"}};
  const Json expected = {{R"({"id":1,"text":"it is done"})", true}, {R"({"id":2,"text":"it is done"})", true}};
  EXPECT_EQ(each_once({first, second, first}), expected);
  EXPECT_EQ(each_once({first, second}), expected);
  EXPECT_EQ(each_once(Json::array()), Json::object());
}

TEST(Outcome, TheBlobIsTheOneThatTheQuietRunPutLast) {
  const Json documents = {{{"text", R"({"status": "old"})"}}, {{"text", R"({"status": "new"})"}}};
  const Json expected = {{"status blob", {{"status", "new"}}}};
  EXPECT_EQ(last_reports(Json::array(), documents, {0, 1}), expected);
  EXPECT_EQ(last_reports(Json::array(), documents, {0, 2}), Json::object());
}

// "PLACE: EXPECTED, CAME" of each.
std::vector<std::string> in_words(const std::vector<Difference> &all) {
  std::vector<std::string> out;
  for (const Difference &one : all) {
    out.push_back(one.place + ": " + one.expected + ", " + one.came);
  }
  return out;
}

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Differences, WhatIsTheSameDiffersNowhere) {
  const Json one = {{"a", {{"b", 1}, {"c", {1, 2}}, {"d", Json::object()}}}, {"e", "text"}, {"f", nullptr}};
  EXPECT_THAT(differences(one, one), IsEmpty());
}

TEST(Differences, AnotherValueIsTold) {
  EXPECT_THAT(in_words(differences({{"a", {{"b", "x"}, {"c", 1}}}}, {{"a", {{"b", "y"}, {"c", 1}}}})),
              ElementsAre(R"(/a/b: "x", "y")"));
  EXPECT_THAT(in_words(differences({{"a", 1}}, {{"a", "1"}})), ElementsAre(R"(/a: 1, "1")"));
  EXPECT_THAT(in_words(differences({{"a", {1, 2}}}, {{"a", {1, 3}}})), ElementsAre("/a/1: 2, 3"));
}

TEST(Differences, WhatIsGoneIsTold) {
  EXPECT_THAT(in_words(differences({{"a", {{"b", 1}, {"c", 2}}}}, {{"a", {{"b", 1}}}})),
              ElementsAre("/a/c: 2, nothing"));
  EXPECT_THAT(in_words(differences({{"a", {1, 2}}}, {{"a", {1}}})), ElementsAre("/a/1: 2, nothing"));
}

TEST(Differences, WhatIsThereBesidesIsTold) {
  EXPECT_THAT(in_words(differences({{"a", {{"b", 1}}}}, {{"a", {{"b", 1}, {"c", 2}}}, {"d", ""}})),
              ElementsAre("/a/c: nothing, 2", R"(/d: nothing, "")"));
}

// Of what is empty on one side its members are told, and nothing else.
TEST(Differences, WhatIsEmptyHasNoMembers) {
  const Json empty = {{"a", Json::object()}}, full = {{"a", {{"b", 1}, {"c", 2}}}};
  EXPECT_THAT(in_words(differences(empty, full)), ElementsAre("/a/b: nothing, 1", "/a/c: nothing, 2"));
  EXPECT_THAT(in_words(differences(full, empty)), ElementsAre("/a/b: 1, nothing", "/a/c: 2, nothing"));
  EXPECT_THAT(in_words(differences({{"a", nullptr}}, {{"a", 1}})), ElementsAre("/a: null, 1"));
  EXPECT_THAT(in_words(differences({{"a", 1}}, {{"a", nullptr}})), ElementsAre("/a: 1, null"));
  EXPECT_THAT(in_words(differences(empty, Json::object())), ElementsAre("/a: null, nothing"));
  EXPECT_THAT(in_words(differences({{"a", Json::array()}, {"ab", {1}}}, {{"ab", {1}}})),
              ElementsAre("/a: null, nothing"))
      << "the member of another";
  EXPECT_THAT(in_words(differences({{"a", 5}}, full)),
              ElementsAre("/a: 5, nothing", "/a/b: nothing, 1", "/a/c: nothing, 2"))
      << "it was not empty";
}

Json judged(const char *target, const char *came) {
  const Json fault = {{"what", "header x"}, {"expected", "a certificate"}, {"came", came}};
  return {{"request", {{"method", "GET"}, {"target", target}}},
          {"judgement", {{"held", false}, {"violations", Json::array({fault})}}}};
}

TEST(Outcome, AFaultHidesNoOtherAtTheSamePlace) {
  const Json journal = {judged("/a", "no such header"),
                        judged("/a", "garbage"),
                        judged("/a", "no such header"),
                        {{"request", {{"method", "GET"}, {"target", "/b"}}}, {"judgement", {{"held", true}}}}};
  const std::vector<Difference> all = violations(journal);
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].place, "/requests GET /a header x");
  EXPECT_EQ(all[0].expected, "a certificate");
  EXPECT_EQ(all[0].came, "no such header");
  EXPECT_EQ(all[1].place, "/requests GET /a header x");
  EXPECT_EQ(all[1].came, "garbage");
}

}  // namespace
}  // namespace torture
