// What every simulated sibling driver has in common: it reads its section of the machine file when
// it is constructed, installs its protocols when the platform is powered on, and keeps its state
// where a test can look at it. ProtocolTable.h builds the tables that siblings install.
#pragma once

#include "sim/firmware/Platform.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

template <std::size_t N>
struct LiteralText;
template <class Protocol, LiteralText kName>
struct ProtocolTable;

class Sibling {
public:
    explicit Sibling(Platform& owner) : platform(owner) {}
    virtual ~Sibling() = default;
    Sibling(const Sibling&) = delete;
    Sibling& operator=(const Sibling&) = delete;

    // Installs the protocols on new handles; runs on the driver's stack before the driver is
    // loaded.
    virtual void Install() = 0;

    Platform& platform;

protected:
    // Installs `interface` unless the machine file leaves `name` out. Returns the new handle or
    // null.
    EFI_HANDLE InstallProtocol(std::string_view name, const EFI_GUID& guid, void* interface);
    // The same for a table whose members check their `This` from then on.
    template <class Protocol, LiteralText kName>
    EFI_HANDLE InstallTable(ProtocolTable<Protocol, kName>& table);
};

// A protocol table together with the object that serves it, for drivers with many instances of one
// protocol: `Interface<KelmX, XDriver>` recovers the object from the `This` pointer of a call.
template <class Protocol, class Owner>
struct Interface {
    Protocol protocol{};
    Owner* owner = nullptr;

    static Owner& From(const Protocol* self) {
        return *reinterpret_cast<const Interface*>(self)->owner;
    }
};

// Counts the calls of sibling protocols, whoever serves them. The first sibling of every machine.
class CallBook final : public Sibling {
public:
    using Sibling::Sibling;
    void Install() override {}

    // How often a member was called in this boot: "KelmNimborProtocol.EarlyInit".
    unsigned Count(std::string_view call) const;

    // Begins a call: checks `self` (null for a member that takes no `This`) against the installed
    // table, counts, traces and answers an injected fault.
    std::optional<EFI_STATUS> Enter(const char* protocol, const char* member, bool traced,
                                    const void* self);
    void NoteTable(std::string_view protocol, const void* interface);
    // The names of all tables that siblings have made ready, left out or not.
    std::vector<std::string> Tables() const;
    // A call through a slot that no driver has a use for: a violation.
    void ReservedMember(const char* protocol, std::size_t slot);

private:
    std::map<std::string, unsigned, std::less<>> counts_;
    std::map<std::string, const void*, std::less<>> tables_;
};

// One row per protocol that a machine offers: what "missing" may name and what a sweep leaves out.
struct SiblingProtocol {
    std::string_view name;
    EFI_GUID guid;
};
const std::vector<SiblingProtocol>& AllSiblingProtocols();

// Constructs all siblings of a machine in their fixed order. Throws MachineFileError.
std::vector<std::unique_ptr<Sibling>> MakeSiblings(Platform& platform);

// Text that came from the driver, fit for a trace: what is not printable ASCII, tab or line end
// becomes '?'. A null pointer is the empty text.
std::string PlainText(const char* text);

} // namespace sim
