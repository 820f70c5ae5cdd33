#include "core/base/buffer.h"

#include <stdlib.h>
#include <string.h>

#include "core/base/log.h"

namespace kelvane {

void __makeBuffer(Buffer *buffer, const char *text) {
  if (buffer == nullptr) {
    return;
  }
  __freeBuffer(buffer);
  if (text == nullptr) {
    return;
  }
  const size_t length = strlen(text);
  char *copy = static_cast<char *>(malloc(length + 1));
  if (copy == nullptr) {
    return;
  }
  memcpy(copy, text, length + 1);
  buffer->data = copy;
  buffer->length = length;
}

void __freeBuffer(Buffer *buffer) {
  if (buffer == nullptr) {
    return;
  }
  free(buffer->data);
  buffer->data = nullptr;
  buffer->length = 0;
}

size_t event_curl_recv_cb(char *data, size_t size, size_t count, void *user) {
  auto *buffer = static_cast<Buffer *>(user);
  size_t added = 0;
  if (count == 0) {
    return 0;
  }
  if (__builtin_mul_overflow(size, count, &added) || added > kBufferMaxBytes ||
      buffer->length > kBufferMaxBytes - added) {
    LOG_ABOVE(0, "[kelvane]: a response is over a cap and is not taken: bytes\n");
    return 0;
  }
  char *grown = static_cast<char *>(realloc(buffer->data, buffer->length + added + 1));
  if (grown == nullptr) {
    return 0;
  }
  memcpy(grown + buffer->length, data, added);
  buffer->data = grown;
  buffer->length += added;
  grown[buffer->length] = '\0';
  return count;
}

}  // namespace kelvane
