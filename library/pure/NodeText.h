// What the text forms of device path nodes are made of: a table row for each form, the sink that
// rows print into and the argument list that they read from. Private to DevicePathText and its
// NodeText*.cpp tables.
#pragma once

#include <span>
#include <string_view>

#include "library/pure/Bytes.h"
#include "library/pure/DevicePathText.h"
#include "library/pure/Format.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Counts every character and keeps those that fit before the null.
class TextSink {
public:
    explicit TextSink(std::span<char16_t> out) : out_(out) {}

    void Put(char16_t c);
    void PutAscii(std::string_view text);
    // Two upper-case digits a byte.
    void PutHex(std::span<const UINT8> bytes);
    // Numbers, GUIDs and words: at most 95 characters.
    template <class... A>
    void Print(const char* format, A... arguments) {
        char text[96];
        PutAscii({text, FormatAscii(text, format, arguments...)});
    }

    size_t Count() const { return count_; }
    void Rewind(size_t count) { count_ = count; }
    // Terminates the text; returns Count().
    size_t Finish();

private:
    std::span<char16_t> out_;
    size_t count_ = 0;
};

// A value that has a word: UDP, GPT, Primary. A list ends where its span ends.
struct Word {
    const char* text;
    UINT64 value;
};
// Null when no word has that value.
const char* WordFor(std::span<const Word> words, UINT64 value);

// The arguments between a node's parentheses, taken from left to right. The name is what may stand
// before '='. The first bad or missing argument is remembered; what is read from it is zero.
class TextArguments {
public:
    explicit TextArguments(std::u16string_view text) : rest_(text), more_(!text.empty()) {}

    // True while arguments are left.
    bool More() const { return more_; }
    // Text may be empty. Quotes around it are taken off.
    std::u16string_view Text(const char* name);
    UINT64 Number(const char* name, UINT64 max);
    // fallback when the argument is absent or empty.
    UINT64 OptionalNumber(const char* name, UINT64 max, UINT64 fallback);
    // A word of the list, or a number.
    UINT64 WordOrNumber(const char* name, std::span<const Word> words, UINT64 max);
    EFI_GUID Guid(const char* name);
    // Exactly out.size() bytes of two digits each; 0x may stand before them, and separator (when it
    // is not 0) stands between bytes.
    void Hex(const char* name, std::span<UINT8> out, char16_t separator = 0);
    // As many bytes as there are digits; nothing when the argument is absent.
    void HexData(const char* name, ByteWriter& out);
    void Ipv4(const char* name, std::span<UINT8> out);
    void Ipv6(const char* name, std::span<UINT8> out);
    // A text that is stored as ASCII.
    void Ascii(const char* name, ByteWriter& out) { WriteAscii(Text(name), out); }
    void WriteAscii(std::u16string_view text, ByteWriter& out);
    // All that is left as one text, commas included.
    std::u16string_view Rest();

    void Fail(std::u16string_view at);
    // Where the first fault is; null when all was well and nothing is left over.
    const char16_t* Fault();

private:
    std::u16string_view Next(const char* name);

    std::u16string_view rest_;
    bool more_;
    const char16_t* fault_ = nullptr;
};

// One number of a node that is made of numbers only, in the order of the text.
struct NumberField {
    const char* name;
    UINT8 offset; // behind the node header
    UINT8 width;  // bytes
    bool decimal = false;
};

struct NodeText;

struct PrintContext {
    const DevicePathTextOptions& options;
    const NodeText& row;
};

struct NodeText {
    UINT8 type;
    UINT8 subType;
    const char* name; // keyword; null for text without a keyword and parentheses

    // A node of numbers: its fields and the bytes behind its header.
    std::span<const NumberField> numbers = {};
    size_t payload = 0;
    size_t displayNumbers = ~size_t(0); // fields printed when displayOnly

    // Any other node. print reads what lies behind the header and prints the arguments; false, an
    // overrun or bytes left over mean that this row does not fit the node. parse writes what lies
    // behind the header.
    bool (*print)(ByteReader& node, TextSink& sink, const PrintContext& context) = nullptr;
    void (*parse)(TextArguments& arguments, ByteWriter& node, const NodeText& row) = nullptr;

    UINT32 key = 0;                 // tells rows with the same functions apart
    const EFI_GUID* guid = nullptr; // the same, for vendor and RAM disk nodes
    bool isShortcut = false;        // printed only where shortcuts are allowed
};

// The rows, the more particular before the more general ones of the same kind.
std::span<const NodeText> HardwareNodeTexts();
std::span<const NodeText> AcpiNodeTexts();
std::span<const NodeText> BusNodeTexts();
std::span<const NodeText> UsbNodeTexts();
std::span<const NodeText> NetworkNodeTexts();
std::span<const NodeText> MediaNodeTexts();

// Prints text that must survive as one argument: false when it holds what would not (separators,
// parentheses, quotes, control or non-ASCII characters). For display, printable is enough.
bool PutArgument(TextSink& sink, std::string_view text, const PrintContext& context);
void PutIpv4(TextSink& sink, std::span<const UINT8> address);
void PutIpv6(TextSink& sink, std::span<const UINT8> address);

// Vendor nodes of every type: a GUID and data, or a known GUID (row.guid) without data.
bool PrintVendor(ByteReader& node, TextSink& sink, const PrintContext& context);
void ParseVendor(TextArguments& arguments, ByteWriter& node, const NodeText& row);
bool PrintKnownVendor(ByteReader& node, TextSink& sink, const PrintContext& context);
void ParseKnownVendor(TextArguments& arguments, ByteWriter& node, const NodeText& row);
// Nodes that are one GUID.
bool PrintGuid(ByteReader& node, TextSink& sink, const PrintContext& context);
void ParseGuid(TextArguments& arguments, ByteWriter& node, const NodeText& row);

std::string_view AsText(std::span<const UINT8> bytes);
bool AllZero(std::span<const UINT8> bytes);

} // namespace kelm
