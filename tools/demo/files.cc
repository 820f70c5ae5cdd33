#include "tools/demo/files.h"

#include <fstream>
#include <iterator>

namespace demo {

std::string contents(const std::filesystem::path &file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace demo
