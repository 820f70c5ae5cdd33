# What the compiler and the linker do against attacks on what is built here, the agent's program first of all. Everything
# but a build with sanitizers gets it, so that what is tested is what ships. tests/hardening/ looks at the result.

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

# Position-independent programs: what options(CMAKE_POSITION_INDEPENDENT_CODE) compiles for, said to the linker as well.
check_pie_supported(LANGUAGES C CXX)

# No search path of the build machine in a program, wherever its libraries were found.
set(CMAKE_SKIP_RPATH ON)

# kelvane_harden_if_known(FLAG): with FLAG where the compiler knows it for the machine that it compiles for.
function(kelvane_harden_if_known flag)
  string(MAKE_C_IDENTIFIER "KELVANE_KNOWS${flag}" known)
  check_cxx_compiler_flag("-Werror ${flag}" ${known})
  if(${known})
    add_compile_options(${flag})
  endif()
endfunction()

add_compile_options(-fstack-protector-strong)
kelvane_harden_if_known(-fstack-clash-protection)
kelvane_harden_if_known(-fcf-protection=full)
# The linker's tables are read-only once the program runs, every symbol is bound before it does, no stack is executable.
add_link_options(-Wl,-z,relro,-z,now -Wl,-z,noexecstack)

# The C library's checked calls need the optimiser: asked of the compiler, as flags may come from outside too. Level 3
# takes a compiler and a C library that know it; others warn of it.
function(kelvane_fortify)
  set(CMAKE_TRY_COMPILE_CONFIGURATION ${CMAKE_BUILD_TYPE})
  unset(KELVANE_OPTIMISES CACHE)
  check_cxx_source_compiles("
    #ifndef __OPTIMIZE__
    #error not optimised
    #endif
    int main() { return 0; }" KELVANE_OPTIMISES)
  if(NOT KELVANE_OPTIMISES)
    return()
  endif()
  set(CMAKE_REQUIRED_FLAGS "-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
  unset(KELVANE_FORTIFIES_3 CACHE)
  check_cxx_source_compiles("
    #include <features.h>
    #if __USE_FORTIFY_LEVEL < 3
    #error no level 3
    #endif
    int main() { return 0; }" KELVANE_FORTIFIES_3)
  if(KELVANE_FORTIFIES_3)
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  else()
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  endif()
endfunction()
kelvane_fortify()
