#include "tests/scenario/run/cloud.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace scenario {
namespace {

// Port 1 of the loopback address: nobody listens there.
constexpr const char *kNobody = "http://127.0.0.1:1";

// The fabric's own tests look for its leaks; here only its verdict counts.
constexpr const char *kNoLeakCheck = "ASAN_OPTIONS=detect_leaks=0";

// Not "events": in the expectations of a run these are the trace's, and the fabric's are "telemetry".
constexpr std::array kExpectations = {"violations", "requests",  "requestOrder",   "status",     "blobs",
                                      "health",     "telemetry", "roleProperties", "goalStates", "metadata"};

std::string read_port(const std::string &file) {
  std::ifstream stream(file);
  std::string port;
  return stream && std::getline(stream, port) ? port : "";
}

size_t collect(char *data, size_t size, size_t count, void *out) {
  static_cast<std::string *>(out)->append(data, size * count);
  return size * count;
}

// With a body it is a POST.
std::string request(const std::string &url, const std::string *sent) {
  std::string body;
  CURL *handle = curl_easy_init();
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  curl_easy_setopt(handle, CURLOPT_TIMEOUT, 10L);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, collect);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
  if (sent != nullptr) {
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, sent->c_str());
  }
  const CURLcode result = curl_easy_perform(handle);
  curl_easy_cleanup(handle);
  return result == CURLE_OK ? body : std::string("no answer: ") + curl_easy_strerror(result);
}

std::string get(const std::string &url) {
  return request(url, nullptr);
}

}  // namespace

Cloud::Cloud(const std::string &program, const std::string &scenario_file, const std::string &artifacts)
    : artifacts_(artifacts) {
  std::filesystem::remove_all(artifacts);
  std::filesystem::create_directories(artifacts);
  const std::string port_file = artifacts + "/port";
  process_ = std::make_unique<Process>(
      std::vector<std::string>{"/usr/bin/env", kNoLeakCheck, program, "--scenario", scenario_file, "--port-file",
                               port_file, "--journal", artifacts + "/journal.jsonl", "--artifacts", artifacts,
                               "--debug-keys"},
      artifacts + "/fabric.out", artifacts + "/fabric.err");
  for (int i = 0; i < 12000 && port_.empty() && process_->running(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    port_ = read_port(port_file);
  }
  if (port_.empty()) {
    throw std::runtime_error("the fabric does not start; see " + artifacts + "/fabric.err");
  }
}

std::string Cloud::proxy() const {
  return port_.empty() ? kNobody : "http://127.0.0.1:" + port_;
}

std::string Cloud::media() const {
  return port_.empty() ? "" : artifacts_ + "/media";
}

std::string Cloud::ask(const std::string &path) const {
  return get(proxy() + path);
}

std::string Cloud::tell(const std::string &path, const std::string &body) const {
  return request(proxy() + path, &body);
}

std::string Cloud::verdict() {
  if (process_ == nullptr) {
    return "";
  }
  const std::string words = get(proxy() + "/_fabric/verdict");
  const int status = process_->terminate(20);
  return status == 0 ? "" : "  the fabric's verdict (exit status " + std::to_string(status) + "):\n" + words + "\n";
}

bool is_cloud_expectation(const std::string &key) {
  return std::find(kExpectations.begin(), kExpectations.end(), key) != kExpectations.end();
}

}  // namespace scenario
