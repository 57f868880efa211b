# SPDX-License-Identifier: MIT

# Two Debian packages, made by cpack -G DEB: kvn-gui-agent, which needs no desktop, and kvn-gui-agent-desktop.

if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux")
    return()
endif()
find_program(KVN_DPKG dpkg)
if(NOT KVN_DPKG)
    return()
endif()

set(KVN_PACKAGE_RELEASE 1 CACHE STRING "Number of the packages that were made of this version of the program")
set(version ${PROJECT_VERSION}-${KVN_PACKAGE_RELEASE})
set(logs /var/log/com.korvane.remote)
set(installed_contents /usr/${contents})
set(maintainer "The contributors to KvnGUIAgent <kvn-gui-agent@example.org>")

# What only the packages contain. The folder of the other package's documents is a link to this one's.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME debian)
set(documents share/doc/kvn-gui-agent)
set(zsh_completion share/zsh/vendor-completions)
file(READ ${PROJECT_SOURCE_DIR}/LICENSE license)
string(REGEX REPLACE "^MIT License\n\nCopyright \\(c\\) ([^\n]*)\n\n" "" license "${license}")
set(copyright "${CMAKE_MATCH_1}")
string(REGEX REPLACE "\n\n" "\n.\n" license "${license}")
string(REGEX REPLACE "\n([^\n])" "\n \\1" license " ${license}")
execute_process(COMMAND date -u -R -d ${release_date} OUTPUT_VARIABLE release_time OUTPUT_STRIP_TRAILING_WHITESPACE
    COMMAND_ERROR_IS_FATAL ANY)
foreach(file copyright changelog.Debian postinst prerm postrm)
    configure_file(${resources}/debian/${file}.in ${prepared}/${file} @ONLY)
endforeach()
kvs_compress(changelog.Debian)
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${prepared}/changelog COPYONLY)
kvs_compress(changelog)
install(CODE "make_folders(${documents} ${zsh_completion})" EXCLUDE_FROM_ALL)
install(FILES ${prepared}/copyright ${prepared}/changelog.Debian.gz ${prepared}/changelog.gz DESTINATION ${documents}
    EXCLUDE_FROM_ALL)
install(FILES ${resources}/completion/_KvnGUIAgent DESTINATION ${zsh_completion} EXCLUDE_FROM_ALL)
file(CREATE_LINK kvn-gui-agent ${prepared}/kvn-gui-agent-desktop SYMBOLIC)
install(CODE "make_folders(share/doc)" COMPONENT debian-desktop EXCLUDE_FROM_ALL)
install(FILES ${prepared}/kvn-gui-agent-desktop DESTINATION share/doc COMPONENT debian-desktop EXCLUDE_FROM_ALL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_SET_DESTDIR ON) # the installed files contain the prefix
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL agent debian)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${KVN_PACKAGE_RELEASE})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${maintainer}")
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON) # whatever the umask was

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME kvn-gui-agent)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "libedit2 (>= 3.1), libsystemd0 (>= 246)") # loaded, not linked
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS "dbus-user-session | dbus-x11, pkexec, xdg-utils")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS kvn-gui-agent-desktop)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA ${prepared}/postinst ${prepared}/prerm ${prepared}/postrm)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "Agent of a remote-support service in a user's session
One agent runs in the session of each user. It shows what the service is
doing, starts the client of a remote session when the service asks for it, and
starts and stops the service through a privileged helper.

This package contains the agent without a user interface and with one for the
terminal. The service, its client and its helper are not included.")
if(TARGET KvnDesktop)
    list(APPEND CPACK_COMPONENTS_ALL desktop debian-desktop)
    set(CPACK_DEBIAN_FRONTEND_PACKAGE_NAME kvn-gui-agent-desktop)
    set(CPACK_DEBIAN_FRONTEND_PACKAGE_DEPENDS "kvn-gui-agent (= ${version})")
    set(CPACK_DEBIAN_FRONTEND_PACKAGE_RECOMMENDS qt6-wayland)
    set(CPACK_DEBIAN_FRONTEND_PACKAGE_SUGGESTS qt6-gtk-platformtheme) # the colours and fonts of a GTK desktop
    set(CPACK_DEBIAN_FRONTEND_PACKAGE_CONTROL_EXTRA ${resources}/debian/conffiles)
    set(CPACK_DEBIAN_FRONTEND_DESCRIPTION "Desktop front end of the agent of a remote-support service
The agent shows the state of the service by an item in the desktop's panel,
whose menu opens dialogs with the service's status and settings. It tells the
user when a remote session begins and ends.

The agent starts with every graphical session.")
else()
    list(APPEND CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA ${resources}/debian/conffiles)
endif()
include(CPack)
cpack_add_component_group(program)
cpack_add_component_group(frontend)
cpack_add_component(agent GROUP program)
cpack_add_component(debian GROUP program)
cpack_add_component(desktop GROUP frontend)
cpack_add_component(debian-desktop GROUP frontend)
