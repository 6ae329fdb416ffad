# MOX_SANITIZE is a list for -fsanitize=, for example "address,undefined" or "thread"; empty for none.
set(MOX_SANITIZE "" CACHE STRING "Sanitizers for everything that is built")
if(MOX_SANITIZE)
  add_compile_options(-fsanitize=${MOX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${MOX_SANITIZE})
endif()
