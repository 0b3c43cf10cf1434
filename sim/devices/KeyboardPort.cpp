#include "sim/devices/KeyboardPort.h"

#include "sim/firmware/Platform.h"

namespace sim {

void KeyboardPort::PublishOn(Device& device) {
    // Copied now: the events of the tables come with the power.
    table_ = platform_.keyboard->InputTable();
    tableEx_ = platform_.keyboard->InputTableEx();
    device.Publish(gEfiSimpleTextInProtocolGuid, &table_.protocol);
    device.Publish(gEfiSimpleTextInputExProtocolGuid, &tableEx_.protocol);
}

bool KeyboardPort::WithdrawFrom(Device& device) {
    return device.Withdraw(gEfiSimpleTextInputExProtocolGuid) &&
           device.Withdraw(gEfiSimpleTextInProtocolGuid);
}

} // namespace sim
