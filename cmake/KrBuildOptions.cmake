# Options and the one interface target, kr_build_options, that carries language level, warnings and sanitizers.

option(KR_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(KR_BUILD_APPS "Build the programs" ${PROJECT_IS_TOP_LEVEL})
option(KR_BUILD_EXAMPLES "Build the examples" ${PROJECT_IS_TOP_LEVEL})
option(KR_BUILD_BENCHMARKS "Build the benchmarks" OFF)
option(KR_BUILD_FUZZERS "Build the fuzzers (clang only)" OFF)
option(KR_BUILD_STATIC "Build one static library instead of the shared one (fuzzing links it into each target)" OFF)
option(KR_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" ${PROJECT_IS_TOP_LEVEL})
set(KR_SANITIZE "" CACHE STRING "Sanitizers for everything, as -fsanitize= takes them")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(KR_CCACHE ccache)
if(KR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Paths relative to the tree let every checkout and build folder share the cache.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND}" -E env "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1 "${KR_CCACHE}")
endif()

add_library(kr_build_options INTERFACE)
target_compile_features(kr_build_options INTERFACE cxx_std_20)
target_compile_options(kr_build_options INTERFACE
  -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  # False alarms of optimised builds with g++ 12: it takes "text" + std::string for a copy onto itself, and the types
  # that it guesses for a virtual destructor for accesses beyond the object. The address sanitizer sees real ones.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds>
  $<$<BOOL:${KR_WARNINGS_AS_ERRORS}>:-Werror>)
if(KR_SANITIZE)
  target_compile_options(kr_build_options INTERFACE
    -fsanitize=${KR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(kr_build_options INTERFACE -fsanitize=${KR_SANITIZE})
endif()
