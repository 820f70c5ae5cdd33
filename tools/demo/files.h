// Reads whole files. A file that is not there, or not to be read, reads as empty.
#ifndef KELVANE_TOOLS_DEMO_FILES_H
#define KELVANE_TOOLS_DEMO_FILES_H

#include <filesystem>
#include <string>

namespace demo {

std::string contents(const std::filesystem::path &file);

}  // namespace demo

#endif
