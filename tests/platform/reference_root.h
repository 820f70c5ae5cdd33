// Where the reference platform's files are while it is tested.
#ifndef KELVANE_TESTS_PLATFORM_REFERENCE_ROOT_H
#define KELVANE_TESTS_PLATFORM_REFERENCE_ROOT_H

#include <string>

std::string reference_root();

#endif
