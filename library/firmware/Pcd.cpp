#include "library/firmware/Pcd.h"

#include "library/firmware/Protocol.h"
#include "uefi/Pcd.h"

namespace kelm {

namespace {

constinit EFI_PCD_PROTOCOL* mPcd = nullptr;

} // namespace

EFI_STATUS ConstructPcd() {
    mPcd = FindProtocol<EFI_PCD_PROTOCOL>();
    return EFI_SUCCESS; // without it every value reads as 0
}

UINT8 PcdGet8(const PcdToken& token) {
    return mPcd == nullptr ? UINT8{0} : mPcd->Get8(&token.space, token.token);
}

bool PcdGetBool(const PcdToken& token) {
    return mPcd != nullptr && mPcd->GetBool(&token.space, token.token) != FALSE;
}

UINT64 PcdGet64(const PcdToken& token) {
    return mPcd == nullptr ? UINT64{0} : mPcd->Get64(&token.space, token.token);
}

EFI_STATUS PcdSet8(const PcdToken& token, UINT8 value) {
    return mPcd == nullptr ? EFI_UNSUPPORTED : mPcd->Set8(&token.space, token.token, value);
}

EFI_STATUS PcdSetBool(const PcdToken& token, bool value) {
    return mPcd == nullptr ? EFI_UNSUPPORTED
                           : mPcd->SetBool(&token.space, token.token, value ? TRUE : FALSE);
}

} // namespace kelm
