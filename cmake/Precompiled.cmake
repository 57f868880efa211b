# SPDX-License-Identifier: MIT

# Compiles the headers of libraries that most sources include once for the product and once for the tests. Not on macOS,
# where targets in Objective-C++ would need others.

if(KVN_PRECOMPILE AND NOT APPLE)
    file(CONFIGURE OUTPUT precompiled.cpp CONTENT "")
    add_library(kvs_precompiled OBJECT ${CMAKE_CURRENT_BINARY_DIR}/precompiled.cpp)
    target_link_libraries(kvs_precompiled PRIVATE kvs_options kvs_warnings)
    target_precompile_headers(kvs_precompiled PRIVATE <algorithm> <chrono> <condition_variable> <filesystem>
        <functional> <map> <memory> <optional> <sstream> <string> <thread> <variant> <vector>)
    if(KVN_BUILD_TESTS)
        add_library(kvs_precompiled_tests OBJECT ${CMAKE_CURRENT_BINARY_DIR}/precompiled.cpp)
        target_link_libraries(kvs_precompiled_tests PRIVATE kvs_options kvs_warnings GTest::gmock)
        target_precompile_headers(kvs_precompiled_tests PRIVATE tests/support/Test.h)
        # As the test programs are, and libraries are not.
        set_target_properties(kvs_precompiled_tests PROPERTIES POSITION_INDEPENDENT_CODE OFF)
        target_compile_options(kvs_precompiled_tests PRIVATE -fPIE)
    endif()
endif()
