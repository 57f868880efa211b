# SPDX-License-Identifier: MIT

# Runs during every installation, because only the installation knows the prefix. Writes the autostart entry: for the
# prefix /usr to the folder that every session reads, else below the prefix.

set(program "${CMAKE_INSTALL_PREFIX}/bin/KvnGUIAgent")

# In a command "%" begins a field, and four characters are escaped within quotes; every value escapes "\".
string(REPLACE "%" "%%" command "${program}")
string(REGEX REPLACE [[(["`$\])]] [[\\\1]] command "${command}")
string(REPLACE [[\]] [[\\]] command "${command}")
string(REPLACE [[\]] [[\\]] program "${program}")

set(entry "${CMAKE_INSTALL_PREFIX}/etc/xdg/autostart/com.korvane.remote.KvnGUIAgent.desktop")
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    string(REGEX REPLACE "^/usr" "" entry "${entry}")
endif()
message(STATUS "Installing: $ENV{DESTDIR}${entry}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/../resources/autostart.desktop.in "$ENV{DESTDIR}${entry}"
    @ONLY NO_SOURCE_PERMISSIONS)
list(APPEND CMAKE_INSTALL_MANIFEST_FILES "${entry}")
