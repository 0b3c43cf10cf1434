# How PE32+ images for UEFI on x86-64 are made: by clang and lld whatever the host compiler is. CMake
# knows one compiler for each language, hence a rule of our own for each source.
include_guard(GLOBAL)

find_program(KELM_CLANG NAMES clang++-14 clang++)
find_program(KELM_LLD_LINK NAMES lld-link-14 lld-link)
foreach(program IN ITEMS "clang;${KELM_CLANG}" "lld;${KELM_LLD_LINK}")
    list(GET program 0 package)
    list(GET program 1 found)
    if(NOT found)
        message(FATAL_ERROR "UEFI images take clang and lld: install the package ${package}")
    endif()
endforeach()

# The C++ library's headers are the host's, of which the freestanding part is used; library/crt/shim
# stands in for the C library below them.
file(GLOB kelm_libstdcxx "/usr/include/c++/*")
list(SORT kelm_libstdcxx COMPARE NATURAL ORDER DESCENDING)
list(GET kelm_libstdcxx 0 kelm_libstdcxx)
cmake_path(GET kelm_libstdcxx FILENAME kelm_libstdcxx_version)
set(KELM_EFI_FLAGS
    --target=x86_64-unknown-windows-gnu --sysroot=/nonexistent -nostdinc++
    -isystem "${CMAKE_SOURCE_DIR}/library/crt/shim"
    -isystem "${kelm_libstdcxx}"
    -isystem "/usr/include/x86_64-linux-gnu/c++/${kelm_libstdcxx_version}"
    -std=c++20 -O2 -ffunction-sections -fdata-sections -mno-stack-arg-probe
    ${KELM_FREESTANDING} ${KELM_WARNINGS} ${KELM_FILE_NAMES})
foreach(folder IN LISTS KELM_INCLUDE_FOLDERS)
    list(APPEND KELM_EFI_FLAGS "-I${folder}")
endforeach()
execute_process(COMMAND "${KELM_CLANG}" -dumpversion OUTPUT_VARIABLE kelm_clang_version)
if(kelm_clang_version VERSION_GREATER_EQUAL 15)
    # Newer ones would spell __FILE__ with the target's backslashes.
    list(APPEND KELM_EFI_FLAGS -fno-file-reproducible)
endif()
if(KELM_IMAGE_SYMBOLS)
    list(APPEND KELM_EFI_FLAGS -g)
    set(kelm_link_debug /debug:dwarf)
endif()

# Sets `variable` to the object of one source, relative to the build folder, and makes the rule for
# it when there is none yet: images share the objects of the library.
function(kelm_efi_object source variable)
    cmake_path(RELATIVE_PATH source BASE_DIRECTORY "${CMAKE_SOURCE_DIR}" OUTPUT_VARIABLE name)
    set(object "efi/${name}.obj")
    set(${variable} "${object}" PARENT_SCOPE)
    get_property(known GLOBAL PROPERTY "KELM_OBJECT_${object}")
    if(known)
        return()
    endif()
    set_property(GLOBAL PROPERTY "KELM_OBJECT_${object}" TRUE)

    set(flags ${KELM_EFI_FLAGS})
    if(name MATCHES "^library/crt/")
        # Or memcpy's loop would be turned into a call of memcpy.
        list(APPEND flags -fno-builtin)
    endif()
    cmake_path(GET object PARENT_PATH folder)
    file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/${folder}")
    add_custom_command(
        OUTPUT "${object}"
        COMMAND ${KELM_COMPILER_LAUNCHER} "${KELM_CLANG}" ${flags}
                -MD -MT "${object}" -MF "${object}.d" -c "${source}" -o "${object}"
        DEPENDS "${source}"
        DEPFILE "${object}.d"
        WORKING_DIRECTORY "${CMAKE_BINARY_DIR}"
        COMMENT "Compiling ${name} for UEFI"
        VERBATIM)
endfunction()

# kelm_efi_image(<name> SUBSYSTEM <boot_service_driver|application> SOURCES <source>...
#                [ENTRY <function>])
#
# Makes <name>.efi in the build folder from the sources (absolute paths) and library/crt. The entry
# is _ModuleEntryPoint unless another is named. The image appears only when check-image has nothing
# against it.
function(kelm_efi_image name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "SUBSYSTEM;ENTRY" "SOURCES")
    if(NOT arg_ENTRY)
        set(arg_ENTRY _ModuleEntryPoint)
    endif()
    kelm_sources(crt_sources library/crt)
    set(objects "")
    foreach(source IN LISTS arg_SOURCES crt_sources)
        kelm_efi_object("${source}" object)
        list(APPEND objects "${object}")
    endforeach()
    list(TRANSFORM objects PREPEND "${CMAKE_BINARY_DIR}/" OUTPUT_VARIABLE object_files)

    set(image "${CMAKE_BINARY_DIR}/${name}.efi")
    add_custom_command(
        OUTPUT "${image}"
        COMMAND "${KELM_LLD_LINK}" /nologo /nodefaultlib /Brepro ${kelm_link_debug}
                "/entry:${arg_ENTRY}" "/subsystem:efi_${arg_SUBSYSTEM}"
                "/out:efi/${name}.unchecked" ${objects}
        COMMAND check-image --subsystem "${arg_SUBSYSTEM}" --forbid "${CMAKE_SOURCE_DIR}"
                "efi/${name}.unchecked" ${objects}
        COMMAND "${CMAKE_COMMAND}" -E copy "efi/${name}.unchecked" "${image}"
        DEPENDS ${object_files} check-image
        WORKING_DIRECTORY "${CMAKE_BINARY_DIR}"
        COMMENT "Linking and checking ${name}.efi"
        VERBATIM)
    add_custom_target(${name}.efi-image ALL DEPENDS "${image}")
endfunction()
