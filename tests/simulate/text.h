// What the simulation reads out of texts, in more than one place.
#ifndef KELVANE_TESTS_SIMULATE_TEXT_H
#define KELVANE_TESTS_SIMULATE_TEXT_H

#include <array>
#include <string_view>

namespace simulate {

bool contains(std::string_view text, std::string_view part);

// The four numbers of a version; false when there are not four.
bool version_numbers(const char *text, std::array<unsigned, 4> *out);

// False when one of the two is no version.
bool version_newer(const char *text, const char *other);

}  // namespace simulate

#endif
