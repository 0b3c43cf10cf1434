// The rules that lock variables and bound their size and attributes. The variable service asks the
// engine before each write; the variable policy protocol of the platform registers the rules.
//
// A rule holds for one variable, for all names of a pattern ('#' stands for one hexadecimal digit),
// or for a whole namespace (an empty name). Of the rules that fit, the best one counts: the exact
// name, then the pattern with the fewest wildcards, then the namespace.
#pragma once

#include "uefi/Base.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// How a policy entry stands in the protocol and in a dump.
#pragma pack(push, 1)
struct VariablePolicyHeader {
    UINT32 version;      // kVariablePolicyVersion
    UINT16 size;         // of the whole entry: this header, the state rule if any, the name if any
    UINT16 offsetToName; // == size: no name, the rule is for the namespace
    EFI_GUID guid;
    UINT32 minSize;
    UINT32 maxSize;
    UINT32 attributesMustHave;
    UINT32 attributesCantHave;
    UINT8 lockType;
    UINT8 padding[3];
    // VariablePolicyStateRule, for kVariablePolicyLockOnState
    // CHAR16 name[], NUL-terminated
};
struct VariablePolicyStateRule {
    EFI_GUID guid;
    UINT8 value;
    UINT8 padding;
    // CHAR16 name[], NUL-terminated
};
#pragma pack(pop)
static_assert(sizeof(VariablePolicyHeader) == 44);
static_assert(sizeof(VariablePolicyStateRule) == 18);

inline constexpr UINT32 kVariablePolicyVersion = 0x00010000;
inline constexpr UINT8 kVariablePolicyNoLock = 0;
inline constexpr UINT8 kVariablePolicyLockNow = 1;
inline constexpr UINT8 kVariablePolicyLockOnCreate = 2;
inline constexpr UINT8 kVariablePolicyLockOnState = 3;
inline constexpr UINT32 kVariablePolicyNoMaxSize = 0xFFFFFFFF;

class VariablePolicyEngine {
public:
    struct Rule {
        EFI_GUID guid{};
        std::u16string name; // empty: the whole namespace
        UINT32 minSize = 0;
        UINT32 maxSize = kVariablePolicyNoMaxSize;
        UINT32 mustHave = 0;
        UINT32 cantHave = 0;
        UINT8 lockType = kVariablePolicyNoLock;
        // For kVariablePolicyLockOnState: locked while that variable is one byte of that value.
        EFI_GUID stateGuid{};
        UINT8 stateValue = 0;
        std::u16string stateName;
    };

    // What the engine must know of the variables: nothing when there is no such variable.
    using Reader = std::function<std::optional<std::span<const UINT8>>(std::u16string_view name,
                                                                       const EFI_GUID& guid)>;
    explicit VariablePolicyEngine(Reader read) : read_(std::move(read)) {}

    // Adds an entry given as bytes. EFI_INVALID_PARAMETER: not a well-formed entry;
    // EFI_INCOMPATIBLE_VERSION; EFI_ALREADY_STARTED: that exact name or pattern has a rule;
    // EFI_WRITE_PROTECTED: the engine is locked.
    EFI_STATUS Register(std::span<const UINT8> entry);
    EFI_STATUS Register(Rule rule);

    // No more rules, and no more switching off, until the next power-on. EFI_WRITE_PROTECTED when
    // it is locked already.
    EFI_STATUS Lock();
    // Rules no longer hold. EFI_WRITE_PROTECTED when locked, EFI_ALREADY_STARTED when already off.
    EFI_STATUS Disable();
    bool IsLocked() const { return locked_; }
    bool IsEnabled() const { return enabled_; }

    // All entries one behind the other, as the protocol dumps them.
    std::vector<UINT8> Dump() const;
    const std::vector<Rule>& Rules() const { return rules_; }

    // Whether a write may happen: EFI_SUCCESS, EFI_WRITE_PROTECTED (locked) or
    // EFI_INVALID_PARAMETER (size or attributes). `size` is that of the variable after the write,
    // `deletes` is set for a deletion, to which sizes and attributes do not apply.
    EFI_STATUS Check(std::u16string_view name, const EFI_GUID& guid, UINT32 attributes, UINT64 size,
                     bool deletes) const;
    // The rule that counts for a variable.
    const Rule* FindRule(std::u16string_view name, const EFI_GUID& guid) const;

private:
    bool IsVariableLocked(const Rule& rule, std::u16string_view name, const EFI_GUID& guid) const;

    Reader read_;
    std::vector<Rule> rules_;
    bool locked_ = false;
    bool enabled_ = true;
};

} // namespace sim
