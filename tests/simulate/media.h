// The provisioning medium: whether it lies in the drive, what is on it, and mounting it.
#ifndef KELVANE_TESTS_SIMULATE_MEDIA_H
#define KELVANE_TESTS_SIMULATE_MEDIA_H

#include <string>

namespace simulate {

// What the document on it asks for.
inline constexpr const char kMediaHost[] = "the-new-name";
inline constexpr const char kMediaUser[] = "operator";
inline constexpr const char kMediaPassword[] = "Str0ng-enough";
std::string media_key(int number);
std::string media_custom_data();

// In this life.
bool media_in_drive();

// The simulated calls; as POSIX has them, errno included.
int media_mount(const char *device, const char *folder, const char *file_system, unsigned long flags);
int media_unmount(const char *folder);

}  // namespace simulate

#endif
