#include "tests/support/refused_memory.h"

extern "C" {
void *__real_malloc(size_t size);
void *__real_realloc(void *memory, size_t size);
void *__wrap_malloc(size_t size);
void *__wrap_realloc(void *memory, size_t size);
}

namespace {

size_t gsRefusedSize = 0;

bool refused(size_t size) {
  return gsRefusedSize != 0 && size == gsRefusedSize;
}

}  // namespace

void *__wrap_malloc(size_t size) {
  return refused(size) ? nullptr : __real_malloc(size);
}

void *__wrap_realloc(void *memory, size_t size) {
  return refused(size) ? nullptr : __real_realloc(memory, size);
}

namespace refused_memory {

Refusal::Refusal(size_t size) {
  gsRefusedSize = size;
}

Refusal::~Refusal() {
  gsRefusedSize = 0;
}

}  // namespace refused_memory
