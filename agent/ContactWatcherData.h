// ContactWatcherData.h: what a ContactWatcher holds and handles, for the two sources of the class.
#pragma once

#include "agent/ContactWatcher.h"
#include "agent/KnownFolders.h"
#include "agent/mapi/NotificationSink.h"

struct ContactWatcher::Data
{
    mapi::MessageStore store; // never null
    std::wstring displayName;
    mapi::NotificationSink sink;
    KnownFolders knownFolders; // each by the PR_ENTRYID of the open folder
    ChangesCallback onChanges;
};

/// What counts of a notification about an object, copied out of MAPI's memory. Identifiers that it lacks are empty.
struct ObjectNotification
{
    ULONG eventType;
    ULONG objectType;
    EntryId id;
    EntryId parentId;
    EntryId oldId;
    EntryId oldParentId;
};
