// What the events of the script do.
#include <curl/curl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "platform/platform.h"
#include "tools/sandbox/records.h"
#include "tools/sandbox/world.h"

extern "C" {
int __real_kill(pid_t pid, int signal);
CURLcode __real_curl_easy_perform(CURL *handle);
}

namespace sandbox {
namespace {

// Writes fields of one record through a query of our own: a query of the agent's is not disturbed.
void change_record(uint32_t table_number, const std::string &key, const nlohmann::json &fields) {
  const RecordTable *table = record_table(table_number);
  if (table == nullptr || table->parent != 0) {
    throw std::runtime_error("no table " + std::to_string(table_number) + " to set");
  }
  cmf_query *query = cmf_query_create(table_number);
  void *record = nullptr;
  if (query != nullptr) {
    record = table->single ? cmf_query_update(query) : cmf_query_do_table_find(query, 0, key.c_str(), 2);
  }
  int32_t result = -1;
  if (record != nullptr) {
    std::vector<char> old_record(static_cast<char *>(record), static_cast<char *>(record) + table->size);
    std::vector<char> new_record = old_record;
    record_set(*table, new_record.data(), fields);
    result = __nCfg_sess_table_change_by_mkey(0, table_number, old_record.data(), new_record.data(), 0);
  }
  cmf_query_free(query);
  if (result != 0) {
    throw std::runtime_error("cannot change table " + std::to_string(table_number) + " record '" + key + "'");
  }
}

void set_endpoint(const nlohmann::json &event) {
  change_record(NCFG_TABLE_INTERFACES, "port1", {{"AzureEndpoint", event["endpoint"]}});
}

void set_fields(const nlohmann::json &event) {
  const nlohmann::json &set = event["set"];
  change_record(set.at("table").get<uint32_t>(), set.value("key", std::string()), set.at("fields"));
}

ncfg_debug_zone &zone() {
  if (nCfg_debug_zone == nullptr) {
    throw std::runtime_error("there is no debug record");
  }
  return *nCfg_debug_zone;
}

void test_command(const nlohmann::json &event) {
  zone().test_command = event["command"].get<uint32_t>();
  __real_kill(getpid(), SIGUSR2);
}

void debug_level(const nlohmann::json &event) {
  zone().agent_debug_level = event["debug_level"].get<int32_t>();
}

void media(const nlohmann::json &event) {
  world().media.set_type(event["media"].get<std::string>());
}

size_t discard(char *, size_t size, size_t count, void *) {
  return size * count;
}

void control_request(const nlohmann::json &event) {
  std::string url = event["url"].get<std::string>();
  if (!url.empty() && url[0] == '/') {
    url = world().options.proxy + url;
  }
  const std::string method = event.value("method", std::string("POST"));
  const std::string body = event.contains("body") ? event["body"].dump() : std::string();
  CURL *handle = curl_easy_init();
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  curl_easy_setopt(handle, CURLOPT_TIMEOUT, 10L);
  curl_easy_setopt(handle, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, discard);
  if (method != "GET") {
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, method.c_str());
  }
  const CURLcode result = __real_curl_easy_perform(handle);
  curl_easy_cleanup(handle);
  if (result != CURLE_OK) {
    throw std::runtime_error(method + " " + url + ": " + curl_easy_strerror(result));
  }
}

std::string below_root(const nlohmann::json &path) {
  return world().paths.map(path.get<std::string>());
}

void write_file(const nlohmann::json &event) {
  std::ofstream file(below_root(event["write"]), std::ios::binary | std::ios::trunc);
  file << event.value("text", std::string());
  file.close();
  if (!file) {
    throw std::runtime_error("cannot write " + event["write"].get<std::string>());
  }
}

void remove_file(const nlohmann::json &event) {
  std::filesystem::remove_all(below_root(event["remove"]));
}

void send_signal(const nlohmann::json &event) {
  __real_kill(getpid(), event["kill"].get<int>());
}

struct Action {
  const char *name;
  void (*perform)(const nlohmann::json &event);
};

constexpr Action kActions[] = {
    {"endpoint", set_endpoint},   {"set", set_fields},     {"command", test_command},
    {"debug_level", debug_level}, {"media", media},        {"url", control_request},
    {"write", write_file},        {"remove", remove_file}, {"kill", send_signal},
};

}  // namespace

void perform_event(const nlohmann::json &event) {
  const NotTheAgent inside(world().trace);
  try {
    for (const Action &action : kActions) {
      if (event.contains(action.name)) {
        action.perform(event);
      }
    }
  } catch (const std::exception &error) {
    std::fprintf(stderr, "kelvane-sandbox: the script's event %s: %s\n", event.dump().c_str(), error.what());
    std::fflush(nullptr);
    std::_Exit(3);
  }
}

}  // namespace sandbox
