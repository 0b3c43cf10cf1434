// A machine without a driver, for tests of the siblings themselves: it is powered on, the test's
// body runs in the place of the driver, and the boot is over.
#pragma once

#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/Platform.h"
#include "sim/firmware/Violations.h"
#include "sim/machine/NvStore.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>

namespace sim {

class BareMachine : public testing::Test {
protected:
    // `sections` is the inside of a machine file, without the braces.
    void PowerOn(const std::string& sections, const std::function<void(Platform&)>& body) {
        const std::string comma = sections.empty() ? "" : ", ";
        const MachineDescription machine =
            ParseMachine("{\"extends\": \"empty\"" + comma + sections + "}");
        trace = Trace();
        Platform platform(machine, store, trace, ++boots_);
        const DriverImage nothing{[](EFI_HANDLE, EFI_SYSTEM_TABLE*) EFIAPI { return EFI_SUCCESS; },
                                  {}};
        bool ran = false;
        platform.Run(nothing, [&](Platform& running) {
            body(running);
            violations = running.violations->All();
            ran = true;
        });
        EXPECT_TRUE(ran);
    }

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

    NvStore store;
    Trace trace;
    std::vector<std::string> violations;

private:
    unsigned boots_ = 0;
};

} // namespace sim
