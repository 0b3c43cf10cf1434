// The doubly linked list entry of records that live in lists shared between drivers. An empty list
// is a head whose two links point to itself.
#pragma once

#include "uefi/Base.h"

struct KelmListEntry {
    KelmListEntry* ForwardLink;
    KelmListEntry* BackLink;
};
static_assert(sizeof(KelmListEntry) == 2 * sizeof(void*));
