// Two lines of text from outside, as lists of device descriptors and as a pattern and the device
// that it may name: lists are accepted by the rules and by nothing else, tokens are all that stands
// in a text, and matching and ranking keep the laws that orders are built on.

#include "bootopt/Fqdd.h"
#include "fuzz/Require.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace {

using fuzz::Require;
using kelm::FqddTokenKind;
using Text = std::u16string;
using View = std::u16string_view;

struct Token {
    FqddTokenKind kind;
    Text text;
};

View UpToBlank(View text) {
    return text.substr(0, text.find(u' '));
}

// ---- The rules of a list once more, by cutting it up

bool IsSegment(View text) {
    return !text.empty() && (text == u"*" || text.find(u'*') == text.npos);
}

// Cuts off what stands before the first `delimiter`, and that too; all when there is none.
View CutOff(View& text, char16_t delimiter) {
    const View first = text.substr(0, text.find(delimiter));
    text.remove_prefix(std::min(first.size() + 1, text.size()));
    return first;
}

bool IsDescriptor(View text) {
    for (int i = 0; i < 2; ++i) {
        const View segment = CutOff(text, u'.');
        if (!IsSegment(segment) || segment.find(u'-') != segment.npos) {
            return false;
        }
    }
    if (text.empty() || text.back() == u'-' || text.find(u'.') != text.npos) {
        return false;
    }
    while (!text.empty()) {
        if (!IsSegment(CutOff(text, u'-'))) {
            return false;
        }
    }
    return true;
}

bool IsList(View text) {
    text = UpToBlank(text);
    for (;;) {
        const View descriptor = text.substr(0, text.find_first_of(u"[:"));
        text.remove_prefix(descriptor.size());
        const bool hasGroups = text.starts_with(u'[');
        if (!IsDescriptor(descriptor) || (hasGroups && descriptor.back() == u'*')) {
            return false;
        }
        while (text.starts_with(u'[')) {
            const std::size_t close = text.find(u']');
            if (close == text.npos) {
                return false;
            }
            text.remove_prefix(close + 1);
        }
        if (text.empty()) {
            return true;
        }
        if (text.front() != u':') {
            return false;
        }
        text.remove_prefix(1);
    }
}

// ---- Tokens

// All tokens; nothing when one is too long.
std::optional<std::vector<Token>> TokensOf(const Text& text) {
    std::vector<Token> tokens;
    std::vector<CHAR16> room(kelm::kFqddTokenRoom);
    FqddTokenKind kind{};
    for (;;) {
        const EFI_STATUS status = kelm::BdsGetFqddToken(text.c_str(), tokens.size(), room, &kind);
        if (status == EFI_BUFFER_TOO_SMALL) {
            return std::nullopt;
        }
        if (status == EFI_NOT_FOUND) {
            break;
        }
        Require(status == EFI_SUCCESS);
        tokens.push_back({kind, room.data()});
    }
    if (!tokens.empty()) {
        // The last one fits into exactly its room, and into no less.
        const UINTN last = tokens.size() - 1;
        room.assign(tokens.back().text.size() + 1, u'?');
        Require(kelm::BdsGetFqddToken(text.c_str(), last, room, &kind) == EFI_SUCCESS);
        room.pop_back();
        room.shrink_to_fit(); // for the sanitizer
        Require(kelm::BdsGetFqddToken(text.c_str(), last, room, &kind) == EFI_BUFFER_TOO_SMALL);
    }
    return tokens;
}

Text Join(const std::vector<Token>& tokens) {
    Text text;
    for (const Token& token : tokens) {
        if (&token != tokens.data()) {
            text += u" .-[:"[std::size_t(token.kind)];
        }
        text += token.text;
    }
    return text;
}

// The text without what no token holds.
Text WithoutDropped(View text) {
    Text kept;
    bool inBracket = false;
    for (const char16_t c : UpToBlank(text)) {
        inBracket = c == u'[' || (inBracket && c != u']');
        if (c != u']' && !(c == u':' && inBracket)) {
            kept += c;
        }
    }
    return kept;
}

// Whether the first token with which only one text names something is a's.
bool NamesMore(const std::vector<Token>& a, const std::vector<Token>& b) {
    const std::size_t count = std::max(a.size(), b.size());
    std::vector<bool> namedByA(count);
    std::vector<bool> namedByB(count);
    const auto names = [](const Token& token) { return !token.text.starts_with(u'*'); };
    std::transform(a.begin(), a.end(), namedByA.begin(), names);
    std::transform(b.begin(), b.end(), namedByB.begin(), names);
    return namedByA > namedByB;
}

// ---- Laws

void CheckMatch(const Text& pattern, const std::vector<Token>& tokens, const Text& device) {
    Require(!tokens.empty());
    // What comes behind in the device's text does not matter.
    for (const View more : {u"-9", u".x", u"[k:v]", u" y"}) {
        Require(kelm::IsFqddMatching(pattern, device + Text(more)));
    }
    // Nor do sub-indexes for which the pattern does not ask.
    for (const std::size_t at : {device.find_first_of(u".["), device.find_last_of(u".[")}) {
        if (at != device.npos) {
            Require(kelm::IsFqddMatching(pattern, Text(device).insert(at, u"-9")));
        }
    }
    Text upper = device;
    for (char16_t& c : upper) {
        c = c >= u'a' && c <= u'z' ? char16_t(c - u'a' + u'A') : c == u'/' ? u'\\' : c;
    }
    Require(kelm::IsFqddMatching(pattern, upper));

    // A pattern that asks for less matches as well. (Joining forgets where brackets ended.)
    if (pattern.find(u'[') != pattern.npos) {
        return;
    }
    for (std::size_t i = 0; i < std::min<std::size_t>(tokens.size(), 8); ++i) {
        std::vector<Token> fewer = tokens;
        fewer[i].text = u"*";
        Require(kelm::IsFqddMatching(Join(fewer), device));
        fewer.resize(i);
        Require(kelm::IsFqddMatching(Join(fewer), device) == (i != 0 && !Join(fewer).empty()));
    }
}

void CheckOne(const Text& text, const std::optional<std::vector<Token>>& tokens) {
    Require(kelm::IsFqddListWellFormed(text) == (IsList(text) && tokens.has_value()));
    Require(!kelm::BdsIsFqddMoreSpecific(text.c_str(), text.c_str()));
    Require(kelm::IsFqddMatching(text, text) == (tokens.has_value() && !tokens->empty()));
    if (tokens) {
        Require(Join(*tokens) == WithoutDropped(text));
    }
    if (tokens && !tokens->empty()) {
        CheckMatch(text, *tokens, text);
    }
}

// Cuts off the text before the next line end or NUL.
Text NextText(Text& rest) {
    const std::size_t end = std::min(rest.find_first_of(View(u"\n\0", 2)), rest.size());
    const Text text = rest.substr(0, end);
    rest.erase(0, end + 1);
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, size_t size) {
    Text rest(data, data + size); // a character for each byte
    const Text a = NextText(rest);
    const Text b = NextText(rest);
    const auto tokensOfA = TokensOf(a);
    const auto tokensOfB = TokensOf(b);
    CheckOne(a, tokensOfA);
    CheckOne(b, tokensOfB);
    if (tokensOfA && tokensOfB) {
        Require(kelm::BdsIsFqddMoreSpecific(a.c_str(), b.c_str()) ==
                NamesMore(*tokensOfA, *tokensOfB));
        Require(kelm::BdsIsFqddMoreSpecific(b.c_str(), a.c_str()) ==
                NamesMore(*tokensOfB, *tokensOfA));
        if (kelm::IsFqddMatching(a, b)) {
            CheckMatch(a, *tokensOfA, b);
        }
    }
    return 0;
}
