# The Debian packages, by CPack: the application, what runs without a desktop, and the relay.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "The Orvik authors")
set(CPACK_PACKAGE_CONTACT "${ORVIK_CONTACT}")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://${ORVIK_PAIRING_HOST}/")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
# Packages carry no folders that others may write to, whatever the builder's mask is.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL agent relay)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

# What Debian asks of every package, and nobody else: its licence and its changes.
function(debian_documents component package)
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES copyright DESTINATION ${documents} COMPONENT ${component} EXCLUDE_FROM_ALL)
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  set(changelog ${CMAKE_CURRENT_BINARY_DIR}/${package}.changelog)
  configure_file(changelog.in ${changelog} @ONLY)
  install_compressed(${changelog} changelog.Debian ${documents} ${component}
    EXCLUDE_FROM_ALL)
  # It closes none, as it is no upload to Debian.
  set(overrides ${CMAKE_CURRENT_BINARY_DIR}/${package}.overrides)
  file(WRITE ${overrides} "${package}: initial-upload-closes-no-bugs\n")
  install(FILES ${overrides} DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
    RENAME ${package} COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

set(CPACK_DEBIAN_AGENT_PACKAGE_NAME orvik-agent)
set(CPACK_DEBIAN_AGENT_PACKAGE_SECTION admin)
# Those of public relays; one's own needs none.
set(CPACK_DEBIAN_AGENT_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_COMPONENT_AGENT_DESCRIPTION
"shows a computer's live state on a paired phone, without a desktop
Makes the live state of a computer visible on a phone that has been paired once
by a QR code: processor, temperature, memory, battery, disks, processes and
devices, with alerts. Everything is sealed from end to end and goes through a
relay that can read none of it.

This package has the agent for servers and terminals, with a service for the
user's systemd, and a viewer for terminals.")
debian_documents(agent orvik-agent)

set(CPACK_DEBIAN_RELAY_PACKAGE_NAME orvik-relay)
set(debian_scripts conffiles postinst prerm postrm)
set(CPACK_DEBIAN_RELAY_PACKAGE_SECTION net)
set(CPACK_COMPONENT_RELAY_DESCRIPTION
"relay between computers and the phones that watch them
Passes on sealed messages between computers that run Orvik and their paired
phones. It cannot read them, keeps none but the alerts of the last day, makes
its own certificate or takes yours, and limits what one client can use up.

This package has the relay as a service of the system, and the page that
shows a computer in the browser of a phone.")
# By which push services are checked.
set(CPACK_DEBIAN_RELAY_PACKAGE_RECOMMENDS ca-certificates)
# Makes the service's user.
set(CPACK_DEBIAN_RELAY_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers | systemd-sysusers")
set(CPACK_DEBIAN_RELAY_PACKAGE_CONTROL_STRICT_PERMISSION ON)
list(TRANSFORM debian_scripts PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/debian/
  OUTPUT_VARIABLE CPACK_DEBIAN_RELAY_PACKAGE_CONTROL_EXTRA)
debian_documents(relay orvik-relay)

if(ORVIK_APP)
  list(APPEND CPACK_COMPONENTS_ALL application)
  set(CPACK_DEBIAN_APPLICATION_PACKAGE_NAME orvik)
  set(CPACK_DEBIAN_APPLICATION_PACKAGE_SECTION utils)
  # A place for the pairing's secret, windows without an X server, and the colours of a desktop made
  # with GTK, which may be dark; then a tray, and text in every language. It works without any of
  # them.
  set(CPACK_DEBIAN_APPLICATION_PACKAGE_RECOMMENDS
    "ca-certificates, gnome-keyring | libkf5wallet-bin | keepassxc, hicolor-icon-theme, qt6-gtk-platformtheme, qt6-wayland")
  set(CPACK_DEBIAN_APPLICATION_PACKAGE_SUGGESTS
    "fonts-noto-core, fonts-noto-cjk, gnome-shell-extension-appindicator, orvik-agent")
  set(CPACK_COMPONENT_APPLICATION_DESCRIPTION
"shows this computer's live state on a paired phone
Makes the live state of this computer visible on a phone that has been paired
once by a QR code: processor, temperature, memory, battery, disks, processes
and devices, with alerts. Everything is sealed from end to end and goes through
a relay that can read none of it.

This package has the application for the desktop, with its menu in the tray.")
  debian_documents(application orvik)
endif()

include(CPack)
