# Warnings, sanitizers and build speed: everything that is said once to the compiler.

add_library(orvik_options INTERFACE)
add_library(orvik::options ALIAS orvik_options)

target_compile_options(orvik_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wold-style-cast
  -Woverloaded-virtual -Wnon-virtual-dtor -Wextra-semi -Wimplicit-fallthrough -Werror
  # A parameter may be named as a field. Clang has no such choice, and would find fault with that.
  $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 reports freed or uninitialised coroutine frames that are neither, and overlaps in joined
  # strings that cannot be.
  target_compile_options(orvik_options INTERFACE
    -Wno-maybe-uninitialized -Wno-use-after-free -Wno-mismatched-new-delete -Wno-restrict)
endif()

if(ORVIK_SANITIZERS)
  target_compile_options(orvik_options INTERFACE
    -fsanitize=${ORVIK_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(orvik_options INTERFACE -fsanitize=${ORVIK_SANITIZERS})
  if(ORVIK_SANITIZERS_LEFT_OUT)
    target_compile_options(orvik_options INTERFACE -fno-sanitize=${ORVIK_SANITIZERS_LEFT_OUT})
  endif()
else()
  target_compile_definitions(orvik_options INTERFACE $<$<CONFIG:Release,RelWithDebInfo>:_FORTIFY_SOURCE=2>)
endif()

find_program(ORVIK_CCACHE ccache)
if(ORVIK_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${ORVIK_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${ORVIK_CCACHE})
endif()

find_program(ORVIK_MOLD mold)
if(ORVIK_MOLD AND NOT APPLE)
  add_link_options(-fuse-ld=mold)
endif()

if(NOT APPLE)
  # Programs load only those of the core's libraries that they use.
  add_link_options(LINKER:--as-needed)
endif()
