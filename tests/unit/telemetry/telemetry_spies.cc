#include "tests/unit/telemetry/telemetry_spies.h"

#include <curl/curl.h>
#include <mxml.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>

#include "core/base/buffer.h"
#include "telemetry/event_queue.h"
#include "telemetry/telemetry.h"

namespace telemetry_spies {

Spies &spies() {
  static Spies all;
  return all;
}

namespace {

bool refused(int *count) {
  return *count > 0 && --*count == 0;
}

std::string list_text(const curl_slist *list) {
  std::string text;
  for (; list != nullptr; list = list->next) {
    text += std::string(list->data) + (list->next != nullptr ? " | " : "");
  }
  return text;
}

}  // namespace

}  // namespace telemetry_spies

using telemetry_spies::refused;
using telemetry_spies::spies;

extern "C" {

long __real_sysconf(int name);
void __real_mxmlSetWrapMargin(int column);
mxml_node_t *__real_mxmlNewElement(mxml_node_t *parent, const char *name);
mxml_node_t *__real_mxmlNewXML(const char *version);
mxml_node_t *__real_mxmlNewCDATA(mxml_node_t *parent, const char *text);
char *__real_mxmlSaveAllocString(mxml_node_t *node, mxml_save_cb_t callback);
void *__real_calloc(size_t count, size_t size);
CURL *__real_curl_easy_init();
void __real_curl_easy_cleanup(CURL *handle);
CURLcode __real_curl_easy_setopt(CURL *handle, CURLoption option, ...);
curl_slist *__real_curl_slist_append(curl_slist *list, const char *text);

int __wrap_sysinfo(struct sysinfo *out);
long __wrap_sysconf(int name);
time_t __wrap_time(time_t *out);
void __wrap_mxmlSetWrapMargin(int column);
mxml_node_t *__wrap_mxmlNewElement(mxml_node_t *parent, const char *name);
mxml_node_t *__wrap_mxmlNewXML(const char *version);
mxml_node_t *__wrap_mxmlNewCDATA(mxml_node_t *parent, const char *text);
char *__wrap_mxmlSaveAllocString(mxml_node_t *node, mxml_save_cb_t callback);
void *__wrap_calloc(size_t count, size_t size);
CURL *__wrap_curl_easy_init();
void __wrap_curl_easy_cleanup(CURL *handle);
CURLcode __wrap_curl_easy_setopt(CURL *handle, unsigned number, ...);
curl_slist *__wrap_curl_slist_append(curl_slist *list, const char *text);

int __wrap_sysinfo(struct sysinfo *out) {
  *out = {};
  out->totalram = spies().total_ram;
  out->mem_unit = spies().memory_unit;
  return spies().sysinfo_result;
}

long __wrap_sysconf(int name) {
  return name == _SC_NPROCESSORS_ONLN ? spies().processors : __real_sysconf(name);
}

time_t __wrap_time(time_t *) {
  return spies().now;
}

void __wrap_mxmlSetWrapMargin(int column) {
  spies().wrap_margins.push_back(column);
  __real_mxmlSetWrapMargin(column);
}

mxml_node_t *__wrap_mxmlNewElement(mxml_node_t *parent, const char *name) {
  return refused(&spies().refuse_element) ? nullptr : __real_mxmlNewElement(parent, name);
}

mxml_node_t *__wrap_mxmlNewXML(const char *version) {
  return refused(&spies().refuse_xml) ? nullptr : __real_mxmlNewXML(version);
}

mxml_node_t *__wrap_mxmlNewCDATA(mxml_node_t *parent, const char *text) {
  return refused(&spies().refuse_cdata) ? nullptr : __real_mxmlNewCDATA(parent, text);
}

char *__wrap_mxmlSaveAllocString(mxml_node_t *node, mxml_save_cb_t callback) {
  return refused(&spies().refuse_save) ? nullptr : __real_mxmlSaveAllocString(node, callback);
}

void *__wrap_calloc(size_t count, size_t size) {
  return refused(&spies().refuse_calloc) ? nullptr : __real_calloc(count, size);
}

CURL *__wrap_curl_easy_init() {
  if (refused(&spies().refuse_handle)) {
    return nullptr;
  }
  spies().handles_open++;
  return __real_curl_easy_init();
}

void __wrap_curl_easy_cleanup(CURL *handle) {
  spies().handles_open--;
  __real_curl_easy_cleanup(handle);
}

// The option is taken as a number: va_start must not follow an enumeration.
CURLcode __wrap_curl_easy_setopt(CURL *handle, unsigned number, ...) {
  const auto option = static_cast<CURLoption>(number);
  va_list arguments;
  va_start(arguments, number);
  CURLcode result = CURLE_UNKNOWN_OPTION;
  std::string text = "option " + std::to_string(number);
  if (option < CURLOPTTYPE_OBJECTPOINT) {
    const long given = va_arg(arguments, long);
    text = (option == CURLOPT_HTTPGET         ? "HTTPGET "
            : option == CURLOPT_POST          ? "POST "
            : option == CURLOPT_POSTFIELDSIZE ? "POSTFIELDSIZE "
                                              : text + " ") +
           std::to_string(given);
    result = __real_curl_easy_setopt(handle, option, given);
  } else if (option < CURLOPTTYPE_FUNCTIONPOINT) {
    void *pointer = va_arg(arguments, void *);
    if (option == CURLOPT_URL || option == CURLOPT_POSTFIELDS) {
      text = std::string(option == CURLOPT_URL ? "URL " : "POSTFIELDS ") + static_cast<const char *>(pointer);
    } else if (option == CURLOPT_HTTPHEADER) {
      text = "HTTPHEADER " + telemetry_spies::list_text(static_cast<const curl_slist *>(pointer));
    } else if (option == CURLOPT_WRITEDATA) {
      text = "WRITEDATA";
    }
    result = __real_curl_easy_setopt(handle, option, pointer);
  } else if (option < CURLOPTTYPE_OFF_T) {
    void (*function)() = va_arg(arguments, void (*)());
    if (option == CURLOPT_WRITEFUNCTION) {
      const bool appends =
          reinterpret_cast<const void *>(function) == reinterpret_cast<const void *>(kelvane::event_curl_recv_cb);
      text = std::string("WRITEFUNCTION ") + (appends ? "event_curl_recv_cb" : "another");
    }
    result = __real_curl_easy_setopt(handle, option, function);
  }
  va_end(arguments);
  spies().options.push_back(text);
  return result;
}

curl_slist *__wrap_curl_slist_append(curl_slist *list, const char *text) {
  return refused(&spies().refuse_list) ? nullptr : __real_curl_slist_append(list, text);
}

}  // extern "C"

TelemetryTest::TelemetryTest() {
  static int64_t start = 1'700'000'000;
  start += 1'000'000;
  spies_ = telemetry_spies::Spies();
  spies_.now = start;
  take_all();
  kelvane::TelemetryCleanup();
  spies_.total_ram = 2097152;
  spies_.memory_unit = 4096;
  kelvane::TelemetryInit();
  spies_.wrap_margins.clear();
}

TelemetryTest::~TelemetryTest() {
  EXPECT_EQ(spies_.handles_open, 0) << "every libcurl handle is cleaned up";
  spies_ = telemetry_spies::Spies();
  take_all();
  kelvane::TelemetryCleanup();
}

std::vector<std::string> TelemetryTest::take_all() {
  std::vector<std::string> events;
  while (mxml_node_t *event = kelvane::event_queue_take()) {
    char *text = __real_mxmlSaveAllocString(event, MXML_NO_CALLBACK);
    mxmlDelete(event);
    const std::string whole = text;
    free(text);
    const std::string open = "<Event id=\"1\"><![CDATA[";
    const std::string close = "]]></Event>";
    EXPECT_EQ(whole.substr(0, open.size()), open);
    const size_t end = whole.rfind(close);
    EXPECT_NE(end, std::string::npos);
    events.push_back(whole.substr(open.size(), end - open.size()));
  }
  return events;
}

std::string TelemetryTest::value(const std::string &params, const std::string &name) {
  const std::string key = "Name=\"" + name + "\" T=\"";
  size_t at = params.find(key);
  if (at == std::string::npos) {
    return "(none)";
  }
  at = params.find("Value=\"", at) + 7;
  return params.substr(at, params.find('"', at) - at);
}
