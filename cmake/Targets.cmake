# SPDX-License-Identifier: MIT

# Defines the three kinds of targets that every folder uses.

# kvs_library(NAME [SOURCES file...] [DEPENDS target...] [PRIVATE_DEPENDS target...])
# A static library of one folder; header-only when it has no sources.
function(kvs_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
    if(NOT arg_SOURCES)
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE kvs_options ${arg_DEPENDS})
        return()
    endif()
    add_library(${name} STATIC ${arg_SOURCES})
    target_link_libraries(${name} PUBLIC kvs_options ${arg_DEPENDS} PRIVATE kvs_warnings ${arg_PRIVATE_DEPENDS})
    if(TARGET kvs_precompiled)
        target_precompile_headers(${name} REUSE_FROM kvs_precompiled)
    endif()
endfunction()

# kvs_program(NAME SOURCES file... [DEPENDS target...])
function(kvs_program name)
    cmake_parse_arguments(arg "" "" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE kvs_options kvs_warnings ${arg_DEPENDS})
endfunction()

# kvs_test(NAME SOURCES file... [DEPENDS target...])
# A GoogleTest executable; every test case becomes a CTest test with a deadline.
function(kvs_test name)
    kvs_program(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE test_support GTest::gtest GTest::gmock GTest::gtest_main)
    if(TARGET kvs_precompiled_tests AND NOT "host_desktop" IN_LIST ARGN) # Qt wants the code in another form
        target_precompile_headers(${name} REUSE_FROM kvs_precompiled_tests)
    endif()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)
endfunction()
