// Operations on the buffer record, the append callback that collects HTTP responses among them. Never blocks; logs a
// response that is too long and nothing else; running out of memory leaves the buffer as it was, unless said otherwise.
#ifndef KELVANE_CORE_BASE_BUFFER_H
#define KELVANE_CORE_BASE_BUFFER_H

#include <stddef.h>
#include <stdint.h>

#include "include/buffer.h"

namespace kelvane {

// Bytes that a response may have: sixteen times the longest document that is read at all (kJsonMaxBytes), so that
// nothing that sends without end can take the appliance's memory.
inline constexpr uint64_t kBufferMaxBytes = uint64_t{32} * 1024 * 1024;

// Frees the buffer's contents and fills it with a copy of text, without counting the terminator. A null text or failed
// allocation leaves it empty. Does nothing for a null buffer.
void __makeBuffer(Buffer *buffer, const char *text);

// Frees the bytes: null and 0 afterwards. Does nothing for a null buffer.
void __freeBuffer(Buffer *buffer);

// libcurl write callback: appends size * count bytes to the Buffer that user points to, keeps the zero behind them, and
// returns count. Returns 0 when count is 0, when the product overflows, when the buffer would hold more than
// kBufferMaxBytes, or when memory runs out (the buffer keeps what it held and libcurl aborts the transfer with result
// 23).
size_t event_curl_recv_cb(char *data, size_t size, size_t count, void *user);

// A buffer that empties itself.
class BufferOwner {
 public:
  BufferOwner() = default;
  ~BufferOwner() { __freeBuffer(&buffer_); }
  BufferOwner(const BufferOwner &) = delete;
  BufferOwner &operator=(const BufferOwner &) = delete;

  Buffer *get() { return &buffer_; }
  const char *data() const { return buffer_.data; }
  uint64_t length() const { return buffer_.length; }
  bool empty() const { return buffer_.data == nullptr || buffer_.length == 0; }

 private:
  Buffer buffer_ = {};
};

}  // namespace kelvane

#endif
