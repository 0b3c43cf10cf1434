#include "library/pure/GuidText.h"

namespace kelm {
namespace {

template <class Char>
size_t PrintGuid(const EFI_GUID& guid, std::span<Char> out) {
    if (out.size() <= kGuidTextLength) {
        if (!out.empty()) {
            out[0] = Char(0);
        }
        return 0;
    }
    size_t at = 0;
    const auto put = [&](UINT64 value, unsigned digits) {
        while (digits-- > 0) {
            out[at++] = Char("0123456789ABCDEF"[value >> (4 * digits) & 0xF]);
        }
    };
    put(guid.Data1, 8);
    out[at++] = Char('-');
    put(guid.Data2, 4);
    out[at++] = Char('-');
    put(guid.Data3, 4);
    for (size_t i = 0; i < 8; i++) {
        if (i == 0 || i == 2) {
            out[at++] = Char('-');
        }
        put(guid.Data4[i], 2);
    }
    out[at] = Char(0);
    return at;
}

} // namespace

size_t GuidToText(const EFI_GUID& guid, std::span<char16_t> out) {
    return PrintGuid(guid, out);
}

size_t GuidToText(const EFI_GUID& guid, std::span<char> out) {
    return PrintGuid(guid, out);
}

} // namespace kelm
