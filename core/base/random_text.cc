#include "core/base/random_text.h"

#include "core/base/file.h"
#include "core/base/text.h"
#include "platform/platform.h"

namespace kelvane {

namespace {

// Sixty-four bytes without a zero byte among them, so that the text is as long as it can be.
int32_t platform_bytes(char *bytes) {
  if (get_rnd_bytes(bytes, kRandomTextBytes) != 0) {
    wipe_memory(bytes, kRandomTextBytes);
    return -1;
  }
  for (size_t i = 0; i < kRandomTextBytes; i++) {
    bytes[i] = bytes[i] != '\0' ? bytes[i] : '\1';
  }
  return 0;
}

}  // namespace

RandomText::~RandomText() {
  wipe_memory(text_, sizeof text_);
}

int32_t RandomText::read_from(int descriptor) {
  wipe_memory(text_, sizeof text_);
  if (descriptor >= 0 && file_read_full(descriptor, text_, kRandomTextBytes) >= 0 && text_[0] != '\0') {
    return 0;
  }
  return platform_bytes(text_);
}

}  // namespace kelvane
