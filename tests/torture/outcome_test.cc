// What a play reads out of the fabric's journal and documents.
#include "tests/torture/outcome.h"

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

TEST(Outcome, TheBlobIsTheOneThatTheQuietRunPutLast) {
  const Json documents = {{{"text", R"({"status": "old"})"}}, {{"text", R"({"status": "new"})"}}};
  const Json expected = {{"status blob", {{"status", "new"}}}};
  EXPECT_EQ(last_reports(Json::array(), documents, {0, 1}), expected);
  EXPECT_EQ(last_reports(Json::array(), documents, {0, 2}), Json::object());
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
