// Performance measurements: a token with an optional module, opened and closed. The platform's
// performance protocol keeps them; without it, or with measuring turned off, nothing is recorded.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// `token` and `module` are ASCII; `module` may be null. Time stamp 0 means now, 1 means reset.
void StartMeasurement(const char* token, const char* module, UINT64 timeStamp = 0);
void EndMeasurement(const char* token, const char* module, UINT64 timeStamp = 0);

// A measurement over a block.
class Measurement {
public:
    Measurement(const char* token, const char* module) : token_(token), module_(module) {
        StartMeasurement(token, module);
    }
    Measurement(const Measurement&) = delete;
    Measurement& operator=(const Measurement&) = delete;
    ~Measurement() { EndMeasurement(token_, module_); }

private:
    const char* token_;
    const char* module_;
};

EFI_STATUS ConstructMeasurement();

} // namespace kelm
