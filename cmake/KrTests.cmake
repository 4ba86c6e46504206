# kr_tests(<layer> <sources...>): one GoogleTest program for a folder of tests, compiled in unity batches of eight.
# Helpers in test files therefore need names that are unique in their batch (or a namespace named after the file).

find_package(GTest REQUIRED)
include(GoogleTest)

function(kr_tests layer)
  string(REPLACE "/" "_" name "kr_${layer}_tests")
  add_executable(${name} ${ARGN})
  # Apart from the tests, so that the compiler does not look into its operators new and delete.
  set_source_files_properties("${PROJECT_SOURCE_DIR}/benchmarks/allocation_counter.cpp"
    PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE KrFoundation kr_build_options GTest::gmock_main Threads::Threads)
  gtest_discover_tests(${name} TEST_PREFIX "${layer}." NO_PRETTY_VALUES
    PROPERTIES TIMEOUT 120 DISCOVERY_TIMEOUT 60)
endfunction()
