// MapiUtilities.h: which folders a store has, which of them hold contacts, and the small reads that go with that.
//
// There is no configured folder: every visible folder is asked. All of this runs on the worker; arguments are counted
// copies, so each call holds its own reference. Nothing is kept between calls.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "agent/mapi/EntryId.h"
#include "agent/mapi/MapiPointers.h"

namespace mapi
{
using FolderVisitor = std::function<void(IMAPIFolderPtr)>;

/// The strict test: the folder's class is exactly "IPF.Contact". A class that can't be read is logged and gives false.
/// Throws for a null folder and when the properties can't be listed.
[[nodiscard]] bool isContactFolder(IMAPIFolderPtr folder);

/// The generous test, used everywhere else: a folder with a class goes by `isContactFolder`; one without is a contact
/// folder when it is empty, holds a message of class "IPM.Contact", or can't be searched (settled behaviour 19).
/// Failures are logged and give false. Throws for a null folder only.
[[nodiscard]] bool maybeContactFolder(IMAPIFolderPtr folder);

/// Whether the object lists the property under this very tag (IMAPIProp::GetPropList). Throws for a null object and
/// when the call fails.
[[nodiscard]] bool hasProperty(IMAPIPropPtr obj, ULONG tag);

/// The folder's table of messages, and of direct subfolders. Throw for a null folder and when the call fails.
[[nodiscard]] IMAPITablePtr getContentsTable(IMAPIFolderPtr folder);
[[nodiscard]] IMAPITablePtr getHierarchyTable(IMAPIFolderPtr folder);

/// The direct subfolders, open, in the order of the hierarchy table; logs each. A folder of which the opening gives
/// anything but S_OK is logged and passed over (settled behaviour 22). Empty for a null folder. Throws when the table
/// or the restriction fails, and when `stopRequested` is set.
/// @param restriction  a filter, or null; borrowed.
[[nodiscard]] std::vector<IMAPIFolderPtr> getSubfolders(IMAPIFolderPtr folder, SRestriction* restriction);

/// Visits the folder and all below it, depth first, a folder before its subfolders. The restriction filters subfolders,
/// never the folder that the walk begins with; the depth has no bound (settled behaviour 23). What the visitor throws
/// ends the walk, and so does `stopRequested`. Nothing for a null folder.
void traverseFolders(IMAPIFolderPtr folder, SRestriction* restriction, const FolderVisitor& visitor);

/// The object's PR_ENTRYID and PR_PARENT_ENTRYID. A failure is logged and thrown.
[[nodiscard]] EntryId entryId(IMAPIPropPtr object);
[[nodiscard]] EntryId parentEntryId(IMAPIPropPtr object);

/// Whether PR_OBJECT_TYPE is MAPI_FOLDER; a type that can't be read is not, without a line in the log. Throws when the
/// properties can't be listed.
[[nodiscard]] bool isFolder(IMAPIPropPtr object);

/// A name for log lines: PR_DISPLAY_NAME_W, empty when it can't be read, "(cannot resolve)" when there is none and for
/// null. Throws when the properties can't be listed.
[[nodiscard]] std::wstring displayName(IMAPIPropPtr object);
} // namespace mapi
