# SPDX-License-Identifier: MIT

# Installation on Linux: the application bundle, a link to its program, and what starts it in every graphical session.
# The stand-ins are not installed: they simulate other programs, and the one for the helper would run any
# user's commands as root. The packager puts the product's helper into the bundle.
#
# The components are `agent`, which needs no desktop; `desktop`, the front end for one and what starts it; `system`, the
# folders outside the prefix.

if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux")
    return()
endif()

# A relative prefix would depend on the working directory.
install(CODE [[cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_PREFIX NORMALIZE)]] ALL_COMPONENTS)

# A release's programs are installed without their symbols.
install(CODE [[
    if(CMAKE_INSTALL_CONFIG_NAME STREQUAL "Release")
        set(CMAKE_INSTALL_DO_STRIP TRUE)
    endif()]] ALL_COMPONENTS)

set(contents lib/KvnGUIAgent.app/Contents)
# Installed folders have this mode whatever the umask is.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
# CMake itself obeys that mode only for the contents of a folder that is installed whole.
install(CODE [[
    function(make_folder path)
        if(NOT IS_DIRECTORY "${path}")
            cmake_path(GET path PARENT_PATH parent)
            make_folder("${parent}")
            file(MAKE_DIRECTORY "${path}")
            file(CHMOD "${path}" PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
        endif()
    endfunction()
    function(make_folders)
        foreach(folder IN LISTS ARGV)
            make_folder("$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${folder}")
        endforeach()
    endfunction()]] ALL_COMPONENTS)
set(resources ${PROJECT_SOURCE_DIR}/resources)
set(prepared ${PROJECT_BINARY_DIR}/installed)
file(MAKE_DIRECTORY ${prepared})

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG.md heading REGEX "^## ${PROJECT_VERSION} - [0-9]+-[0-9]+-[0-9]+$")
if(NOT heading)
    message(FATAL_ERROR "CHANGELOG.md does not say when version ${PROJECT_VERSION} was released")
endif()
string(REGEX MATCH "[-0-9]+$" release_date "${heading}")

# kvs_compress(FILE): makes ${prepared}/FILE.gz. Names and times stay outside, so that equal files give equal results.
find_program(KVN_GZIP gzip REQUIRED)
function(kvs_compress file)
    execute_process(COMMAND ${KVN_GZIP} -9nf ${file} WORKING_DIRECTORY ${prepared} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME agent)
set(manual share/man/man1)
set(bash_completion share/bash-completion/completions)
set(zsh_completion share/zsh/site-functions)
install(CODE "make_folders(bin ${contents}/MacOS ${contents}/Resources ${manual} ${bash_completion})")
install(TARGETS KvnGUIAgent KvnHelperInstaller RUNTIME DESTINATION ${contents}/MacOS)
install(FILES ${PROJECT_BINARY_DIR}/KvnGUIAgent.app/Contents/Info.plist DESTINATION ${contents})
install(FILES ${resources}/language.xml DESTINATION ${contents}/Resources)
install(PROGRAMS ${resources}/verifyPermissions.sh DESTINATION ${contents}/Resources)
file(GLOB languages CONFIGURE_DEPENDS ${resources}/*.lproj)
install(DIRECTORY ${languages} DESTINATION ${contents}/Resources FILES_MATCHING PATTERN Localizable.strings)

# The program finds its bundle through the link.
file(CREATE_LINK ../${contents}/MacOS/KvnGUIAgent ${prepared}/KvnGUIAgent SYMBOLIC)
install(FILES ${prepared}/KvnGUIAgent DESTINATION bin)

configure_file(${resources}/KvnGUIAgent.1.in ${prepared}/KvnGUIAgent.1 @ONLY)
kvs_compress(KvnGUIAgent.1)
install(FILES ${prepared}/KvnGUIAgent.1.gz DESTINATION ${manual})
install(FILES ${resources}/completion/KvnGUIAgent.bash DESTINATION ${bash_completion} RENAME KvnGUIAgent)
# Debian's zsh looks for a package's completions in a folder of its own; zsh itself in this one.
install(CODE "make_folders(${zsh_completion})" COMPONENT zsh)
install(FILES ${resources}/completion/_KvnGUIAgent DESTINATION ${zsh_completion} COMPONENT zsh)

set(front_end none)
set(launcher "")
if(TARGET KvnDesktop)
    set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME desktop)
    set(front_end desktop)
    set(launcher ${prepared}/launcher.desktop.in)
    include(${PROJECT_SOURCE_DIR}/cmake/TranslatedTexts.cmake)
    kvs_translate(${resources}/launcher.desktop.in ${launcher})
    set(icons share/icons/hicolor/scalable/apps)
    install(CODE "make_folders(${contents}/PlugIns ${contents}/Resources ${icons} share/metainfo)")
    install(FILES ${resources}/AppIcon.svg DESTINATION ${icons} RENAME com.korvane.remote.KvnGUIAgent.svg)
    install(TARGETS KvnDesktop LIBRARY DESTINATION ${contents}/PlugIns
        PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    file(GLOB pictures CONFIGURE_DEPENDS ${resources}/*StatusIcon-*.svg)
    install(FILES ${pictures} DESTINATION ${contents}/Resources)
    set(metainfo com.korvane.remote.KvnGUIAgent.metainfo.xml)
    kvs_translate(${resources}/metainfo.xml.in ${prepared}/metainfo.xml.in)
    configure_file(${prepared}/metainfo.xml.in ${prepared}/${metainfo} @ONLY)
    install(FILES ${prepared}/${metainfo} DESTINATION share/metainfo)
endif()
install(CODE "set(front_end ${front_end})\nset(launcher \"${launcher}\")")
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/InstallForSession.cmake)

# The folder of the preferences that the product's programs share. The agent of every user makes, writes and removes
# the file in it. It has no sticky bit: with one, Linux can refuse to open the file of another user with O_CREAT
# (fs.protected_regular), which is how the programs open it.
set(registry "/Library/Application Support/com.korvane.remote/registry")
install(CODE "set(registry \"${registry}\")" COMPONENT system)
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/InstallForSystem.cmake COMPONENT system)

add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -Dmanifest=${PROJECT_BINARY_DIR}/install_manifest.txt
        -P ${PROJECT_SOURCE_DIR}/cmake/Uninstall.cmake
    VERBATIM)
