# kelm_embed_text(<target> <file> <symbol> [NAMESPACE <name>])
#
# Puts a text file into the target as
#     namespace sim { extern const std::string_view <symbol>; }
# which whoever uses it declares. Another namespace can be named. The file is relative to the
# repository; a file that does not exist leaves the symbol undefined, until it appears.
function(kelm_embed_text target file symbol)
    cmake_parse_arguments(PARSE_ARGV 3 arg "" "NAMESPACE" "")
    if(NOT arg_NAMESPACE)
        set(arg_NAMESPACE sim)
    endif()
    file(GLOB source CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/${file}")
    if(NOT source)
        return()
    endif()
    set(output "${CMAKE_BINARY_DIR}/generated/${symbol}.cpp")
    set(script "${CMAKE_SOURCE_DIR}/cmake/EmbedText.cmake")
    add_custom_command(
        OUTPUT "${output}"
        COMMAND "${CMAKE_COMMAND}" "-DSOURCE=${source}" "-DOUTPUT=${output}" "-DSYMBOL=${symbol}"
                "-DNAMESPACE=${arg_NAMESPACE}" -P "${script}"
        DEPENDS "${source}" "${script}"
        COMMENT "Embedding ${file}"
        VERBATIM)
    target_sources(${target} PRIVATE "${output}")
endfunction()

# kelm_embed_files(<target> <symbol> FILES <file>...)
#
# Puts files that the build makes into the target as
#     namespace sim { const std::span<const EmbeddedFile> <symbol>; }
# which sim/machine/Embedded.h declares: each with its name, without folder and extension.
function(kelm_embed_files target symbol)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "FILES")
    set(output "${CMAKE_BINARY_DIR}/generated/${symbol}.cpp")
    set(script "${CMAKE_SOURCE_DIR}/cmake/EmbedFiles.cmake")
    add_custom_command(
        OUTPUT "${output}"
        COMMAND "${CMAKE_COMMAND}" "-DFILES=${arg_FILES}" "-DOUTPUT=${output}" "-DSYMBOL=${symbol}"
                -P "${script}"
        DEPENDS ${arg_FILES} "${script}"
        COMMENT "Embedding ${symbol}"
        VERBATIM)
    target_sources(${target} PRIVATE "${output}")
endfunction()
