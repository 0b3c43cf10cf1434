#include "post/PostLog.h"

#include "kelm/DebugLevels.h"
#include "kelm/PostMessageProtocol.h"
#include "library/firmware/Debug.h"
#include "library/pure/Bytes.h"
#include "library/pure/Ucs2.h"
#include "services/IpmiTransport.h"
#include "services/SmaTransport.h"

#include <array>
#include <string_view>

namespace kelm {

namespace {

constexpr char kCaller[] = "SmaSendLogEntry";
constexpr char kToken[] = "Log Entry 18h";
constexpr UINT32 kHighestNumber = 9999;
constexpr UINTN kSmaEntryHead = kPostMessageIdentifierLength + sizeof(UINT16);

void WriteNarrow(ByteWriter& writer, std::u16string_view text) {
    for (const CHAR16 character : text) {
        writer.WriteU8(character > 0x7F ? UINT8{'?'} : static_cast<UINT8>(character));
    }
}

// The strings of a block and their closing NUL; the writer fails when they are too long. Nothing is
// read behind what an entry can take.
void WriteStrings(ByteWriter& writer, const CHAR16* block, UINTN count) {
    const CHAR16* string = block;
    for (UINTN i = 0; i < count && writer.Ok(); ++i) {
        const UINTN length = Ucs2Length(string, kSmaLogEntryMaxStrings);
        WriteNarrow(writer, {string, length});
        writer.WriteU8(0);
        string += length + 1;
    }
    writer.WriteU8(0);
}

} // namespace

EFI_STATUS SmaSendLogEntry(const CHAR16* identifier, const CHAR16* block, UINTN count) {
    if (identifier == nullptr || (count > 0 && block == nullptr)) {
        return EFI_INVALID_PARAMETER;
    }
    std::array<UINT8, kSmaLogEntryMaxStrings> strings;
    ByteWriter stringWriter(strings);
    WriteStrings(stringWriter, block, count);
    if (!stringWriter.Ok()) {
        return EFI_INVALID_PARAMETER;
    }
    const std::u16string_view name(identifier,
                                   Ucs2Length(identifier, kPostMessageIdentifierLength));
    std::array<UINT8, kSmaEntryHead + kSmaLogEntryMaxStrings> payload;
    ByteWriter writer(payload);
    WriteNarrow(writer, name);
    writer.WriteZeros(kPostMessageIdentifierLength - name.size());
    writer.WriteU16(static_cast<UINT16>(stringWriter.Needed()));
    writer.WriteBytes(stringWriter.Written());

    std::array<UINT8, kSmaLogEntryResponseSize> response{};
    UINT16 received = 0;
    return BdsSendSmaCommand(kCaller, kToken, kSmaLogEntry, writer.Written(), response, &received);
}

EFI_STATUS IpmiSendLogEntry(UINT32 number, const CHAR16* text) {
    DebugPrint(kDebugInfo, "Forgeline log event: EventID [%d], Message [%s]\n", number, text);
    if (number > kHighestNumber) {
        return EFI_INVALID_PARAMETER;
    }
    std::array<char, sizeof("UEFI0000")> identifier;
    FormatAscii(identifier, "UEFI%04d", number);
    std::array<UINT8, kIpmiLogEntryHeaderSize + kIpmiLogEntryMaxText + 2> request;
    ByteWriter writer(request);
    writer.WriteU8(kIpmiLogEntryKind);
    writer.WriteAscii({identifier.data(), kPostMessageIdentifierLength});
    if (text == nullptr) {
        writer.WriteU8(0);
    } else {
        const std::u16string_view shown(text, Ucs2Length(text, kIpmiLogEntryMaxText));
        writer.WriteU8(static_cast<UINT8>(shown.size() + 2));
        WriteNarrow(writer, shown);
        writer.WriteZeros(2);
    }
    IpmiResponse response;
    const EFI_STATUS status = BdsSendIpmiCommand(kIpmiNetFnOem, kIpmiLogEntry, writer.Written(),
                                                 kIpmiLogEntryResponseSize, response);
    const bool known =
        !response.data().empty() && response.data().front() == kIpmiLogEntryAlreadyLogged;
    return known ? EFI_SUCCESS : status;
}

} // namespace kelm
