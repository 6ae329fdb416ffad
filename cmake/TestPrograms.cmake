find_package(GTest REQUIRED)
include(GoogleTest)

# Builds every program whose tests the thread sanitizer is to run.
add_custom_target(thread_tests)

# mox_add_test_program(NAME [THREADS] [LONG] SOURCES ... LIBRARIES ...)
#
# A GoogleTest program; each of its tests becomes a test of its own in a process of its own, so that state kept
# by a class never leaks from one test into the next. THREADS names one in which threads run; its tests carry the
# label "threads". LONG names one whose tests take many seconds; they carry the label "long" and may take longer.
function(mox_add_test_program name)
  cmake_parse_arguments(PARSE_ARGV 1 program "THREADS;LONG" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${program_SOURCES})
  target_link_libraries(${name} PRIVATE ${program_LIBRARIES} GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/Tests)
  set(timeout 300)
  if(program_THREADS)
    set(labels LABELS threads)
    add_dependencies(thread_tests ${name})
  elseif(program_LONG)
    set(labels LABELS long)
    set(timeout 1500)
  endif()
  gtest_discover_tests(${name} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT ${timeout} ${labels})
endfunction()
