// A raised task priority that is restored when the block ends.
#pragma once

#include "library/firmware/Services.h"

namespace kelm {

class RaisedTaskPriority {
public:
    explicit RaisedTaskPriority(EFI_TPL level) : old_(gBS->RaiseTPL(level)) {}
    RaisedTaskPriority(const RaisedTaskPriority&) = delete;
    RaisedTaskPriority& operator=(const RaisedTaskPriority&) = delete;
    ~RaisedTaskPriority() { gBS->RestoreTPL(old_); }

private:
    EFI_TPL old_;
};

} // namespace kelm
