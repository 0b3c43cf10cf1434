#include "core/BootTask.h"

#include <array>

namespace kelm {

namespace {

constexpr std::array<const CHAR16*, kBootTaskCount> kBootTaskTitles = {
    u"This is a normal boot",
    u"Execute ID Module task.",
    u"Execute SSM task",
    u"Execute Forgeline GUI",
    u"Execute Boot to Service Partition",
    u"Execute ACI task",
    u"Execute IPMI Boot Option task",
    u"Execute IPMI CR Enable request",
    u"Execute IPMI CR Disable request",
    u"Execute hotkey request from previous boot",
    u"Force PXE boot via ForcePxeBootFirst.",
    u"Execute Forgeline GUI request from prev boot",
    u"Execute IPMI Reset To Default",
    u"FVS MFG Mode",
    u"Manufacturing Mode enabled",
    u"Execute SMA BIOS update/config/shutdown",
};

constexpr std::array<const CHAR16*, kHotKeyCount> kHotKeyTitles = {
    u"No Hot Key Pressing", u"F2 = System Setup", u"F10 = Forgeline",
    u"F11 = Boot Manager",  u"F12 = PXE Boot",
};

template <std::size_t N>
const CHAR16* TitleAt(const std::array<const CHAR16*, N>& titles, UINT32 index) {
    return index < N ? titles[index] : u"Unknown";
}

} // namespace

const CHAR16* BootTaskTitle(BootTask task) {
    return TitleAt(kBootTaskTitles, static_cast<UINT32>(task));
}

const CHAR16* HotKeyTitle(HotKey key) {
    return TitleAt(kHotKeyTitles, static_cast<UINT32>(key));
}

} // namespace kelm
