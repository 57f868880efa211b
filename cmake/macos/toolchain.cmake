# SPDX-License-Identifier: MIT

# Builds for macOS 11 on Debian 12: clang 19 and its linker, with the sysroot of scripts/macos/sysroot and the
# declarations in this folder. On a Mac it changes nothing: there the system's compiler has the real SDK.
# KVN_MACOS_ARCH is arm64 or x86_64.

if(CMAKE_HOST_APPLE)
    set(CMAKE_OSX_ARCHITECTURES ${KVN_MACOS_ARCH} CACHE STRING "")
    return()
endif()

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 20) # macOS 11
set(CMAKE_SYSTEM_PROCESSOR ${KVN_MACOS_ARCH})
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KVN_MACOS_ARCH)
cmake_path(SET sdk NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build-macos-sysroot/sysroot)
set(CMAKE_OSX_SYSROOT ${sdk} CACHE STRING "")
set(CMAKE_OSX_ARCHITECTURES ${KVN_MACOS_ARCH} CACHE STRING "")

set(CMAKE_C_COMPILER /usr/bin/clang-19)
set(CMAKE_CXX_COMPILER /usr/bin/clang++-19)
set(CMAKE_OBJCXX_COMPILER /usr/bin/clang++-19)
foreach(language C CXX OBJCXX)
    set(CMAKE_${language}_COMPILER_TARGET ${KVN_MACOS_ARCH}-apple-macos11)
endforeach()
set(CMAKE_C_FLAGS_INIT "-isystem ${sdk}/arch/${KVN_MACOS_ARCH}")
string(JOIN " " CMAKE_CXX_FLAGS_INIT -nostdinc++ -isystem ${sdk}/usr/include/c++/v1
    -isystem ${sdk}/arch/${KVN_MACOS_ARCH} -isystem ${CMAKE_CURRENT_LIST_DIR}/declarations)
set(CMAKE_OBJCXX_FLAGS_INIT "${CMAKE_CXX_FLAGS_INIT}")
# Without a linker version, clang does not pass the platform's version. The loader of arm64 runs signed programs only,
# so both architectures get the linker's signature, which names no signer.
string(JOIN " " CMAKE_EXE_LINKER_FLAGS_INIT --ld-path=/usr/bin/ld64.lld-19 -mlinker-version=711
    -Wl,-adhoc_codesign -L${sdk}/usr/lib -F${sdk}/System/Library/Frameworks -lc++ -lSystem)
set(CMAKE_AR /usr/bin/llvm-ar-19 CACHE STRING "")
set(CMAKE_RANLIB /usr/bin/llvm-ranlib-19 CACHE STRING "")
set(CMAKE_INSTALL_NAME_TOOL /usr/bin/llvm-install-name-tool-19 CACHE STRING "")

set(CMAKE_FIND_ROOT_PATH ${sdk})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
