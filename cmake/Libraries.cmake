# Third-party libraries. Boost is used header-only where it can be: its sources are compiled once, in
# core/boost.

if(APPLE)
  # Homebrew keeps these out of its common folders, where the system has others of the same name.
  foreach(formula IN ITEMS openssl@3 icu4c)
    execute_process(COMMAND brew --prefix ${formula}
      OUTPUT_VARIABLE prefix OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    list(APPEND CMAKE_PREFIX_PATH ${prefix})
  endforeach()
endif()

find_package(Threads REQUIRED)
find_package(OpenSSL 3.0 REQUIRED)
find_package(ICU 67 REQUIRED COMPONENTS uc i18n)
find_package(Boost 1.81 REQUIRED)
# Newer versions bring this part compiled alone.
if(NOT EXISTS ${Boost_INCLUDE_DIRS}/boost/url/src.hpp)
  find_package(Boost 1.81 REQUIRED COMPONENTS url)
endif()
find_package(PkgConfig REQUIRED)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
if(NOT APPLE)
  # Speaks D-Bus, over which the system's services are asked.
  pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
  # The desktop's store of secrets.
  pkg_check_modules(LIBSECRET REQUIRED IMPORTED_TARGET libsecret-1)
endif()

# The relay packs the page.
find_package(ZLIB REQUIRED)
if(NOT ORVIK_CORE_ONLY)
  find_package(CLI11 REQUIRED)
  # The relay asks push services.
  find_package(CURL 7.87 REQUIRED)
  # What the relay keeps.
  find_package(SQLite3 3.37 REQUIRED)
  # What several relays share.
  pkg_check_modules(NATS REQUIRED IMPORTED_TARGET libnats)
  pkg_check_modules(QRENCODE REQUIRED IMPORTED_TARGET libqrencode)
endif()

if(ORVIK_APP AND NOT ORVIK_CORE_ONLY)
  find_package(Qt6 6.4 REQUIRED COMPONENTS LinguistTools Network Svg Widgets)
  if(NOT APPLE)
    find_package(Qt6 6.4 REQUIRED COMPONENTS DBus)
    # Reads and writes desktop entries.
    pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-unix-2.0)
    # Tell whether an X display has a tray.
    pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-xfixes)
  endif()
endif()
