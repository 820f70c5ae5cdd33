// The strictness of the wire server, request by request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/fabric/fabric_program.h"

namespace kelvane::fabric_test {
namespace {

using ::testing::HasSubstr;

// One fabric for all of them: it keeps nothing from a refused request.
class Judge : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    fabric = new FabricProgram("{}");
    fabric->get("/machine/?comp=goalstate", kAgent);
  }
  static void TearDownTestSuite() { delete fabric; }

  static Reply health(const std::string &body) { return fabric->post("/machine/?comp=health", kAgentPost, body); }
  static Reply role_properties(const std::string &body) {
    return fabric->post("/machine/?comp=roleProperties", kAgentPost, body);
  }
  static Reply certificates(const std::string &headers) {
    return fabric->get(
        "/machine/7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27/kelvane-role_IN_0?comp=certificates&incarnation=1",
        kAgent + headers);
  }

  static FabricProgram *fabric;
};

FabricProgram *Judge::fabric = nullptr;

std::string replaced(std::string text, const std::string &from, const std::string &to) {
  size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

const std::string kNotReady =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Health xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><GoalStateIncarnation>1</GoalStateIncarnation><Container>"
    "<ContainerId>7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27</ContainerId><RoleInstanceList><Role>"
    "<InstanceId>kelvane-role_IN_0</InstanceId><Health><State>NotReady</State><Details><SubStatus>Provisioning"
    "</SubStatus><Description>Starting</Description></Details></Health></Role></RoleInstanceList></Container></Health>";

const std::string kRoleProperties =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><RoleProperties><Container>"
    "<ContainerId>7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27</ContainerId><RoleInstances><RoleInstance>"
    "<Id>kelvane-role_IN_0</Id><Properties><Property name=\"CertificateThumbprint\" value=\"1234ab\" /></Properties>"
    "</RoleInstance></RoleInstances></Container></RoleProperties>";

TEST_F(Judge, TakesTheReportsOfAGoodAgent) {
  EXPECT_EQ(health(kNotReady).status, 200);
  std::string ready = replaced(
      kNotReady, "<Details><SubStatus>Provisioning</SubStatus><Description>Starting</Description></Details>", "");
  EXPECT_EQ(health(replaced(ready, "NotReady", "Ready")).status, 200);
  EXPECT_EQ(role_properties(kRoleProperties).status, 200);
  EXPECT_EQ(role_properties(replaced(kRoleProperties, "1234ab", "")).status, 200);
}

TEST_F(Judge, TellsWhatWasExpectedAndWhatCame) {
  Reply reply = fabric->get("/machine/?comp=goalstate", "x-ms-agent-name: TorvikGuest\r\nx-ms-version: 2011\r\n");
  EXPECT_EQ(reply.status, 400);
  EXPECT_EQ(reply.body, "header x-ms-version: expected \"2012-11-30\", came \"2011\"\n");
  auto line = nlohmann::json::parse(fabric->journal().back());
  EXPECT_EQ(line["judgement"]["held"], false);
  EXPECT_EQ(line["judgement"]["violations"][0]["what"], "header x-ms-version");
  EXPECT_EQ(line["judgement"]["violations"][0]["expected"], "\"2012-11-30\"");
  EXPECT_EQ(line["judgement"]["violations"][0]["came"], "\"2011\"");
}

TEST_F(Judge, RefusesAMissingAgentName) {
  EXPECT_EQ(fabric->get("/machine/?comp=goalstate", "x-ms-version: 2012-11-30\r\n").body,
            "header x-ms-agent-name: expected \"TorvikGuest\", came no such header\n");
}

TEST_F(Judge, RefusesOtherMethods) {
  EXPECT_EQ(fabric->post("/machine/?comp=goalstate", kAgent, "").body, "method: expected GET, came POST\n");
  EXPECT_THAT(fabric->get("/machine/?comp=health", kAgentPost).body, HasSubstr("method: expected POST, came GET\n"));
  EXPECT_EQ(fabric->exchange("DELETE /?comp=versions HTTP/1.1\r\nHost: x\r\n\r\n").status, 502);
  EXPECT_EQ(fabric->exchange("DELETE /?comp=versions HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n").status, 400);
}

TEST_F(Judge, RefusesAGetWithABody) {
  EXPECT_EQ(fabric->exchange("GET /?comp=versions HTTP/1.1\r\nContent-Length: 2\r\n\r\nhi").body,
            "body: expected none, came 2 bytes\n");
}

TEST_F(Judge, KnowsNoOtherDocuments) {
  EXPECT_EQ(fabric->get("/machine/?comp=nothing", kAgent).status, 404);
  EXPECT_EQ(fabric->get("/other?comp=versions", kAgent).status, 404);
}

TEST_F(Judge, WantsTheContentTypeOfPosts) {
  EXPECT_EQ(fabric->post("/machine/?comp=health", kAgent, kNotReady).body,
            "header Content-Type: expected \"text/xml;charset=utf-8\", came no such header\n");
  EXPECT_EQ(
      fabric->post("/machine/?comp=health", std::string(kAgent) + "Content-Type: application/json\r\n", kNotReady).body,
      "header Content-Type: expected \"text/xml;charset=utf-8\", came \"application/json\"\n");
}

TEST_F(Judge, WantsTheValuesOfTheGoalState) {
  EXPECT_EQ(health(replaced(kNotReady, ">1<", ">2<")).body,
            "/Health/GoalStateIncarnation: expected \"1\", came \"2\"\n");
  EXPECT_EQ(health(replaced(kNotReady, "7f0c", "8f0c")).body,
            "/Health/Container/ContainerId: expected \"7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27\", came "
            "\"8f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27\"\n");
  EXPECT_EQ(role_properties(replaced(kRoleProperties, "role_IN_0", "role_IN_1")).body,
            "/RoleProperties/Container/RoleInstances/RoleInstance/Id: expected \"kelvane-role_IN_0\", came "
            "\"kelvane-role_IN_1\"\n");
}

TEST_F(Judge, WantsExactlyTheElements) {
  EXPECT_EQ(health(replaced(kNotReady, "<SubStatus>Provisioning</SubStatus>", "")).body,
            "/Health/Container/RoleInstanceList/Role/Health/Details: expected <SubStatus> here, came <Description>\n");
  EXPECT_EQ(health(replaced(kNotReady, "</Container></Health>", "</Container><More/></Health>")).body,
            "/Health: expected nothing more, came <More>\n");
  EXPECT_EQ(health(replaced(kNotReady, "<Container>", "\n<Container>")).body,
            "/Health: expected <Container> here, came text \"?\"\n");
  EXPECT_EQ(health(kRoleProperties).body, "body: expected <Health>, came <RoleProperties>\n");
  EXPECT_EQ(health(replaced(kNotReady, ">NotReady<", ">Sleepy<")).body,
            "/Health/Container/RoleInstanceList/Role/Health/State: expected \"NotReady\" or \"Ready\", came "
            "\"Sleepy\"\n");
}

TEST_F(Judge, WantsExactlyTheAttributes) {
  EXPECT_EQ(role_properties(replaced(kRoleProperties, "CertificateThumbprint", "Thumbprint")).body,
            "attributes of /RoleProperties/Container/RoleInstances/RoleInstance/Properties/Property: expected \" "
            "name=\"CertificateThumbprint\" value=\"*\"\", came \" name=\"Thumbprint\" value=\"*\"\"\n");
  EXPECT_THAT(health(replaced(kNotReady, "XMLSchema-instance", "XMLSchema-other")).body,
              HasSubstr("attributes of /Health: expected"));
}

TEST_F(Judge, WantsWellFormedXml) {
  EXPECT_THAT(health(replaced(kNotReady, "</Health></Role>", "</Role>")).body,
              HasSubstr("body: expected a well-formed XML document in UTF-8, came "));
  EXPECT_EQ(health(replaced(kNotReady, "Starting", "this & that")).body,
            "body: expected a well-formed XML document in UTF-8, came a bare ampersand\n");
  EXPECT_EQ(health(replaced(kNotReady, "Starting", "\xff")).body,
            "body: expected a well-formed XML document in UTF-8, came bytes that are not UTF-8\n");
  EXPECT_EQ(health(replaced(kNotReady, "Starting", "this &amp; that")).status, 200);
  EXPECT_THAT(health(replaced(kNotReady, " encoding=\"utf-8\"", "")).body, HasSubstr("body: expected to begin with"));
  EXPECT_EQ(health("").status, 400);
}

TEST_F(Judge, WantsTheUriOfTheGoalState) {
  EXPECT_THAT(fabric->get("/machine/other/instance?comp=config&type=extensionsConfig&incarnation=1", kAgent).body,
              HasSubstr("target: expected "));
  FabricProgram fresh("{}");
  EXPECT_THAT(fresh.get("/machine/a/b?comp=certificates&incarnation=1", kAgent).body,
              HasSubstr("target: expected a goal state to be asked for first, came"));
  EXPECT_THAT(fresh.post("/machine/?comp=health", kAgentPost, kNotReady).body,
              HasSubstr("expected \"(a goal state was never delivered with this)\", came \"1\""));
}

TEST_F(Judge, WantsACertificateWithTheRequestForCertificates) {
  EXPECT_THAT(certificates("").body, HasSubstr("header x-ms-cipher-name: expected \"DES_EDE3_CBC\", came no such"));
  EXPECT_THAT(certificates("").body, HasSubstr("header x-ms-guest-agent-public-x509-cert: expected a self-signed RSA"));
  EXPECT_EQ(certificates("x-ms-cipher-name: DES_EDE3_CBC\r\nx-ms-guest-agent-public-x509-cert: AAAA\r\n").body,
            "header x-ms-guest-agent-public-x509-cert: expected a self-signed RSA certificate, its DER in base64 on "
            "one line, came no certificate: \"AAAA\"\n");
}

TEST_F(Judge, RefusesACertificateThatIsNotItsOwnIssuer) {
  TempDir folder;
  const std::string at = folder.path();
  run_command("cd " + at +
              " && openssl req -x509 -newkey rsa:2048 -nodes -keyout k1 -out c1 -subj /CN=A -days 2 && "
              "openssl req -newkey rsa:2048 -nodes -keyout k2 -out r2 -subj /CN=A && "
              "openssl x509 -req -in r2 -CA c1 -CAkey k1 -CAcreateserial -out c2 -days 2");
  std::string cert = run_command("openssl x509 -in " + at + "/c2 -outform DER | base64 -w0");
  EXPECT_THAT(
      certificates("x-ms-cipher-name: DES_EDE3_CBC\r\nx-ms-guest-agent-public-x509-cert: " + cert + "\r\n").body,
      HasSubstr("came another certificate: "));
}

TEST_F(Judge, RefusesWhatIsNoHttp) {
  EXPECT_EQ(fabric->exchange("what is this?\r\n\r\n").status, 400);
  EXPECT_EQ(fabric->exchange("GET / HTTP/1.1\r\nContent-Length: many\r\n\r\n").status, 400);
}

TEST_F(Judge, TellsABodyThatIsCutShort) {
  int fd = fabric->connect_to();
  const std::string bytes = "POST /machine/?comp=health HTTP/1.1\r\nContent-Length: 10\r\n\r\nabc";
  ASSERT_EQ(send(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  shutdown(fd, SHUT_WR);
  EXPECT_EQ(exchange_over(fd, "", 10).body,
            "request: expected a whole HTTP request, came the connection ended after 3 bytes of its body\n");
  close(fd);
}

TEST_F(Judge, JournalKeepsHeadersInTheirOrderAndSpelling) {
  fabric->exchange("GET /?comp=versions HTTP/1.1\r\nX-Two: 2\r\nx-ONE: 1\r\nX-Two: 3\r\n\r\n");
  EXPECT_EQ(nlohmann::json::parse(fabric->journal().back())["request"]["headers"].dump(),
            R"([["X-Two","2"],["x-ONE","1"],["X-Two","3"]])");
}

TEST_F(Judge, KeepsTheConnectionWhenItMay) {
  int fd = fabric->connect_to();
  EXPECT_EQ(exchange_over(fd, "GET /?comp=versions HTTP/1.1\r\n\r\n", 10).status, 200);
  EXPECT_EQ(exchange_over(fd, "GET /?comp=versions HTTP/1.1\r\nConnection: close\r\n\r\n", 10).status, 200);
  EXPECT_EQ(exchange_over(fd, "", 10).timed_out, false);
  close(fd);
}

TEST_F(Judge, LetsAWaitingPeerGoOn) {
  int fd = fabric->connect_to();
  const std::string head = "POST http://168.63.129.16/machine/?comp=health HTTP/1.1\r\n" + std::string(kAgentPost) +
                           "Expect: 100-continue\r\nContent-Length: " + std::to_string(kNotReady.size()) + "\r\n\r\n";
  Reply first = exchange_over(fd, head, 0.5);
  EXPECT_EQ(first.raw, "HTTP/1.1 100 Continue\r\n\r\n");
  EXPECT_EQ(exchange_over(fd, kNotReady, 10).status, 200);
  close(fd);
}

}  // namespace
}  // namespace kelvane::fabric_test
