# What a build can be told, and the flags that follow from it.

option(KELVANE_TOOLS "Build the fabric, kelvanectl and the sandbox" ON)
option(KELVANE_TESTS "Build the tests" ON)
option(KELVANE_WERROR "Treat warnings as errors" ON)
option(KELVANE_COVERAGE "Instrument everything for line and branch coverage" OFF)
set(KELVANE_SANITIZE "" CACHE STRING "Sanitizers to build everything with, as in -fsanitize=")
set(KELVANE_PLATFORM "reference" CACHE STRING
    "The platform library to link: 'reference', or the folder of another one whose CMakeLists.txt defines kelvane-platform")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

if(KELVANE_COVERAGE)
  include(coverage)
endif()

# The root of the tree, for includes, and what every target of ours is compiled with.
add_library(kelvane-tree INTERFACE)
target_include_directories(kelvane-tree INTERFACE ${CMAKE_SOURCE_DIR})
# The OpenSSL interface is that of 1.1.0; what 3.x deprecated since is meant.
target_compile_definitions(kelvane-tree INTERFACE OPENSSL_API_COMPAT=0x10100000L)

add_library(kelvane-all-warnings INTERFACE)
target_compile_options(kelvane-all-warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(KELVANE_WERROR)
  target_compile_options(kelvane-all-warnings INTERFACE -Werror)
endif()

if(KELVANE_SANITIZE)
  add_compile_options(-fsanitize=${KELVANE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KELVANE_SANITIZE})
  # g++ 12 takes its own std::regex for uninitialised once it is instrumented.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-maybe-uninitialized>)
  endif()
else()
  include(hardening)
endif()

# What may use std::string: the optimiser of g++ 12 takes a literal in front of one for an overlapping copy.
add_library(kelvane-warnings INTERFACE)
target_link_libraries(kelvane-warnings INTERFACE kelvane-all-warnings)
if(KELVANE_OPTIMISES AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION MATCHES "^12\\.")
  target_compile_options(kelvane-warnings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()

# The agent itself: nothing throws, nothing asks for types at run time. Names that begin with two underscores are this
# system's module-private names (clang warns of them, g++ does not).
add_library(kelvane-agent-flags INTERFACE)
target_link_libraries(kelvane-agent-flags INTERFACE kelvane-all-warnings)
target_compile_options(kelvane-agent-flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>
  $<$<CXX_COMPILER_ID:Clang>:-Wno-reserved-identifier>)
