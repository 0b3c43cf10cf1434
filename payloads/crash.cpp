// A loader with a wild pointer.
#include "payloads/Payload.h"

namespace {

// Where no memory is on any machine.
constexpr UINT64 kNowhere = 0x00007EADBEEF0000u;

} // namespace

extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE* systemTable) {
    payload::Say(systemTable, u"Reading the partition table");
    return *reinterpret_cast<volatile EFI_STATUS*>(kNowhere);
}
