#include "tests/unit/protocol/spies.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/base/buffer.h"
#include "core/base/json_owners.h"
#include "protocol/http_request.h"
#include "protocol/metadata/metadata_http.h"
#include "protocol/wire/endpoint.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/http_client.h"
#include "protocol/wire/status_blob.h"
#include "protocol/wire/wire_protocol.h"
#include "tests/unit/protocol/allocation_spies.h"

namespace spies {

int refuse_malloc = 0;
int refuse_realloc = 0;
size_t refuse_calloc_of = 0;

Spies &spies() {
  static Spies all;
  return all;
}

namespace {

struct OptionName {
  CURLoption option;
  const char *name;
};

constexpr OptionName kOptionNames[] = {
    {CURLOPT_SSL_VERIFYPEER, "CURLOPT_SSL_VERIFYPEER"},
    {CURLOPT_TIMEOUT, "CURLOPT_TIMEOUT"},
    {CURLOPT_URL, "CURLOPT_URL"},
    {CURLOPT_HTTPGET, "CURLOPT_HTTPGET"},
    {CURLOPT_FAILONERROR, "CURLOPT_FAILONERROR"},
    {CURLOPT_NOBODY, "CURLOPT_NOBODY"},
    {CURLOPT_WRITEFUNCTION, "CURLOPT_WRITEFUNCTION"},
    {CURLOPT_WRITEDATA, "CURLOPT_WRITEDATA"},
    {CURLOPT_HEADERFUNCTION, "CURLOPT_HEADERFUNCTION"},
    {CURLOPT_HEADERDATA, "CURLOPT_HEADERDATA"},
    {CURLOPT_HTTPHEADER, "CURLOPT_HTTPHEADER"},
    {CURLOPT_POST, "CURLOPT_POST"},
    {CURLOPT_INFILESIZE, "CURLOPT_INFILESIZE"},
    {CURLOPT_POSTFIELDSIZE, "CURLOPT_POSTFIELDSIZE"},
    {CURLOPT_POSTFIELDS, "CURLOPT_POSTFIELDS"},
    {CURLOPT_UPLOAD, "CURLOPT_UPLOAD"},
    {CURLOPT_READFUNCTION, "CURLOPT_READFUNCTION"},
    {CURLOPT_READDATA, "CURLOPT_READDATA"},
};

std::string name_of(CURLoption option) {
  for (const OptionName &known : kOptionNames) {
    if (known.option == option) {
      return known.name;
    }
  }
  return "option " + std::to_string(static_cast<int>(option));
}

std::string list_text(const curl_slist *list) {
  std::string text = list == nullptr ? "none" : "";
  for (; list != nullptr; list = list->next) {
    text += std::string(list->data) + (list->next != nullptr ? " | " : "");
  }
  return text;
}

std::string function_text(const void *function) {
  const struct {
    const void *function;
    const char *name;
  } known[] = {
      {reinterpret_cast<const void *>(kelvane::event_curl_recv_cb), "event_curl_recv_cb"},
      {reinterpret_cast<const void *>(kelvane::http_upload_read_cb), "http_upload_read_cb"},
      {reinterpret_cast<const void *>(kelvane::__curl_header_recv_cb), "__curl_header_recv_cb"},
      {reinterpret_cast<const void *>(kelvane::metadata_header_recv_cb), "metadata_header_recv_cb"},
  };
  for (const auto &one : known) {
    if (one.function == function) {
      return one.name;
    }
  }
  return "another function";
}

std::string pointer_text(CURLoption option, const void *pointer) {
  if (option == CURLOPT_URL || option == CURLOPT_POSTFIELDS) {
    return pointer != nullptr ? static_cast<const char *>(pointer) : "none";
  }
  if (option == CURLOPT_HTTPHEADER) {
    return list_text(static_cast<const curl_slist *>(pointer));
  }
  if (option == CURLOPT_READDATA) {
    const auto *upload = static_cast<const kelvane::HttpUpload *>(pointer);
    return std::string(upload->data != nullptr ? upload->data : "none") + " (" + std::to_string(upload->left) + ")";
  }
  if (pointer == nullptr) {
    return "none";
  }
  if (option == CURLOPT_HEADERDATA) {
    return "given";
  }
  return pointer == spies().expected_response ? "response" : "own buffer";
}

bool json_refused() {
  return spies().refuse_json > 0 && --spies().refuse_json == 0;
}

// The status that the attempt which was not made is said to have had; -1 for a real one.
long scripted_status = -1;

}  // namespace

}  // namespace spies

extern "C" {

CURL *__real_curl_easy_init();
void __real_curl_easy_cleanup(CURL *handle);
CURLcode __real_curl_easy_setopt(CURL *handle, CURLoption option, ...);
CURLcode __real_curl_easy_perform(CURL *handle);
CURLcode __real_curl_easy_getinfo(CURL *handle, CURLINFO info, ...);
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *memory, size_t size);
void __real_explicit_bzero(void *memory, size_t size);
curl_slist *__real_curl_slist_append(curl_slist *list, const char *text);
void __real_curl_slist_free_all(curl_slist *list);
int __real_open(const char *path, int flags, ...);
time_t __real_time(time_t *out);
json_object *__real_json_object_new_object();
json_object *__real_json_object_new_array();
json_object *__real_json_object_new_string(const char *text);
json_object *__real_json_object_new_int(int32_t number);
const char *__real_json_object_to_json_string(json_object *value);
json_object *__real_json_tokener_parse_verbose(const char *text, json_tokener_error *error);

CURL *__wrap_curl_easy_init();
void __wrap_curl_easy_cleanup(CURL *handle);
CURLcode __wrap_curl_easy_setopt(CURL *handle, unsigned number, ...);
CURLcode __wrap_curl_easy_perform(CURL *handle);
CURLcode __wrap_curl_easy_getinfo(CURL *handle, unsigned number, ...);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *memory, size_t size);
void __wrap_explicit_bzero(void *memory, size_t size);
void __wrap___explicit_bzero_chk(void *memory, size_t size, size_t room);
curl_slist *__wrap_curl_slist_append(curl_slist *list, const char *text);
void __wrap_curl_slist_free_all(curl_slist *list);
int __wrap_open(const char *path, int flags, ...);
time_t __wrap_time(time_t *out);
json_object *__wrap_json_object_new_object();
json_object *__wrap_json_object_new_array();
json_object *__wrap_json_object_new_string(const char *text);
json_object *__wrap_json_object_new_int(int32_t number);
const char *__wrap_json_object_to_json_string(json_object *value);
json_object *__wrap_json_tokener_parse_verbose(const char *text, json_tokener_error *error);
void __wrap__ZN7kelvane23TelemetrySetContainerIdEPKc(const char *text);
int32_t __wrap__ZN7kelvane20EventHandler_ProcessEv();

CURL *__wrap_curl_easy_init() {
  if (spies::spies().refuse_handles) {
    spies::spies().events.push_back("no handle");
    return nullptr;
  }
  spies::spies().handles_made++;
  spies::spies().handles_open++;
  spies::spies().options.clear();
  return __real_curl_easy_init();
}

void __wrap_curl_easy_cleanup(CURL *handle) {
  spies::spies().handles_open--;
  __real_curl_easy_cleanup(handle);
}

// The option is taken as a number: va_start must not follow an enumeration.
CURLcode __wrap_curl_easy_setopt(CURL *handle, unsigned number, ...) {
  const auto option = static_cast<CURLoption>(number);
  va_list arguments;
  va_start(arguments, number);
  CURLcode result = CURLE_UNKNOWN_OPTION;
  std::string value;
  if (option < CURLOPTTYPE_OBJECTPOINT) {
    const long given = va_arg(arguments, long);
    value = std::to_string(given);
    result = __real_curl_easy_setopt(handle, option, given);
  } else if (option < CURLOPTTYPE_FUNCTIONPOINT) {
    void *pointer = va_arg(arguments, void *);
    value = spies::pointer_text(option, pointer);
    result = __real_curl_easy_setopt(handle, option, pointer);
  } else if (option < CURLOPTTYPE_OFF_T) {
    void (*function)() = va_arg(arguments, void (*)());
    value = spies::function_text(reinterpret_cast<const void *>(function));
    result = __real_curl_easy_setopt(handle, option, function);
  }
  va_end(arguments);
  spies::spies().options.push_back(spies::name_of(option) + " " + value);
  return result;
}

CURLcode __wrap_curl_easy_perform(CURL *handle) {
  spies::spies().performed++;
  spies::spies().events.push_back("perform");
  spies::scripted_status = -1;
  if (spies::spies().attempts.empty()) {
    return __real_curl_easy_perform(handle);
  }
  const spies::Attempt attempt = spies::spies().attempts.front();
  spies::spies().attempts.pop_front();
  spies::scripted_status = attempt.status;
  return static_cast<CURLcode>(attempt.result);
}

CURLcode __wrap_curl_easy_getinfo(CURL *handle, unsigned number, ...) {
  const auto info = static_cast<CURLINFO>(number);
  va_list arguments;
  va_start(arguments, number);
  void *to = va_arg(arguments, void *);
  va_end(arguments);
  if (info == CURLINFO_RESPONSE_CODE && spies::scripted_status >= 0) {
    *static_cast<long *>(to) = spies::scripted_status;
    return CURLE_OK;
  }
  return __real_curl_easy_getinfo(handle, info, to);
}

void *__wrap_malloc(size_t size) {
  if (spies::refuse_malloc > 0 && --spies::refuse_malloc == 0) {
    return nullptr;
  }
  return __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size) {
  return size != 0 && size == spies::refuse_calloc_of ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *memory, size_t size) {
  if (spies::refuse_realloc > 0 && --spies::refuse_realloc == 0) {
    return nullptr;
  }
  return __real_realloc(memory, size);
}

void __wrap_explicit_bzero(void *memory, size_t size) {
  spies::spies().wiped.emplace_back(static_cast<const char *>(memory), size);
  __real_explicit_bzero(memory, size);
}

// What the call becomes in a hardened build.
void __wrap___explicit_bzero_chk(void *memory, size_t size, size_t) {
  __wrap_explicit_bzero(memory, size);
}

curl_slist *__wrap_curl_slist_append(curl_slist *list, const char *text) {
  if (spies::spies().refuse_list_append > 0 && --spies::spies().refuse_list_append == 0) {
    return nullptr;
  }
  return __real_curl_slist_append(list, text);
}

void __wrap_curl_slist_free_all(curl_slist *list) {
  if (list != nullptr) {
    spies::spies().events.push_back("free list");
    spies::spies().freed_lists.push_back(list);
  }
  __real_curl_slist_free_all(list);
}

unsigned sleep(unsigned seconds) {
  spies::spies().sleeps.push_back(seconds);
  spies::spies().events.push_back("sleep " + std::to_string(seconds));
  return 0;
}

time_t __wrap_time(time_t *out) {
  return spies::spies().now != 0 ? spies::spies().now : __real_time(out);
}

json_object *__wrap_json_object_new_object() {
  return spies::json_refused() ? nullptr : __real_json_object_new_object();
}

json_object *__wrap_json_object_new_array() {
  return spies::json_refused() ? nullptr : __real_json_object_new_array();
}

json_object *__wrap_json_object_new_string(const char *text) {
  return spies::json_refused() ? nullptr : __real_json_object_new_string(text);
}

json_object *__wrap_json_object_new_int(int32_t number) {
  return spies::json_refused() ? nullptr : __real_json_object_new_int(number);
}

const char *__wrap_json_object_to_json_string(json_object *value) {
  return spies::spies().refuse_json_text ? nullptr : __real_json_object_to_json_string(value);
}

// As the library does it when one of its allocations fails: no value, and no error.
json_object *__wrap_json_tokener_parse_verbose(const char *text, json_tokener_error *error) {
  if (spies::spies().refuse_json_parse > 0 && --spies::spies().refuse_json_parse == 0) {
    return nullptr;
  }
  return __real_json_tokener_parse_verbose(text, error);
}

int __wrap_open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
  va_end(arguments);
  constexpr const char kPrefix[] = "/tmp/kelvane_";
  if (std::strncmp(path, kPrefix, sizeof kPrefix - 1) != 0) {
    return __real_open(path, flags, mode);
  }
  if (spies::spies().refuse_files) {
    return -1;
  }
  return __real_open((spies::spies().temporary_folder + "/" + (path + 5)).c_str(), flags, mode);
}

void __wrap__ZN7kelvane23TelemetrySetContainerIdEPKc(const char *text) {
  spies::spies().container_ids.push_back(text != nullptr ? text : "(null)");
}

int32_t __wrap__ZN7kelvane20EventHandler_ProcessEv() {
  spies::spies().event_passes++;
  return spies::spies().event_result;
}
}

WireTest::WireTest() : peer_(std::make_unique<support::HttpPeer>()) {
  spies::spies() = spies::Spies();
  spies::spies().temporary_folder = folder_.path();
  setenv("http_proxy", peer_->address().c_str(), 1);
  unsetenv("no_proxy");
  unsetenv("NO_PROXY");
  kelvane::WireProtocolSetEndpoint(inet_addr("168.63.129.16"));
}

WireTest::~WireTest() {
  EXPECT_EQ(spies::spies().handles_open, 0) << "every libcurl handle is cleaned up";
  kelvane::ProtocolGetWire()->release(kelvane::ProtocolGetWire());
  kelvane::ext_config()->page_blob = 0;
  kelvane::ext_config()->incarnation = 0;
  kelvane::blob_type_reported_set(false);
  spies::spies() = spies::Spies();
  unsetenv("http_proxy");
}

std::string WireTest::copy(const std::string &name) const {
  const std::string path = folder_.file(name);
  return support::exists(path) ? support::read_file(path) : "(none)";
}

std::string bytes_of(const kelvane::BufferOwner &buffer) {
  return buffer.data() != nullptr ? std::string(buffer.data(), buffer.length()) : "";
}
