// ContactWatcher.h: stands for one message store of the profile.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "agent/Changes.h"
#include "agent/SyncItem.h"
#include "agent/mapi/MapiMessageStore.h"
#include "agent/mapi/MapiUtilities.h"
#include "utilities/noncopyable.h"

/// Walks a store's visible folders and collects their contacts. It keeps no record of any contact. Used by the worker.
class ContactWatcher : private utilities::noncopyable
{
public:
    /// Throws when `store` holds none.
    /// @param displayName  the store's name, for log lines.
    ContactWatcher(mapi::MessageStore store, const std::wstring& displayName);
    virtual ~ContactWatcher();

    /// Begins to watch the store. So far it writes its log line and watches nothing.
    void subscribe(const ChangesCallback& onChanges);

    /// Visits the store's visible folders, from the root of what users see, depth first. Throws when the walk fails and
    /// when `stopRequested` is set; what the visitor throws passes.
    void processWatchedFolders(const mapi::FolderVisitor& visitor) const;

    /// Appends the folder's contacts, if it may be a contact folder. Throws as `collectContactItems` does. Uses no state
    /// of the watcher.
    static void collectContacts(IMAPIFolderPtr folder, std::vector<SyncItem>& items);

    [[nodiscard]] const mapi::MessageStore& store() const noexcept;
    [[nodiscard]] const std::wstring& displayName() const noexcept;

private:
    struct Data;

    const std::unique_ptr<Data> m_data; // never null
};
