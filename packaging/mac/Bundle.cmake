# The application as a bundle with all that it needs, and the disk image that it comes in.

set(ORVIK_UPDATE_KEY "" CACHE STRING
  "Public EdDSA key, in base64, with which the update framework checks what it installs")
# Copied into the bundle when it is found. Without it the application looks for one at run time.
find_program(ORVIK_MACMON macmon)

if(ORVIK_UPDATE_FRAMEWORK AND ORVIK_UPDATE_KEY STREQUAL "")
  message(FATAL_ERROR "The update framework installs nothing without ORVIK_UPDATE_KEY")
endif()

set(bundle ${PROJECT_BINARY_DIR}/bundle)
configure_file(${CMAKE_CURRENT_LIST_DIR}/Info.plist.in ${bundle}/Info.plist @ONLY)

# Each size is there for displays with one and with two pixels a point.
set(pictures ${PROJECT_SOURCE_DIR}/packaging/icons)
set(copies)
foreach(size IN ITEMS 16 32 128 256 512)
  math(EXPR double "${size} * 2")
  list(APPEND copies
    COMMAND ${CMAKE_COMMAND} -E copy ${pictures}/orvik-${size}.png
      ${bundle}/orvik.iconset/icon_${size}x${size}.png
    COMMAND ${CMAKE_COMMAND} -E copy ${pictures}/orvik-${double}.png
      ${bundle}/orvik.iconset/icon_${size}x${size}@2x.png)
  list(APPEND originals ${pictures}/orvik-${size}.png ${pictures}/orvik-${double}.png)
endforeach()
list(REMOVE_DUPLICATES originals)
add_custom_command(OUTPUT ${bundle}/orvik.icns
  COMMAND ${CMAKE_COMMAND} -E make_directory ${bundle}/orvik.iconset
  ${copies}
  COMMAND iconutil --convert icns --output ${bundle}/orvik.icns ${bundle}/orvik.iconset
  DEPENDS ${originals}
  VERBATIM)

target_sources(orvik PRIVATE ${bundle}/orvik.icns)
set_source_files_properties(${bundle}/orvik.icns PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
set_target_properties(orvik PROPERTIES
  OUTPUT_NAME Orvik
  MACOSX_BUNDLE TRUE
  MACOSX_BUNDLE_INFO_PLIST ${bundle}/Info.plist
  INSTALL_RPATH @executable_path/../Frameworks)
if(ORVIK_MACMON)
  file(REAL_PATH ${ORVIK_MACMON} macmon)
  add_custom_command(TARGET orvik POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E copy ${macmon} $<TARGET_BUNDLE_CONTENT_DIR:orvik>/Resources/macmon
    VERBATIM)
endif()
if(ORVIK_UPDATE_FRAMEWORK)
  # Found there by the build's program too. Links inside of it are kept.
  add_custom_command(TARGET orvik POST_BUILD
    COMMAND ditto ${ORVIK_UPDATE_FRAMEWORK}
      $<TARGET_BUNDLE_CONTENT_DIR:orvik>/Frameworks/Sparkle.framework
    VERBATIM)
  set_target_properties(orvik PROPERTIES BUILD_RPATH @executable_path/../Frameworks)
endif()

install(TARGETS orvik BUNDLE DESTINATION . COMPONENT application)
# Qt and the other libraries go into the bundle, and all of it is signed: with the identity in the
# environment, or for this machine alone.
get_target_property(qmake Qt6::qmake LOCATION)
cmake_path(GET qmake PARENT_PATH qt_programs)
find_program(ORVIK_MACDEPLOYQT macdeployqt HINTS ${qt_programs} REQUIRED)
# The pairing card is drawn without a display, with a plugin that applications rarely have.
execute_process(COMMAND ${qmake} -query QT_INSTALL_PLUGINS
  OUTPUT_VARIABLE plugin OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
string(APPEND plugin /platforms/libqoffscreen.dylib)
execute_process(COMMAND ${qmake} -query QT_INSTALL_LIBS
  OUTPUT_VARIABLE qt_libraries OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
install(CODE "
  set(application \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/Orvik.app\")
  set(plugins \"\${application}/Contents/PlugIns/platforms\")
  execute_process(COMMAND \"${CMAKE_COMMAND}\" -E make_directory \"\${plugins}\"
    COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND \"${CMAKE_COMMAND}\" -E copy \"${plugin}\" \"\${plugins}\"
    COMMAND_ERROR_IS_FATAL ANY)
  execute_process(
    COMMAND \"${ORVIK_MACDEPLOYQT}\" \"\${application}\" -always-overwrite
      \"-libpath=${qt_libraries}\"
      \"-executable=\${plugins}/libqoffscreen.dylib\"
    COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND \"${CMAKE_CURRENT_LIST_DIR}/sign-bundle\" \"\${application}\"
    COMMAND_ERROR_IS_FATAL ANY)
  " COMPONENT application)

set(CPACK_GENERATOR DragNDrop)
set(CPACK_PACKAGE_NAME Orvik)
set(CPACK_PACKAGE_FILE_NAME Orvik-${PROJECT_VERSION})
set(CPACK_DMG_VOLUME_NAME Orvik)
set(CPACK_INSTALL_CMAKE_PROJECTS ${PROJECT_BINARY_DIR} Orvik application /)
include(CPack)
