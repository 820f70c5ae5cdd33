// Faults as they arrive at a peer: bytes, resets, silences.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/fabric/fabric_program.h"

namespace kelvane::fabric_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

double seconds_of(const std::function<void()> &work) {
  auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A fabric with this one fault, on every request for the versions.
std::string with_fault(const std::string &members) {
  return R"({"fabric":{"faults":[{"name":"it","target":"*comp=versions","times":0,)" + members + "}]}}";
}

// A small document, so that lengths can be written out.
Reply versions(const FabricProgram &fabric) {
  return fabric.get("/?comp=versions", "");
}

const std::string kVersions =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Versions>\n<Preferred>\n<Version>2012-11-30</Version>\n"
    "</Preferred>\n<Supported>\n<Version>2012-11-30</Version>\n<Version>2011-10-13</Version>\n</Supported>\n"
    "</Versions>\n";

nlohmann::json last_line(const FabricProgram &fabric) {
  return nlohmann::json::parse(fabric.journal().back());
}

TEST(Faults, WithoutOneTheAnswerIsWhole) {
  FabricProgram fabric("{}");
  Reply reply = versions(fabric);
  EXPECT_EQ(reply.raw,
            "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: 202\r\n"
            "Connection: keep-alive\r\n\r\n" +
                kVersions);
  EXPECT_EQ(last_line(fabric)["fault"], nullptr);
}

TEST(Faults, RefuseClosesAConnectionUnread) {
  FabricProgram fabric(R"({"fabric":{"faults":[{"name":"door","kind":"refuse","occurrence":2,"times":1}]}})");
  EXPECT_EQ(versions(fabric).status, 200);
  Reply refused = versions(fabric);
  EXPECT_EQ(refused.raw, "");
  EXPECT_FALSE(refused.timed_out);
  EXPECT_EQ(versions(fabric).status, 200);
  auto line = nlohmann::json::parse(fabric.journal()[1]);
  EXPECT_EQ(line["fault"], "door");
  EXPECT_EQ(line["request"]["method"], "");
}

TEST(Faults, CloseReadsAndSaysNothing) {
  FabricProgram fabric(with_fault(R"("kind":"close")"));
  Reply reply = versions(fabric);
  EXPECT_EQ(reply.raw, "");
  EXPECT_FALSE(reply.timed_out);
  EXPECT_EQ(last_line(fabric)["fault"], "it");
  EXPECT_EQ(last_line(fabric)["answer"], nullptr);
}

TEST(Faults, CloseMayComeLater) {
  FabricProgram fabric(with_fault(R"("kind":"close","ms":300)"));
  Reply reply;
  EXPECT_GE(seconds_of([&] { reply = versions(fabric); }), 0.3);
  EXPECT_EQ(reply.raw, "");
  EXPECT_FALSE(reply.timed_out);
}

TEST(Faults, ResetIsAReset) {
  FabricProgram fabric(with_fault(R"("kind":"reset")"));
  Reply reply = versions(fabric);
  EXPECT_TRUE(reply.reset);
  EXPECT_EQ(reply.raw, "");
}

TEST(Faults, ResetMayComeAfterSomeBytes) {
  FabricProgram fabric(with_fault(R"("kind":"reset","bytes":38)"));
  Reply reply = versions(fabric);
  EXPECT_TRUE(reply.reset);
  EXPECT_EQ(reply.body, "<?xml version=\"1.0\" encoding=\"utf-8\"?>");
  EXPECT_THAT(reply.head, HasSubstr("Content-Length: 202\r\n"));
}

TEST(Faults, SilentLastsUntilThePeerGivesUp) {
  FabricProgram fabric(with_fault(R"("kind":"silent")"));
  Reply reply = fabric.exchange("GET http://168.63.129.16/?comp=versions HTTP/1.1\r\n\r\n", 1.0);
  EXPECT_TRUE(reply.timed_out);
  EXPECT_EQ(reply.raw, "");
  EXPECT_EQ(last_line(fabric)["answer"], nullptr);
  EXPECT_EQ(fabric.end(), 0);
}

TEST(Faults, DelayComesBeforeTheFirstByte) {
  FabricProgram fabric(with_fault(R"("kind":"delay","ms":700)"));
  EXPECT_GE(seconds_of([&] { EXPECT_EQ(versions(fabric).body, kVersions); }), 0.7);
}

TEST(Faults, StatusCarriesItsBody) {
  FabricProgram fabric(with_fault(R"("kind":"status","status":503,"body":"busy")"));
  Reply reply = versions(fabric);
  EXPECT_THAT(reply.head, HasSubstr("HTTP/1.1 503 Service Unavailable\r\n"));
  EXPECT_EQ(reply.body, "busy");
  EXPECT_EQ(last_line(fabric)["answer"]["status"], 503);
}

TEST(Faults, EmptyAndHtmlAreAnsweredWith200) {
  FabricProgram empty(with_fault(R"("kind":"empty")"));
  EXPECT_EQ(versions(empty).status, 200);
  EXPECT_EQ(versions(empty).body, "");
  FabricProgram html(with_fault(R"("kind":"html")"));
  EXPECT_EQ(versions(html).status, 200);
  EXPECT_THAT(versions(html).body, HasSubstr("<!DOCTYPE html>"));
}

TEST(Faults, CutKeepsOrCutsTheLength) {
  FabricProgram full(with_fault(R"("kind":"cut","bytes":5)"));
  Reply reply = versions(full);
  EXPECT_THAT(reply.head, HasSubstr("Content-Length: 202\r\n"));
  EXPECT_EQ(reply.body, "<?xml");
  EXPECT_FALSE(reply.timed_out);
  FabricProgram cut(with_fault(R"("kind":"cut","contentLength":"cut")"));
  reply = versions(cut);
  EXPECT_THAT(reply.head, HasSubstr("Content-Length: 101\r\n"));
  EXPECT_EQ(reply.body, kVersions.substr(0, 101));
}

TEST(Faults, WrongLengthTellsMoreThanComes) {
  FabricProgram fabric(with_fault(R"("kind":"wrong-length","lengthChange":9)"));
  Reply reply = versions(fabric);
  EXPECT_THAT(reply.head, HasSubstr("Content-Length: 211\r\n"));
  EXPECT_EQ(reply.body, kVersions);
}

TEST(Faults, OmitElementTakesItOutAndTheAgentIsNotHeldToIt) {
  FabricProgram fabric(
      R"({"fabric":{"faults":[{"kind":"omit-element","element":"ContainerId","target":"*comp=goalstate"}]}})");
  EXPECT_THAT(fabric.get("/machine/?comp=goalstate", kAgent).body, Not(HasSubstr("ContainerId")));
  EXPECT_THAT(fabric.post("/machine/?comp=health", kAgentPost, "<Health/>").status, 400);
  EXPECT_THAT(fabric.get("/machine/?comp=goalstate", kAgent).body, HasSubstr("<ContainerId>"));
}

TEST(Faults, DripIsSlowAndWhole) {
  FabricProgram fabric(with_fault(R"("kind":"drip","bytes":50,"ms":200)"));
  EXPECT_GE(seconds_of([&] { EXPECT_EQ(versions(fabric).body, kVersions); }), 1.0);
}

TEST(Faults, GarbageIsNoHttp) {
  FabricProgram fabric(with_fault(R"("kind":"garbage","bytes":100)"));
  Reply reply = versions(fabric);
  EXPECT_EQ(reply.status, 0);
  EXPECT_EQ(reply.raw.size(), 100u);
  FabricProgram body(with_fault(R"("kind":"garbage-body","bytes":100)"));
  reply = versions(body);
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body.size(), 100u);
  EXPECT_EQ(reply.body.find('<'), std::string::npos);
  EXPECT_TRUE(last_line(body)["answer"].contains("bodyBase64"));
}

TEST(Faults, HugeIsHuge) {
  FabricProgram fabric(with_fault(R"("kind":"huge","megabytes":3)"));
  Reply reply = versions(fabric);
  EXPECT_EQ(reply.body.size(), 202u + 3 * 1024 * 1024);
  EXPECT_EQ(last_line(fabric)["answer"]["bodyLength"], 202 + 3 * 1024 * 1024);
}

TEST(Faults, OccurrenceAndTimesCountWhatFits) {
  FabricProgram fabric(R"({"fabric":{"faults":[
    {"name":"second","kind":"status","status":500,"target":"*versions","occurrence":2,"times":2},
    {"name":"posts","kind":"status","status":403,"method":"POST","times":0}]}})");
  EXPECT_EQ(versions(fabric).status, 200);
  EXPECT_EQ(fabric.get("/machine/?comp=goalstate", kAgent).status, 200);
  EXPECT_EQ(versions(fabric).status, 500);
  EXPECT_EQ(fabric.post("/machine/?comp=health", kAgentPost, "").status, 403);
  EXPECT_EQ(versions(fabric).status, 500);
  EXPECT_EQ(versions(fabric).status, 200);
  auto state = nlohmann::json::parse(fabric.control("GET", "/_fabric/state").body);
  EXPECT_EQ(state["faults"][0]["seen"], 4);
  EXPECT_EQ(state["faults"][0]["applied"], 2);
  EXPECT_EQ(state["faults"][1]["applied"], 1);
}

TEST(Faults, CanBeAddedDisabledAndRemovedWhileItRuns) {
  FabricProgram fabric("{}");
  EXPECT_EQ(fabric.control("POST", "/_fabric/fault", R"({"name":"x","kind":"status","status":404,"times":0})").status,
            200);
  EXPECT_EQ(versions(fabric).status, 404);
  fabric.control("POST", "/_fabric/fault", R"({"disable":"x"})");
  EXPECT_EQ(versions(fabric).status, 200);
  fabric.control("POST", "/_fabric/fault", R"({"enable":"x"})");
  EXPECT_EQ(versions(fabric).status, 404);
  fabric.control("POST", "/_fabric/fault", R"({"remove":"x"})");
  EXPECT_EQ(versions(fabric).status, 200);
  EXPECT_EQ(fabric.control("POST", "/_fabric/fault", R"({"remove":"x"})").status, 404);
  Reply bad = fabric.control("POST", "/_fabric/fault", R"({"kind":"status","colour":1})");
  EXPECT_EQ(bad.status, 400);
  EXPECT_THAT(bad.body, HasSubstr("fault: unknown key \"colour\""));
}

TEST(Listening, StopsAndStartsByControl) {
  FabricProgram fabric("{}");
  EXPECT_EQ(fabric.control("POST", "/_fabric/listen", R"({"listening":false})").status, 200);
  EXPECT_EQ(fabric.connect_to(), -1);
  EXPECT_EQ(nlohmann::json::parse(fabric.control("GET", "/_fabric/state").body)["listening"], false);
  EXPECT_EQ(fabric.control("POST", "/_fabric/listen", R"({"listening":true})").status, 200);
  EXPECT_EQ(versions(fabric).status, 200);
}

TEST(Listening, ComesBackByItself) {
  FabricProgram fabric("{}");
  EXPECT_EQ(fabric.exchange("POST /_fabric/listen HTTP/1.1\r\nContent-Length: 19\r\n\r\n{\"listening\":false}").status,
            400);
  fabric.control("POST", "/_fabric/listen", R"({"listening":false,"ms":2000})");
  EXPECT_EQ(fabric.connect_to(), -1);
  int fd = -1;
  for (int i = 0; i < 3000 && (fd = fabric.connect_to()) < 0; i++) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_GE(fd, 0);
  close(fd);
  EXPECT_EQ(versions(fabric).status, 200);
}

TEST(Listening, AFaultMayStopIt) {
  FabricProgram fabric(R"({"fabric":{"faults":[{"kind":"not-listening","target":"*versions","ms":60000}]}})");
  EXPECT_EQ(versions(fabric).status, 200);
  for (int i = 0; i < 3000; i++) {
    int fd = fabric.connect_to();
    if (fd < 0) break;
    close(fd);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(fabric.connect_to(), -1);
  EXPECT_EQ(fabric.control("POST", "/_fabric/listen", R"({"listening":true})").status, 200);
  EXPECT_EQ(versions(fabric).status, 200);
}

}  // namespace
}  // namespace kelvane::fabric_test
