#include "protocol/http_request.h"

#include <string.h>
#include <unistd.h>

#include "core/base/buffer.h"

namespace kelvane {

namespace {

constexpr unsigned kPauseSeconds = 10;

}  // namespace

bool http_header_append(CurlListOwner *list, const char *line) {
  curl_slist *longer = curl_slist_append(list->get(), line);
  if (longer == nullptr) {
    return false;
  }
  list->release();
  list->reset(longer);
  return true;
}

CurlListOwner http_header_list(CurlListOwner list, const char *const *lines, size_t count) {
  for (size_t i = 0; i < count; i++) {
    if (!http_header_append(&list, lines[i])) {
      return CurlListOwner();
    }
  }
  return list;
}

size_t http_upload_read_cb(char *to, size_t size, size_t count, void *upload) {
  auto *source = static_cast<HttpUpload *>(upload);
  size_t copied = 0;
  if (__builtin_mul_overflow(size, count, &copied) || source->left < copied) {
    copied = static_cast<size_t>(source->left);
  }
  if (copied != 0) {
    memcpy(to, source->data, copied);
    source->data += copied;
    source->left -= copied;
  }
  return copied;
}

void http_collect(CURL *handle, Buffer *response) {
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, event_curl_recv_cb);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, response);
}

int32_t http_perform(CURL *handle, int64_t *code) {
  const CURLcode result = curl_easy_perform(handle);
  if (code != nullptr) {
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    *code = status;
  }
  return static_cast<int32_t>(result);
}

void http_pause_after(int32_t result) {
  if (result != CURLE_OPERATION_TIMEDOUT) {
    sleep(kPauseSeconds);
  }
}

}  // namespace kelvane
