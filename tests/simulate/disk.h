// The appliance's disk: a few files in the world's memory, and the descriptors of the agent's process to them. Knows
// nothing of time but the power cuts that a call on a file may meet.
#ifndef KELVANE_TESTS_SIMULATE_DISK_H
#define KELVANE_TESTS_SIMULATE_DISK_H

#include <sys/types.h>

#include <cstddef>
#include <string_view>

#include "tests/simulate/world.h"

namespace simulate {

inline constexpr const char kStatusFile[] = "/data/etc/.plugin_status";
inline constexpr const char kDrive[] = "/dev/sr0";

// How a simulated call fails: errno, and -1.
int fail(int error);

// The simulated calls; as POSIX has them, errno included.
int disk_open(const char *path, int flags);
int disk_close(int descriptor);
ssize_t disk_read(int descriptor, void *bytes, size_t size);
ssize_t disk_write(int descriptor, const void *bytes, size_t size);
int disk_exists(const char *path);
int disk_unlink(const char *path);
int disk_rename(const char *from, const char *to);
void disk_sync();
void disk_remove(const char *path);                     // without a failure and a power cut
int disk_put(const char *path, std::string_view text);  // a whole file, made or replaced, and synced
int disk_reopen(int descriptor);                        // makes a closed number an open one

// Whether a descriptor is one of these, and the length of its file.
bool disk_owns(int descriptor);
off_t disk_length(int descriptor);

// The file's bytes; empty when there is none.
std::string_view disk_bytes(const char *path);

// Open descriptors.
int disk_open_count();

// What a power cut does to the disk.
void disk_power_cut();

}  // namespace simulate

#endif
