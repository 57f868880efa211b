# SPDX-License-Identifier: MIT

# KVN_SOURCE_REVISION is the revision of the sources that the information list contains. A tree without its history,
# such as an unpacked archive, gives the same bundle everywhere: it has "unknown", or the value of the option.
set(KVN_SOURCE_REVISION "" CACHE STRING "Revision of the sources; empty asks git")

set(source_revision "${KVN_SOURCE_REVISION}")
if(NOT source_revision AND EXISTS ${PROJECT_SOURCE_DIR}/.git)
    execute_process(COMMAND git rev-parse --short=12 HEAD WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        OUTPUT_VARIABLE source_revision OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    # Git writes this file at every commit and check-out.
    if(EXISTS ${PROJECT_SOURCE_DIR}/.git/logs/HEAD)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/.git/logs/HEAD)
    endif()
endif()
if(NOT source_revision)
    set(source_revision unknown)
endif()
