// The wrapped request: one trace line for each transfer that the agent performs, after it, with libcurl's result and
// the HTTP status. Faults match the URL.
#include <curl/curl.h>

#include "tools/sandbox/world.h"

extern "C" {
CURLcode __real_curl_easy_perform(CURL *handle);
CURLcode __wrap_curl_easy_perform(CURL *handle);
}

namespace {

std::string text_info(CURL *handle, CURLINFO what) {
  char *text = nullptr;
  curl_easy_getinfo(handle, what, &text);
  return text != nullptr ? text : "";
}

}  // namespace

CURLcode __wrap_curl_easy_perform(CURL *handle) {
  sandbox::World &w = sandbox::world();
  if (!w.agent_calls()) {
    return __real_curl_easy_perform(handle);
  }
  const std::string url = text_info(handle, CURLINFO_EFFECTIVE_URL);
  const int fault = w.strike("request", "request", url);
  if (fault != 0) {
    w.trace.line("request " + url + " fails as planned = " + std::to_string(fault));
    return static_cast<CURLcode>(fault);
  }
  const CURLcode result = __real_curl_easy_perform(handle);
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  w.trace.line("request " + text_info(handle, CURLINFO_EFFECTIVE_METHOD) + " " + url + " = " + std::to_string(result) +
               " " + std::to_string(status));
  return result;
}
