# The installed libraries. The agent's own first; tools, the reference platform and tests name theirs where they are built.

find_package(PkgConfig REQUIRED)
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(CRYPTO REQUIRED IMPORTED_TARGET libcrypto)
pkg_check_modules(JSONC REQUIRED IMPORTED_TARGET json-c)
pkg_check_modules(MXML REQUIRED IMPORTED_TARGET mxml)

add_library(kelvane-agent-libraries INTERFACE)
target_link_libraries(kelvane-agent-libraries INTERFACE
  PkgConfig::CURL PkgConfig::CRYPTO PkgConfig::JSONC PkgConfig::MXML)
