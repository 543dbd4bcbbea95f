# Options, compiler flags and the few functions that the folders' CMakeLists.txt are written in.

set(NPRM_ABI 64 CACHE STRING "32: the card's ABI (i386); 64: the machine's own")
set(NPRM_SANITIZE "" CACHE STRING "sanitizers, as for -fsanitize=")
option(NPRM_TESTS "build the tests" ON)
option(NPRM_BENCH "build the benchmarks" OFF)
option(NPRM_COVERAGE "count executed lines" OFF)
option(NPRM_FUZZ "build the fuzz targets for libFuzzer (clang only)" OFF)
option(NPRM_TIDY "run clang-tidy while compiling" OFF)

set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
# Programs find the libraries beside them, in the build folder as where they are installed.
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib")
set(THREADS_PREFER_PTHREAD_FLAG ON)

add_compile_definitions(_GNU_SOURCE)
if(NPRM_ABI EQUAL 32)
  # The card's processor has SSE2: a 64-bit counter is read by one load.
  add_compile_options(-m32 -msse2 -mfpmath=sse)
  add_link_options(-m32)
elseif(NOT NPRM_ABI EQUAL 64)
  message(FATAL_ERROR "NPRM_ABI is ${NPRM_ABI}; it must be 32 or 64")
endif()
if(NPRM_SANITIZE)
  add_compile_options(-fsanitize=${NPRM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NPRM_SANITIZE})
endif()
if(NPRM_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(NPRM_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
find_package(Threads REQUIRED)

if(NPRM_TIDY)
  find_program(NPRM_CLANG_TIDY NAMES clang-tidy REQUIRED)
  set(nprm_tidy "${NPRM_CLANG_TIDY};--quiet;--warnings-as-errors=*")
endif()

add_library(nprm_warnings INTERFACE)
target_compile_options(nprm_warnings INTERFACE -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wundef -Werror)

# g++ 12 raises this one falsely for "text" + std::string.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(nprm_warnings INTERFACE -Wno-restrict)
endif()

# Our code, wherever it stands: warnings as errors, includes written from the project's root or relative to the file.
function(nprm_ours target)
  target_link_libraries(${target} PRIVATE nprm_warnings)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  if(NPRM_TIDY)
    set_target_properties(${target} PROPERTIES CXX_CLANG_TIDY "${nprm_tidy}")
  endif()
endfunction()

# Sources of the client library, from the folder that calls.
function(nprm_sources)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(nprm_objects PRIVATE ${ARGN})
endfunction()

# A program of tests: nprm_test_program(NAME SOURCES a_test.cpp ... [LIBRARIES target ...] [ARGUMENTS ...] [PROPERTIES name value ...]).
# Every test is a CTest test of its own process.
function(nprm_test_program name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES;PROPERTIES;DEFINITIONS;DEPENDS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  nprm_ours(${name})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} nprm_test_support GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
  # What is tested is optimised as it ships; the tests themselves are not, which halves the time that they take to build and spares
  # g++ 12's false alarms about <regex> under sanitizers.
  target_compile_options(${name} PRIVATE -O0)
  if(arg_DEPENDS)
    add_dependencies(${name} ${arg_DEPENDS})
  endif()
  foreach(source IN LISTS arg_SOURCES)
    set_property(GLOBAL APPEND PROPERTY nprm_registered_tests ${CMAKE_CURRENT_SOURCE_DIR}/${source})
  endforeach()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120 ${arg_PROPERTIES})
endfunction()

# A test that is not built is worse than none: it looks as if it passed.
function(nprm_check_tests_are_registered)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/*_test.cpp)
  get_property(registered GLOBAL PROPERTY nprm_registered_tests)
  foreach(source IN LISTS found)
    if(NOT source IN_LIST registered)
      message(FATAL_ERROR "${source} is in no nprm_test_program(): add it to the CMakeLists.txt beside it")
    endif()
  endforeach()
endfunction()
