// A server that is switched on again and again, with its devices, its settings and its store
// changed in between.
#pragma once

#include "tests/driver/StoredOptions.h"

namespace kelm::test {

class EnumerationRack {
public:
    // The default machine, with all of its devices and no boot options at first, and changes to it.
    // Network boot devices have tests of their own.
    explicit EnumerationRack(std::string_view changes = "{}") {
        Use(sim::LoadMachine("default"));
        Change(changes);
    }
    void Use(sim::MachineDescription machine) {
        for (const char* name : {"BootOrder", "Boot0000"}) {
            machine.root["variables"].erase(
                fmt::format("{}-8BE4DF61-93CA-11D2-AA0D-00E098032B8C", name));
        }
        sim::ApplySetting(machine, "attribute.PxeDev1EnDis=Disabled");
        sim::ApplySetting(machine, "limits.timeSeconds=60");
        boot.server.machine = std::move(machine);
    }

    // Lays changes over the machine, as a machine file does.
    void Change(std::string_view changes) {
        boot.server.machine.root.merge_patch(sim::Json::parse(changes));
    }
    sim::BootResult PowerOn() {
        boot.trace = sim::Trace();
        return boot.PowerOn();
    }
    // A boot that nothing disturbs: afterwards everything fits together.
    void PowerOnWell() {
        static_cast<void>(PowerOn());
        EXPECT_EQ(ExpectGoodOrders(store()), Numbers{}) << "in no order";
    }
    // The same after one that was disturbed: an option that it left in an order of the system, and
    // not yet in BootOrder, goes with the boot after this one.
    void PowerOnAgain() {
        static_cast<void>(PowerOn());
        if (!ExpectGoodOrders(store()).empty()) {
            PowerOnWell();
        }
    }
    sim::NvStore& store() { return boot.server.store; }
    std::vector<std::string> Order() { return Descriptions(store()); }
    UINT16 NumberOf(std::string_view description) {
        for (const UINT16 number : NumbersIn(store())) {
            if (OptionIn(store(), number).description == description) {
                return number;
            }
        }
        ADD_FAILURE() << "no option " << description;
        return 0xFFFF;
    }
    // Writes BootOrder by the descriptions of the options.
    void Reorder(const std::vector<std::string>& descriptions) {
        Numbers numbers;
        for (const std::string& description : descriptions) {
            numbers.push_back(NumberOf(description));
        }
        StoreOrder(store(), numbers);
    }

    DriverBoot boot;
};

} // namespace kelm::test
