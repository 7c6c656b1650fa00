// ContactWatcherData.h: what a ContactWatcher holds, for the two sources of the class.
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
