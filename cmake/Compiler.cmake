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
  # What ends a program at a fault of its memory before a stranger can use it. For all sources, those
  # of libraries that are compiled here too.
  set(hardening -fstack-protector-strong)
  set(hardened_link)
  set(fortified 2)
  if(NOT APPLE)
    list(APPEND hardening -fPIE -fstack-clash-protection)
    list(APPEND hardened_link -pie LINKER:-z,relro,-z,now,-z,noexecstack)
    if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
      list(APPEND hardening -fcf-protection=full)
      # The start of every program comes from the C library, which on Debian 12 bears no mark: without
      # this the linker would drop everyone's.
      list(APPEND hardened_link LINKER:-z,ibt,-z,shstk)
    elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
      list(APPEND hardening -mbranch-protection=standard)
    endif()
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU" OR CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12)
      set(fortified 3)
    endif()
  endif()
  # Some distributions' compilers define the last one by themselves.
  list(APPEND hardening -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${fortified})
  add_compile_options("$<$<CONFIG:Release,RelWithDebInfo>:${hardening}>")
  add_link_options("$<$<CONFIG:Release,RelWithDebInfo>:${hardened_link}>")
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
