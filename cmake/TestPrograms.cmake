find_package(GTest REQUIRED)
include(GoogleTest)

# mox_add_test_program(NAME SOURCES ... LIBRARIES ...)
#
# A GoogleTest program; each of its tests becomes a test of its own in a process of its own, so that state kept
# by a class never leaks from one test into the next.
function(mox_add_test_program name)
  cmake_parse_arguments(PARSE_ARGV 1 program "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${program_SOURCES})
  target_link_libraries(${name} PRIVATE ${program_LIBRARIES} GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/Tests)
  gtest_discover_tests(${name} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()
