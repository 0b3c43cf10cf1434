# What the host build and the firmware build have in common: language, warnings, freestanding
# rules, include folders, names of source files inside the binaries, and the compiler cache.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(KELM_WARNINGS -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Werror)
set(KELM_FREESTANDING -ffreestanding -fno-exceptions -fno-rtti -fno-threadsafe-statics)
set(KELM_INCLUDE_FOLDERS
    "${CMAKE_SOURCE_DIR}" "${CMAKE_SOURCE_DIR}/include" "${CMAKE_SOURCE_DIR}/KelmBdsDxe")

# __FILE__ is part of what the driver prints, so both builds of it must spell it alike: relative to
# the repository. The second mapping is for the relative paths that ccache hands to the compiler.
# Debug information follows, so start the debugger in the repository's root.
file(RELATIVE_PATH kelm_root_from_build "${CMAKE_BINARY_DIR}" "${CMAKE_SOURCE_DIR}")
string(REGEX REPLACE "/+$" "" kelm_root_from_build "${kelm_root_from_build}")
set(KELM_FILE_NAMES
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=" "-ffile-prefix-map=${kelm_root_from_build}/=")
if(CMAKE_BUILD_TYPE STREQUAL "Coverage")
    # gcov has to find the sources again.
    list(TRANSFORM KELM_FILE_NAMES REPLACE "^-ffile-" "-fmacro-")
endif()

# A base folder and no hashing of the working folder let several checkouts share one cache.
find_program(KELM_CCACHE ccache)
set(KELM_COMPILER_LAUNCHER "")
if(KELM_CCACHE)
    set(KELM_COMPILER_LAUNCHER
        env "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" "CCACHE_NOHASHDIR=1"
        "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime" "${KELM_CCACHE}")
    if(NOT CMAKE_CXX_COMPILER_LAUNCHER)
        set(CMAKE_CXX_COMPILER_LAUNCHER ${KELM_COMPILER_LAUNCHER})
    endif()
endif()

add_library(kelm_warnings INTERFACE)
target_compile_options(kelm_warnings INTERFACE ${KELM_WARNINGS} ${KELM_FILE_NAMES})

add_library(kelm_includes INTERFACE)
target_include_directories(kelm_includes INTERFACE ${KELM_INCLUDE_FOLDERS})

# kelm_sources(<variable> <folder>...)
# Sets the variable to every C++ source below the folders, which are relative to the repository. A
# source that is added or removed is noticed by the next build.
function(kelm_sources variable)
    set(sources "")
    foreach(folder IN LISTS ARGN)
        file(GLOB_RECURSE found CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/${folder}/*.cpp")
        list(APPEND sources ${found})
    endforeach()
    set(${variable} "${sources}" PARENT_SCOPE)
endfunction()
