// Print formatting in the UEFI style, for log lines, screens and variable names. Arguments are
// typed: a pack of C++ values becomes an array of FormatArgument, so a conversion that does not
// match its argument prints "<bad argument>" instead of reading a wrong pointer.
//
//     %a  ASCII string        %s %S  UCS-2 string     %c  character
//     %d %i  signed decimal   %u  unsigned decimal    %x %X  hexadecimal, upper case
//     %p  pointer, as %X of 64 bits                   %g  GUID in registry form
//     %r  status in words     %%  a percent sign
//
// Flags '-' (left), '0' (pad with zeros; %X and %p imply it), '+' and ' ' (sign of %d), ',' (groups
// of three decimal digits), then width, '.' and precision, each a number or '*'. Precision is the
// most characters of a string and the fewest digits of a number. Integers of any width are
// accepted; without 'l' or 'L' the low 32 bits count. Null strings print "<null string>", a null
// GUID "<null guid>". An unknown conversion prints its own letter. Line ends are left as they are.
#pragma once

#include <array>
#include <span>
#include <string_view>
#include <type_traits>

#include "uefi/Base.h"

namespace kelm {

// One argument. Strings, views and GUIDs are referred to, not copied.
class FormatArgument {
public:
    enum class Kind : UINT8 { Integer, Pointer, Ascii, Ucs2, Guid };
    static constexpr size_t kTerminated = ~size_t(0); // the string ends at its null

    constexpr FormatArgument() = default;
    template <class T>
    requires(std::is_integral_v<T> || std::is_enum_v<T>) constexpr FormatArgument(T value)
        : value_(static_cast<UINT64>(value)) {}
    template <class T>
    requires(std::is_function_v<T>) FormatArgument(T* function)
        : kind_(Kind::Pointer), value_(reinterpret_cast<UINT64>(function)) {}
    constexpr FormatArgument(std::nullptr_t) : kind_(Kind::Pointer) {}
    FormatArgument(const volatile void* pointer)
        : kind_(Kind::Pointer), value_(reinterpret_cast<UINT64>(pointer)) {}
    constexpr FormatArgument(const char* text) : kind_(Kind::Ascii), ascii_(text) {}
    constexpr FormatArgument(const char16_t* text) : kind_(Kind::Ucs2), ucs2_(text) {}
    constexpr FormatArgument(std::string_view text)
        : kind_(Kind::Ascii),
          ascii_(text.data() == nullptr ? "" : text.data()),
          length_(text.size()) {}
    constexpr FormatArgument(std::u16string_view text)
        : kind_(Kind::Ucs2),
          ucs2_(text.data() == nullptr ? u"" : text.data()),
          length_(text.size()) {}
    constexpr FormatArgument(const EFI_GUID* guid) : kind_(Kind::Guid), guid_(guid) {}
    constexpr FormatArgument(const EFI_GUID& guid) : FormatArgument(&guid) {}

    constexpr Kind GetKind() const { return kind_; }
    bool IsNull() const { return kind_ != Kind::Integer && Bits() == 0; }
    // The integer (sign-extended when its type is signed) or the pointer's address.
    UINT64 Bits() const;
    constexpr const char* Ascii() const { return ascii_; }
    constexpr const char16_t* Ucs2() const { return ucs2_; }
    constexpr const EFI_GUID* Guid() const { return guid_; }
    constexpr size_t Length() const { return length_; }

private:
    Kind kind_ = Kind::Integer;
    union {
        UINT64 value_ = 0;
        const char* ascii_;
        const char16_t* ucs2_;
        const EFI_GUID* guid_;
    };
    size_t length_ = kTerminated;
};

using FormatArguments = std::span<const FormatArgument>;

// Write the formatted text and a null, cut to what fits; a null format is empty. Return the
// characters written without the null.
size_t FormatAsciiV(std::span<char> out, const char* format, FormatArguments arguments);
size_t FormatAsciiV(std::span<char> out, const char16_t* format, FormatArguments arguments);
size_t FormatUcs2V(std::span<char16_t> out, const char* format, FormatArguments arguments);
size_t FormatUcs2V(std::span<char16_t> out, const char16_t* format, FormatArguments arguments);

// Characters that the whole text has, without the null.
size_t FormattedLengthV(const char* format, FormatArguments arguments);
size_t FormattedLengthV(const char16_t* format, FormatArguments arguments);

template <class Char, class... A>
size_t FormatAscii(std::span<char> out, const Char* format, A... arguments) {
    const std::array<FormatArgument, sizeof...(A)> packed = {FormatArgument(arguments)...};
    return FormatAsciiV(out, format, packed);
}

template <class Char, class... A>
size_t FormatUcs2(std::span<char16_t> out, const Char* format, A... arguments) {
    const std::array<FormatArgument, sizeof...(A)> packed = {FormatArgument(arguments)...};
    return FormatUcs2V(out, format, packed);
}

template <class Char, class... A>
size_t FormattedLength(const Char* format, A... arguments) {
    const std::array<FormatArgument, sizeof...(A)> packed = {FormatArgument(arguments)...};
    return FormattedLengthV(format, packed);
}

} // namespace kelm
