#include "library/pure/NodeText.h"

#include <algorithm>
#include <optional>

#include "library/pure/GuidText.h"
#include "library/pure/Ucs2.h"

namespace kelm {
namespace {

// Index of the separator that ends the first argument: a comma outside quotes and parentheses.
size_t ArgumentEnd(std::u16string_view text) {
    size_t depth = 0;
    bool quoted = false;
    for (size_t i = 0; i < text.size(); i++) {
        const char16_t c = text[i];
        if (c == '"') {
            quoted = !quoted;
        } else if (quoted) {
            continue;
        } else if (c == '(') {
            depth++;
        } else if (c == ')' && depth > 0) {
            depth--;
        } else if (c == ',' && depth == 0) {
            return i;
        }
    }
    return text.size();
}

std::u16string_view Trim(std::u16string_view text) {
    while (!text.empty() && text.front() == ' ') {
        text.remove_prefix(1);
    }
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    return text;
}

std::u16string_view WithoutHexPrefix(std::u16string_view text) {
    return Ucs2StartsWithNoCase(text, u"0x") ? text.substr(2) : text;
}

// Up to eight groups into at; returns the bytes written, nothing for bad text.
std::optional<size_t> ParseGroups(std::u16string_view text, std::span<UINT8> out) {
    size_t size = 0;
    while (!text.empty()) {
        const size_t colon = text.find(u':');
        const auto group = text.substr(0, colon);
        const auto value =
            group.size() <= 4 && !group.starts_with(u"0x") ? ParseHex(group) : std::nullopt;
        if (!value || size + 2 > out.size()) {
            return std::nullopt;
        }
        out[size++] = UINT8(*value >> 8);
        out[size++] = UINT8(*value);
        if (colon == kNotFound) {
            break;
        }
        text.remove_prefix(colon + 1);
        if (text.empty()) {
            return std::nullopt;
        }
    }
    return size;
}

bool ParseIpv6Text(std::u16string_view text, std::span<UINT8> out) {
    std::fill(out.begin(), out.end(), UINT8(0));
    const size_t gap = text.find(u"::");
    if (gap == kNotFound) {
        return ParseGroups(text, out) == out.size();
    }
    UINT8 tail[16];
    const auto headSize = ParseGroups(text.substr(0, gap), out);
    const auto tailSize = ParseGroups(text.substr(gap + 2), tail);
    if (!headSize || !tailSize || *headSize + *tailSize > out.size()) {
        return false;
    }
    std::copy_n(tail, *tailSize, out.data() + out.size() - *tailSize);
    return true;
}

bool ParseIpv4Text(std::u16string_view text, std::span<UINT8> out) {
    for (size_t i = 0; i < out.size(); i++) {
        const size_t dot = i + 1 < out.size() ? text.find(u'.') : text.size();
        const auto value = dot == kNotFound ? std::nullopt : ParseDecimal(text.substr(0, dot));
        if (!value || *value > 0xFF) {
            return false;
        }
        out[i] = UINT8(*value);
        text.remove_prefix(std::min(dot + 1, text.size()));
    }
    return true;
}

} // namespace

// ---- Printing

void TextSink::Put(char16_t c) {
    if (count_ + 1 < out_.size()) {
        out_[count_] = c;
    }
    count_++;
}

void TextSink::PutAscii(std::string_view text) {
    for (const char c : text) {
        Put(char16_t(UINT8(c)));
    }
}

void TextSink::PutHex(std::span<const UINT8> bytes) {
    for (const UINT8 byte : bytes) {
        Put(u"0123456789ABCDEF"[byte >> 4]);
        Put(u"0123456789ABCDEF"[byte & 0xF]);
    }
}

size_t TextSink::Finish() {
    if (!out_.empty()) {
        out_[std::min(count_, out_.size() - 1)] = 0;
    }
    return count_;
}

const char* WordFor(std::span<const Word> words, UINT64 value) {
    for (const Word& word : words) {
        if (word.value == value) {
            return word.text;
        }
    }
    return nullptr;
}

bool PutArgument(TextSink& sink, std::string_view text, const PrintContext& context) {
    const bool strict = !context.options.displayOnly;
    if (strict && (text.starts_with(' ') || text.ends_with(' '))) {
        return false;
    }
    for (const char c : text) {
        if (c < 0x20 || c > 0x7E || (strict && (c == ',' || c == '(' || c == ')' || c == '"'))) {
            return false;
        }
    }
    sink.PutAscii(text);
    return true;
}

void PutIpv4(TextSink& sink, std::span<const UINT8> address) {
    if (address.size() >= 4) {
        sink.Print("%d.%d.%d.%d", address[0], address[1], address[2], address[3]);
    }
}

void PutIpv6(TextSink& sink, std::span<const UINT8> address) {
    for (size_t i = 0; i + 1 < address.size(); i += 2) {
        sink.Print(i == 0 ? "%02x%02x" : ":%02x%02x", address[i], address[i + 1]);
    }
}

std::string_view AsText(std::span<const UINT8> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool AllZero(std::span<const UINT8> bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](UINT8 byte) { return byte == 0; });
}

// ---- Reading

std::u16string_view TextArguments::Next(const char* name) {
    const size_t end = ArgumentEnd(rest_);
    auto argument = Trim(rest_.substr(0, end));
    more_ = end < rest_.size();
    rest_.remove_prefix(more_ ? end + 1 : end);
    const size_t equals = argument.find(u'=');
    if (equals != kNotFound && Ucs2EqualAsciiNoCase(Trim(argument.substr(0, equals)), name)) {
        argument = Trim(argument.substr(equals + 1));
    }
    return argument;
}

void TextArguments::Fail(std::u16string_view at) {
    if (fault_ == nullptr) {
        fault_ = at.data();
    }
}

const char16_t* TextArguments::Fault() {
    if (more_) {
        Fail(rest_);
    }
    return fault_;
}

std::u16string_view TextArguments::Text(const char* name) {
    auto text = Next(name);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        text = text.substr(1, text.size() - 2);
    }
    return text;
}

UINT64 TextArguments::Number(const char* name, UINT64 max) {
    const auto text = Next(name);
    const auto value = ParseNumber(text);
    if (!value || *value > max) {
        Fail(text);
        return 0;
    }
    return *value;
}

UINT64 TextArguments::OptionalNumber(const char* name, UINT64 max, UINT64 fallback) {
    TextArguments ahead = *this;
    if (!more_ || ahead.Next(name).empty()) {
        Next(name);
        return fallback;
    }
    return Number(name, max);
}

UINT64 TextArguments::WordOrNumber(const char* name, std::span<const Word> words, UINT64 max) {
    TextArguments ahead = *this;
    const auto text = ahead.Next(name);
    for (const Word& word : words) {
        if (Ucs2EqualAsciiNoCase(text, word.text)) {
            Next(name);
            return word.value;
        }
    }
    return Number(name, max);
}

EFI_GUID TextArguments::Guid(const char* name) {
    const auto text = Next(name);
    const auto guid = GuidFromText(text);
    if (!guid) {
        Fail(text);
        return {};
    }
    return *guid;
}

void TextArguments::Hex(const char* name, std::span<UINT8> out, char16_t separator) {
    const auto argument = Next(name);
    auto text = WithoutHexPrefix(argument);
    std::fill(out.begin(), out.end(), UINT8(0));
    const size_t step = separator == 0 ? 2 : 3;
    if (out.empty() || text.size() != out.size() * step - (step - 2)) {
        Fail(argument);
        return;
    }
    for (size_t i = 0; i < out.size(); i++) {
        const int high = HexDigitValue(text[i * step]);
        const int low = HexDigitValue(text[i * step + 1]);
        if (high < 0 || low < 0 || (separator != 0 && i > 0 && text[i * step - 1] != separator)) {
            Fail(argument);
            return;
        }
        out[i] = UINT8(high << 4 | low);
    }
}

void TextArguments::HexData(const char* name, ByteWriter& out) {
    if (!more_) {
        return;
    }
    const auto argument = Next(name);
    const auto text = WithoutHexPrefix(argument);
    if (text.size() % 2 != 0) {
        Fail(argument);
        return;
    }
    for (size_t i = 0; i < text.size(); i += 2) {
        const int high = HexDigitValue(text[i]);
        const int low = HexDigitValue(text[i + 1]);
        if (high < 0 || low < 0) {
            Fail(text.substr(i));
            return;
        }
        out.WriteU8(UINT8(high << 4 | low));
    }
}

void TextArguments::Ipv4(const char* name, std::span<UINT8> out) {
    const auto text = Next(name);
    if (!ParseIpv4Text(text, out)) {
        Fail(text);
    }
}

void TextArguments::Ipv6(const char* name, std::span<UINT8> out) {
    const auto text = Next(name);
    if (!ParseIpv6Text(text, out)) {
        Fail(text);
    }
}

void TextArguments::WriteAscii(std::u16string_view text, ByteWriter& out) {
    for (const char16_t& c : text) {
        if (c == 0 || c > 0x7F) {
            Fail({&c, 1});
        }
        out.WriteU8(UINT8(c));
    }
}

std::u16string_view TextArguments::Rest() {
    const auto text = rest_;
    rest_.remove_prefix(rest_.size());
    more_ = false;
    return text;
}

// ---- Vendor and GUID nodes

bool PrintVendor(ByteReader& node, TextSink& sink, const PrintContext&) {
    const EFI_GUID guid = node.ReadGuid();
    sink.Print("%g", guid);
    if (node.Remaining() != 0) {
        sink.Put(',');
        sink.PutHex(node.ReadRest());
    }
    return true;
}

void ParseVendor(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    node.WriteGuid(arguments.Guid("Guid"));
    arguments.HexData("Data", node);
}

bool PrintKnownVendor(ByteReader& node, TextSink&, const PrintContext& context) {
    return node.ReadGuid() == *context.row.guid;
}

void ParseKnownVendor(TextArguments&, ByteWriter& node, const NodeText& row) {
    node.WriteGuid(*row.guid);
}

bool PrintGuid(ByteReader& node, TextSink& sink, const PrintContext&) {
    sink.Print("%g", node.ReadGuid());
    return true;
}

void ParseGuid(TextArguments& arguments, ByteWriter& node, const NodeText&) {
    node.WriteGuid(arguments.Guid("Guid"));
}

} // namespace kelm
