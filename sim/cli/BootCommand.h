// kelm-sim boot: powers a machine on, shows what a person in front of it would see, and says how
// the boot ended.
#pragma once

#include "sim/cli/ExitStatus.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace sim {

struct BootOptions {
    std::string machine;               // file name; empty for the default machine
    std::string nvram;                 // directory of variables; empty for a store in memory
    std::string keys;                  // "F2@1500,Enter@2000", a JSON array or @FILE, besides
                                       // those of the machine file
    std::string driver;                // PE32+ image; empty for the driver that is built in
    std::string trace;                 // file to write
    std::vector<std::string> settings; // --set, in order
    unsigned boots = 1;
    bool log = false;
    bool screenOnly = false;
    bool interactive = false; // somebody sits at the server
    double speed = 1;         // then: virtual seconds in a second; 0 for as many as there can be
    std::string record;       // then: file for the keys; empty for none
};

// Something that the user asked for and that cannot be had. Ends the tool with BadUsage.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Runs it; data on standard output, diagnostics on standard error. Throws MachineFileError and
// UsageError.
ExitStatus RunBoot(const BootOptions& options);

} // namespace sim
