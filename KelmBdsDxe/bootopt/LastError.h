// The outcome of steps that do not stop each other.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// The last error that was noted, else EFI_SUCCESS.
class LastError {
public:
    void Note(EFI_STATUS status) {
        if (EFI_ERROR(status)) {
            status_ = status;
        }
    }
    EFI_STATUS status() const { return status_; }

private:
    EFI_STATUS status_ = EFI_SUCCESS;
};

} // namespace kelm
