// libcurl's easy interface, replaced at link time: a handle is a record, and performing it asks the model of the cloud
// and drives the agent's own write, read and header callbacks, as libcurl would. Header lists stay libcurl's.
#include <curl/curl.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <string>

#include "include/buffer.h"
#include "tests/simulate/cloud.h"
#include "tests/simulate/requests.h"
#include "tests/simulate/sent.h"
#include "tests/simulate/view.h"

#undef curl_easy_setopt
#undef curl_easy_getinfo

namespace {

using Callback = size_t (*)(char *, size_t, size_t, void *);

struct Handle {
  std::string url;
  bool no_body, post, upload, fail_on_error;
  long size;
  long timeout;
  const curl_slist *headers;
  const char *fields;
  Callback write, read, header;
  void *write_data, *read_data, *header_data;
  long code;
};

int gsHandles = 0;

Handle *of(CURL *handle) {
  return static_cast<Handle *>(handle);
}

void set_number(Handle *handle, unsigned option, long value) {
  switch (option) {
    case CURLOPT_NOBODY:
      handle->no_body = value != 0;
      break;
    case CURLOPT_HTTPGET:
      handle->post = false;
      break;
    case CURLOPT_POST:
      handle->post = value != 0;
      break;
    case CURLOPT_UPLOAD:
      handle->upload = value != 0;
      break;
    case CURLOPT_TIMEOUT:
      handle->timeout = value;
      break;
    case CURLOPT_FAILONERROR:
      handle->fail_on_error = value != 0;
      break;
    case CURLOPT_INFILESIZE:
    case CURLOPT_POSTFIELDSIZE:
      handle->size = value;
      break;
    default:
      break;
  }
}

void set_object(Handle *handle, unsigned option, void *value) {
  switch (option) {
    case CURLOPT_URL:
      handle->url = static_cast<const char *>(value);
      break;
    case CURLOPT_POSTFIELDS:
      handle->fields = static_cast<const char *>(value);
      break;
    case CURLOPT_HTTPHEADER:
      handle->headers = static_cast<const curl_slist *>(value);
      break;
    case CURLOPT_WRITEDATA:
      handle->write_data = value;
      break;
    case CURLOPT_READDATA:
      handle->read_data = value;
      break;
    case CURLOPT_HEADERDATA:
      handle->header_data = value;
      break;
    default:
      break;
  }
}

void set_function(Handle *handle, unsigned option, Callback value) {
  if (option == CURLOPT_WRITEFUNCTION) {
    handle->write = value;
  } else if (option == CURLOPT_READFUNCTION) {
    handle->read = value;
  } else if (option == CURLOPT_HEADERFUNCTION) {
    handle->header = value;
  }
}

simulate::Method method_of(const Handle &handle) {
  if (handle.upload) {
    return simulate::Method::kPut;
  }
  if (handle.post) {
    return simulate::Method::kPost;
  }
  return handle.no_body ? simulate::Method::kHead : simulate::Method::kGet;
}

std::string read_upload(const Handle &handle) {
  std::string body;
  char block[16384];
  for (;;) {
    const size_t got = handle.read(block, 1, sizeof block, handle.read_data);
    if (got == 0) {
      break;
    }
    body.append(block, got);
  }
  if (static_cast<long>(body.size()) != handle.size) {
    simulate::broken("an upload announces %ld bytes and has %zu", handle.size, body.size());
  }
  return body;
}

std::string body_of(const Handle &handle) {
  if (handle.upload) {
    return read_upload(handle);
  }
  return handle.post && handle.fields != nullptr ? std::string(handle.fields, static_cast<size_t>(handle.size)) : "";
}

// In two pieces, as a network would: what the agent took of it.
size_t deliver(const Handle &handle, std::string_view body) {
  constexpr size_t kLongestFirst = 4096;
  const size_t first = std::min(body.size() / 2, kLongestFirst);
  size_t taken = 0;
  for (const std::string_view piece : {body.substr(0, first), body.substr(first)}) {
    // The agent only reads it.
    if (!piece.empty() &&
        handle.write(const_cast<char *>(piece.data()), 1, piece.size(), handle.write_data) != piece.size()) {
      break;
    }
    taken += piece.size();
  }
  return taken;
}

std::string_view collected(const Handle &handle) {
  const auto *buffer = static_cast<const kelvane::Buffer *>(handle.write_data);
  return {buffer->data != nullptr ? buffer->data : "", buffer->length};
}

// What the agent holds afterwards is what it held before, and what it took of the body: never more than 32 MB.
CURLcode deliver_body(const Handle &handle, std::string_view body) {
  if (handle.write == nullptr || handle.write_data == nullptr) {
    simulate::broken("nobody takes the answer of %s", handle.url.c_str());
  }
  const std::string before(collected(handle));
  const size_t taken = deliver(handle, body);
  const std::string_view after = collected(handle);
  if (after.size() != before.size() + taken || after.substr(0, before.size()) != before ||
      after.substr(before.size()) != body.substr(0, taken)) {
    simulate::broken("of an answer of %zu bytes behind %zu, %zu are held", body.size(), before.size(), after.size());
  }
  if (after.size() > size_t{32} * 1024 * 1024) {
    simulate::broken("%zu bytes of an answer are taken", after.size());
  }
  return taken == body.size() ? CURLE_OK : CURLE_WRITE_ERROR;
}

void deliver_header(const Handle &handle, std::string_view line) {
  if (handle.header != nullptr && !line.empty()) {
    std::string bytes(line);
    handle.header(bytes.data(), 1, bytes.size(), handle.header_data);
  }
}

CURLcode perform(Handle *handle) {
  const std::string body = body_of(*handle);
  const simulate::Request request = {handle->url,     method_of(*handle), handle->fail_on_error,
                                     handle->timeout, handle->headers,    body};
  simulate::sent(request);
  const simulate::Reply reply = simulate::cloud_answer(request);
  handle->code = reply.code;
  deliver_header(*handle, reply.header);
  const CURLcode delivered = deliver_body(*handle, reply.body);
  const CURLcode result = delivered != CURLE_OK ? delivered : reply.result;
  if (request.method == simulate::Method::kGet) {
    simulate::view_given({request.url, result, reply.body, collected(*handle), reply.header});
  }
  return result;
}

}  // namespace

namespace simulate {

int requests_open() {
  return gsHandles;
}

}  // namespace simulate

// The options are enumerations in libcurl, passed as this.
extern "C" {

CURLcode __wrap_curl_global_init(long);
CURL *__wrap_curl_easy_init(void);
void __wrap_curl_easy_cleanup(CURL *handle);
CURLcode __wrap_curl_easy_setopt(CURL *handle, unsigned option, ...);
CURLcode __wrap_curl_easy_getinfo(CURL *handle, unsigned info, ...);
CURLcode __wrap_curl_easy_perform(CURL *handle);

CURLcode __wrap_curl_global_init(long) {
  return CURLE_OK;
}

CURL *__wrap_curl_easy_init(void) {
  gsHandles++;
  return new Handle();
}

void __wrap_curl_easy_cleanup(CURL *handle) {
  gsHandles--;
  delete of(handle);
}

CURLcode __wrap_curl_easy_setopt(CURL *handle, unsigned option, ...) {
  va_list arguments;
  va_start(arguments, option);
  if (option < CURLOPTTYPE_OBJECTPOINT) {
    set_number(of(handle), option, va_arg(arguments, long));
  } else if (option < CURLOPTTYPE_FUNCTIONPOINT) {
    set_object(of(handle), option, va_arg(arguments, void *));
  } else if (option < CURLOPTTYPE_OFF_T) {
    set_function(of(handle), option, va_arg(arguments, Callback));
  }
  va_end(arguments);
  return CURLE_OK;
}

CURLcode __wrap_curl_easy_getinfo(CURL *handle, unsigned info, ...) {
  va_list arguments;
  va_start(arguments, info);
  if (info == CURLINFO_RESPONSE_CODE) {
    *va_arg(arguments, long *) = of(handle)->code;
  }
  va_end(arguments);
  return CURLE_OK;
}

CURLcode __wrap_curl_easy_perform(CURL *handle) {
  return perform(of(handle));
}

}  // extern "C"
