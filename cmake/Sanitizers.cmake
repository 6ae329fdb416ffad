# MOX_SANITIZE is a list for -fsanitize=, for example "address,undefined" or "thread"; empty for none.
set(MOX_SANITIZE "" CACHE STRING "Sanitizers for everything that is built")
if(MOX_SANITIZE)
  add_compile_options(-fsanitize=${MOX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${MOX_SANITIZE})
  # The compiler mistakes the instrumented optional values of the standard library for uninitialised ones.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-maybe-uninitialized>)
  endif()
endif()
