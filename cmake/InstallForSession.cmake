# SPDX-License-Identifier: MIT

# Runs during every installation, because only the installation knows the prefix. Makes what starts the agent in a
# session: the autostart entry, the user unit in its place, and the launcher if the desktop front end is built.
# `front_end` is the one that they start, `launcher` the translated launcher.

set(identifier com.korvane.remote.KvnGUIAgent)
set(resources ${CMAKE_CURRENT_LIST_DIR}/../resources)
set(program "${CMAKE_INSTALL_PREFIX}/bin/KvnGUIAgent")
set(ui ${front_end})

# In systemd's commands "%" and "$" begin something, and two characters are escaped within quotes.
string(REGEX REPLACE [[(["\])]] [[\\\1]] start "${program}")
string(REGEX REPLACE [[([%$])]] [[\1\1]] start "${start}")

# In a desktop's command "%" begins a field, and four characters are escaped within quotes; every value escapes "\".
string(REPLACE "%" "%%" command "${program}")
string(REGEX REPLACE [[(["`$\])]] [[\\\1]] command "${command}")
string(REPLACE [[\]] [[\\]] command "${command}")
string(REPLACE [[\]] [[\\]] program "${program}")

function(install_configured source path)
    message(STATUS "Installing: $ENV{DESTDIR}${path}")
    cmake_path(GET path PARENT_PATH folder)
    make_folder("$ENV{DESTDIR}${folder}")
    configure_file(${source} "$ENV{DESTDIR}${path}" @ONLY NO_SOURCE_PERMISSIONS)
    set(CMAKE_INSTALL_MANIFEST_FILES ${CMAKE_INSTALL_MANIFEST_FILES} "${path}" PARENT_SCOPE)
endfunction()

# The autostart entry: for the prefix /usr in the folder that every session reads, else below the prefix.
set(entry "${CMAKE_INSTALL_PREFIX}/etc/xdg/autostart/${identifier}.desktop")
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    string(REGEX REPLACE "^/usr" "" entry "${entry}")
endif()
install_configured(${resources}/autostart.desktop.in "${entry}")

# The service that systemd makes of the entry has the second of these names.
set(units "${CMAKE_INSTALL_PREFIX}/lib/systemd/user")
install_configured(${resources}/user.service.in "${units}/app-${identifier}.service")
install_configured(${resources}/autostart.conf "${units}/app-${identifier}@autostart.service.d/unit.conf")

if(launcher)
    install_configured(${launcher} "${CMAKE_INSTALL_PREFIX}/share/applications/${identifier}.desktop")
endif()
