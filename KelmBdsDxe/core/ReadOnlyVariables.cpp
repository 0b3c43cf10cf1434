#include "core/ReadOnlyVariables.h"

#include "kelm/Variables.h"
#include "library/firmware/Assert.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Bytes.h"
#include "library/pure/Ucs2.h"
#include "uefi/VariablePolicy.h"

#include <array>

namespace kelm {

namespace {

constexpr UINTN kMaxEntrySize = 128;

constexpr bool NamesFit() {
    for (const KelmVariableName& variable : kReadOnlyVariables) {
        UINTN characters = 0;
        while (variable.name[characters] != 0) {
            ++characters;
        }
        if (sizeof(VARIABLE_POLICY_ENTRY) + (characters + 1) * sizeof(CHAR16) > kMaxEntrySize) {
            return false;
        }
    }
    return true;
}
static_assert(NamesFit());

EFI_STATUS LockNow(EDKII_VARIABLE_POLICY_PROTOCOL* policy, const KelmVariableName& variable) {
    alignas(VARIABLE_POLICY_ENTRY) std::array<UINT8, kMaxEntrySize> bytes{};
    const UINT16 size =
        static_cast<UINT16>(sizeof(VARIABLE_POLICY_ENTRY) + Ucs2Size(variable.name));
    ByteWriter writer(bytes);
    writer.WriteU32(VARIABLE_POLICY_ENTRY_REVISION);
    writer.WriteU16(size);
    writer.WriteU16(sizeof(VARIABLE_POLICY_ENTRY)); // where the name begins
    writer.WriteGuid(*variable.guid);
    writer.WriteU32(VARIABLE_POLICY_NO_MIN_SIZE);
    writer.WriteU32(VARIABLE_POLICY_NO_MAX_SIZE);
    writer.WriteU32(VARIABLE_POLICY_NO_MUST_ATTR);
    writer.WriteU32(VARIABLE_POLICY_NO_CANT_ATTR);
    writer.WriteU8(VARIABLE_POLICY_TYPE_LOCK_NOW);
    writer.WriteZeros(3);
    writer.WriteUcs2String(Ucs2View(variable.name));
    return policy->RegisterVariablePolicy(
        reinterpret_cast<const VARIABLE_POLICY_ENTRY*>(bytes.data()));
}

} // namespace

void BdsLockReadOnlyVariables() {
    EDKII_VARIABLE_POLICY_PROTOCOL* policy = nullptr;
    const EFI_STATUS located = LocateProtocol(policy);
    DebugPrint(kDebugInfo, "[BdsDxe] Locate Variable Policy protocol - %r\n", located);
    if (EFI_ERROR(located)) {
        return;
    }
    for (const KelmVariableName& variable : kReadOnlyVariables) {
        const EFI_STATUS status = LockNow(policy, variable);
        KELM_ASSERT(!EFI_ERROR(status));
    }
}

} // namespace kelm
