// What POST has to say about the passwords without asking for one.

#include "kelm/BoardInfoProtocol.h"
#include "kelm/PostMessages.h"
#include "kelm/Variables.h"
#include "library/firmware/Protocol.h"
#include "post/Passwords.h"
#include "post/PostMessages.h"

#include <array>

namespace kelm {

namespace {

constexpr UINT8 kPasswordsDisabled = 1;

} // namespace

EFI_STATUS BdsCheckPasswordJumper() {
    auto* board = FindService<KelmBoardInfoProtocol>();
    if (board != nullptr && board->IsJumperSet(board, kBoardJumperPassword) != FALSE) {
        return EFI_SUCCESS;
    }
    return RegisterPostMessage(kPostMessagePasswordJumper);
}

EFI_STATUS BdsCheckPasswordDisabledMessage() {
    const KelmVariable& variable = kVariablePasswordDisabled;
    auto* name = const_cast<CHAR16*>(variable.name);
    std::array<UINT8, 10> data{};
    UINTN size = data.size();
    const EFI_STATUS status = gRT->GetVariable(name, variable.guid, nullptr, &size, data.data());
    if (EFI_ERROR(status) || data[0] != kPasswordsDisabled) {
        return status;
    }
    static_cast<void>(RegisterPostMessage(kPostMessagePasswordDisabled));
    UINT8 told = 0;
    return gRT->SetVariable(name, variable.guid, variable.attributes, sizeof(told), &told);
}

} // namespace kelm
