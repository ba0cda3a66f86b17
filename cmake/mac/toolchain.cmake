# Builds for a Mac with the compiler that scripts/check-mac fetches, which has the open headers of
# macOS's own library and a linker. Everything else comes from the folder that `sysroot` makes.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)

set(made ${CMAKE_CURRENT_LIST_DIR}/../../build/mac)
file(REAL_PATH ${made} made)
set(CMAKE_C_COMPILER ${made}/bin/cc)
set(CMAKE_CXX_COMPILER ${made}/bin/c++)
set(CMAKE_OBJCXX_COMPILER ${CMAKE_CXX_COMPILER})
set(CMAKE_AR ${made}/bin/ar)
set(CMAKE_RANLIB ${made}/bin/ranlib)
# Asked for, but used only where something is installed.
set(CMAKE_INSTALL_NAME_TOOL ${made}/bin/none)

set(CMAKE_FIND_ROOT_PATH ${made}/sysroot)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${made}/sysroot/lib/pkgconfig)
