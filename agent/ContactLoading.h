// ContactLoading.h: the contacts of one folder.
#pragma once

#include <vector>

#include "agent/SyncItem.h"
#include "agent/mapi/EntryId.h"
#include "agent/mapi/MapiPointers.h"

/// Opens a message of the folder for reading. Null, with a line in the log, when that fails.
[[nodiscard]] IMAPIPropPtr openContact(IMAPIFolderPtr folder, const EntryId& entryId);

/// All messages of the folder, whatever their class, in the order of its contents table; a message that can't be opened
/// is logged and left out. Empty for null, for a folder that mapi::maybeContactFolder refuses, and for one whose rows
/// can't be read. Throws when the table can't be had, when a message that did open can't be read, and when
/// `stopRequested` is set.
[[nodiscard]] std::vector<SyncItem> collectContactItems(IMAPIFolderPtr folder);
