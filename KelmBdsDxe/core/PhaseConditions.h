// When the conditional phases run. Each answers from the driver's state or asks the platform at the
// moment its phase is reached.
#pragma once

namespace kelm {

bool EsrtInjectionPresent();
bool NotForgelineOrSmaTask(); // tasks that ask for the system password
bool ServiceTagCheckWanted(); // production mode, no update job
bool HotKeysWanted();         // not in a configuration boot, not on the way to the tool
bool NotConfigurationBoot();
bool ConfigurationBootSet();
bool LiquidCoolingCheckWanted(); // production mode, not bypassed by the board, no update job
bool MasterWriteReadWanted();
bool ComPortsSwapped();
bool TaskIsIdModule();
bool UefiBoot();
bool BootOptionsWanted();
bool TaskIsResetToDefaults();
bool TaskIsSmaJob();
bool TaskIsAci();
bool TaskIsControllerBoot();
bool SecureBootTaskPending();
bool ConfigurationBootDone(); // applied; nothing else keeps this boot going

} // namespace kelm
