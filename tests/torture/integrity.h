// Whether the configuration database can be read as a struck run left it, and whether what is in it belongs together:
// no record, key or former password of an account that is none, no number that was never given out. Looks at a copy, so
// that the next start meets what the struck one left. Blocks for as long as the disk does; throws std::runtime_error
// when it cannot copy.
#ifndef KELVANE_TESTS_TORTURE_INTEGRITY_H
#define KELVANE_TESTS_TORTURE_INTEGRITY_H

#include <string>

namespace torture {

// Empty when it is sound, else what is wrong. The folder is emptied and used for the copy.
std::string damage_of_database(const std::string &root, const std::string &folder);

}  // namespace torture

#endif
