# Warnings for every target of ours; third parties' headers are system headers and stay silent.
set(mox_warnings
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wcast-qual -Wundef)
option(MOX_WARNINGS_AS_ERRORS "Treat warnings as errors" OFF)
# g++ 12 reports texts that were put together with + as overlapping copies when it optimises: a false alarm.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  list(APPEND mox_warnings -Wno-restrict)
endif()
if(MOX_WARNINGS_AS_ERRORS)
  list(APPEND mox_warnings -Werror)
endif()
add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:${mox_warnings}>")
