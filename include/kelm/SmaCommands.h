// Command codes of the SMA transport (kelm/NimborSmaProtocol.h) and the sizes and codes inside
// their payloads. All numbers on the wire are little-endian.
#pragma once

#include "uefi/Base.h"

// One entry for the lifecycle log: the identifier (8 ASCII bytes), UINT16 N, then N bytes of
// NUL-terminated ASCII strings and a final NUL.
inline constexpr UINT16 kSmaLogEntry = 0x0018;
inline constexpr UINTN kSmaLogEntryMaxStrings = 255; // N at most
inline constexpr UINT16 kSmaLogEntryResponseSize = 7;

// Easy restore: the first UINT16 of the payload selects the operation.
inline constexpr UINT16 kSmaEasyRestoreGet = 0x8059;
inline constexpr UINT16 kSmaEasyRestoreSet = 0x0059;
inline constexpr UINT16 kSmaRestoreQuery = 1;           // get: what can be restored
inline constexpr UINT16 kSmaRestoreObject = 2;          // get: one object; set: apply
inline constexpr UINT16 kSmaRestoreSendObject = 0x0202; // set: one object's data
inline constexpr UINT16 kSmaRestoreSetResponseSize = 518;
inline constexpr UINT32 kSmaRestoreMaxPayload = 32768; // this size and more is refused

// Statuses at the start of an easy-restore answer.
inline constexpr UINT16 kSmaRestoreDone = 0;
inline constexpr UINT16 kSmaRestoreTooSmall = 1; // the real size follows
inline constexpr UINT16 kSmaRestoreModeChanged = 2;
inline constexpr UINT16 kSmaRestoreManualMode = 3;
inline constexpr UINT16 kSmaRestoreNoData = 4;

// Pass phrase: two payload bytes, at most 32 bytes of answer.
inline constexpr UINT16 kSmaGetPassPhrase = 0x8055;
inline constexpr UINT16 kSmaGetPassPhraseRequestSize = 6;
inline constexpr UINT16 kSmaGetPassPhraseResponseSize = 39;
inline constexpr UINTN kSmaPassPhraseMax = 32;

// NVMe unlock status: no payload; the first data byte is 0 completed, 1 pending.
inline constexpr UINT16 kSmaGetNvmeUnlockStatus = 0x8103;
inline constexpr UINT16 kSmaNvmeUnlockResponseSize = 7;
inline constexpr UINT8 kSmaNvmeUnlockCompleted = 0;
inline constexpr UINT8 kSmaNvmeUnlockPending = 1;

// Firmware inventory (multi-part): number of records, then each record with its length.
inline constexpr UINT16 kSmaSetFqddFirmwareVersions = 0x009C;
