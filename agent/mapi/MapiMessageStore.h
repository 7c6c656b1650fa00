// MapiMessageStore.h: one opened message store, and the opening of its objects.
#pragma once

#include "agent/mapi/EntryId.h"
#include "agent/mapi/MapiPointers.h"

namespace mapi
{
/// A thin value around a store, or around none. Used by the worker. Every operation but `testHierarchy` throws without
/// a store, and `testHierarchy` needs one as soon as it has two objects.
class MessageStore
{
public:
    MessageStore() = default;
    explicit MessageStore(IMsgStorePtr store);

    /// Whether it holds a store.
    explicit operator bool() const noexcept;
    /// The store, or null.
    [[nodiscard]] const IMsgStorePtr& store() const noexcept { return m_store; }

    /// Opens any object of the store, by `impl::openEntry`. Clears `object` first; gives the result of the open and
    /// does not throw for it.
    HRESULT openEntry(const EntryId& entryId, IMAPIPropPtr& object) const;

    /// Opens a folder of the store. Throws when that fails.
    [[nodiscard]] IMAPIFolderPtr openFolder(const EntryId& entryId) const;

    /// Whether this is a public folders store, by PR_MDB_PROVIDER. Throws when that can't be read.
    [[nodiscard]] bool isPublic() const;

    /// Opens the root of what users see of the store, PR_IPM_SUBTREE_ENTRYID. Throws when that fails.
    [[nodiscard]] IMAPIFolderPtr openIpmSubtree() const;

    /// Whether the object is the root or lies below it, found by walking parent links; logs what it compares and finds.
    /// False when one is null or of another store. Throws when an identifier can't be read.
    [[nodiscard]] bool testHierarchy(IMAPIPropPtr root, IMAPIFolderPtr object) const;

private:
    IMsgStorePtr m_store;
};

/// Opens a folder by its identifier. Throws when that fails.
[[nodiscard]] IMAPIFolderPtr openEntry(IMsgStorePtr container, const EntryId& entryId);

namespace impl
{
/// Opens an object by its identifier in a store (IMsgStore::OpenEntry) or in a folder (IMAPIContainer::OpenEntry), with
/// default access (settled behaviour 49). A null container and an empty identifier are logged and give
/// MAPI_E_INVALID_PARAMETER without a call; other results are the platform's, and not logged.
/// @param object  receives a reference, which the caller owns.
HRESULT openEntry(IMsgStorePtr container, const EntryId& entryId, const IID& iid, IUnknown** object);
HRESULT openEntry(IMAPIFolderPtr container, const EntryId& entryId, const IID& iid, IUnknown** object);
} // namespace impl
} // namespace mapi
