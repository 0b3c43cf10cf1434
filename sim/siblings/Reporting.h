// Where the driver reports to: the debug log, progress and error codes, and measurements. Each call
// becomes a trace event of its own.
#pragma once

#include "kelm/DebugLogProtocol.h"
#include "kelm/PerformanceProtocol.h"
#include "sim/siblings/ProtocolTable.h"
#include "uefi/StatusCode.h"

#include <optional>
#include <string>
#include <vector>

namespace sim {

class DebugLog final : public Sibling {
public:
    // Reads "debug"; throws MachineFileError.
    explicit DebugLog(Platform& owner);
    void Install() override;

private:
    EFI_STATUS Write(UINT64 level, const CHAR8* text);

    ProtocolTable<KelmDebugLogProtocol, "KelmDebugLogProtocol"> protocol_;
};

class StatusCodes final : public Sibling {
public:
    struct Report {
        UINT32 type;
        UINT32 value;
        std::optional<EFI_GUID> caller;
    };

    using Sibling::Sibling;
    void Install() override;

    const std::vector<Report>& Reported() const { return reported_; }

private:
    EFI_STATUS ReportStatusCode(EFI_STATUS_CODE_TYPE type, EFI_STATUS_CODE_VALUE value,
                                UINT32 instance, const EFI_GUID* caller,
                                const EFI_STATUS_CODE_DATA* data);

    std::vector<Report> reported_;
    ProtocolTable<EFI_STATUS_CODE_PROTOCOL, "StatusCode"> protocol_;
};

// The measurements of this boot. The measurement "DXE" is open when the driver is loaded.
class Performance final : public Sibling {
public:
    struct Measurement {
        EFI_HANDLE handle;
        std::string token;
        std::string module;
        std::uint64_t start; // microseconds since power-on
        std::optional<std::uint64_t> end;
    };

    // Reads "measurement"; throws MachineFileError.
    explicit Performance(Platform& owner);
    void Install() override;

    // In the order in which they were started.
    const std::vector<Measurement>& Measurements() const { return measurements_; }

private:
    EFI_STATUS Start(EFI_HANDLE handle, const CHAR8* token, const CHAR8* module, UINT64 timeStamp);
    EFI_STATUS End(EFI_HANDLE handle, const CHAR8* token, const CHAR8* module, UINT64 timeStamp);
    std::uint64_t Time(UINT64 timeStamp) const;
    void TraceEdge(const char* edge, const Measurement& measurement);

    std::vector<Measurement> measurements_;
    ProtocolTable<KelmPerformanceProtocol, "KelmPerformanceProtocol"> protocol_;
};

} // namespace sim
