// Builds the table of a sibling protocol. Every member becomes a function of its own that counts
// and traces the call, answers a fault that the machine file injects, and then runs the sibling's
// method, answers a fixed status, or succeeds. Slots without a name are filled with functions that
// record the violation "reserved member called", so that no slot is ever a null pointer.
#pragma once

#include "sim/siblings/Sibling.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>
#include <utility>

namespace sim {

// A string literal as a template argument.
template <std::size_t N>
struct LiteralText {
    char value[N];
    constexpr LiteralText(const char (&text)[N]) { std::copy_n(text, N, value); }
};

template <class Method>
struct MethodTraits;
template <class R, class Class, class... A>
struct MethodTraits<R (Class::*)(A...)> {
    using Owner = Class;
    static constexpr std::size_t kArguments = sizeof...(A);
};

// One member of one protocol as the driver calls it. `kMethod` is a method of a sibling that takes
// the arguments of the member with or without its `This`, or a fixed status; nullptr succeeds.
template <class Protocol, LiteralText kName, LiteralText kMember, auto kMethod, bool kTraced,
          class R, class... A>
struct MemberThunk {
    static R EFIAPI Call(A... arguments) {
        auto& book = Platform::Current().Get<CallBook>();
        if (auto injected = book.Enter(kName.value, kMember.value, kTraced, This(arguments...))) {
            if constexpr (std::is_same_v<R, EFI_STATUS>) {
                return *injected;
            } else {
                return R();
            }
        }
        if constexpr (std::is_same_v<decltype(kMethod), std::nullptr_t>) {
            return R();
        } else if constexpr (std::is_same_v<std::remove_cv_t<decltype(kMethod)>, EFI_STATUS>) {
            return kMethod;
        } else {
            using Traits = MethodTraits<decltype(kMethod)>;
            auto& owner = Platform::Current().Get<typename Traits::Owner>();
            if constexpr (Traits::kArguments == sizeof...(A)) {
                return (owner.*kMethod)(arguments...);
            } else {
                return WithoutThis(owner, arguments...);
            }
        }
    }

private:
    static const void* This() { return nullptr; }
    template <class First, class... Rest>
    static const void* This(First first, Rest...) {
        if constexpr (std::is_same_v<std::remove_cv_t<std::remove_pointer_t<First>>, Protocol>) {
            return first != nullptr ? static_cast<const void*>(first) : &kNoTable;
        } else {
            return nullptr;
        }
    }
    template <class Owner, class First, class... Rest>
    static R WithoutThis(Owner& owner, First, Rest... rest) {
        return (owner.*kMethod)(rest...);
    }
    static constexpr char kNoTable = 0; // a null `This` is a wrong one, not an absent one
};

template <class Protocol, LiteralText kName>
struct ProtocolTable {
    Protocol protocol{};

    static constexpr const char* Name() { return kName.value; }

    // Fills one slot. `kTraced` is false for members that have a trace event of their own.
    template <LiteralText kMember, auto kMethod = nullptr, bool kTraced = true, class R, class... A>
    ProtocolTable& Serve(R (EFIAPI* Protocol::*slot)(A...)) {
        protocol.*slot = &MemberThunk<Protocol, kName, kMember, kMethod, kTraced, R, A...>::Call;
        return *this;
    }

    // Fills the slots that are still empty. Only for tables that consist of pointers.
    void ReserveRest() {
        ReserveRest(std::make_index_sequence<sizeof(Protocol) / sizeof(void*)>());
    }

private:
    template <std::size_t kSlot>
    static EFI_STATUS EFIAPI Reserved() {
        Platform::Current().Get<CallBook>().ReservedMember(kName.value, kSlot);
        return EFI_UNSUPPORTED;
    }
    template <std::size_t... kSlots>
    void ReserveRest(std::index_sequence<kSlots...>) {
        using Slot = EFI_STATUS(EFIAPI*)();
        std::array<Slot, sizeof...(kSlots)> slots;
        static_assert(sizeof(slots) == sizeof(protocol));
        std::memcpy(slots.data(), &protocol, sizeof(protocol));
        ((slots[kSlots] = slots[kSlots] != nullptr ? slots[kSlots] : &Reserved<kSlots>), ...);
        std::memcpy(static_cast<void*>(&protocol), slots.data(), sizeof(protocol));
    }
};

template <class Protocol, LiteralText kName>
EFI_HANDLE Sibling::InstallTable(ProtocolTable<Protocol, kName>& table) {
    platform.Get<CallBook>().NoteTable(kName.value, &table.protocol);
    return InstallProtocol(kName.value, ProtocolGuid<Protocol>::value, &table.protocol);
}

} // namespace sim
