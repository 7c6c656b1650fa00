// SyncManager.h: the top of the sync engine. Chooses the stores, sends the first snapshot, and turns changes into
// messages.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "agent/Changes.h"
#include "agent/ContactWatcher.h"
#include "agent/SyncItem.h"

/// What has become of a message's items.
enum class SyncOperation
{
    Snapshot,
    Add,
    Change,
    Delete,
};

/// Lives on the worker's stack, once. Each message stands by itself and blocks until the host has answered; nothing is
/// queued or repeated (settled behaviour 5).
class SyncManager
{
public:
    SyncManager();
    SyncManager(const SyncManager&) = delete;
    SyncManager& operator=(const SyncManager&) = delete;
    /// Releases the watchers, first to last.
    virtual ~SyncManager();

    /// Opens the message stores of the profile and makes a watcher for each, the default store first and public stores
    /// last; a store that can't be opened is logged and left out. Throws when none could be opened, and when the kind
    /// of one can't be read.
    void createWatchers();

    /// Reads the stores in the order of the watchers and sends one message for each that has contacts. Throws when a
    /// store can't be read, when the host refuses a message, and when `stopRequested` is set; later stores are not
    /// read.
    void createSnapshot();

    /// Sends up to four messages: deleted folders, deleted contacts, added and changed ones. Throws when the host
    /// refuses one; the rest is not sent.
    void sendChanges(const Changes& changes);

    /// In the order of the snapshot. Borrowed, until `createWatchers` is called again.
    [[nodiscard]] const std::vector<std::shared_ptr<ContactWatcher>>& watchers() const noexcept { return m_watchers; }

protected:
    /// Logs a message and delivers it by an IPCClient. Throws when the host does not acknowledge it.
    virtual void send(const std::wstring& text);

private:
    /// Sends one message; nothing for no items. All items are of one kind.
    /// @param index  which of `total` messages this is.
    void sendItems(const std::vector<SyncItem>& items, SyncOperation operation, std::uint64_t index,
                   std::uint64_t total);
    void clearWatchers();

    std::vector<std::shared_ptr<ContactWatcher>> m_watchers;
};
