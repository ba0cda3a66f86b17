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
    -Wno-maybe-uninitialized -Wno-use-after-free -Wno-mismatched-new-delete -Wno-restrict
    # What several files that are compiled as one keep to themselves looks to it as if headers gave it
    # away.
    $<$<BOOL:${CMAKE_UNITY_BUILD}>:-Wno-subobject-linkage>)
endif()

if(ORVIK_SANITIZERS)
  target_compile_options(orvik_options INTERFACE
    -fsanitize=${ORVIK_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(orvik_options INTERFACE -fsanitize=${ORVIK_SANITIZERS})
  if(ORVIK_SANITIZERS_LEFT_OUT)
    target_compile_options(orvik_options INTERFACE -fno-sanitize=${ORVIK_SANITIZERS_LEFT_OUT})
  endif()
  if(ORVIK_SANITIZERS STREQUAL "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The sanitizer does not see fences; the library's are in queues that it orders otherwise, too.
    target_compile_options(orvik_options INTERFACE -Wno-tsan)
  endif()
else()
  target_compile_definitions(orvik_options INTERFACE $<$<CONFIG:Release,RelWithDebInfo>:_FORTIFY_SOURCE=2>)
endif()

find_program(ORVIK_CCACHE ccache)
if(ORVIK_CCACHE)
  set(launcher ${ORVIK_CCACHE})
  if(ORVIK_PRECOMPILE)
    # Without this it would pass on every file that uses a precompiled header.
    set(launcher ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${launcher})
  endif()
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()

# What most files of a target include from the libraries is read once for it, where a build is to be
# quick. Builds without it notice an include that is missing.
function(orvik_precompile target)
  if(ORVIK_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE
      <algorithm> <array> <chrono> <cstdint> <filesystem> <functional> <map> <memory> <optional>
      <ranges> <span> <string> <string_view> <variant> <vector>
      <boost/asio/any_io_executor.hpp> <boost/asio/awaitable.hpp> <boost/asio/co_spawn.hpp>
      <boost/asio/steady_timer.hpp> <boost/asio/strand.hpp> <boost/asio/use_awaitable.hpp>
      ${ARGN})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_compile_options(${target} PRIVATE -fpch-preprocess)
    endif()
  endif()
endfunction()

find_program(ORVIK_MOLD mold)
if(ORVIK_MOLD AND NOT APPLE)
  add_link_options(-fuse-ld=mold)
endif()

if(NOT APPLE)
  # Programs load only those of the core's libraries that they use.
  add_link_options(LINKER:--as-needed)
endif()
