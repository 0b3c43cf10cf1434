#include "sim/firmware/VariablePolicyEngine.h"

#include "library/pure/Ucs2.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr char16_t kWildcard = u'#';

std::size_t WildcardCount(std::u16string_view name) {
    return std::size_t(std::count(name.begin(), name.end(), kWildcard));
}

bool Fits(std::u16string_view pattern, std::u16string_view name) {
    return pattern.size() == name.size() &&
           std::equal(pattern.begin(), pattern.end(), name.begin(), [](char16_t p, char16_t c) {
               return p == c || (p == kWildcard && kelm::IsHexDigit(c));
           });
}

// The NUL-terminated name that fills `bytes` to its end; nothing when there is no such thing.
std::optional<std::u16string> NameOf(std::span<const UINT8> bytes) {
    if (bytes.size() < sizeof(char16_t) || bytes.size() % sizeof(char16_t) != 0) {
        return std::nullopt;
    }
    std::u16string name(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(name.data(), bytes.data(), bytes.size());
    if (name.find(u'\0') != name.size() - 1) {
        return std::nullopt;
    }
    name.pop_back();
    return name;
}

template <class T>
void Append(std::vector<UINT8>& bytes, const T& value) {
    const auto* first = reinterpret_cast<const UINT8*>(&value);
    bytes.insert(bytes.end(), first, first + sizeof value);
}

void AppendName(std::vector<UINT8>& bytes, const std::u16string& name) {
    const auto* first = reinterpret_cast<const UINT8*>(name.c_str());
    bytes.insert(bytes.end(), first, first + (name.size() + 1) * sizeof(char16_t));
}

std::size_t NameSize(const std::u16string& name) {
    return (name.size() + 1) * sizeof(char16_t);
}

} // namespace

EFI_STATUS VariablePolicyEngine::Register(std::span<const UINT8> entry) {
    VariablePolicyHeader header;
    if (entry.size() < sizeof header) {
        return EFI_INVALID_PARAMETER;
    }
    std::memcpy(&header, entry.data(), sizeof header);
    if (header.version != kVariablePolicyVersion) {
        return EFI_INCOMPATIBLE_VERSION;
    }
    if (header.size != entry.size() || header.offsetToName < sizeof header ||
        header.offsetToName > header.size) {
        return EFI_INVALID_PARAMETER;
    }
    Rule rule;
    rule.guid = header.guid;
    rule.minSize = header.minSize;
    rule.maxSize = header.maxSize;
    rule.mustHave = header.attributesMustHave;
    rule.cantHave = header.attributesCantHave;
    rule.lockType = header.lockType;
    const std::span<const UINT8> state =
        entry.subspan(sizeof header, header.offsetToName - sizeof header);
    if (rule.lockType == kVariablePolicyLockOnState) {
        VariablePolicyStateRule stateRule;
        if (state.size() < sizeof stateRule) {
            return EFI_INVALID_PARAMETER;
        }
        std::memcpy(&stateRule, state.data(), sizeof stateRule);
        const auto stateName = NameOf(state.subspan(sizeof stateRule));
        if (!stateName || stateName->empty()) {
            return EFI_INVALID_PARAMETER;
        }
        rule.stateGuid = stateRule.guid;
        rule.stateValue = stateRule.value;
        rule.stateName = *stateName;
    } else if (!state.empty()) {
        return EFI_INVALID_PARAMETER;
    }
    if (header.offsetToName != header.size) {
        const auto name = NameOf(entry.subspan(header.offsetToName));
        if (!name || name->empty()) {
            return EFI_INVALID_PARAMETER;
        }
        rule.name = *name;
    }
    return Register(std::move(rule));
}

EFI_STATUS VariablePolicyEngine::Register(Rule rule) {
    if (locked_) {
        return EFI_WRITE_PROTECTED;
    }
    if (rule.lockType > kVariablePolicyLockOnState || rule.minSize > rule.maxSize ||
        (rule.mustHave & rule.cantHave) != 0) {
        return EFI_INVALID_PARAMETER;
    }
    for (const Rule& other : rules_) {
        if (other.guid == rule.guid && other.name == rule.name) {
            return EFI_ALREADY_STARTED;
        }
    }
    rules_.push_back(std::move(rule));
    return EFI_SUCCESS;
}

EFI_STATUS VariablePolicyEngine::Lock() {
    if (locked_) {
        return EFI_WRITE_PROTECTED;
    }
    locked_ = true;
    return EFI_SUCCESS;
}

EFI_STATUS VariablePolicyEngine::Disable() {
    if (locked_) {
        return EFI_WRITE_PROTECTED;
    }
    if (!enabled_) {
        return EFI_ALREADY_STARTED;
    }
    enabled_ = false;
    return EFI_SUCCESS;
}

std::vector<UINT8> VariablePolicyEngine::Dump() const {
    std::vector<UINT8> bytes;
    for (const Rule& rule : rules_) {
        const bool onState = rule.lockType == kVariablePolicyLockOnState;
        const std::size_t stateSize =
            onState ? sizeof(VariablePolicyStateRule) + NameSize(rule.stateName) : 0;
        const std::size_t nameSize = rule.name.empty() ? 0 : NameSize(rule.name);
        VariablePolicyHeader header{};
        header.version = kVariablePolicyVersion;
        header.size = UINT16(sizeof header + stateSize + nameSize);
        header.offsetToName = UINT16(sizeof header + stateSize);
        header.guid = rule.guid;
        header.minSize = rule.minSize;
        header.maxSize = rule.maxSize;
        header.attributesMustHave = rule.mustHave;
        header.attributesCantHave = rule.cantHave;
        header.lockType = rule.lockType;
        Append(bytes, header);
        if (onState) {
            Append(bytes, VariablePolicyStateRule{rule.stateGuid, rule.stateValue, 0});
            AppendName(bytes, rule.stateName);
        }
        if (!rule.name.empty()) {
            AppendName(bytes, rule.name);
        }
    }
    return bytes;
}

const VariablePolicyEngine::Rule* VariablePolicyEngine::FindRule(std::u16string_view name,
                                                                 const EFI_GUID& guid) const {
    const Rule* best = nullptr;
    std::size_t bestWildcards = 0;
    for (const Rule& rule : rules_) {
        if (!(rule.guid == guid) || (!rule.name.empty() && !Fits(rule.name, name))) {
            continue;
        }
        const std::size_t wildcards = rule.name.empty() ? SIZE_MAX : WildcardCount(rule.name);
        if (best == nullptr || wildcards < bestWildcards) {
            best = &rule;
            bestWildcards = wildcards;
        }
    }
    return best;
}

bool VariablePolicyEngine::IsVariableLocked(const Rule& rule, std::u16string_view name,
                                            const EFI_GUID& guid) const {
    switch (rule.lockType) {
    case kVariablePolicyLockNow:
        return true; // also when the variable does not exist yet
    case kVariablePolicyLockOnCreate:
        return read_(name, guid).has_value();
    case kVariablePolicyLockOnState: {
        const auto state = read_(rule.stateName, rule.stateGuid);
        return state && state->size() == 1 && (*state)[0] == rule.stateValue;
    }
    default:
        return false;
    }
}

EFI_STATUS VariablePolicyEngine::Check(std::u16string_view name, const EFI_GUID& guid,
                                       UINT32 attributes, UINT64 size, bool deletes) const {
    if (!enabled_) {
        return EFI_SUCCESS;
    }
    const Rule* rule = FindRule(name, guid);
    if (rule == nullptr) {
        return EFI_SUCCESS;
    }
    if (!deletes &&
        (size < rule->minSize || size > rule->maxSize ||
         (attributes & rule->mustHave) != rule->mustHave || (attributes & rule->cantHave) != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    return IsVariableLocked(*rule, name, guid) ? EFI_WRITE_PROTECTED : EFI_SUCCESS;
}

} // namespace sim
