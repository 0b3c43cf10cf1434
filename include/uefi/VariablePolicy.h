// EDKII_VARIABLE_POLICY_PROTOCOL: rules on the size, attributes and locking of variables.
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEdkiiVariablePolicyProtocolGuid = {
    0x81D1675C, 0x86F6, 0x48DF, {0xBD, 0x95, 0x9A, 0x6E, 0x4F, 0x09, 0x25, 0xC3}};

inline constexpr UINT64 EDKII_VARIABLE_POLICY_PROTOCOL_REVISION = 0x0000000000010000u;
inline constexpr UINT32 VARIABLE_POLICY_ENTRY_REVISION = 0x00010000u;

inline constexpr UINT8 VARIABLE_POLICY_TYPE_NO_LOCK = 0;
inline constexpr UINT8 VARIABLE_POLICY_TYPE_LOCK_NOW = 1;
inline constexpr UINT8 VARIABLE_POLICY_TYPE_LOCK_ON_CREATE = 2;
inline constexpr UINT8 VARIABLE_POLICY_TYPE_LOCK_ON_VAR_STATE = 3;

inline constexpr UINT32 VARIABLE_POLICY_NO_MIN_SIZE = 0;
inline constexpr UINT32 VARIABLE_POLICY_NO_MAX_SIZE = 0xFFFFFFFFu;
inline constexpr UINT32 VARIABLE_POLICY_NO_MUST_ATTR = 0;
inline constexpr UINT32 VARIABLE_POLICY_NO_CANT_ATTR = 0;

// Followed by the lock policy's data, if any, and at OffsetToName by the variable's name, CHAR16,
// null-terminated. OffsetToName equal to Size: the policy holds for the whole namespace. A '#' in
// the name stands for any one hexadecimal digit.
struct [[gnu::packed]] VARIABLE_POLICY_ENTRY {
    UINT32 Version;
    UINT16 Size; // of the record with all that follows
    UINT16 OffsetToName;
    EFI_GUID Namespace;
    UINT32 MinSize;
    UINT32 MaxSize;
    UINT32 AttributesMustHave;
    UINT32 AttributesCantHave;
    UINT8 LockPolicyType;
    UINT8 Reserved[3];
};
static_assert(sizeof(VARIABLE_POLICY_ENTRY) == 44);

// Data of VARIABLE_POLICY_TYPE_LOCK_ON_VAR_STATE; followed by the other variable's name, CHAR16,
// null-terminated. The lock holds while that one-byte variable has this value.
struct [[gnu::packed]] VARIABLE_LOCK_ON_VAR_STATE_POLICY {
    EFI_GUID Namespace;
    UINT8 Value;
    UINT8 Padding;
};
static_assert(sizeof(VARIABLE_LOCK_ON_VAR_STATE_POLICY) == 18);

// No member takes This.
struct EDKII_VARIABLE_POLICY_PROTOCOL {
    UINT64 Revision;
    EFI_STATUS(EFIAPI* DisableVariablePolicy)();
    EFI_STATUS(EFIAPI* IsVariablePolicyEnabled)(BOOLEAN* State);
    // EFI_ALREADY_STARTED when an equal policy stands, EFI_WRITE_PROTECTED once policies are
    // locked.
    EFI_STATUS(EFIAPI* RegisterVariablePolicy)(const VARIABLE_POLICY_ENTRY* PolicyEntry);
    // EFI_BUFFER_TOO_SMALL sets Size, in bytes, to what is needed.
    EFI_STATUS(EFIAPI* DumpVariablePolicy)(UINT8* Policy, UINT32* Size);
    // No policy can be registered or disabled until the next reset.
    EFI_STATUS(EFIAPI* LockVariablePolicy)();
};
static_assert(sizeof(EDKII_VARIABLE_POLICY_PROTOCOL) == 48);

template <>
struct ProtocolGuid<EDKII_VARIABLE_POLICY_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEdkiiVariablePolicyProtocolGuid;
};
