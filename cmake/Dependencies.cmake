# SPDX-License-Identifier: MIT

# Finds every library that is not ours, in at least the oldest version that it was built with.

find_package(Threads REQUIRED)
find_package(EXPAT 2.2 REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(UTF8PROC REQUIRED IMPORTED_TARGET libutf8proc>=2.5)
    pkg_check_modules(LIBEDIT REQUIRED IMPORTED_TARGET libedit>=3.1)
    pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd>=246) # for sd-bus
endif()
if(KVN_BUILD_TESTS)
    if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
        # Version 2 has other names for most of the functions that are used.
        pkg_check_modules(SDBUS REQUIRED IMPORTED_TARGET sdbus-c++>=1.2 sdbus-c++<2)
    endif()
    if(CMAKE_CROSSCOMPILING)
        # No system has the libraries for another one, but Debian has GoogleTest's sources.
        set(INSTALL_GTEST OFF)
        add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    else()
        find_package(GTest 1.12 REQUIRED)
    endif()
    find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
endif()
if(KVN_BUILD_BENCH)
    find_package(benchmark 1.7 REQUIRED)
    find_package(Boost 1.74 REQUIRED)
    find_package(fmt 9 REQUIRED)
    find_package(pugixml 1.13 REQUIRED)
    find_package(spdlog 1.10 REQUIRED)
    find_path(RAPIDXML_INCLUDE rapidxml/rapidxml.hpp REQUIRED)
    find_path(ZMQ_INCLUDE zmq.h REQUIRED)
    find_library(ZMQ_LIBRARY zmq REQUIRED)
endif()
