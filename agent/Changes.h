// Changes.h: what one batch of notifications has changed.
#pragma once

#include <functional>
#include <vector>

#include "agent/SyncItem.h"

/// The changes of one batch, each list in the order in which the notifications came.
struct Changes
{
    std::vector<SyncItem> added;          // contacts, loaded
    std::vector<SyncItem> changed;        // contacts, loaded
    std::vector<SyncItem> deleted;        // contacts, known by EntryId alone
    std::vector<SyncItem> deletedFolders; // folders, known by EntryId alone
};

using ChangesCallback = std::function<void(const Changes&)>;
