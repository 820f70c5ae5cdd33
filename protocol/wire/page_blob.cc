#include "protocol/wire/page_blob.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "core/base/log.h"
#include "core/base/owned.h"
#include "core/base/text.h"
#include "include/buffer.h"
#include "protocol/wire/storage_request.h"

namespace kelvane {

namespace {

constexpr uint64_t kPageSize = 512;
constexpr uint64_t kMaxChunk = 4194304;

void free_bytes(char *bytes) {
  free(bytes);
}
using BytesOwner = Owned<char, free_bytes>;

// With one zero byte more, which every buffer's bytes end in.
BytesOwner zeroed_bytes(uint64_t size) {
  return BytesOwner(static_cast<char *>(calloc(1, size + 1)));
}

uint64_t whole_pages(uint64_t length) {
  return (length + kPageSize - 1) / kPageSize * kPageSize;
}

bool accepted(int32_t result, int64_t code) {
  return result == 0 && code >= 200 && code <= 299;
}

void log_failure(int32_t result) {
  LOG_ABOVE(0, "[kelvane]: %s:%d 'Failed to clean up page blob for status' -> res %d\n", "__StatusBlob_put_page_blob",
            271, result);
}

bool create_blob(const char *url, uint64_t size) {
  char length_line[64];
  snprintf(length_line, sizeof length_line, "x-ms-blob-content-length: %" PRIu64, size);
  Buffer nothing = {};
  int64_t code = 0;
  const int32_t result = storage_put(url, {"x-ms-blob-type: PageBlob", length_line}, &nothing, &code);
  if (!accepted(result, code)) {
    log_failure(result);
    return false;
  }
  return true;
}

// Writes the bytes from start on, whole pages of them.
bool write_pages(const char *page_url, Buffer *chunk, uint64_t start, int32_t *result) {
  char range[96];
  snprintf(range, sizeof range, "x-ms-range: bytes=%" PRIu64 "-%" PRIu64, start, start + chunk->length - 1);
  int64_t code = 0;
  *result = storage_put(page_url, {"x-ms-page-write: update", range}, chunk, &code);
  return accepted(*result, code);
}

// The document in a zero-filled whole number of pages, copied as text bounded by their size: a document that fills them
// loses its last character to the terminator.
BytesOwner padded_copy(const char *document, uint64_t size) {
  BytesOwner copy = zeroed_bytes(size);
  if (copy.present()) {
    snprintf(copy.get(), size, "%s", document);
  } else {
    LOG_ABOVE(1, "[kelvane]: malloc failed ....\n");
  }
  return copy;
}

Text make_page_url(const char *url) {
  Text page_url;
  if (text_format(&page_url, "%s%ccomp=page", url, strchr(url, '?') != nullptr ? '&' : '?') == 0) {
    LOG_ABOVE(6, "[kelvane]: URL '%s'\n", page_url.get());
  }
  return page_url;
}

void write_document(const char *page_url, const char *copy, uint64_t length, char *chunk_bytes) {
  for (uint64_t start = 0; start < length;) {
    const uint64_t end = start + kMaxChunk < length ? start + kMaxChunk : length;
    Buffer chunk = {.data = chunk_bytes, .length = whole_pages(end) - start};
    memset(chunk.data, 0, chunk.length);
    memcpy(chunk.data, copy + start, end - start);
    int32_t result = 0;
    if (!write_pages(page_url, &chunk, start, &result)) {
      log_failure(result);
      return;
    }
    start = end;
  }
}

}  // namespace

void __StatusBlob_put_page_blob(const char *url, const char *document) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", "__StatusBlob_put_page_blob", 262);
  const uint64_t length = strlen(document);
  const uint64_t size = whole_pages(length);
  if (!create_blob(url, size) || length == 0) {
    return;
  }
  const BytesOwner copy = padded_copy(document, size);
  if (!copy.present()) {
    return;
  }
  const Text page_url = make_page_url(url);
  const BytesOwner chunk = zeroed_bytes(size < kMaxChunk ? size : kMaxChunk);
  if (page_url.present() && chunk.present()) {
    write_document(page_url.get(), copy.get(), length, chunk.get());
  }
}

}  // namespace kelvane
