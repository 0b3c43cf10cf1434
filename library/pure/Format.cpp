#include "library/pure/Format.h"

#include <algorithm>

#include "library/pure/GuidText.h"
#include "library/pure/StatusText.h"

namespace kelm {
namespace {

constexpr size_t kMaxField = 0xFFFF; // no width or precision from an argument may run away

// The format string or a string argument, in either character width.
struct Source {
    const char* ascii = nullptr;
    const char16_t* ucs2 = nullptr;

    char16_t At(size_t index) const {
        if (ascii != nullptr) {
            return char16_t(UINT8(ascii[index]));
        }
        return ucs2 != nullptr ? ucs2[index] : u'\0';
    }
};

// Counts every character and keeps those that fit before the null.
class Sink {
public:
    explicit Sink(std::span<char> out) : ascii_(out) {}
    explicit Sink(std::span<char16_t> out) : ucs2_(out) {}

    void Put(char16_t c) {
        if (count_ + 1 < ascii_.size()) {
            ascii_[count_] = c > 0x7F ? '?' : char(c);
        } else if (count_ + 1 < ucs2_.size()) {
            ucs2_[count_] = c;
        }
        count_++;
    }
    void Fill(char16_t c, size_t count) {
        while (count-- > 0) {
            Put(c);
        }
    }
    size_t Count() const { return count_; }
    size_t Finish() {
        const size_t capacity = std::max(ascii_.size(), ucs2_.size());
        const size_t written = capacity == 0 ? 0 : std::min(count_, capacity - 1);
        if (!ascii_.empty()) {
            ascii_[written] = '\0';
        }
        if (!ucs2_.empty()) {
            ucs2_[written] = u'\0';
        }
        return written;
    }

private:
    std::span<char> ascii_;
    std::span<char16_t> ucs2_;
    size_t count_ = 0;
};

struct Conversion {
    bool left = false;
    bool zero = false;
    bool comma = false;
    bool isLong = false;
    bool hasPrecision = false;
    char16_t positiveSign = 0;
    size_t width = 0;
    size_t precision = 0;
    char16_t letter = 0; // 0 when the format ends inside the conversion
};

class ArgumentCursor {
public:
    explicit ArgumentCursor(FormatArguments arguments) : arguments_(arguments) {}
    // Null when all are used.
    const FormatArgument* Next() {
        return next_ < arguments_.size() ? &arguments_[next_++] : nullptr;
    }

private:
    FormatArguments arguments_;
    size_t next_ = 0;
};

size_t FieldFrom(const FormatArgument* argument) {
    if (argument == nullptr || argument->GetKind() != FormatArgument::Kind::Integer) {
        return 0;
    }
    const INT32 value = INT32(argument->Bits());
    return value < 0 ? 0 : std::min(size_t(value), kMaxField);
}

// Reads what follows a percent sign; at ends up behind the conversion letter.
Conversion ParseConversion(const Source& format, size_t& at, ArgumentCursor& arguments) {
    Conversion conversion;
    for (;;) {
        const char16_t c = format.At(at);
        size_t field = 0;
        switch (c) {
        case '-':
            conversion.left = true;
            break;
        case '+':
            conversion.positiveSign = '+';
            break;
        case ' ':
            if (conversion.positiveSign == 0) {
                conversion.positiveSign = ' ';
            }
            break;
        case ',':
            conversion.comma = true;
            break;
        case 'l':
        case 'L':
            conversion.isLong = true;
            break;
        case '.':
            conversion.hasPrecision = true;
            break;
        case '0':
        case '1':
        case '2':
        case '3':
        case '4':
        case '5':
        case '6':
        case '7':
        case '8':
        case '9':
        case '*':
            if (c == '*') {
                field = FieldFrom(arguments.Next());
            } else {
                if (c == '0' && !conversion.hasPrecision) {
                    conversion.zero = true;
                }
                for (; IsDigit(format.At(at)); at++) {
                    field = std::min(field * 10 + size_t(format.At(at) - '0'), kMaxField);
                }
                at--;
            }
            (conversion.hasPrecision ? conversion.precision : conversion.width) = field;
            break;
        default:
            conversion.letter = c;
            at += c != 0 ? 1 : 0;
            return conversion;
        }
        at++;
    }
}

void PutPadded(Sink& sink, const Conversion& conversion, const Source& text, size_t length) {
    const size_t padding = conversion.width > length ? conversion.width - length : 0;
    if (!conversion.left) {
        sink.Fill(' ', padding);
    }
    for (size_t i = 0; i < length; i++) {
        sink.Put(text.At(i));
    }
    if (conversion.left) {
        sink.Fill(' ', padding);
    }
}

void PutText(Sink& sink, const Conversion& conversion, const Source& text,
             size_t maxLength = FormatArgument::kTerminated) {
    if (conversion.hasPrecision) {
        maxLength = std::min(maxLength, conversion.precision);
    }
    size_t length = 0;
    while (length < maxLength && text.At(length) != 0) {
        length++;
    }
    PutPadded(sink, conversion, text, length);
}

void PutBadArgument(Sink& sink) {
    PutText(sink, Conversion(), {.ascii = "<bad argument>"});
}

void PutString(Sink& sink, const Conversion& conversion, const FormatArgument* argument,
               FormatArgument::Kind kind) {
    if (argument == nullptr) {
        PutBadArgument(sink);
    } else if (argument->IsNull()) {
        PutText(sink, conversion, {.ascii = "<null string>"});
    } else if (argument->GetKind() != kind) {
        PutBadArgument(sink);
    } else if (kind == FormatArgument::Kind::Ascii) {
        PutText(sink, conversion, {.ascii = argument->Ascii()}, argument->Length());
    } else {
        PutText(sink, conversion, {.ucs2 = argument->Ucs2()}, argument->Length());
    }
}

void PutGuid(Sink& sink, const Conversion& conversion, const FormatArgument* argument) {
    if (argument != nullptr && argument->IsNull()) {
        PutText(sink, conversion, {.ascii = "<null guid>"});
    } else if (argument == nullptr || argument->GetKind() != FormatArgument::Kind::Guid) {
        PutBadArgument(sink);
    } else {
        char text[kGuidTextLength + 1];
        GuidToText(*argument->Guid(), text);
        PutText(sink, conversion, {.ascii = text});
    }
}

void PutStatus(Sink& sink, const Conversion& conversion, const FormatArgument* argument) {
    if (argument == nullptr || argument->GetKind() != FormatArgument::Kind::Integer) {
        PutBadArgument(sink);
        return;
    }
    char text[kStatusTextSize];
    StatusToText(argument->Bits(), text);
    PutText(sink, conversion, {.ascii = text});
}

void PutCharacter(Sink& sink, const Conversion& conversion, const FormatArgument* argument) {
    if (argument == nullptr || argument->GetKind() != FormatArgument::Kind::Integer) {
        PutBadArgument(sink);
        return;
    }
    const char16_t text[] = {char16_t(argument->Bits()), 0};
    PutPadded(sink, conversion, {.ucs2 = text}, 1);
}

void PutInteger(Sink& sink, const Conversion& conversion, const FormatArgument* argument) {
    if (argument == nullptr) {
        PutBadArgument(sink);
        return;
    }
    const char16_t letter = conversion.letter;
    const bool isHex = letter == 'x' || letter == 'X' || letter == 'p';
    const bool isSigned = letter == 'd' || letter == 'i';
    const bool zero = conversion.zero || letter == 'X' || letter == 'p';
    UINT64 value = argument->Bits();
    char16_t sign = isSigned ? conversion.positiveSign : u'\0';
    if (!conversion.isLong && letter != 'p') {
        value = isSigned ? UINT64(INT64(INT32(value))) : UINT64(UINT32(value));
    }
    if (isSigned && INT64(value) < 0) {
        sign = '-';
        value = UINT64(0) - value;
    }

    char16_t reversed[32]; // 20 decimal digits and 6 commas at most
    size_t length = 0;
    const UINT64 radix = isHex ? 16 : 10;
    size_t digits = 0;
    do {
        if (conversion.comma && !isHex && digits > 0 && digits % 3 == 0) {
            reversed[length++] = ',';
        }
        reversed[length++] = u"0123456789ABCDEF"[value % radix];
        value /= radix;
        digits++;
    } while (value != 0);

    const size_t signLength = sign != 0 ? 1 : 0;
    size_t zeros = conversion.hasPrecision && conversion.precision > length
                       ? conversion.precision - length
                       : 0;
    if (zero && !conversion.left && !conversion.hasPrecision &&
        conversion.width > length + signLength) {
        zeros = conversion.width - length - signLength;
    }
    const size_t total = length + zeros + signLength;
    const size_t padding = conversion.width > total ? conversion.width - total : 0;
    if (!conversion.left) {
        sink.Fill(' ', padding);
    }
    if (sign != 0) {
        sink.Put(sign);
    }
    sink.Fill('0', zeros);
    while (length > 0) {
        sink.Put(reversed[--length]);
    }
    if (conversion.left) {
        sink.Fill(' ', padding);
    }
}

void Print(Sink& sink, const Source& format, FormatArguments packed) {
    ArgumentCursor arguments(packed);
    for (size_t at = 0; format.At(at) != 0;) {
        const char16_t c = format.At(at++);
        if (c != '%') {
            sink.Put(c);
            continue;
        }
        const Conversion conversion = ParseConversion(format, at, arguments);
        switch (conversion.letter) {
        case 0:
            return;
        case 'a':
            PutString(sink, conversion, arguments.Next(), FormatArgument::Kind::Ascii);
            break;
        case 's':
        case 'S':
            PutString(sink, conversion, arguments.Next(), FormatArgument::Kind::Ucs2);
            break;
        case 'd':
        case 'i':
        case 'u':
        case 'x':
        case 'X':
        case 'p':
            PutInteger(sink, conversion, arguments.Next());
            break;
        case 'g':
            PutGuid(sink, conversion, arguments.Next());
            break;
        case 'r':
            PutStatus(sink, conversion, arguments.Next());
            break;
        case 'c':
            PutCharacter(sink, conversion, arguments.Next());
            break;
        default: // the percent sign too
            sink.Put(conversion.letter);
            break;
        }
    }
}

template <class Out>
size_t PrintTo(std::span<Out> out, const Source& format, FormatArguments arguments) {
    Sink sink(out);
    Print(sink, format, arguments);
    return sink.Finish();
}

size_t Measure(const Source& format, FormatArguments arguments) {
    Sink sink{std::span<char>()};
    Print(sink, format, arguments);
    return sink.Count();
}

} // namespace

UINT64 FormatArgument::Bits() const {
    switch (kind_) {
    case Kind::Ascii:
        return reinterpret_cast<UINT64>(ascii_);
    case Kind::Ucs2:
        return reinterpret_cast<UINT64>(ucs2_);
    case Kind::Guid:
        return reinterpret_cast<UINT64>(guid_);
    case Kind::Integer:
    case Kind::Pointer:
        break;
    }
    return value_;
}

size_t FormatAsciiV(std::span<char> out, const char* format, FormatArguments arguments) {
    return PrintTo(out, {.ascii = format}, arguments);
}

size_t FormatAsciiV(std::span<char> out, const char16_t* format, FormatArguments arguments) {
    return PrintTo(out, {.ucs2 = format}, arguments);
}

size_t FormatUcs2V(std::span<char16_t> out, const char* format, FormatArguments arguments) {
    return PrintTo(out, {.ascii = format}, arguments);
}

size_t FormatUcs2V(std::span<char16_t> out, const char16_t* format, FormatArguments arguments) {
    return PrintTo(out, {.ucs2 = format}, arguments);
}

size_t FormattedLengthV(const char* format, FormatArguments arguments) {
    return Measure({.ascii = format}, arguments);
}

size_t FormattedLengthV(const char16_t* format, FormatArguments arguments) {
    return Measure({.ucs2 = format}, arguments);
}

} // namespace kelm
