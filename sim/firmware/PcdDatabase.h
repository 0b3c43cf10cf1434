// The dynamic platform configuration values of the machine file's "pcds", and the PCD protocol over
// them (PI 1.8, volume 3, section 8).
#pragma once

#include "uefi/Pcd.h"

#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

namespace sim {

class Platform;

class PcdDatabase {
public:
    struct Value {
        EFI_PCD_TYPE type = EFI_PCD_TYPE_8;
        std::vector<UINT8> bytes; // little-endian
    };

    // Reads "pcds". Throws MachineFileError.
    explicit PcdDatabase(Platform& platform);
    PcdDatabase(const PcdDatabase&) = delete;
    PcdDatabase& operator=(const PcdDatabase&) = delete;

    // Installs EFI_PCD_PROTOCOL and EFI_GET_PCD_INFO_PROTOCOL, unless the machine leaves "Pcd" or
    // "GetPcdInfo" out.
    void Install();

    // The value of a token; nullptr when the machine does not have it.
    const Value* Find(const EFI_GUID& space, UINTN token) const;
    // Up to eight bytes as a number; 0 for an unknown token.
    UINT64 Number(const EFI_GUID& space, UINTN token) const;
    // Creates or changes a value, for tests and siblings.
    void Set(const EFI_GUID& space, UINTN token, EFI_PCD_TYPE type, UINT64 value);

private:
    struct Key {
        EFI_GUID space;
        UINTN token;
        bool operator<(const Key& other) const;
    };
    struct Protocols;

    Platform& platform_;
    std::map<Key, Value> values_;
    std::vector<std::tuple<Key, EFI_PCD_PROTOCOL_CALLBACK>> callbacks_;
};

} // namespace sim
