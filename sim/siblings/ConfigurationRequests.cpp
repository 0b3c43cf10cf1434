#include "sim/siblings/ConfigurationRequests.h"

#include "sim/siblings/MachineReader.h"

namespace sim {

IdModule::IdModule(Platform& owner)
    : Sibling(owner), request("none"), present_(!owner.machine.At("/idModule").is_null()) {
    constexpr char kPlace[] = "/idModule/request";
    const Json& value = owner.machine.At(kPlace);
    if (value.is_null()) {
        return;
    }
    if (value != "none" && value != "rebrand" && value != "debrand") {
        throw MachineFileError(owner.machine.file, kPlace,
                               "expected \"none\", \"rebrand\" or \"debrand\"");
    }
    request = value.get<std::string>();
}

void IdModule::Install() {
    if (!present_) {
        return;
    }
    module_
        .Serve<"IsRebrandRequested", &IdModule::IsRebrandRequested>(
            &KelmIdModuleProtocol::IsRebrandRequested)
        .Serve<"IsDebrandRequested", &IdModule::IsDebrandRequested>(
            &KelmIdModuleProtocol::IsDebrandRequested)
        .ReserveRest();
    branding_.Serve<"Rebrand">(&KelmOemIdProtocol::Rebrand)
        .Serve<"Debrand">(&KelmOemIdProtocol::Debrand)
        .Serve<"BackupOemSmbiosStrings">(&KelmOemIdProtocol::BackupOemSmbiosStrings)
        .ReserveRest();
    endOfPost_.Serve<"EndOfPost">(&KelmOemIdEndOfPostProtocol::EndOfPost).ReserveRest();
    InstallTable(module_);
    InstallTable(branding_);
    InstallTable(endOfPost_);
}

AutomatedConfiguration::AutomatedConfiguration(Platform& owner)
    : Sibling(owner),
      pending(FlagAt(owner.machine, "/aci/pending", false)),
      present_(!owner.machine.At("/aci").is_null()) {}

void AutomatedConfiguration::Install() {
    if (!present_) {
        return;
    }
    using P = KelmAciMProtocol;
    protocol_.Serve<"CheckRequest", &AutomatedConfiguration::CheckRequest>(&P::CheckRequest)
        .Serve<"ProcessRequest", &AutomatedConfiguration::ProcessRequest>(&P::ProcessRequest)
        .Serve<"ProcessErrors", EFI_NOT_FOUND>(&P::ProcessErrors)
        .ReserveRest();
    InstallTable(protocol_);
}

EFI_STATUS AutomatedConfiguration::ProcessRequest() {
    pending = false;
    return EFI_SUCCESS;
}

} // namespace sim
