# Instrumentation for line and branch coverage, with a runtime of its own: libgcov.a as the compiler has it, changed in
# two respects. A program whose calls are wrapped (a test, the sandbox) would have those of the runtime wrapped as well,
# and its counts would end up in the sandbox's root, or nowhere: here they are bound to the C library by version, which
# no --wrap matches. And _exit, which ends a forked child without a word, writes the counts first.

if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  message(FATAL_ERROR "KELVANE_COVERAGE needs g++: the list of unreached branches has its numbering")
endif()

function(kelvane_run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}: ${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

# kelvane_coverage_runtime(FOLDER): makes FOLDER/libgcov.a.
function(kelvane_coverage_runtime folder)
  file(MAKE_DIRECTORY ${folder})
  kelvane_run(${CMAKE_CXX_COMPILER} -print-file-name=libgcov.a)
  file(COPY ${output} DESTINATION ${folder})
  kelvane_run(${CMAKE_CXX_COMPILER} -print-file-name=libc.so.6)
  kelvane_run(${CMAKE_NM} -D --with-symbol-versions ${output})
  set(names "")
  foreach(call access calloc close fcntl fdopen fclose fopen fprintf fread free fseek fwrite getenv getpid malloc memcpy
               memset mkdir open sprintf strcat strchr strlen strtol vfprintf)
    if("${output}" MATCHES "[ ](${call}@@[^ \n]+)")
      string(REPLACE "@@" "@" versioned ${CMAKE_MATCH_1})
      string(APPEND names "${call} ${versioned}\n")
    endif()
  endforeach()
  file(WRITE ${folder}/names "${names}")
  kelvane_run(${CMAKE_OBJCOPY} --redefine-syms=${folder}/names ${folder}/libgcov.a)
  file(WRITE ${folder}/end.c "
    void __gcov_dump(void);
    void __real__exit(int) __attribute__((noreturn));
    void __wrap__exit(int) __attribute__((noreturn));
    void __wrap__exit(int status) {
      __gcov_dump();
      __real__exit(status);
    }")
  kelvane_run(${CMAKE_C_COMPILER} -c -O1 -fPIC -o ${folder}/end.o ${folder}/end.c)
  kelvane_run(${CMAKE_AR} r ${folder}/libgcov.a ${folder}/end.o)
endfunction()

kelvane_coverage_runtime(${CMAKE_BINARY_DIR}/coverage-runtime)
string(APPEND CMAKE_C_FLAGS " --coverage -O0")
string(APPEND CMAKE_CXX_FLAGS " --coverage -O0")
string(APPEND CMAKE_EXE_LINKER_FLAGS " --coverage -L${CMAKE_BINARY_DIR}/coverage-runtime -Wl,--wrap=_exit")
