# SPDX-License-Identifier: MIT

# Runs during every installation, because only the installation knows the prefix. Makes what has its place outside the
# prefix if the installation is one for the whole system.

# The autostart entry: for the prefix /usr in the folder that every session reads, else below the prefix.

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
cmake_path(GET entry PARENT_PATH folder)
make_folder("$ENV{DESTDIR}${folder}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/../resources/autostart.desktop.in "$ENV{DESTDIR}${entry}"
    @ONLY NO_SOURCE_PERMISSIONS)
list(APPEND CMAKE_INSTALL_MANIFEST_FILES "${entry}")

# The folder of the preferences that the product's programs share. The agent of every user makes, writes and removes
# the file in it. It has no sticky bit: with one, Linux can refuse to open the file of another user with O_CREAT
# (fs.protected_regular), which is how the programs open it.
set(registry "/Library/Application Support/com.korvane.remote/registry")
if(IS_DIRECTORY "$ENV{DESTDIR}${registry}")
    message(STATUS "Up-to-date: $ENV{DESTDIR}${registry}")
elseif(CMAKE_INSTALL_PREFIX MATCHES "^/(usr|opt)(/|$)")
    message(STATUS "Installing: $ENV{DESTDIR}${registry}")
    make_folder("$ENV{DESTDIR}${registry}")
    file(CHMOD "$ENV{DESTDIR}${registry}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
        GROUP_READ GROUP_WRITE GROUP_EXECUTE WORLD_READ WORLD_WRITE WORLD_EXECUTE)
else()
    message(STATUS "Not made outside the prefix: ${registry}; without it the agents keep no settings")
endif()
