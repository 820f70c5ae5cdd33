// The model of the cloud: its answer to each request. Here are the wire server and the storage service; the metadata
// service has its own file. Answers are made in memory; nothing blocks, only the clock moves.
#ifndef KELVANE_TESTS_SIMULATE_CLOUD_H
#define KELVANE_TESTS_SIMULATE_CLOUD_H

#include <curl/curl.h>

#include <cstdint>
#include <string_view>

#include "tests/simulate/world.h"

namespace simulate {

enum class Method { kGet, kHead, kPost, kPut };

struct Request {
  std::string_view url;
  Method method;
  bool fail_on_error;
  long timeout;  // in seconds, 0 for none
  const curl_slist *headers;
  std::string_view body;  // of a POST or PUT
};

struct Reply {
  CURLcode result;
  long code;
  std::string_view header;  // the one that the agent may look at; empty for none
  std::string_view body;    // lent until the next answer
};

// What follows this beginning of one of the request's header lines; empty for none.
std::string_view header_value(const Request &request, std::string_view beginning);

// What is encrypted for the appliance is asked for with its certificate, in the header line of this beginning, but in a
// life that could make none.
void check_transport_certificate(const Request &request, std::string_view beginning);

// Answers a request, and takes the time that it takes.
Reply cloud_answer(const Request &request);

struct Route {
  const char *part;  // of the address
  Reply (*answer)(const Request &request);
};

}  // namespace simulate

#endif
