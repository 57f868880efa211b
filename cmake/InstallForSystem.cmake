# SPDX-License-Identifier: MIT

# Runs during every installation, because only the installation knows the prefix. Makes what has its place outside the
# prefix, and only if the installation is one for the whole system.

# `registry` is the folder of the preferences.
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
