// The model of the cloud: what it wants of the appliance, the documents that say so, and its answer to each request,
// three in ten of them faulty in one of many ways. Answers are made in memory; nothing blocks, only the clock moves.
#ifndef KELVANE_TESTS_SIMULATE_CLOUD_H
#define KELVANE_TESTS_SIMULATE_CLOUD_H

#include <curl/curl.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/simulate/world.h"

namespace simulate {

// The first revision of a new world, and the next one: something of the current one changes.
void cloud_begin();
void cloud_publish();

enum class Method { kGet, kHead, kPost, kPut };

struct Request {
  std::string_view url;
  Method method;
  bool fail_on_error;
  std::string_view body;  // of a POST or PUT
};

struct Reply {
  CURLcode result;
  long code;
  std::string_view header;  // the one that the agent may look at; empty for none
  std::string_view body;    // lent until the next answer
};

// Answers a request, takes the time that it takes, and lets the view of the agent's knowledge follow what it was given.
Reply cloud_answer(const Request &request);

// The command that CustomScript finds in these settings, empty for none; and the identifier that it configures.
std::string command_of(const Wanted &wanted);
std::string appliance_of(const Wanted &wanted);

}  // namespace simulate

#endif
