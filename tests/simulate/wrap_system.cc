// The operating system's calls of the agent, replaced at link time: files are the world's, time is the world's, and
// nothing reaches the machine.
#include <fcntl.h>
#include <features.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "tests/simulate/disk.h"
#include "tests/simulate/events.h"
#include "tests/simulate/loop_watch.h"
#include "tests/simulate/media.h"
#include "tests/simulate/world.h"

using namespace simulate;

extern "C" {

int __real_close(int descriptor);
ssize_t __real_read(int descriptor, void *bytes, size_t size);
ssize_t __real_write(int descriptor, const void *bytes, size_t size);

int __wrap_open(const char *path, int flags, ...);
int __wrap___open_2(const char *path, int flags);
int __wrap_close(int descriptor);
ssize_t __wrap_read(int descriptor, void *bytes, size_t size);
ssize_t __wrap___read_chk(int descriptor, void *bytes, size_t size, size_t room);
ssize_t __wrap_write(int descriptor, const void *bytes, size_t size);
int __wrap_fstat(int descriptor, struct stat *out);
int __wrap___fxstat(int version, int descriptor, struct stat *out);
int __wrap_access(const char *path, int mode);
int __wrap_unlink(const char *path);
int __wrap_rename(const char *from, const char *to);
int __wrap_mkdir(const char *path, mode_t mode);
int __wrap_symlink(const char *target, const char *path);
int __wrap_dup2(int from, int to);
int __wrap_mount(const char *device, const char *folder, const char *file_system, unsigned long flags, const void *);
int __wrap_umount(const char *folder);
void __wrap_sync(void);
int __wrap_sethostname(const char *name, size_t length);
int __wrap_kill(pid_t process, int signal);
pid_t __wrap_getpid(void);
int __wrap_sysinfo(struct sysinfo *out);
long __wrap_sysconf(int name);
unsigned __wrap_sleep(unsigned seconds);
time_t __wrap_time(time_t *out);

int __wrap_open(const char *path, int flags, ...) {
  return disk_open(path, flags);
}

int __wrap___open_2(const char *path, int flags) {
  return disk_open(path, flags);
}

int __wrap_close(int descriptor) {
  return disk_owns(descriptor) ? disk_close(descriptor) : __real_close(descriptor);
}

ssize_t __wrap_read(int descriptor, void *bytes, size_t size) {
  return disk_owns(descriptor) ? disk_read(descriptor, bytes, size) : __real_read(descriptor, bytes, size);
}

ssize_t __wrap___read_chk(int descriptor, void *bytes, size_t size, size_t) {
  return __wrap_read(descriptor, bytes, size);
}

ssize_t __wrap_write(int descriptor, const void *bytes, size_t size) {
  return disk_owns(descriptor) ? disk_write(descriptor, bytes, size) : __real_write(descriptor, bytes, size);
}

int __wrap_fstat(int descriptor, struct stat *out) {
  *out = {};
  out->st_mode = S_IFREG | 0600;
  out->st_size = disk_length(descriptor);
  return out->st_size < 0 ? -1 : 0;
}

// What fstat is in a C library before 2.33.
int __wrap___fxstat(int, int descriptor, struct stat *out) {
  return __wrap_fstat(descriptor, out);
}

int __wrap_access(const char *path, int) {
  return disk_exists(path);
}

int __wrap_unlink(const char *path) {
  return disk_unlink(path);
}

int __wrap_rename(const char *from, const char *to) {
  return disk_rename(from, to);
}

int __wrap_mkdir(const char *, mode_t) {
  return 0;
}

int __wrap_symlink(const char *, const char *) {
  return 0;
}

int __wrap_dup2(int, int to) {
  return disk_reopen(to);
}

int __wrap_mount(const char *device, const char *folder, const char *file_system, unsigned long flags, const void *) {
  return media_mount(device, folder, file_system, flags);
}

int __wrap_umount(const char *folder) {
  return media_unmount(folder);
}

void __wrap_sync(void) {
  disk_sync();
}

// Until the appliance starts again.
int __wrap_sethostname(const char *name, size_t length) {
  std::snprintf(world().kernel_host, sizeof world().kernel_host, "%.*s", static_cast<int>(length), name);
  return 0;
}

int __wrap_kill(pid_t, int) {
  return 0;
}

// As long as the number is in the file, as many pieces a failing write may cut it into.
pid_t __wrap_getpid(void) {
  return 4711;
}

// The same machine everywhere, so that a seed sends the same bytes.
int __wrap_sysinfo(struct sysinfo *out) {
  *out = {};
  out->totalram = 4096;
  out->mem_unit = 1024 * 1024;
  return 0;
}

long __wrap_sysconf(int) {
  return 2;
}

// The loop's turns are the only ones that sleep for a second.
unsigned __wrap_sleep(unsigned seconds) {
  if (seconds == 1) {
    loop_watch_sleeps();
  }
  pass_time(seconds);
  if (seconds == 1) {
    loop_watch_wakes();
  }
  return 0;
}

time_t __wrap_time(time_t *out) {
  const time_t now = wall_clock();
  if (out != nullptr) {
    *out = now;
  }
  return now;
}

}  // extern "C"
