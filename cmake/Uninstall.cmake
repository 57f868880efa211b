# SPDX-License-Identifier: MIT

# cmake -Dmanifest=FILE -P Uninstall.cmake
# Removes the files that an installation listed, below $DESTDIR where that is set, and the folders that this
# leaves empty, but not the prefix.

if(NOT EXISTS "${manifest}")
    message(FATAL_ERROR "Nothing was installed from here, or it was uninstalled: there is no ${manifest}")
endif()
file(STRINGS "${manifest}" files ENCODING UTF-8)
set(program ${files})
list(FILTER program INCLUDE REGEX "/bin/KvnGUIAgent$")
string(REGEX REPLACE "/bin/KvnGUIAgent$" "" prefix "${program}")

set(left "")
foreach(file IN LISTS files)
    set(path "$ENV{DESTDIR}${file}")
    if(NOT EXISTS "${path}" AND NOT IS_SYMLINK "${path}")
        message(STATUS "Not there: ${path}")
        continue()
    endif()
    message(STATUS "Removing: ${path}")
    execute_process(COMMAND rm -f "${path}" RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        list(APPEND left "${path}")
    endif()
endforeach()

foreach(file IN LISTS files)
    cmake_path(GET file PARENT_PATH folder)
    cmake_path(RELATIVE_PATH folder BASE_DIRECTORY "${prefix}")
    set(base "$ENV{DESTDIR}${prefix}")
    # The system's own folders are kept, even if they were empty before.
    if(folder MATCHES "^\\.\\./")
        continue()
    elseif(prefix MATCHES "^/usr(/local)?$" AND folder MATCHES "^([^/]+)/?(.*)$")
        string(APPEND base "/${CMAKE_MATCH_1}")
        set(folder "${CMAKE_MATCH_2}")
    endif()
    if(folder AND IS_DIRECTORY "${base}/${folder}")
        execute_process(COMMAND rmdir -p --ignore-fail-on-non-empty "${folder}" WORKING_DIRECTORY "${base}")
    endif()
endforeach()

if(NOT left STREQUAL "")
    list(JOIN left "\n  " left)
    message(FATAL_ERROR "Not removed:\n  ${left}")
endif()
file(REMOVE "${manifest}")
