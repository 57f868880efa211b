# SPDX-License-Identifier: MIT

# Puts property lists into executables, where a program that knows only the file can read them.

if(NOT APPLE)
    enable_language(ASM)
endif()

# kvs_embed_info_list(TARGET FILE)
# Puts the property list into the section __info_plist of an executable (in the segment __TEXT, where there
# are segments with names). A change of the file links the executable again.
function(kvs_embed_info_list target file)
    cmake_path(ABSOLUTE_PATH file)
    if(APPLE)
        kvs_add_section(${target} __info_plist ${file})
        return()
    endif()
    # "a" without "w": loaded and not writable; "R": kept, though nothing refers to it.
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_info_list.s)
    file(CONFIGURE OUTPUT ${source} @ONLY CONTENT [[
    .section __info_plist, "aR", %progbits
    .incbin "@file@"
    .section .note.GNU-stack, "", %progbits
]])
    set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS ${file})
    # A library of its own, because the assembler does not know the compiler's warnings and sanitizers.
    add_library(${target}_info_list OBJECT ${source})
    set_target_properties(${target}_info_list PROPERTIES COMPILE_WARNING_AS_ERROR OFF) # clang's: -MD is unused
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_info_list>)
endfunction()

# kvs_embed_launchd_list(TARGET FILE)
# Puts the property list that launchd is given for a privileged helper into the section __launchd_plist of __TEXT, where
# macOS looks for it when it installs the helper. Other systems have no use for it.
function(kvs_embed_launchd_list target file)
    cmake_path(ABSOLUTE_PATH file)
    if(APPLE)
        kvs_add_section(${target} __launchd_plist ${file})
    endif()
endfunction()

# A change of the file links the executable again.
function(kvs_add_section target section file)
    target_link_options(${target} PRIVATE LINKER:-sectcreate,__TEXT,${section},${file})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${file})
endfunction()
