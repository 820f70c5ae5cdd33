// The records of one HTTP exchange and the questions one asks of them. Made by the request reader and the services,
// read by everyone else; plain values, nothing blocks, nothing fails. What goes over the wire is not known here.
#ifndef KELVANE_TOOLS_FABRIC_HTTP_H
#define KELVANE_TOOLS_FABRIC_HTTP_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::fabric {

struct Header {
  std::string name;
  std::string value;
  std::string separator = ": ";  // as it is sent
};

// One request as it came: the headers in their order, spelled as they came.
struct Request {
  std::string method;
  std::string target;
  std::vector<Header> headers;
  std::string body;
  bool keep_alive = false;
  std::string defect;  // why it could not be read to its end; empty when it could
};

// One answer as it is meant; Content-Length and Connection are added where it is put on the wire.
struct Answer {
  int status = 200;
  std::vector<Header> headers = {};
  std::string body = {};
  bool goal_state = false;  // it carries the current goal state
  // What comes true when it reaches the agent whole, and does not when it does not: the report was taken, the blob
  // is written. Called once at the most, under the fabric's lock.
  std::function<void()> delivered = {};
};

// A request target in its pieces. `host` is without the port; empty when neither the target nor Host names one.
struct Target {
  std::string host;
  std::string path;
  std::string query;
};

// The first header of that name in any letter case, or none.
const std::string *find_header(const std::vector<Header> &headers, std::string_view name);

// Takes the target apart; absolute form wins over the Host header.
Target split_target(const Request &request);

// The value of one query parameter, not decoded; none when it is absent.
std::optional<std::string> query_value(const Target &target, std::string_view key);

// An answer with a text body (text/plain).
Answer text_answer(int status, std::string body);

// An answer with an XML document.
Answer xml_answer(std::string body);

// An answer with a JSON document.
Answer json_answer(std::string body);

// The empty answer to a report, which is taken once it has arrived.
Answer taken_answer(std::function<void()> take);

// The usual words for a status ("Not Found"), "Unknown" for others.
std::string_view reason_of(int status);

}  // namespace kelvane::fabric

#endif
