// kelm-sim: the simulated server as a command line tool.

#include "sim/cli/BootCommand.h"
#include "sim/machine/Embedded.h"
#include "sim/machine/MachineDescription.h"
#include "sim/siblings/Sibling.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <iostream>

namespace {

constexpr const char* kStatuses = R"(Exit statuses:
  0  an operating system was started     5  the driver halted
  1  a fault of the tool                 6  the time limit
  2  bad usage, machine file or driver   7  a violation was recorded,
  3  reset or shutdown                      whatever else happened
  4  waiting for a key that never comes  8  switched off at the terminal)";

constexpr const char* kBootHelp =
    R"(A MACHINE is a machine file; without one the default machine boots.
Settings: attribute.NAME=TEXT, attribute.NAME=hex:0102, variable.NAME-GUID=0102,
pcd.SPACE/0xTOKEN=VALUE, limits.timeSeconds=10, /json/pointer=JSON.
Keys: F2@1500,Enter@2000 (milliseconds since power-on; a key without a time comes
with the one before it, the first one at power-on), or as a machine file has them,
'[{"at": 1500, "key": "F2"}]', or @FILE with such an array.
At the terminal: Ctrl+] switches off, Ctrl+P is Pause, Alt+1 ... Alt+9, Alt+0, Alt+!
and Alt+@ are F1 ... F12 where the terminal keeps those for itself.)";

int ListProtocols() {
    std::size_t width = 0;
    for (const sim::SiblingProtocol& protocol : sim::AllSiblingProtocols()) {
        width = std::max(width, protocol.name.size());
    }
    for (const sim::SiblingProtocol& protocol : sim::AllSiblingProtocols()) {
        const EFI_GUID& g = protocol.guid;
        std::cout << fmt::format("{:{}}  {:08X}-{:04X}-{:04X}-{:02X}{:02X}-{:02X}\n", protocol.name,
                                 width, g.Data1, g.Data2, g.Data3, g.Data4[0], g.Data4[1],
                                 fmt::join(g.Data4 + 2, g.Data4 + 8, ""));
    }
    return 0;
}

// An empty name is a mistake (of a script, say), and not the same as leaving the option out.
void RefuseEmptyNames(const CLI::App& boot) {
    for (const char* option : {"machine", "--nvram", "--driver", "--trace", "--record"}) {
        const CLI::Option* given = boot.get_option(option);
        if (given->count() > 0 && given->as<std::string>().empty()) {
            throw sim::UsageError(std::string(option) + ": the name is empty");
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("A simulated server in which the KelmBdsDxe driver boots.", "kelm-sim");
    app.require_subcommand(1);
    app.footer(kStatuses);

    sim::BootOptions options;
    CLI::App* boot = app.add_subcommand("boot", "Power a machine on and run its boot to the end");
    boot->add_option("machine", options.machine, "Machine file")->type_name("MACHINE");
    boot->add_option("--nvram", options.nvram, "Keep the variables in a directory (efivars layout)")
        ->type_name("DIR");
    boot->add_option("--keys", options.keys, "Press these keys, besides those of the machine file")
        ->type_name("LIST");
    boot->add_option("--driver", options.driver, "Boot with this driver image instead of our own")
        ->type_name("EFI");
    boot->add_option("--boots", options.boots, "Power on again after a reset, up to N times in all")
        ->type_name("N")
        ->check(CLI::Range(1u, 1000u));
    boot->add_option("--trace", options.trace, "Write the trace as JSON Lines")->type_name("FILE");
    CLI::Option* log = boot->add_flag("--log", options.log, "Print the debug log with times");
    CLI::Option* interactive =
        boot->add_flag("--interactive", options.interactive, "Sit at the server: screen and keys");
    interactive->excludes(log);
    boot->add_option("--speed", options.speed,
                     "Virtual seconds in a second at the terminal; 0: as many as there can be")
        ->type_name("N")
        ->check(CLI::Range(0.0, 1e6))
        ->needs(interactive);
    boot->add_option("--record", options.record, "Write what is typed at the terminal, for --keys")
        ->type_name("FILE")
        ->needs(interactive);
    boot->add_flag("--screen", options.screenOnly, "Print only the final screen");
    boot->add_option("--set", options.settings, "Change the machine; can be repeated")
        ->type_name("TARGET=VALUE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    boot->footer(std::string(kBootHelp) + "\n\n" + kStatuses);
    CLI::App* schema = app.add_subcommand("schema", "Print the JSON Schema of machine files");
    CLI::App* protocols =
        app.add_subcommand("protocols", "List the protocols that a machine can leave out");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int code = app.exit(error, std::cout, std::cerr);
        return code == 0 ? 0 : int(sim::ExitStatus::BadUsage);
    }
    try {
        if (*boot) {
            RefuseEmptyNames(*boot);
            return int(sim::RunBoot(options));
        }
        if (*schema) {
            std::cout << sim::kMachineSchemaText;
            return 0;
        }
        if (*protocols) {
            return ListProtocols();
        }
    } catch (const sim::MachineFileError& error) {
        std::cerr << "kelm-sim: " << error.what() << '\n';
        return int(sim::ExitStatus::BadUsage);
    } catch (const sim::UsageError& error) {
        std::cerr << "kelm-sim: " << error.what() << '\n';
        return int(sim::ExitStatus::BadUsage);
    } catch (const std::exception& error) {
        std::cerr << "kelm-sim: fault: " << error.what() << '\n';
    }
    return int(sim::ExitStatus::ToolFault);
}
