# SPDX-License-Identifier: MIT

# Adds to the application bundle what macOS alone reads: the pictures, the texts of its information list, and the folder
# of the privileged helper. Defines the target "package".

file(GLOB texts CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/resources
    ${PROJECT_SOURCE_DIR}/resources/*.lproj/InfoPlist.strings)
foreach(text ${texts})
    configure_file(${PROJECT_SOURCE_DIR}/resources/${text} ${bundle}/Resources/${text} COPYONLY)
endforeach()
# A packager puts the product's helper there. The stand-in would run any user's commands as root.
file(MAKE_DIRECTORY ${bundle}/Library/LaunchServices)

if(KVN_TEAM STREQUAL TEAMID0000)
    message(NOTICE "KVN_TEAM is not set. macOS will not install the privileged helper for this build.")
endif()

find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
# The pictures are the same in every build.
set(draw ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${RSVG_CONVERT})
set(pictures "")
foreach(name ConnectedStatusIcon ControlledStatusIcon)
    set(drawing ${PROJECT_SOURCE_DIR}/resources/${name}.svg)
    set(picture ${bundle}/Resources/${name}.pdf)
    # With 72 dots per inch, a pixel of the drawing is a point of the page.
    add_custom_command(OUTPUT ${picture} DEPENDS ${drawing} VERBATIM
        COMMAND ${draw} --format pdf --dpi-x 72 --dpi-y 72 --output ${picture} ${drawing})
    list(APPEND pictures ${picture})
endforeach()

set(drawing ${PROJECT_SOURCE_DIR}/resources/AppIcon.svg)
set(icon_parts "")
foreach(size 32 64 128 256 512 1024)
    set(part ${CMAKE_CURRENT_BINARY_DIR}/AppIcon-${size}.png)
    add_custom_command(OUTPUT ${part} DEPENDS ${drawing} VERBATIM
        COMMAND ${draw} --width ${size} --height ${size} --output ${part} ${drawing})
    list(APPEND icon_parts ${part})
endforeach()
set(make_icon ${PROJECT_SOURCE_DIR}/scripts/macos/make_icon.py)
add_custom_command(OUTPUT ${bundle}/Resources/AppIcon.icns DEPENDS ${make_icon} ${icon_parts} VERBATIM
    COMMAND Python3::Interpreter ${make_icon} ${bundle}/Resources/AppIcon.icns ${icon_parts})
add_custom_target(KvnGUIAgent_pictures DEPENDS ${pictures} ${bundle}/Resources/AppIcon.icns)
add_dependencies(KvnGUIAgent KvnGUIAgent_pictures)

# A cross build has one architecture; scripts/macos/build joins two bundles.
set(packed ${PROJECT_BINARY_DIR}/KvnGUIAgent.app)
set(sign "")
if(CMAKE_CROSSCOMPILING)
    set(packed ${PROJECT_SOURCE_DIR}/build-macos/KvnGUIAgent.app)
else()
    set(sign COMMAND codesign --force --deep --sign - ${packed})
endif()
cmake_path(REPLACE_EXTENSION packed zip OUTPUT_VARIABLE archive)
add_custom_target(package ${sign}
    COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/scripts/macos/package ${packed} ${archive}
    COMMENT "Packing ${packed} into ${archive}" VERBATIM)
if(NOT CMAKE_CROSSCOMPILING)
    add_dependencies(package KvnGUIAgent)
endif()
