#include "tests/unit/provision/refused_memory.h"

extern "C" {
void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size);
}

namespace {

size_t gsRefusedSize = 0;

}  // namespace

void *__wrap_malloc(size_t size) {
  return gsRefusedSize != 0 && size == gsRefusedSize ? nullptr : __real_malloc(size);
}

namespace refused_memory {

Refusal::Refusal(size_t size) {
  gsRefusedSize = size;
}

Refusal::~Refusal() {
  gsRefusedSize = 0;
}

}  // namespace refused_memory
