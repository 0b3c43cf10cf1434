// The variables of a boot (UEFI 2.10, section 8.2): the non-volatile ones in the machine's store,
// the volatile ones here. Every SetVariable() is traced as `variable`.
//
// The machine file's "variables" are there when the power comes on: volatile ones each time,
// non-volatile ones the first time, unless the store holds one of that name.
#pragma once

#include "sim/firmware/VariablePolicyEngine.h"
#include "sim/machine/NvStore.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace sim {

class Platform;

class VariableService {
public:
    // Reads "variables" and "limits". Throws MachineFileError.
    explicit VariableService(Platform& platform);
    VariableService(const VariableService&) = delete;
    VariableService& operator=(const VariableService&) = delete;

    // The services; statuses as UEFI defines them. A write with attributes that differ from the
    // variable's is EFI_INVALID_PARAMETER and a violation. Time-based authenticated writes are
    // EFI_UNSUPPORTED: no key is enrolled on this machine.
    EFI_STATUS Get(const CHAR16* name, const EFI_GUID* guid, UINT32* attributes, UINTN* size,
                   void* data) const;
    EFI_STATUS GetNextName(UINTN* nameSize, CHAR16* name, EFI_GUID* guid) const;
    EFI_STATUS Set(const CHAR16* name, const EFI_GUID* guid, UINT32 attributes, UINTN size,
                   const void* data);
    EFI_STATUS QueryInfo(UINT32 attributes, UINT64* maximumStorage, UINT64* remainingStorage,
                         UINT64* maximumSize) const;

    // A write that an injected fault answers: traced with that status, nothing is stored.
    void TraceRefused(const CHAR16* name, const EFI_GUID* guid, UINT32 attributes, UINTN size,
                      const void* data, EFI_STATUS status);

    // For siblings and tests: the variable, nullptr when there is none. Valid until the next write.
    const StoredVariable* Find(std::u16string_view name, const EFI_GUID& guid) const;
    // A write by a sibling: no policy, no trace.
    EFI_STATUS Write(std::u16string_view name, const EFI_GUID& guid, UINT32 attributes,
                     const void* data, std::size_t size);
    // Names of all variables in the order in which GetNextName() answers them.
    std::vector<std::pair<std::u16string, EFI_GUID>> Names() const;

    // After ExitBootServices() only variables with runtime access are seen.
    void EnterRuntime() { atRuntime_ = true; }

    VariablePolicyEngine policy;

    std::size_t StoreBytes() const { return storeBytes_; }

    static constexpr std::size_t kMaxVariableSize = 64 * 1024; // data of one variable
    static constexpr std::size_t kMaxNameCharacters = 512;

private:
    struct Request;

    // What the request makes of the variable; writes nothing.
    EFI_STATUS Decide(Request& request) const;
    EFI_STATUS Store(const StoredVariable& variable);
    EFI_STATUS Delete(std::u16string_view name, const EFI_GUID& guid);
    bool HasRoomFor(const StoredVariable& variable) const;
    bool IsVisible(const StoredVariable& variable) const;
    // All visible variables in the order of GetNextName().
    std::vector<const StoredVariable*> Visible() const;
    std::size_t VolatileBytes() const;
    void ReadInitial();

    Platform& platform_;
    std::size_t storeBytes_;
    bool atRuntime_ = false;
    std::vector<StoredVariable> volatile_; // in the order of their creation
};

} // namespace sim
