#include "post/Languages.h"

#include "library/firmware/Services.h"
#include "uefi/GlobalVariable.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kelm {

namespace {

constexpr UINT32 kVolatile = EFI_VARIABLE_BOOTSERVICE_ACCESS | EFI_VARIABLE_RUNTIME_ACCESS;
constexpr UINT32 kKept = kVolatile | EFI_VARIABLE_NON_VOLATILE;
constexpr UINTN kLongestLanguage = sizeof("en-US");

// An ASCII text with its NUL.
struct LanguageVariable {
    const CHAR16* name;
    std::string_view value;
    UINT32 attributes;

    UINTN Size() const { return value.size() + 1; }
};

constexpr LanguageVariable kCodes[] = {
    {kLangCodesName, "engfraengfra", kVolatile},
    {kPlatformLangCodesName, "en-US;fr-FR;de-DE;es-ES;ja-JP;zh-Hans;en;fr;de;es;ja;zh", kVolatile},
};
constexpr LanguageVariable kLanguages[] = {
    {kLangName, "eng", kKept},
    {kPlatformLangName, "en-US", kKept},
};

bool IsRight(const LanguageVariable& variable) {
    std::array<char, kLongestLanguage> value{};
    UINTN size = variable.Size();
    return !EFI_ERROR(gRT->GetVariable(const_cast<CHAR16*>(variable.name), &gEfiGlobalVariableGuid,
                                       nullptr, &size, value.data())) &&
           size == variable.Size() &&
           std::string_view(value.data(), size) ==
               std::string_view(variable.value.data(), variable.Size());
}

EFI_STATUS Write(const LanguageVariable& variable) {
    return gRT->SetVariable(const_cast<CHAR16*>(variable.name), &gEfiGlobalVariableGuid,
                            variable.attributes, variable.Size(),
                            const_cast<char*>(variable.value.data()));
}

} // namespace

EFI_STATUS BdsInitLanguages(bool writeCodes) {
    EFI_STATUS result = EFI_SUCCESS;
    const auto write = [&](const LanguageVariable& variable) {
        const EFI_STATUS status = Write(variable);
        result = EFI_ERROR(result) ? result : status;
    };
    if (writeCodes) {
        std::for_each(std::begin(kCodes), std::end(kCodes), write);
    }
    for (const LanguageVariable& language : kLanguages) {
        if (!IsRight(language)) {
            write(language);
        }
    }
    return result;
}

} // namespace kelm
