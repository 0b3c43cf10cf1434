// Which images the machine's security policy does not let run: the machine file's "security".
// Images are named by the text of their device path, or by its beginning up to the end of a node or
// of a directory. Letters compare without regard to case.
#pragma once

#include "sim/machine/MachineDescription.h"
#include "uefi/DevicePath.h"

#include <string>
#include <vector>

namespace sim {

class ImagePolicy {
public:
    // Throws MachineFileError.
    explicit ImagePolicy(const MachineDescription& machine);

    // EFI_SECURITY_VIOLATION: "refuse" names the path; EFI_ACCESS_DENIED: "defer" does.
    EFI_STATUS Judge(const EFI_DEVICE_PATH_PROTOCOL* path) const;

private:
    std::vector<std::string> refused_;
    std::vector<std::string> deferred_;
};

} // namespace sim
