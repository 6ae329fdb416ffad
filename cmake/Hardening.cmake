# What makes a mistake in the handling of memory harder to exploit, for everything that is built.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

# With CMAKE_POSITION_INDEPENDENT_CODE: programs that are loaded at an address of chance, as libraries are.
check_pie_supported(LANGUAGES C CXX)

# Guards beside the return address, no leap over the stack's guard page, and, where the processor knows it, no jump
# to the middle of a function. Compilers for other processors refuse the last one.
foreach(flag IN ITEMS -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
  string(MAKE_C_IDENTIFIER MOX_COMPILES_WITH${flag} compiles)
  check_cxx_compiler_flag(${flag} ${compiles})
  if(${compiles})
    add_compile_options(${flag})
  endif()
endforeach()

# Calls of the C library that know how large their target is. They need optimisation, and would hide from the
# sanitizers what these look for. A packager's own level, which comes first on the command line, gives way.
if(NOT MOX_SANITIZE)
  add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>")
endif()

# All addresses of other libraries are bound at the start and read-only from then on; no stack is executable.
if(CMAKE_EXECUTABLE_FORMAT STREQUAL "ELF")
  add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack)
endif()
