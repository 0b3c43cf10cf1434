// The messages that every machine's table has: those that BDS registers, and those of other drivers
// that the controller's log gets with arguments.
#include "kelm/PostMessages.h"
#include "sim/siblings/PostMessages.h"

namespace sim {

namespace {

constexpr UINT32 kInfo = 1;
constexpr UINT32 kError = kPostMessageError;

constexpr PostMessageText kMessages[] = {
    // Of other drivers. The arguments are those that the log gets.
    {35, kError, u"The memory module in %s runs at %d MT/s instead of %d MT/s."},
    {55, kError, u"The device at <devicename> did not answer during POST."},
    {67, kError, u"The memory module in %s reports correctable errors above its limit."},
    {68, kError, u"The memory module in %s reports an uncorrectable error and is disabled."},
    {89, kInfo, u"The firmware of %s was not updated."},
    {102, kError, u"The PCIe device at %s trained to x%d instead of x%d."},
    {276, kError, u"The memory modules in %s and %s do not fit together."},
    {277, kInfo, u"The memory of %s is mirrored to %s."},
    {278, kInfo, u"The memory module in %s was replaced."},
    {314, kInfo, u"The processor %s runs with the microcode %s."},
    {325, kError, u"The riser %s does not support the card in %s: %s."},
    {331, kInfo, u"The drive %s was unlocked with the key %s."},
    {345, kInfo, u"The drive bay %s is connected to %s."},
    {348, kInfo, u"The add-in card in %s is not on the list of %s."},
    {349, kInfo, u"The cable from %s to %s should go to %s."},
    {350, kError, u"The cable between %s and %s is not connected."},
    {357, kInfo, u"The system was started by a power-cycle request."},
    {361, kInfo, u"The persistent memory of %s is being sanitized."},
    {366, kError, u"The power cable of %s should be connected to %s."},
    {376, kInfo, u"The trusted platform module reports the state %s."},
    {377, kInfo, u"The processor %s has %s of %s cores enabled."},
    {380, kInfo, u"The port %s of %s is mapped to the port %s of %s."},
    // Of BDS.
    {kPostMessagePasswordDisabled, kInfo,
     u"The password function was turned off with the password jumper."},
    {kPostMessageSecureBootRefused, kInfo, u"Unable to boot %a because of the Secure Boot policy.",
     73},
    {kPostMessageSecureBootChanged, kInfo,
     u"The Secure Boot configuration has changed since the last boot."},
    {kPostMessageAciShutdown, kInfo,
     u"The system will shut down: a configuration that was applied asks for it."},
    {kPostMessageNetworkPortMissing, kInfo,
     u"A network port that is configured for booting is not present. The device was disabled."},
    {kPostMessageDriverUnhealthy, kInfo,
     u"One or more UEFI drivers report that they are not healthy."},
    {kPostMessageBootWatchdog, kInfo, u"The boot image did not start an operating system in time."},
    {kPostMessageIscsiInitiatorName, kInfo, u"The iSCSI initiator name cannot be used."},
    {kPostMessageIscsiInitiatorIp, kInfo,
     u"The initiator address of iSCSI connection %s is not valid."},
    {kPostMessageIscsiSubnetMask, kInfo, u"The subnet mask of iSCSI connection %s is not valid."},
    {kPostMessageIscsiGateway, kInfo, u"The gateway of iSCSI connection %s is not valid."},
    {kPostMessageIscsiTargetName, kInfo, u"The target name of iSCSI connection %s is not valid."},
    {kPostMessageIscsiTargetIp, kInfo, u"The target address of iSCSI connection %s is not valid."},
    {kPostMessagePasswordJumper, kInfo,
     u"The password jumper is set: passwords are not asked for and cannot be changed."},
    {kPostMessageInvalidChassisSledInfo, kInfo,
     u"The chassis configuration of this sled cannot be read from Nimbor."},
    {kPostMessageGpuUsbShutdown, kInfo,
     u"The rear USB port of the graphics card at %s could not be disabled."},
    {kPostMessageRestoreSkipped, kInfo,
     u"The restore of the configuration to the replaced system board was skipped."},
    {kPostMessageNvmeofHostIp, kInfo, u"The host address of NVMe-oF subsystem %s is not valid."},
    {kPostMessageNvmeofHostMask, kInfo, u"The subnet mask of NVMe-oF subsystem %s is not valid."},
    {kPostMessageNvmeofHostGateway, kInfo, u"The gateway of NVMe-oF subsystem %s is not valid."},
    {kPostMessageNvmeofSubsystemAddress, kInfo,
     u"The address of NVMe-oF subsystem %s is not valid."},
    {kPostMessageInventoryChanged, kInfo,
     u"Nimbor found a change of the system inventory. The host will be restarted."},
    {kPostMessageBiosBootMode, kInfo, u"The system boots in BIOS boot mode."},
};

} // namespace

std::span<const PostMessageText> BuiltInPostMessages() {
    return kMessages;
}

} // namespace sim
