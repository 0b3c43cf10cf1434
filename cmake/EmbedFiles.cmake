# The script behind kelm_embed_files: writes the bytes of FILES as C++ arrays into OUTPUT.
set(arrays "")
set(table "")
set(number 0)
# Sixteen bytes a line: a compiler error should not print a megabyte.
string(REPEAT "......," 16 line)
foreach(file IN LISTS FILES)
    file(READ "${file}" bytes HEX)
    string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
    string(REGEX REPLACE "(${line})" "\\1\n" bytes "${bytes}")
    cmake_path(GET file STEM name)
    string(APPEND arrays "constexpr char kFile${number}[] = {\n${bytes}};\n")
    string(APPEND table "    {\"${name}\", {kFile${number}, sizeof(kFile${number})}},\n")
    math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "#include \"sim/machine/Embedded.h\"

namespace sim {
namespace {
${arrays}
constexpr EmbeddedFile kFiles[] = {
${table}};
} // namespace
constinit const std::span<const EmbeddedFile> ${SYMBOL}{kFiles};
} // namespace sim
")
