// EditEvents.h: the events by which edits of a mailbox notify those who watch it, in the order and the batches of docs/sandbox-control.md.
#pragma once

#include <memory>
#include <vector>

#include "sandbox/mailbox/model/Folder.h"
#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/model/StoreEvent.h"

namespace sandbox
{
/// An object's place at some moment: its long-term identifier and that of the folder in which it lies. The root's parent is
/// the root.
struct ObjectPlace
{
    Bytes entryId;
    Bytes parentId;
};

/// For a folder or a message.
[[nodiscard]] ObjectPlace placeOf(const MailboxObject& object);

/// Collects the events of one request's edits.
class EditEvents
{
public:
    /// @param store   the store whose event it is; borrowed, and owned by the mailbox that `batches` is given.
    /// @param former  where the object was before, or where the original of a copy is.
    void add(const Store& store, ULONG eventType, const MailboxObject& object, const ObjectPlace& place,
             const ObjectPlace& former = {});
    /// A raw notification.
    void inject(const Store& store, StoreEvent event);
    /// A message came or went; to be reported once, after all else.
    void contentsChanged(const std::shared_ptr<Folder>& folder);

    /// One batch for each store, and behind these one for each store with its folders whose contents changed, without
    /// those that are gone.
    [[nodiscard]] std::vector<StoreBatch> batches(const Mailbox& mailbox) const;

private:
    struct Item
    {
        unsigned storeNumber;
        StoreEvent event;
    };

    std::vector<Item> m_items;
    std::vector<std::shared_ptr<Folder>> m_changed; // each once
};
} // namespace sandbox
