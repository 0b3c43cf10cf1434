#include "bootopt/LoadOptionFormat.h"

namespace kelm {

std::optional<LoadOptionView> ParseLoadOption(std::span<const UINT8> variable) {
    ByteReader reader(variable);
    LoadOptionView view{};
    view.attributes = reader.ReadU32();
    const UINT16 filePathListLength = reader.ReadU16();
    view.description = reader.ReadUcs2String();
    view.filePathList = reader.ReadBytes(filePathListLength);
    view.devicePath = view.filePathList.first(DevicePathSizeOf(view.filePathList));
    view.optionalData = reader.ReadRest();
    if (!reader.Ok() || view.devicePath.empty()) {
        return std::nullopt;
    }
    return view;
}

size_t FormatLoadOption(std::span<UINT8> out, const LoadOptionParts& parts) {
    if (parts.filePathList.size() > 0xFFFF) {
        return 0;
    }
    ByteWriter writer(out);
    writer.WriteU32(parts.attributes);
    writer.WriteU16(UINT16(parts.filePathList.size()));
    writer.WriteUcs2String(parts.description);
    writer.WriteBytes(parts.filePathList);
    writer.WriteBytes(parts.optionalData);
    return writer.Needed();
}

BootOptionName MakeBootOptionName(UINT16 number) {
    constexpr std::u16string_view kDigits = u"0123456789ABCDEF";
    BootOptionName name = {u'B', u'o', u'o', u't'};
    for (unsigned i = 0; i < 4; ++i) {
        name[4 + i] = kDigits[number >> (12 - 4 * i) & 0xF];
    }
    return name;
}

} // namespace kelm
