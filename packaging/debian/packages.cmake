# The Debian packages, one for each install component; ./package builds them by cpack. finish.cmake adds to their
# folders what only Debian asks for.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "The status-display authors")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
# Whatever the umask.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL daemon tools)
if(STATUS_DISPLAY_DESK)
  list(APPEND CPACK_COMPONENTS_ALL simulator)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The status-display authors <maintainers@status-display.example>")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()

set(CPACK_DEBIAN_DAEMON_PACKAGE_NAME status-display)
set(CPACK_DEBIAN_DAEMON_PACKAGE_SECTION misc)
set(CPACK_COMPONENT_DAEMON_DESCRIPTION "status display of a vehicle-diagnostics interface
A daemon that owns a one-bit panel of 64 x 128 pixels (/dev/fb0) and shows on
it what the box does: display commands that other services send over the
system bus, and what it measures itself (Wi-Fi, supply voltage, flag files).
.
Here are the daemon, its systemd unit with a user of its own, the bus policy
and the interface description.")
set(CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS
  "init-system-helpers (>= 1.52), systemd | systemd-standalone-sysusers | systemd-sysusers, default-dbus-system-bus | dbus-system-bus")
# iw: the strength of the Wi-Fi link. udev: tells the unit that the framebuffer is there, and gives it to the user.
set(CPACK_DEBIAN_DAEMON_PACKAGE_RECOMMENDS "iw, udev")
set(CPACK_DEBIAN_DAEMON_PACKAGE_SUGGESTS status-display-tools)
set(CPACK_DEBIAN_DAEMON_PACKAGE_CONTROL_EXTRA
  "${CMAKE_CURRENT_LIST_DIR}/postinst;${CMAKE_CURRENT_LIST_DIR}/prerm;${CMAKE_CURRENT_LIST_DIR}/postrm")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME status-display-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "sends commands to a status display and shows panels
displayctl sends display commands over the system bus, knows their words and
arguments, and shows a panel in the terminal or as a picture file.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "status-display, bash-completion")

set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME status-display-simulator)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_SIMULATOR_DESCRIPTION "status display on a desk, without the box
display-sim runs the unmodified daemon with a virtual panel: live in the
terminal and on a page for the browser, from scenarios with expected pictures,
and beside a service that is being developed.")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS "bubblewrap | proot, dbus-daemon")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_RECOMMENDS "bubblewrap, dbus-bin, python3, status-display-tools")

# Read by cpack itself, so all that finish.cmake needs goes along.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/finish.cmake)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/cpack.cmake)
set(CPACK_STATUS_DISPLAY_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_STATUS_DISPLAY_PYTHON ${Python3_EXECUTABLE})
set(CPACK_STATUS_DISPLAY_STRIP ${CMAKE_STRIP})
if(CMAKE_CROSSCOMPILING)
  set(CPACK_STATUS_DISPLAY_SYSROOT ${ARMHF_SYSROOT})
endif()
include(CPack)
