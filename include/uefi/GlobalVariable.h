// The EFI global variable namespace: the names of its variables and the bits of those that are bit
// sets, and the image security database namespace (UEFI 2.10, sections 3.3 and 32).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiGlobalVariableGuid = {
    0x8BE4DF61, 0x93CA, 0x11D2, {0xAA, 0x0D, 0x00, 0xE0, 0x98, 0x03, 0x2B, 0x8C}};
inline constexpr EFI_GUID gEfiImageSecurityDatabaseGuid = {
    0xD719B2CB, 0x3D3A, 0x4596, {0xA3, 0xBC, 0xDA, 0xD0, 0x0E, 0x67, 0x65, 0x6F}};

// Booting. Boot####, Driver####, SysPrep#### and the like are built by appending four upper-case
// hexadecimal digits to the prefix.
inline constexpr CHAR16 kBootOptionPrefix[] = u"Boot";
inline constexpr CHAR16 kBootOrderName[] = u"BootOrder";
inline constexpr CHAR16 kBootNextName[] = u"BootNext";
inline constexpr CHAR16 kBootCurrentName[] = u"BootCurrent";
inline constexpr CHAR16 kTimeoutName[] = u"Timeout";
inline constexpr CHAR16 kBootOptionSupportName[] = u"BootOptionSupport";
inline constexpr CHAR16 kDriverOptionPrefix[] = u"Driver";
inline constexpr CHAR16 kDriverOrderName[] = u"DriverOrder";
inline constexpr CHAR16 kSysPrepOptionPrefix[] = u"SysPrep";
inline constexpr CHAR16 kSysPrepOrderName[] = u"SysPrepOrder";
inline constexpr CHAR16 kKeyOptionPrefix[] = u"Key";
inline constexpr CHAR16 kOsRecoveryOrderName[] = u"OsRecoveryOrder";
inline constexpr CHAR16 kPlatformRecoveryPrefix[] = u"PlatformRecovery";

// Consoles: multi-instance device paths.
inline constexpr CHAR16 kConInName[] = u"ConIn";
inline constexpr CHAR16 kConOutName[] = u"ConOut";
inline constexpr CHAR16 kErrOutName[] = u"ErrOut";
inline constexpr CHAR16 kConInDevName[] = u"ConInDev";
inline constexpr CHAR16 kConOutDevName[] = u"ConOutDev";
inline constexpr CHAR16 kErrOutDevName[] = u"ErrOutDev";

// Languages: ISO 639-2 (older) and RFC 4646, as ASCII strings.
inline constexpr CHAR16 kLangName[] = u"Lang";
inline constexpr CHAR16 kLangCodesName[] = u"LangCodes";
inline constexpr CHAR16 kPlatformLangName[] = u"PlatformLang";
inline constexpr CHAR16 kPlatformLangCodesName[] = u"PlatformLangCodes";

// Operating system requests and hardware error records.
inline constexpr CHAR16 kOsIndicationsName[] = u"OsIndications";
inline constexpr CHAR16 kOsIndicationsSupportedName[] = u"OsIndicationsSupported";
inline constexpr CHAR16 kHwErrRecSupportName[] = u"HwErrRecSupport";

// Secure boot.
inline constexpr CHAR16 kSecureBootName[] = u"SecureBoot";
inline constexpr CHAR16 kSetupModeName[] = u"SetupMode";
inline constexpr CHAR16 kAuditModeName[] = u"AuditMode";
inline constexpr CHAR16 kDeployedModeName[] = u"DeployedMode";
inline constexpr CHAR16 kVendorKeysName[] = u"VendorKeys";
inline constexpr CHAR16 kSignatureSupportName[] = u"SignatureSupport";
inline constexpr CHAR16 kPlatformKeyName[] = u"PK";
inline constexpr CHAR16 kKeyExchangeKeyName[] = u"KEK";
inline constexpr CHAR16 kPlatformKeyDefaultName[] = u"PKDefault";
inline constexpr CHAR16 kKeyExchangeKeyDefaultName[] = u"KEKDefault";
inline constexpr CHAR16 kDbDefaultName[] = u"dbDefault";
inline constexpr CHAR16 kDbxDefaultName[] = u"dbxDefault";
inline constexpr CHAR16 kDbtDefaultName[] = u"dbtDefault";
inline constexpr CHAR16 kDbrDefaultName[] = u"dbrDefault";

// In the image security database namespace.
inline constexpr CHAR16 kSecurityDatabaseName[] = u"db";
inline constexpr CHAR16 kSecurityDatabaseForbiddenName[] = u"dbx";
inline constexpr CHAR16 kSecurityDatabaseTimestampName[] = u"dbt";
inline constexpr CHAR16 kSecurityDatabaseRecoveryName[] = u"dbr";

// BootOptionSupport.
inline constexpr UINT32 EFI_BOOT_OPTION_SUPPORT_KEY = 0x00000001u;
inline constexpr UINT32 EFI_BOOT_OPTION_SUPPORT_APP = 0x00000002u;
inline constexpr UINT32 EFI_BOOT_OPTION_SUPPORT_SYSPREP = 0x00000010u;
inline constexpr UINT32 EFI_BOOT_OPTION_SUPPORT_COUNT = 0x00000300u;

// OsIndications and OsIndicationsSupported.
inline constexpr UINT64 EFI_OS_INDICATIONS_BOOT_TO_FW_UI = 0x01;
inline constexpr UINT64 EFI_OS_INDICATIONS_TIMESTAMP_REVOCATION = 0x02;
inline constexpr UINT64 EFI_OS_INDICATIONS_FILE_CAPSULE_DELIVERY_SUPPORTED = 0x04;
inline constexpr UINT64 EFI_OS_INDICATIONS_FMP_CAPSULE_SUPPORTED = 0x08;
inline constexpr UINT64 EFI_OS_INDICATIONS_CAPSULE_RESULT_VAR_SUPPORTED = 0x10;
inline constexpr UINT64 EFI_OS_INDICATIONS_START_OS_RECOVERY = 0x20;
inline constexpr UINT64 EFI_OS_INDICATIONS_START_PLATFORM_RECOVERY = 0x40;
inline constexpr UINT64 EFI_OS_INDICATIONS_JSON_CONFIG_DATA_REFRESH = 0x80;

// Key####. Followed by EFI_INPUT_KEY Keys[]; their number stands in bits 30-31 of KeyData.
struct [[gnu::packed]] EFI_KEY_OPTION {
    UINT32 KeyData;
    UINT32 BootOptionCrc;
    UINT16 BootOption;
};
static_assert(sizeof(EFI_KEY_OPTION) == 10);
