#include "sim/siblings/HiiPackages.h"

#include "library/pure/Bytes.h"

#include <algorithm>

namespace sim {

namespace {

constexpr UINT32 kMaxStringId = 0xFFFF;

bool SameLanguage(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

// Walks the string blocks of one package. Identifiers count from 1.
class BlockReader {
public:
    BlockReader(std::span<const UINT8> blocks, HiiStringPackage& package)
        : reader_(blocks), package_(package) {}

    // False when the blocks are not well-formed up to their end block.
    bool Read() {
        while (reader_.Ok()) {
            const UINT8 type = reader_.ReadU8();
            if (!reader_.Ok()) {
                break; // no end block
            }
            if (type == EFI_HII_SIBT_END) {
                return true;
            }
            if (!ReadBlock(type)) {
                return false;
            }
        }
        return false;
    }

private:
    bool ReadBlock(UINT8 type) {
        switch (type) {
        case EFI_HII_SIBT_STRING_UCS2:
            return ReadStrings(1);
        case EFI_HII_SIBT_STRINGS_UCS2:
            return ReadStrings(reader_.ReadU16());
        case EFI_HII_SIBT_DUPLICATE: {
            const auto original = package_.strings.find(reader_.ReadU16());
            return original != package_.strings.end() && Add(original->second);
        }
        case EFI_HII_SIBT_SKIP1:
            return Skip(reader_.ReadU8());
        case EFI_HII_SIBT_SKIP2:
            return Skip(reader_.ReadU16());
        case EFI_HII_SIBT_EXT1:
            reader_.ReadU8(); // the extension's own type
            return SkipExtension(reader_.ReadU8(), 1);
        case EFI_HII_SIBT_EXT2:
            reader_.ReadU8();
            return SkipExtension(reader_.ReadU16(), 2);
        case EFI_HII_SIBT_EXT4:
            reader_.ReadU8();
            return SkipExtension(reader_.ReadU32(), 4);
        default:
            return false;
        }
    }

    bool ReadStrings(unsigned count) {
        for (unsigned i = 0; i < count; i++) {
            const kelm::Ucs2Bytes text = reader_.ReadUcs2String();
            if (!reader_.Ok()) {
                return false;
            }
            std::u16string copy;
            for (std::size_t k = 0; k < text.size(); k++) {
                copy += text[k];
            }
            if (!Add(std::move(copy))) {
                return false;
            }
        }
        return reader_.Ok();
    }

    bool Add(std::u16string text) {
        if (next_ > kMaxStringId) {
            return false;
        }
        package_.strings[EFI_STRING_ID(next_++)] = std::move(text);
        return true;
    }

    bool Skip(UINT32 count) {
        next_ += count;
        return reader_.Ok() && next_ <= kMaxStringId + 1;
    }

    // The length of an extension block counts its block type, its own type and the length itself.
    bool SkipExtension(UINT32 length, UINT32 lengthSize) {
        if (!reader_.Ok() || length < 2 + lengthSize) {
            return false;
        }
        reader_.Skip(length - 2 - lengthSize);
        return reader_.Ok();
    }

    kelm::ByteReader reader_;
    HiiStringPackage& package_;
    UINT32 next_ = 1;
};

// `package` with its header.
bool ReadStringPackage(std::span<const UINT8> package, HiiStringPackage& result) {
    kelm::ByteReader reader(package);
    reader.Skip(sizeof(EFI_HII_PACKAGE_HEADER));
    const UINT32 headerSize = reader.ReadU32();
    const UINT32 blocksOffset = reader.ReadU32();
    if (!reader.Ok() || headerSize <= sizeof(EFI_HII_STRING_PACKAGE_HDR) ||
        headerSize > package.size() || blocksOffset < headerSize ||
        blocksOffset >= package.size()) {
        return false;
    }
    const auto language = package.first(headerSize).subspan(sizeof(EFI_HII_STRING_PACKAGE_HDR));
    kelm::ByteReader languageReader(language);
    result.language = languageReader.ReadAsciiString();
    if (!languageReader.Ok() || result.language.empty()) {
        return false;
    }
    return BlockReader(package.subspan(blocksOffset), result).Read();
}

} // namespace

bool HiiPackageList::HasType(UINT8 type) const {
    return std::find(types.begin(), types.end(), type) != types.end();
}

const std::u16string* HiiPackageList::FindString(std::string_view language,
                                                 EFI_STRING_ID id) const {
    for (const HiiStringPackage& package : strings) {
        auto found = package.strings.find(id);
        if (found != package.strings.end() && SameLanguage(package.language, language)) {
            return &found->second;
        }
    }
    return nullptr;
}

bool HiiPackageList::HasString(EFI_STRING_ID id) const {
    return std::any_of(strings.begin(), strings.end(), [&](const HiiStringPackage& package) {
        return package.strings.contains(id);
    });
}

std::optional<UINT32> HiiPackageListLength(std::span<const UINT8> bytes) {
    kelm::ByteReader reader(bytes);
    reader.ReadGuid();
    const UINT32 length = reader.ReadU32();
    return reader.Ok() ? std::optional(length) : std::nullopt;
}

std::optional<HiiPackageList> ParseHiiPackageList(std::span<const UINT8> bytes) {
    const auto length = HiiPackageListLength(bytes);
    if (!length || *length < sizeof(EFI_HII_PACKAGE_LIST_HEADER) || *length > bytes.size()) {
        return std::nullopt;
    }
    HiiPackageList list;
    kelm::ByteReader reader(bytes.first(*length));
    list.guid = reader.ReadGuid();
    reader.ReadU32();
    while (reader.Ok()) {
        const std::size_t start = reader.Position();
        const UINT32 header = reader.ReadU32();
        const UINT32 size = header & 0xFFFFFF;
        const UINT8 type = UINT8(header >> 24);
        if (!reader.Ok() || size < sizeof(EFI_HII_PACKAGE_HEADER) ||
            size - sizeof(EFI_HII_PACKAGE_HEADER) > reader.Remaining()) {
            return std::nullopt;
        }
        reader.Skip(size - sizeof(EFI_HII_PACKAGE_HEADER));
        if (type == EFI_HII_PACKAGE_END) {
            return reader.AtEnd() ? std::optional(std::move(list)) : std::nullopt;
        }
        list.types.push_back(type);
        if (type == EFI_HII_PACKAGE_STRINGS) {
            HiiStringPackage package;
            if (!ReadStringPackage(bytes.subspan(start, size), package)) {
                return std::nullopt;
            }
            list.strings.push_back(std::move(package));
        }
    }
    return std::nullopt;
}

std::vector<UINT8> MakeHiiStringList(const EFI_GUID& guid, std::string_view language,
                                     const std::vector<std::u16string>& strings) {
    const auto write = [&](kelm::ByteWriter& writer, std::size_t listSize) {
        const std::size_t listHeader = sizeof(EFI_HII_PACKAGE_LIST_HEADER);
        const std::size_t endPackage = sizeof(EFI_HII_PACKAGE_HEADER);
        const std::size_t blocks = sizeof(EFI_HII_STRING_PACKAGE_HDR) + language.size() + 1;
        writer.WriteGuid(guid);
        writer.WriteU32(UINT32(listSize));
        writer.WriteU32(UINT32((listSize - listHeader - endPackage) & 0xFFFFFF) |
                        UINT32(EFI_HII_PACKAGE_STRINGS) << 24);
        writer.WriteU32(UINT32(blocks));
        writer.WriteU32(UINT32(blocks));
        writer.WriteZeros(sizeof(EFI_HII_STRING_PACKAGE_HDR::LanguageWindow));
        writer.WriteU16(1);
        writer.WriteAsciiString(language);
        writer.WriteU8(EFI_HII_SIBT_STRING_UCS2);
        writer.WriteUcs2String(u"English");
        for (const std::u16string& string : strings) {
            writer.WriteU8(EFI_HII_SIBT_STRING_UCS2);
            writer.WriteUcs2String(string);
        }
        writer.WriteU8(EFI_HII_SIBT_END);
        writer.WriteU32(UINT32(endPackage) | UINT32(EFI_HII_PACKAGE_END) << 24);
    };
    kelm::ByteWriter measuring({});
    write(measuring, 0);
    std::vector<UINT8> bytes(measuring.Needed());
    kelm::ByteWriter writer(bytes);
    write(writer, bytes.size());
    return bytes;
}

} // namespace sim
