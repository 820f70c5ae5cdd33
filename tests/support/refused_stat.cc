#include "tests/support/refused_stat.h"

#include <sys/stat.h>

#include <cerrno>

extern "C" {
int __real_fstat(int descriptor, struct stat *out);
int __wrap_fstat(int descriptor, struct stat *out);
// What the call becomes with a C library before 2.33.
int __real___fxstat(int version, int descriptor, struct stat *out);
int __wrap___fxstat(int version, int descriptor, struct stat *out);
}

namespace {

bool gsRefused = false;

bool refused() {
  errno = gsRefused ? EIO : errno;
  return gsRefused;
}

}  // namespace

int __wrap_fstat(int descriptor, struct stat *out) {
  return refused() ? -1 : __real_fstat(descriptor, out);
}

int __wrap___fxstat(int version, int descriptor, struct stat *out) {
  return refused() ? -1 : __real___fxstat(version, descriptor, out);
}

namespace refused_stat {

Refusal::Refusal() {
  gsRefused = true;
}

Refusal::~Refusal() {
  gsRefused = false;
}

}  // namespace refused_stat
