#include "library/pure/DevicePathText.h"

#include <algorithm>
#include <array>

#include "library/pure/DevicePath.h"
#include "library/pure/NodeText.h"
#include "library/pure/Ucs2.h"

namespace kelm {
namespace {

std::array<std::span<const NodeText>, 6> NodeTextTables() {
    return {HardwareNodeTexts(), AcpiNodeTexts(),    BusNodeTexts(),
            UsbNodeTexts(),      NetworkNodeTexts(), MediaNodeTexts()};
}

// The general forms, for nodes that no row fits. Path also takes the type.
constexpr Word kGeneralNames[] = {{"HardwarePath", kDevicePathTypeHardware},
                                  {"AcpiPath", kDevicePathTypeAcpi},
                                  {"Msg", kDevicePathTypeMessaging},
                                  {"MediaPath", kDevicePathTypeMedia},
                                  {"BbsPath", kDevicePathTypeBbs}};

// ---- To text

void PrintNumbers(ByteReader& node, TextSink& sink, const PrintContext& context) {
    const auto payload = node.ReadBytes(context.row.payload);
    if (!node.Ok()) {
        return;
    }
    const size_t count = context.options.displayOnly ? context.row.displayNumbers : ~size_t(0);
    for (size_t i = 0; i < std::min(count, context.row.numbers.size()); i++) {
        const NumberField& field = context.row.numbers[i];
        UINT64 value = 0;
        for (size_t byte = field.width; byte-- > 0;) {
            value = value << 8 | payload[field.offset + byte];
        }
        if (i > 0) {
            sink.Put(',');
        }
        sink.Print(field.decimal ? "%lu" : "0x%lx", value);
    }
}

// False, with the sink as it was, when the row does not fit the node.
bool PrintRow(const NodeText& row, std::span<const UINT8> payload, TextSink& sink,
              const DevicePathTextOptions& options) {
    if (row.isShortcut && !options.allowShortcuts) {
        return false;
    }
    const size_t start = sink.Count();
    const PrintContext context = {options, row};
    ByteReader node(payload);
    bool fits = true;
    if (row.name != nullptr) {
        sink.Print("%a(", row.name);
    }
    if (row.print != nullptr) {
        fits = row.print(node, sink, context);
    } else {
        PrintNumbers(node, sink, context);
    }
    if (row.name != nullptr) {
        sink.Put(')');
    }
    if (!fits || !node.AtEnd()) {
        sink.Rewind(start);
        return false;
    }
    return true;
}

void PrintNode(const EFI_DEVICE_PATH_PROTOCOL* node, TextSink& sink,
               const DevicePathTextOptions& options) {
    const auto payload = NodeBytes(node).subspan(kNodeHeaderSize);
    for (const auto table : NodeTextTables()) {
        for (const NodeText& row : table) {
            if (IsNode(node, row.type, row.subType) && PrintRow(row, payload, sink, options)) {
                return;
            }
        }
    }
    if (const char* name = WordFor(kGeneralNames, node->Type)) {
        sink.Print("%a(%u", name, node->SubType);
    } else {
        sink.Print("Path(%u,%u", node->Type, node->SubType);
    }
    if (!payload.empty()) {
        sink.Put(',');
        sink.PutHex(payload);
    }
    sink.Put(')');
}

// ---- From text

bool IsKeywordCharacter(char16_t c) {
    return c == '-' ||
           (c < 0x80 && (IsDigit(c) || (ToUpperAscii(c) >= 'A' && ToUpperAscii(c) <= 'Z')));
}

// Index behind the parenthesis that closes the one at open; kNotFound when none does. Quotes hide
// what is between them.
size_t BehindClosing(std::u16string_view text, size_t open) {
    size_t depth = 0;
    for (size_t i = open; i < text.size(); i++) {
        if (text[i] == '"') {
            i = text.find(u'"', i + 1);
            if (i == kNotFound) {
                return kNotFound;
            }
        } else if (text[i] == '(') {
            depth++;
        } else if (text[i] == ')' && --depth == 0) {
            return i + 1;
        }
    }
    return kNotFound;
}

// Reads nodes from a text, one after the other.
class PathTextReader {
public:
    PathTextReader(std::u16string_view text, std::span<UINT8> out) : text_(text), writer_(out) {}

    bool AtEnd() const { return at_ == text_.size(); }
    size_t Position() const { return at_; }
    char16_t Peek() const { return text_[at_]; }
    void Skip() { at_++; }
    void WriteNode(const EFI_DEVICE_PATH_PROTOCOL& node) {
        writer_.WriteBytes(&node, kNodeHeaderSize);
    }

    // One node, up to a separator or the end of the text. False when it is bad.
    bool ReadNode();
    DevicePathParse Result(bool good) const {
        if (!good) {
            return {EFI_INVALID_PARAMETER, 0, std::min(fault_, text_.size())};
        }
        return {writer_.Ok() ? EFI_SUCCESS : EFI_BUFFER_TOO_SMALL, writer_.Needed(), 0};
    }

private:
    bool Bad(size_t position) {
        fault_ = position;
        return false;
    }
    bool ReadFilePath();
    bool ReadKeyword(size_t open);
    // Writes a node whose payload is written by body.
    template <class Body>
    bool Write(UINT8 type, UINT8 subType, Body body);

    std::u16string_view text_;
    ByteWriter writer_;
    size_t at_ = 0;
    size_t fault_ = 0;
};

template <class Body>
bool PathTextReader::Write(UINT8 type, UINT8 subType, Body body) {
    const size_t start = writer_.Needed();
    writer_.WriteU8(type);
    writer_.WriteU8(subType);
    writer_.WriteU16(0);
    body();
    const size_t length = writer_.Needed() - start;
    writer_.PatchU16(start + 2, UINT16(length));
    return length <= kMaxNodeSize;
}

bool PathTextReader::ReadFilePath() {
    size_t end = at_;
    while (end < text_.size() && text_[end] != '/' && text_[end] != ',') {
        if (text_[end] == '(') { // a name may hold separators between parentheses
            const size_t closing = BehindClosing(text_, end);
            end = closing == kNotFound ? end + 1 : closing;
        } else {
            end++;
        }
    }
    const size_t start = at_;
    at_ = end;
    const bool fits = Write(kDevicePathTypeMedia, kMediaSubTypeFilePath,
                            [&] { writer_.WriteUcs2String(text_.substr(start, end - start)); });
    return fits || Bad(start);
}

void ParseNumbers(TextArguments& arguments, ByteWriter& node, const NodeText& row) {
    UINT8 payload[32] = {};
    for (const NumberField& field : row.numbers) {
        const UINT64 max = ~UINT64(0) >> (64 - 8 * field.width);
        const UINT64 value = arguments.Number(field.name, max);
        for (size_t i = 0; i < field.width; i++) {
            payload[field.offset + i] = UINT8(value >> (8 * i));
        }
    }
    node.WriteBytes(payload, row.payload);
}

bool PathTextReader::ReadKeyword(size_t open) {
    const auto keyword = text_.substr(at_, open - at_);
    const size_t start = at_;
    const NodeText* row = nullptr;
    for (const auto table : NodeTextTables()) {
        for (const NodeText& candidate : table) {
            if (candidate.name != nullptr && Ucs2EqualAsciiNoCase(keyword, candidate.name)) {
                row = &candidate;
            }
        }
    }
    const Word* general = nullptr;
    for (const Word& word : kGeneralNames) {
        if (Ucs2EqualAsciiNoCase(keyword, word.text)) {
            general = &word;
        }
    }
    const bool isPath = Ucs2EqualAsciiNoCase(keyword, "Path");
    const size_t end = BehindClosing(text_, open);
    const bool closed =
        end != kNotFound && (end == text_.size() || text_[end] == '/' || text_[end] == ',');
    if (row == nullptr && general == nullptr && !isPath) {
        // A file may well be called name(1).efi, but nothing is called Name(...) and no more.
        return closed ? Bad(start) : ReadFilePath();
    }
    if (!closed) {
        return Bad(end == kNotFound ? open : end);
    }

    TextArguments arguments(text_.substr(open + 1, end - open - 2));
    at_ = end;
    bool fits = false;
    if (row != nullptr) {
        fits = Write(row->type, row->subType, [&] {
            if (row->parse != nullptr) {
                row->parse(arguments, writer_, *row);
            } else {
                ParseNumbers(arguments, writer_, *row);
            }
        });
    } else {
        const UINT64 type = general != nullptr ? general->value : arguments.Number("Type", 0xFF);
        if (type == kDevicePathTypeEnd) { // only separators make end nodes
            return Bad(start);
        }
        const UINT64 subType = arguments.Number("SubType", 0xFF);
        fits = Write(UINT8(type), UINT8(subType), [&] { arguments.HexData("Data", writer_); });
    }
    if (const char16_t* fault = arguments.Fault()) {
        return Bad(size_t(fault - text_.data()));
    }
    return fits || Bad(start);
}

bool PathTextReader::ReadNode() {
    size_t open = at_;
    while (open < text_.size() && IsKeywordCharacter(text_[open])) {
        open++;
    }
    if (open > at_ && open < text_.size() && text_[open] == '(') {
        return ReadKeyword(open);
    }
    return ReadFilePath();
}

} // namespace

std::optional<size_t> DevicePathToText(const EFI_DEVICE_PATH_PROTOCOL* path, size_t maxSize,
                                       std::span<char16_t> out,
                                       const DevicePathTextOptions& options) {
    if (!IsDevicePathValid(path, maxSize)) {
        return std::nullopt;
    }
    TextSink sink(out);
    bool first = true;
    for (auto* node = path; !IsEndEntire(node); node = NextNode(node)) {
        if (IsEndInstance(node)) {
            sink.Put(',');
            first = true;
            continue;
        }
        if (!first) {
            sink.Put('/');
        }
        PrintNode(node, sink, options);
        first = false;
    }
    return sink.Finish();
}

std::optional<size_t> DeviceNodeToText(const EFI_DEVICE_PATH_PROTOCOL* node, size_t maxSize,
                                       std::span<char16_t> out,
                                       const DevicePathTextOptions& options) {
    if (node == nullptr || maxSize < kNodeHeaderSize || IsEndNode(node) ||
        NodeLength(node) < kNodeHeaderSize || NodeLength(node) > maxSize) {
        return std::nullopt;
    }
    TextSink sink(out);
    PrintNode(node, sink, options);
    return sink.Finish();
}

DevicePathParse DevicePathFromText(std::u16string_view text, std::span<UINT8> out) {
    PathTextReader reader(text, out);
    while (!reader.AtEnd()) {
        if (reader.Peek() == '/') {
            reader.Skip();
        } else if (reader.Peek() == ',') {
            reader.WriteNode(kEndInstanceNode);
            reader.Skip();
        } else if (!reader.ReadNode()) {
            return reader.Result(false);
        }
    }
    reader.WriteNode(kEndEntireNode);
    return reader.Result(true);
}

DevicePathParse DeviceNodeFromText(std::u16string_view text, std::span<UINT8> out) {
    PathTextReader reader(text, out);
    const bool good = !text.empty() && reader.ReadNode();
    if (good && !reader.AtEnd()) { // more than one node
        return {EFI_INVALID_PARAMETER, 0, reader.Position()};
    }
    return reader.Result(good);
}

} // namespace kelm
