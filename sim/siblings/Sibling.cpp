#include "sim/siblings/Sibling.h"

#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/Violations.h"

namespace sim {

namespace {

std::string CallName(const char* protocol, const char* member) {
    return std::string(protocol) + "." + member;
}

} // namespace

EFI_HANDLE Sibling::InstallProtocol(std::string_view name, const EFI_GUID& guid, void* interface) {
    if (platform.IsMissing(name, guid)) {
        return nullptr;
    }
    EFI_HANDLE handle = nullptr;
    const EFI_STATUS status = platform.handles->Install(&handle, guid, interface);
    return EFI_ERROR(status) ? nullptr : handle;
}

unsigned CallBook::Count(std::string_view call) const {
    auto found = counts_.find(call);
    return found == counts_.end() ? 0 : found->second;
}

std::optional<EFI_STATUS> CallBook::Enter(const char* protocol, const char* member, bool traced,
                                          const void* self) {
    {
        const std::string call = CallName(protocol, member); // gone before the boot can end
        counts_[call]++;
        auto table = tables_.find(std::string_view(protocol));
        if (self != nullptr && (table == tables_.end() || table->second != self)) {
            platform.violations->Record(call + " called with a wrong This");
        } else if (self != nullptr && platform.handles->WasUninstalled(self)) {
            platform.violations->Record(call + " called after it was uninstalled");
        }
    }
    return platform.EnterSibling(protocol, member, traced);
}

void CallBook::NoteTable(std::string_view protocol, const void* interface) {
    tables_[std::string(protocol)] = interface;
}

std::vector<std::string> CallBook::Tables() const {
    std::vector<std::string> names;
    for (const auto& [name, interface] : tables_) {
        names.push_back(name);
    }
    return names;
}

void CallBook::ReservedMember(const char* protocol, std::size_t slot) {
    platform.violations->Record("reserved member called: " +
                                CallName(protocol, std::to_string(slot).c_str()));
}

std::string PlainText(const char* text) {
    std::string plain;
    for (; text != nullptr && *text != '\0'; text++) {
        const bool printable = (*text >= ' ' && *text <= '~') || *text == '\t' || *text == '\r' ||
                               *text == '\n' || *text == '\b';
        plain += printable ? *text : '?';
    }
    return plain;
}

} // namespace sim
