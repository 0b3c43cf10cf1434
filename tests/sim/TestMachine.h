// A server on a test bench: the test's body stands in the place of the driver's entry, with the
// real services under it, and the server can be switched on again with the store as it was left.
//
// The body runs on the driver's stack: when it ends the boot, what it holds is not destroyed, so it
// keeps containers in the test and not in its own frame.
#pragma once

#include "sim/firmware/Clock.h"
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/Faults.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/ImageService.h"
#include "sim/firmware/PcdDatabase.h"
#include "sim/firmware/Server.h"
#include "sim/firmware/VariableService.h"
#include "sim/firmware/Violations.h"
#include "uefi/SimpleTextInput.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace simtest {

using namespace sim;

class TestMachine : public testing::Test {
protected:
    // `sections` is the inside of a machine file over the empty machine, without the braces.
    explicit TestMachine(const std::string& sections = "") { Describe(sections); }

    void Describe(const std::string& sections) {
        server.machine = ParseMachine("{\"extends\": \"empty\"" +
                                      (sections.empty() ? "" : ", " + sections) + "}");
    }

    // One boot whose driver is `body`. A body that returns leaves the machine halted for want of a
    // BDS protocol. Violations of the boot are in `violations`, its events in `trace`.
    BootResult Boot(std::function<void()> body) {
        mBody = std::move(body);
        trace = Trace();
        const BootResult result = server.PowerOn();
        violations = result.violations;
        return result;
    }

    // One boot of a machine with these sections, for a body that looks at the machine from outside.
    void PowerOn(const std::string& sections, const std::function<void(Platform&)>& body) {
        Describe(sections);
        bool ran = false;
        Boot([&] {
            body(Machine());
            ran = true;
        });
        EXPECT_TRUE(ran);
    }

    static Platform& Machine() { return Platform::Current(); }

    // The protocol of a type, or nullptr.
    template <class Protocol>
    static Protocol* Find(Platform& platform) {
        return static_cast<Protocol*>(platform.handles->FindFirst(ProtocolGuid<Protocol>::value));
    }

    // The fields of the events of one kind, without time and kind.
    std::vector<std::string> Traced(std::string_view event) const {
        std::vector<std::string> lines;
        for (Json fields : trace.EventsOf(event)) {
            fields.erase("t");
            fields.erase("event");
            lines.push_back(fields.dump());
        }
        return lines;
    }

    Trace trace;
    Server server{{}, NvStore(), {Entry, {}, nullptr}, trace};
    std::vector<std::string> violations;

    // What the driver gets.
    inline static EFI_HANDLE image = nullptr;
    inline static EFI_BOOT_SERVICES* bs = nullptr;
    inline static EFI_RUNTIME_SERVICES* rs = nullptr;
    inline static EFI_SYSTEM_TABLE* st = nullptr;

private:
    static EFI_STATUS EFIAPI Entry(EFI_HANDLE handle, EFI_SYSTEM_TABLE* table) {
        image = handle;
        st = table;
        bs = table->BootServices;
        rs = table->RuntimeServices;
        mBody();
        return EFI_SUCCESS;
    }

    inline static std::function<void()> mBody;
};

// An event whose notifications write a word into a log.
struct Logged {
    std::string* log;
    const char* word;

    static void EFIAPI Notify(EFI_EVENT, void* context) {
        const auto* self = static_cast<Logged*>(context);
        *self->log += self->word;
        *self->log += ' ';
    }
};

} // namespace simtest
