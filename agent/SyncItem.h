// SyncItem.h: one entry of a message to the host.
#pragma once

#include <span>
#include <string>

#include "agent/mapi/EntryId.h"
#include "agent/mapi/MapiPointers.h"

/// A contact or a folder as finished text. It keeps no link to the MAPI object that it was made from.
struct SyncItem
{
    /// A contact, read from its message. Throws when the message can't be read.
    explicit SyncItem(IMAPIPropPtr message);
    /// A contact or a folder that is known by its identifier alone.
    SyncItem(const EntryId& entryId, bool isFolderItem);

    bool isFolder;
    std::wstring text;
};

/// The items' texts behind `head`, with a line feed between two of them. A snapshot can be large: memory is taken once.
[[nodiscard]] std::wstring joinItemTexts(std::wstring head, std::span<const SyncItem> items);
