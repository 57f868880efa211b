# SPDX-License-Identifier: MIT

# Installation on Linux: the application bundle, a link to its program, and what starts it in every graphical session.
# The stand-ins are not installed: they simulate other programs, and the one for the helper would run any
# user's commands as root. The packager puts the product's helper into the bundle.

if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux")
    return()
endif()

# A relative prefix would depend on the working directory.
install(CODE [[cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_PREFIX NORMALIZE)]])

set(contents lib/KvnGUIAgent.app/Contents)
# Installed folders have this mode whatever the umask is.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
# CMake itself obeys that mode only for the contents of a folder that is installed whole.
install(CODE "set(contents ${contents})")
install(CODE [[
    function(make_folder path)
        if(NOT IS_DIRECTORY "${path}")
            cmake_path(GET path PARENT_PATH parent)
            make_folder("${parent}")
            file(MAKE_DIRECTORY "${path}")
            file(CHMOD "${path}" PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
        endif()
    endfunction()
    foreach(folder bin ${contents}/MacOS ${contents}/PlugIns ${contents}/Resources)
        make_folder("$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${folder}")
    endforeach()]])
set(resources ${PROJECT_SOURCE_DIR}/resources)
install(TARGETS KvnGUIAgent KvnHelperInstaller RUNTIME DESTINATION ${contents}/MacOS)
if(TARGET KvnDesktop)
    install(TARGETS KvnDesktop LIBRARY DESTINATION ${contents}/PlugIns
        PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endif()
install(FILES ${PROJECT_BINARY_DIR}/KvnGUIAgent.app/Contents/Info.plist DESTINATION ${contents})
install(FILES ${resources}/language.xml DESTINATION ${contents}/Resources)
if(TARGET KvnDesktop)
    file(GLOB pictures CONFIGURE_DEPENDS ${resources}/*StatusIcon-*.svg)
    install(FILES ${pictures} DESTINATION ${contents}/Resources)
endif()
install(PROGRAMS ${resources}/verifyPermissions.sh DESTINATION ${contents}/Resources)
file(GLOB languages CONFIGURE_DEPENDS ${resources}/*.lproj)
install(DIRECTORY ${languages} DESTINATION ${contents}/Resources FILES_MATCHING PATTERN Localizable.strings)

# The program finds its bundle through the link.
set(link ${PROJECT_BINARY_DIR}/installed/KvnGUIAgent)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/installed)
file(CREATE_LINK ../${contents}/MacOS/KvnGUIAgent ${link} SYMBOLIC)
install(FILES ${link} DESTINATION bin)

set(front_end none)
set(launcher "")
if(TARGET KvnDesktop)
    set(front_end desktop)
    set(launcher ${PROJECT_BINARY_DIR}/installed/launcher.desktop.in)
    include(${PROJECT_SOURCE_DIR}/cmake/Launcher.cmake)
    kvs_translate_launcher(${launcher})
    install(CODE "make_folder(\"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/share/icons/hicolor/scalable/apps\")")
    install(FILES ${resources}/AppIcon.svg DESTINATION share/icons/hicolor/scalable/apps
        RENAME com.korvane.remote.KvnGUIAgent.svg)
endif()
install(CODE "set(front_end ${front_end})\nset(launcher \"${launcher}\")")
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/InstallForSession.cmake)
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/InstallForSystem.cmake)

add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -Dmanifest=${PROJECT_BINARY_DIR}/install_manifest.txt
        -P ${PROJECT_SOURCE_DIR}/cmake/Uninstall.cmake
    VERBATIM)
