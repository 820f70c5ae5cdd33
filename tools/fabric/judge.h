// The strictness of the wire server: looks at one request and says what is not as it must be. Called by the services;
// pure, nothing blocks, nothing throws. It never changes the request and never decides on the answer.
#ifndef KELVANE_TOOLS_FABRIC_JUDGE_H
#define KELVANE_TOOLS_FABRIC_JUDGE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tools/fabric/http.h"
#include "tools/fabric/ssl.h"

namespace kelvane::fabric {

struct Violation {
  std::string what;
  std::string expected;
  std::string came;
};

struct Judgement {
  std::vector<Violation> violations;

  bool held() const { return violations.empty(); }
  void add(std::string what, std::string expected, std::string came);
  // One line for each violation, for the answer's body.
  std::string explanation() const;
};

// What the agent was told by the goal states it was given, by the name of the element.
using Known = std::map<std::string, std::string>;

// What a report said, taken out while it was judged.
struct HealthReport {
  std::string state;
  std::string substatus;
  std::string description;
};

// One telemetry event, as its parameters tell it.
struct Event {
  std::string name;
  std::string operation;
  bool success = false;
  std::string version;
  std::string message;
  int64_t duration = 0;
};

// A header that must be there once, with exactly that value.
void judge_header(const Request &request, const std::string &name, const std::string &value, Judgement &judgement);

void judge_method(const Request &request, const std::string &method, Judgement &judgement);

// The agent's name and the protocol version, which every request but the one for the versions carries.
void judge_agent_headers(const Request &request, Judgement &judgement);

// The type of a posted document, as every POST carries it.
void judge_content_type(const Request &request, Judgement &judgement);

// The two headers of a request for certificates. Returns the certificate, or none when there is a violation.
X509Ptr judge_certificate_headers(const Request &request, Judgement &judgement);

// The header of that name carries a certificate. Returns it, or none when there is a violation.
X509Ptr judge_certificate(const Request &request, const std::string &name, Judgement &judgement);

// A GET has no body.
void judge_no_body(const Request &request, Judgement &judgement);

// The posted documents: well-formed, exactly the elements they must have, the values the agent was told.
HealthReport judge_health(const std::string &body, const Known &known, Judgement &judgement);
std::string judge_role_properties(const std::string &body, const Known &known, Judgement &judgement);
// The container of an event is one of `container_ids`, or none.
std::vector<Event> judge_telemetry(const std::string &body, const std::vector<std::string> &container_ids,
                                   Judgement &judgement);

}  // namespace kelvane::fabric

#endif
