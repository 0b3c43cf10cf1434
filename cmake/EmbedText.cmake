# The script behind kelm_embed_text: writes SOURCE's bytes as a C++ array into OUTPUT.
file(READ "${SOURCE}" bytes HEX)
string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
# Sixteen bytes a line: a compiler error should not print a megabyte.
string(REPEAT "......," 16 line)
string(REGEX REPLACE "(${line})" "\\1\n" bytes "${bytes}")
file(WRITE "${OUTPUT}" "#include <string_view>

namespace ${NAMESPACE} {
extern const std::string_view ${SYMBOL};
namespace {
// The closing zero is not part of the text.
constexpr char kBytes[] = {
${bytes}'\\0'};
} // namespace
constinit const std::string_view ${SYMBOL}{kBytes, sizeof(kBytes) - 1};
} // namespace ${NAMESPACE}
")
