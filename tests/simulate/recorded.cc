#include "tests/simulate/recorded.h"

#include <algorithm>
#include <cstring>

#include "protocol/wire/status_blob.h"
#include "tests/simulate/world.h"

namespace simulate {

namespace {

constexpr int kNamesMost = 6;
constexpr int kHandlersMost = 3;

int64_t gsAt = 0;

template <size_t N>
void check_end(const char *what, const char (&field)[N]) {
  if (std::memchr(field, '\0', N) == nullptr) {
    broken("the status record's %s has no end", what);
  }
}

void check_handler(const kelvane::ExtHandlerStatus &handler) {
  check_end("name", handler.name);
  check_end("version", handler.version);
  check_end("status", handler.status);
  check_end("message", handler.message);
  check_end("extension name", handler.extension_name);
}

bool is_recorded(const kelvane::StatusBlob &blob, const char *name) {
  return std::any_of(blob.extensions, blob.extensions + blob.extension_count,
                     [name](const kelvane::StatusBlobExtension &each) { return std::strcmp(each.name, name) == 0; });
}

}  // namespace

void recorded_extension(const char *name) {
  const kelvane::StatusBlob &blob = *kelvane::status_blob();
  if (blob.extension_count < 1 || blob.extension_count > kNamesMost) {
    broken("the status record holds %d extensions", blob.extension_count);
  }
  if (is_recorded(blob, name)) {
    return;
  }
  if (blob.extension_count < kNamesMost) {
    broken("the status of %s is not recorded", name);
  }
  world().counts.seventh_names++;
}

void recorded_vm() {
  const kelvane::VMStatus &vm = kelvane::status_blob()->vm;
  if (vm.handler_count < 0 || vm.handler_count > kHandlersMost) {
    broken("the status record holds %d handlers", vm.handler_count);
  }
  std::for_each(vm.handlers, vm.handlers + vm.handler_count, check_handler);
  gsAt = wall_clock();
}

int64_t recorded_at() {
  return gsAt;
}

}  // namespace simulate
