// ContactWatcher.h: stands for one message store of the profile.
//
// It remembers which folders count, and nothing of any contact: what it reports of one comes from the notification and
// from opening the object at that moment.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "agent/Changes.h"
#include "agent/SyncItem.h"
#include "agent/mapi/MapiMessageStore.h"
#include "agent/mapi/MapiUtilities.h"
#include "utilities/noncopyable.h"

struct ObjectNotification; // ContactWatcherData.h

/// Walks a store's visible folders and collects their contacts; once subscribed, turns the store's notifications into
/// `Changes`. Used by the worker alone: notifications arrive inside its message pump, and a batch perhaps inside the
/// calls of MAPI that the handling of another one makes (settled behaviour 70).
class ContactWatcher : private utilities::noncopyable
{
public:
    /// Throws when `store` holds none.
    /// @param displayName  the store's name, for log lines.
    ContactWatcher(mapi::MessageStore store, const std::wstring& displayName);
    /// Ends the subscription.
    virtual ~ContactWatcher();

    /// Begins to watch the store: advises it, and registers its contact folders. Public stores are not watched, which
    /// is logged; nor is a store that can't be advised. A second call takes the new callback and looks for folders
    /// anew. Throws when the kind of store can't be read, and when the walk fails; the store stays advised then.
    /// @param onChanges  receives what each batch has changed, if it has changed anything; copied.
    void subscribe(const ChangesCallback& onChanges);

    /// Visits the store's visible folders, from the root of what users see, depth first. Throws when the walk fails and
    /// when `stopRequested` is set; what the visitor throws passes.
    void processWatchedFolders(const mapi::FolderVisitor& visitor) const;

    /// Appends the folder's contacts, if it may be a contact folder. Throws as `collectContactItems` does. Uses no
    /// state of the watcher.
    static void collectContacts(IMAPIFolderPtr folder, std::vector<SyncItem>& items);

    [[nodiscard]] const mapi::MessageStore& store() const noexcept;
    [[nodiscard]] const std::wstring& displayName() const noexcept;

private:
    struct Data;

    /// Registers a folder as a known source if it may be a contact folder. Throws when the store is not advised, and
    /// when the folder's identifier can't be read.
    void subscribe(IMAPIFolderPtr folder);

    /// Handles one batch, and hands what it has changed to the callback. What it throws loses the batch (settled
    /// behaviour 33).
    void onNotification(ULONG count, const NOTIFICATION* notifications);
    void onObject(const ObjectNotification& notification, Changes& changes);

    /// Whether objects of this type count when they lie in this folder: messages in known folders alone, folders
    /// anywhere below the root of what users see (settled behaviour 28).
    [[nodiscard]] bool isKnownSource(ULONG objectType, const EntryId& parentId) const;
    [[nodiscard]] bool isFromKnownParent(const ObjectNotification& notification) const;
    [[nodiscard]] bool isFromKnownOldParent(const ObjectNotification& notification) const;

    // Each appends to `changes`. A message that opens and can't be read throws.
    void onNewObject(const ObjectNotification& notification, Changes& changes);
    /// @param isDeletion  false for an object that has moved away, which is reported by its former identifier.
    void onObjectDeleted(const ObjectNotification& notification, Changes& changes, bool isDeletion);
    void onContactChanged(const ObjectNotification& notification, Changes& changes);
    /// Reports the known folders that the walk no longer finds, whichever folder the notification was about, and
    /// forgets them (settled behaviour 27).
    void onFolderRemoved(std::vector<SyncItem>& deletedFolders);

    const std::unique_ptr<Data> m_data; // never null
};
