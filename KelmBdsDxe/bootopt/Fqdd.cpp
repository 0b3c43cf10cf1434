#include "bootopt/Fqdd.h"

#include "library/pure/Ucs2.h"

#include <optional>

namespace kelm {

namespace {

constexpr UINTN kDotsOfFqdd = 2;

std::u16string_view UpToBlank(std::u16string_view text) {
    return text.substr(0, text.find(u' '));
}

struct Token {
    FqddTokenKind kind;
    UINTN length; // may be more than `characters` holds
    std::array<CHAR16, kFqddTokenCharacters> characters;

    void Append(CHAR16 c) {
        if (length < characters.size()) {
            characters[length] = c;
        }
        ++length;
    }
    bool IsTooLong() const { return length > characters.size(); }
    bool IsWildcard() const { return length > 0 && characters[0] == u'*'; }
    // Of a token that is not too long.
    std::u16string_view text() const { return {characters.data(), length}; }
};

class Tokens {
public:
    explicit Tokens(std::u16string_view text) : rest_(UpToBlank(text)), more_(!rest_.empty()) {}

    // False when there is no further token.
    bool Next(Token& token) {
        if (!more_) {
            return false;
        }
        token.kind = nextKind_;
        token.length = 0;
        while (!rest_.empty()) {
            const CHAR16 c = rest_.front();
            rest_.remove_prefix(1);
            if (const std::optional<FqddTokenKind> kind = Delimiter(c)) {
                nextKind_ = *kind;
                return true;
            }
            if (c != u']' && c != u':') {
                token.Append(c);
            }
        }
        more_ = false;
        return true;
    }

private:
    std::optional<FqddTokenKind> Delimiter(CHAR16 c) {
        switch (c) {
        case u'.':
            return FqddTokenKind::Dot;
        case u'-':
            return FqddTokenKind::Dash;
        case u'[':
            inBracket_ = true;
            return FqddTokenKind::Bracket;
        case u']':
            inBracket_ = false;
            return std::nullopt;
        case u':':
            return inBracket_ ? std::nullopt : std::optional(FqddTokenKind::List);
        default:
            return std::nullopt;
        }
    }

    std::u16string_view rest_;
    bool more_;
    bool inBracket_ = false;
    FqddTokenKind nextKind_ = FqddTokenKind::Dot;
};

CHAR16 Fold(CHAR16 c) {
    return c == u'\\' ? u'/' : ToUpperAscii(c);
}

bool SameTokenText(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (Fold(a[i]) != Fold(b[i])) {
            return false;
        }
    }
    return true;
}

// The characters that the descriptor at the beginning of a text takes, up to a ":" or the end.
// Nothing when it is malformed.
std::optional<size_t> FqddLength(std::u16string_view text) {
    UINTN dots = 0;
    UINTN segment = 0; // its characters so far
    bool wildcard = false;
    size_t at = 0;
    while (at < text.size() && text[at] != u':') {
        const CHAR16 c = text[at];
        if (c == u'.' || c == u'-') {
            if (segment == 0 || (c == u'-' && dots != kDotsOfFqdd)) {
                return std::nullopt;
            }
            dots += c == u'.' ? 1 : 0;
            segment = 0;
            wildcard = false;
            ++at;
        } else if (c == u'[') {
            const size_t close = text.find(u']', at);
            if (segment == 0 || wildcard || close == std::u16string_view::npos) {
                return std::nullopt;
            }
            at = close + 1;
            if (at < text.size() && text[at] != u':' && text[at] != u'[') {
                return std::nullopt;
            }
        } else {
            ++segment;
            wildcard = wildcard || c == u'*';
            if (dots > kDotsOfFqdd || (wildcard && segment > 1)) {
                return std::nullopt;
            }
            ++at;
        }
    }
    return dots == kDotsOfFqdd && segment > 0 ? std::optional(at) : std::nullopt;
}

bool HasLongToken(std::u16string_view text) {
    Tokens tokens(text);
    Token token;
    while (tokens.Next(token)) {
        if (token.IsTooLong()) {
            return true;
        }
    }
    return false;
}

} // namespace

bool IsFqddListWellFormed(std::u16string_view text) {
    std::u16string_view rest = UpToBlank(text);
    for (;;) {
        const std::optional<size_t> length = FqddLength(rest);
        if (!length) {
            return false;
        }
        rest.remove_prefix(*length);
        if (rest.empty()) {
            return !HasLongToken(text);
        }
        rest.remove_prefix(1); // the ":"
    }
}

EFI_STATUS BdsGetFqddToken(const CHAR16* text, UINTN index, std::span<CHAR16> token,
                           FqddTokenKind* kind) {
    if (text == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    Tokens tokens(Ucs2View(text));
    Token found;
    for (UINTN i = 0; tokens.Next(found); ++i) {
        if (i != index) {
            continue;
        }
        if (found.IsTooLong() || found.length >= token.size()) {
            return EFI_BUFFER_TOO_SMALL;
        }
        static_cast<void>(Ucs2Copy(token, found.text()));
        *kind = found.kind;
        return EFI_SUCCESS;
    }
    return EFI_NOT_FOUND;
}

bool BdsIsFqddMoreSpecific(const CHAR16* a, const CHAR16* b) {
    Tokens tokensOfA(Ucs2View(a));
    Tokens tokensOfB(Ucs2View(b));
    Token token;
    for (;;) {
        const bool hasA = tokensOfA.Next(token);
        const bool concreteA = hasA && !token.IsWildcard();
        const bool hasB = tokensOfB.Next(token);
        const bool concreteB = hasB && !token.IsWildcard();
        if (concreteA != concreteB) {
            return concreteA;
        }
        if (!hasA && !hasB) {
            return false;
        }
    }
}

bool IsFqddMatching(std::u16string_view pattern, std::u16string_view device) {
    Tokens patternTokens(pattern);
    Tokens deviceTokens(device);
    Token wanted;
    Token token;
    bool wants = patternTokens.Next(wanted);
    if (!wants) {
        return false;
    }
    while (wants && deviceTokens.Next(token)) {
        if (token.kind == FqddTokenKind::Dash && wanted.kind != FqddTokenKind::Dash) {
            continue; // a sub-index that the pattern does not tell apart
        }
        if (token.kind != wanted.kind || token.IsTooLong() || wanted.IsTooLong()) {
            return false;
        }
        if (!wanted.IsWildcard() && !SameTokenText(wanted.text(), token.text())) {
            return false;
        }
        wants = patternTokens.Next(wanted);
    }
    return !wants;
}

} // namespace kelm
