#include "agent/mapi/MapiMessageStore.h"

#include <utility>

#include "agent/mapi/MapiSession.h"
#include "agent/mapi/MapiUtilities.h"
#include "agent/mapi/MsgStoreInfo.h"
#include "agent/mapi/PropReaders.h"
#include "mapiabi/MapiTags.h"
#include "utilities/Failure.h"

namespace mapi
{
namespace
{
template <class Container>
HRESULT openEntryIn(Container container, const EntryId& entryId, const IID& iid, IUnknown** object)
{
    constexpr std::wstring_view function = L"mapi::impl::openEntry";
    if (!container)
    {
        utilities::logHresult(function, MAPI_E_INVALID_PARAMETER, L"container is not specified");
        return MAPI_E_INVALID_PARAMETER;
    }
    if (entryId.empty())
    {
        utilities::logHresult(function, MAPI_E_INVALID_PARAMETER, L"an empty entryId passed");
        return MAPI_E_INVALID_PARAMETER;
    }
    ULONG objectType = 0;
    return container->OpenEntry(entryIdSize(entryId), entryIdBytes(entryId), &iid, 0, &objectType, object);
}

/// Walks from the object towards the top of the store until it meets the root. Without a bound: settled behaviour 73.
[[nodiscard]] bool isBelow(const IMsgStorePtr& store, const EntryId& rootId, IMAPIPropPtr current)
{
    for (;;)
    {
        IMAPIFolderPtr parent;
        if (impl::openEntry(store, parentEntryId(current), IID_IMAPIFolder, unknownSlot(parent)) != S_OK)
            return false;
        const EntryId parentId = entryId(parent);
        if (Session::isSameObject(parentId, entryId(current)))
            return false; // its own parent: the top of the store
        if (isFolder(parent) && Session::isSameObject(parentId, rootId))
            return true;
        current = parent;
    }
}
} // namespace

MessageStore::MessageStore(IMsgStorePtr store) : m_store(std::move(store)) {}

MessageStore::operator bool() const noexcept
{
    return m_store.GetInterfacePtr() != nullptr;
}

HRESULT MessageStore::openEntry(const EntryId& entryId, IMAPIPropPtr& object) const
{
    constexpr std::wstring_view function = L"mapi::MessageStore::openEntry";
    utilities::checkCondition(m_store, utilities::Condition{L"m_store"}, function);
    return impl::openEntry(m_store, entryId, IID_IMAPIProp, unknownSlot(object));
}

IMAPIFolderPtr MessageStore::openFolder(const EntryId& entryId) const
{
    constexpr std::wstring_view function = L"mapi::MessageStore::openFolder";
    utilities::checkCondition(m_store, utilities::Condition{L"m_store"}, function);
    return mapi::openEntry(m_store, entryId);
}

bool MessageStore::isPublic() const
{
    constexpr std::wstring_view function = L"mapi::MessageStore::isPublic";
    utilities::checkCondition(m_store, utilities::Condition{L"m_store"}, function);
    return isPublicProvider(readBinary(m_store, PR_MDB_PROVIDER));
}

IMAPIFolderPtr MessageStore::openIpmSubtree() const
{
    constexpr std::wstring_view function = L"mapi::MessageStore::openIpmSubtree";
    utilities::checkCondition(m_store, utilities::Condition{L"m_store"}, function);
    return openFolder(readBinary(m_store, PR_IPM_SUBTREE_ENTRYID));
}

bool MessageStore::testHierarchy(IMAPIPropPtr root, IMAPIFolderPtr object) const
{
    const auto note = [](const std::wstring& text)
    {
        constexpr std::wstring_view function = L"mapi::MessageStore::testHierarchy";
        utilities::logLine(function, text);
    };

    const std::wstring rootName = displayName(root);
    const std::wstring objectName = displayName(object);
    note(L"Analyze relations of root folder " + rootName + L" and  " + objectName);
    if (!root || !object)
    {
        note(L"One or both objects not specified.");
        return false;
    }

    const EntryId storeId = entryId(m_store);
    const EntryId rootStoreId = readBinary(root, PR_STORE_ENTRYID);
    const EntryId objectStoreId = readBinary(object, PR_STORE_ENTRYID);
    if (!Session::isSameObject(storeId, rootStoreId) || !Session::isSameObject(storeId, objectStoreId))
    {
        note(L"One or both objects are from another store.");
        return false;
    }

    const EntryId rootId = entryId(root);
    if (Session::isSameObject(rootId, entryId(object)))
    {
        note(L"These are different instances of the same object.");
        return true;
    }

    const bool below = isBelow(m_store, rootId, object);
    note(L"Object " + objectName + (below ? L" is a " : L" is not a ") + L"successor of specified root " + rootName);
    return below;
}

IMAPIFolderPtr openEntry(IMsgStorePtr container, const EntryId& entryId)
{
    constexpr std::wstring_view function = L"mapi::openEntry";
    IMAPIFolderPtr folder;
    utilities::checkHresult(function, impl::openEntry(container, entryId, IID_IMAPIFolder, unknownSlot(folder)));
    return folder;
}

namespace impl
{
HRESULT openEntry(IMsgStorePtr container, const EntryId& entryId, const IID& iid, IUnknown** object)
{
    return openEntryIn(std::move(container), entryId, iid, object);
}

HRESULT openEntry(IMAPIFolderPtr container, const EntryId& entryId, const IID& iid, IUnknown** object)
{
    return openEntryIn(std::move(container), entryId, iid, object);
}
} // namespace impl
} // namespace mapi
