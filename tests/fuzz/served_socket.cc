#include "tests/fuzz/served_socket.h"

#include <curl/curl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>

#include "tests/fuzz/properties.h"

extern "C" CURL *__real_curl_easy_init();
extern "C" CURL *__wrap_curl_easy_init();

namespace {

constexpr char kLaterAnswer[] = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

std::string answer;
int other_end = -1;

curl_socket_t connected(void *, curlsocktype, curl_sockaddr *) {
  int ends[2] = {-1, -1};
  fuzz::require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there is a socket pair");
  const auto length = static_cast<ssize_t>(answer.size());
  fuzz::require(send(ends[1], answer.data(), answer.size(), MSG_NOSIGNAL) == length, "the answer has room");
  answer = kLaterAnswer;
  shutdown(ends[1], SHUT_WR);
  if (other_end >= 0) {
    close(other_end);
  }
  other_end = ends[1];
  return ends[0];
}

}  // namespace

// In place of the C library's, for libcurl: what it opens is connected. Not every version takes that from a callback.
extern "C" int connect(int, const sockaddr *, socklen_t) {
  return 0;
}

CURL *__wrap_curl_easy_init() {
  CURL *handle = __real_curl_easy_init();
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);  // it would set handlers of signals for every step
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, connected);
  return handle;
}

void fuzz::answer_requests_with(const std::string &bytes) {
  answer = bytes.substr(0, 100000);
}

std::pair<int32_t, std::string> fuzz::asked(int32_t (*ask)(const char *, curl_slist *, kelvane::Buffer *, int64_t *)) {
  kelvane::BufferOwner body;
  int64_t status = 0;
  const int32_t result = ask("http://127.0.0.1/", nullptr, body.get(), &status);
  return {result, body.empty() ? "" : std::string(body.data(), body.length())};
}

bool fuzz::in_chunks(const std::string &bytes) {
  std::string lower = bytes;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return lower.find("transfer-encoding") != std::string::npos;
}
