# A short run of every libFuzzer target as part of the test suite, when clang can build them.
#
# fuzz/ is configured on the side as its own small clang project (ExternalProject), which compiles
# only the library sources the targets need, not the whole library a second time. Each target then
# runs for a few seconds on its corpus (fuzz/corpus/<target>/), with the dictionary of its family
# (fuzz_<family>_<what> uses fuzz/<family>.dict) when there is one; new inputs go to the build tree.

function(rzcore_add_fuzz_smoke_tests)
  if(RZCORE_BUILD_FUZZERS)
    return() # the fuzz build has the targets itself
  endif()
  find_program(RZCORE_CLANGXX NAMES clang++ clang++-14)
  if(NOT RZCORE_CLANGXX)
    message(STATUS "clang++ not found: no fuzz smoke run")
    return()
  endif()
  if(NOT DEFINED RZCORE_LIBFUZZER_WORKS)
    set(_dir "${CMAKE_BINARY_DIR}/fuzz-probe")
    file(WRITE "${_dir}/probe.cpp"
      "#include <cstddef>\n#include <cstdint>\n"
      "extern \"C\" int LLVMFuzzerTestOneInput(const std::uint8_t*, std::size_t) { return 0; }\n")
    execute_process(COMMAND "${RZCORE_CLANGXX}" -fsanitize=fuzzer,address probe.cpp -o probe
      WORKING_DIRECTORY "${_dir}" RESULT_VARIABLE _rc OUTPUT_QUIET ERROR_QUIET)
    if(_rc EQUAL 0)
      set(RZCORE_LIBFUZZER_WORKS ON CACHE INTERNAL "clang links libFuzzer targets")
    else()
      set(RZCORE_LIBFUZZER_WORKS OFF CACHE INTERNAL "clang links libFuzzer targets")
    endif()
  endif()
  if(NOT RZCORE_LIBFUZZER_WORKS)
    message(STATUS "clang cannot link libFuzzer targets: no fuzz smoke run")
    return()
  endif()

  file(GLOB _targets LIST_DIRECTORIES true RELATIVE "${PROJECT_SOURCE_DIR}/fuzz/corpus"
       "${PROJECT_SOURCE_DIR}/fuzz/corpus/*")
  set(_bin "${CMAKE_BINARY_DIR}/fuzz-smoke")
  set(_byproducts)
  foreach(_t IN LISTS _targets)
    list(APPEND _byproducts "${_bin}/${_t}")
  endforeach()

  include(ExternalProject)
  ExternalProject_Add(rzcore_fuzz_smoke
    SOURCE_DIR "${PROJECT_SOURCE_DIR}/fuzz"
    BINARY_DIR "${_bin}"
    CMAKE_GENERATOR "${CMAKE_GENERATOR}"
    CMAKE_ARGS
      "-DCMAKE_CXX_COMPILER=${RZCORE_CLANGXX}"
      "-DCMAKE_BUILD_TYPE=RelWithDebInfo"
      "-DQt5_DIR=${Qt5_DIR}"
      "-DCMAKE_CXX_COMPILER_LAUNCHER=${RZCORE_CCACHE}"
    BUILD_ALWAYS ON
    BUILD_BYPRODUCTS ${_byproducts}
    INSTALL_COMMAND ""
    EXCLUDE_FROM_ALL OFF)

  foreach(_t IN LISTS _targets)
    set(_work "${CMAKE_BINARY_DIR}/fuzz-work/${_t}")
    file(MAKE_DIRECTORY "${_work}")
    set(_dict)
    string(REGEX REPLACE "^fuzz_([^_]+).*$" "\\1" _family "${_t}")
    if(EXISTS "${PROJECT_SOURCE_DIR}/fuzz/${_family}.dict")
      set(_dict "-dict=${PROJECT_SOURCE_DIR}/fuzz/${_family}.dict")
    endif()
    add_test(NAME ${_t}_smoke
      COMMAND "${_bin}/${_t}" -max_total_time=3 -timeout=20 ${_dict}
              "${_work}" "${PROJECT_SOURCE_DIR}/fuzz/corpus/${_t}")
    set_tests_properties(${_t}_smoke PROPERTIES LABELS "fuzz")
  endforeach()
endfunction()
