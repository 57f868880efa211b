# SPDX-License-Identifier: MIT

# Defines the options of a build, and how every target is compiled: kvs_options (language, sanitizers) and kvs_warnings
# (own code only). The presets make warnings errors.

option(KVN_BUILD_TESTS "Build the tests" ON)
option(KVN_BUILD_DESKTOP "Build the desktop front end on Linux, where Qt 6 is installed" ON)
option(KVN_BUILD_BENCH "Build the benchmarks against their peers" OFF)
option(KVN_BUILD_FUZZ "Instrument everything for the fuzzers (clang only)" OFF)
option(KVN_PRECOMPILE "Precompile the headers of libraries: builds faster, and hides missing includes" OFF)
set(KVN_SANITIZE "" CACHE STRING "Sanitizers, as given to -fsanitize=")
set(KVN_TEAM "TEAMID0000" CACHE STRING "Developer team that signs the agent and its helper; the default is nobody's")
if(NOT KVN_TEAM MATCHES "^[A-Z0-9]+$")
    message(FATAL_ERROR "KVN_TEAM is not a team identifier: ${KVN_TEAM}")
endif()

add_library(kvs_options INTERFACE)
target_compile_features(kvs_options INTERFACE cxx_std_20)
target_include_directories(kvs_options INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(kvs_options INTERFACE Threads::Threads)

add_library(kvs_warnings INTERFACE)
target_compile_options(kvs_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    -Woverloaded-virtual)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(kvs_warnings INTERFACE -Wthread-safety)
elseif(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 reports "literal" + std::string as a copy over itself (GCC bug 105651).
    target_compile_options(kvs_warnings INTERFACE -Wno-restrict)
endif()

# An error in a program must not become a way in: checked copies of the C library, guarded stacks, addresses that
# nobody can guess, and tables of functions that cannot be written. The sanitizers check more by themselves.
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT KVN_SANITIZE)
    target_compile_options(kvs_options INTERFACE -fstack-protector-strong
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
endif()
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    target_link_options(kvs_options INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)
endif()

# A release is small, since every agent of a machine has it in memory: it contains no function that nobody calls, and
# the linker optimises all files together, where the compiler can.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND CMAKE_BUILD_TYPE STREQUAL "Release")
    string(REPLACE -O3 -O2 CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")
    target_compile_options(kvs_options INTERFACE -ffunction-sections -fdata-sections)
    target_link_options(kvs_options INTERFACE LINKER:--gc-sections)
    include(CheckIPOSupported)
    check_ipo_supported(RESULT CMAKE_INTERPROCEDURAL_OPTIMIZATION OUTPUT unused LANGUAGES CXX)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_INTERPROCEDURAL_OPTIMIZATION)
        # When it links, GCC 12 reports copies of std::string that it does not report when it compiles.
        target_link_options(kvs_options INTERFACE -Wno-stringop-overflow -Wno-stringop-overread)
    endif()
endif()

if(KVN_SANITIZE)
    target_compile_options(kvs_options INTERFACE -fsanitize=${KVN_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(kvs_options INTERFACE -fsanitize=${KVN_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang") # not Apple's, which comes without this linker
        target_link_options(kvs_options INTERFACE -fuse-ld=lld)
    endif()
    # The vptr check opens a pipe at the first use of every class. It reports a wrong object when a test has left the
    # process without descriptors.
    target_compile_options(kvs_options INTERFACE -fno-sanitize=vptr)
endif()
if(KVN_BUILD_FUZZ)
    target_compile_options(kvs_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
