// ContactWatcherChanges.cpp: the half of ContactWatcher that reacts to notifications.
#include "agent/ContactWatcherData.h"
#include "agent/EntryIdHash.h"
#include "utilities/Failure.h"
#include "utilities/HexString.h"
#include "utilities/Logger.h"

namespace
{
// The identifiers of a notification, copied out of it.

[[nodiscard]] EntryId objectId(const OBJECT_NOTIFICATION& notification)
{
    return mapi::makeEntryId(notification.cbEntryID, notification.lpEntryID);
}

[[nodiscard]] EntryId parentIdOf(const OBJECT_NOTIFICATION& notification)
{
    return mapi::makeEntryId(notification.cbParentID, notification.lpParentID);
}

[[nodiscard]] EntryId oldId(const OBJECT_NOTIFICATION& notification)
{
    return mapi::makeEntryId(notification.cbOldID, notification.lpOldID);
}

[[nodiscard]] EntryId oldParentId(const OBJECT_NOTIFICATION& notification)
{
    return mapi::makeEntryId(notification.cbOldParentID, notification.lpOldParentID);
}

/// Whether the identifier stays good beyond the session, as its flags say. An empty one does not. See settled
/// behaviour 35.
[[nodiscard]] bool isLongTerm(const EntryId& entryId)
{
    return !entryId.empty() && entryId.front() == 0;
}

[[nodiscard]] bool isEmpty(const Changes& changes)
{
    return changes.added.empty() && changes.changed.empty() && changes.deleted.empty() &&
           changes.deletedFolders.empty();
}

/// Logs a notification with the name of its object, as far as that can be opened.
void logNotification(const mapi::MessageStore& store, const OBJECT_NOTIFICATION& notification, ULONG eventType)
{
    constexpr std::wstring_view function = L"`anonymous-namespace'::logNotification";
    const EntryId id = objectId(notification);
    if (id.empty())
    {
        utilities::logLine(function, L"Notification " + utilities::toHexNumber(std::uint64_t{eventType}) +
                                         L": EntryId is empty!");
        return;
    }

    IMAPIPropPtr object;
    const HRESULT result = store.openEntry(id, object);
    if (result != S_OK)
    {
        utilities::logHresult(function, result); // a deleted object, usually: settled behaviour 68
        object = nullptr;
    }
    const std::wstring name = mapi::displayName(object);
    const std::wstring hex = toHexString(id);
    utilities::Logger::instance().write(
        L"Notification " + utilities::toHexNumber(std::uint64_t{eventType}) + L" for " + name + L" of type " +
        utilities::toHexNumber(std::uint64_t{notification.ulObjType}) + L", EntryId hash = " +
        utilities::toHexNumber(EntryIdHash()(hex)) + L" (" + hex + L")");
}
} // namespace

void ContactWatcher::onNotification(ULONG count, const NOTIFICATION* notifications)
{
    Changes changes;
    for (ULONG index = 0; index < count; ++index)
    {
        if ((notifications[index].ulEventType & ~mapi::NotificationSink::eventMask) == 0)
            onObject(notifications[index].ulEventType, notifications[index].info.obj, changes);
    }
    if (!isEmpty(changes) && m_data->onChanges)
        m_data->onChanges(changes);
}

void ContactWatcher::onObject(ULONG eventType, const OBJECT_NOTIFICATION& notification, Changes& changes)
{
    if (notification.ulObjType != MAPI_FOLDER && notification.ulObjType != MAPI_MESSAGE)
        return;
    if (m_data->knownFolders.empty())
        return;
    const bool fromKnownParent = isFromKnownParent(notification);
    if (!fromKnownParent && !isFromKnownOldParent(notification))
        return;

    logNotification(m_data->store, notification, eventType);
    switch (eventType) // combinations match no case: settled behaviour 38
    {
    case fnevObjectCreated:
    case fnevObjectCopied:
        onNewObject(notification, changes);
        break;
    case fnevObjectDeleted:
        onObjectDeleted(notification, changes, true);
        break;
    case fnevObjectModified:
        onContactChanged(notification, changes);
        break;
    case fnevObjectMoved:
        if (!fromKnownParent)
            onObjectDeleted(notification, changes, false); // it has left
        else if (!isFromKnownOldParent(notification))
            onNewObject(notification, changes); // it has come in
        else
            onContactChanged(notification, changes);
        break;
    default:
        break;
    }
}

bool ContactWatcher::isKnownSource(ULONG objectType, const EntryId& parentId) const
{
    const bool known = !parentId.empty() && m_data->knownFolders.contains(parentId);
    if (objectType == MAPI_MESSAGE)
        return known;
    if (objectType != MAPI_FOLDER || parentId.empty())
        return false;
    // The same look-up again: settled behaviour 24.
    if (m_data->knownFolders.contains(parentId))
        return true;

    IMAPIFolderPtr parent;
    if (mapi::impl::openEntry(m_data->store.store(), parentId, IID_IMAPIFolder, mapi::unknownSlot(parent)) != S_OK)
        return false;
    return m_data->store.testHierarchy(m_data->store.openIpmSubtree(), parent);
}

bool ContactWatcher::isFromKnownParent(const OBJECT_NOTIFICATION& notification) const
{
    return isKnownSource(notification.ulObjType, parentIdOf(notification));
}

bool ContactWatcher::isFromKnownOldParent(const OBJECT_NOTIFICATION& notification) const
{
    return isKnownSource(notification.ulObjType, oldParentId(notification));
}

void ContactWatcher::onNewObject(const OBJECT_NOTIFICATION& notification, Changes& changes)
{
    constexpr std::wstring_view function = L"ContactWatcher::onNewObject";
    if (!isFromKnownParent(notification))
        return;

    const EntryId id = objectId(notification);
    IMAPIPropPtr object;
    const HRESULT result = m_data->store.openEntry(id, object);
    if (FAILED(result) || !object)
    {
        utilities::logHresult(function, result, L"Cannot open new or copied object. EntryID = " + toHexString(id));
        return;
    }
    if (notification.ulObjType == MAPI_FOLDER)
    {
        const IMAPIFolderPtr folder = object;
        collectContacts(folder, changes.added);
        subscribe(folder);
        return;
    }
    changes.added.emplace_back(object); // whatever its class: settled behaviour 12
}

void ContactWatcher::onObjectDeleted(const OBJECT_NOTIFICATION& notification, Changes& changes, bool isDeletion)
{
    constexpr std::wstring_view function = L"ContactWatcher::onObjectDeleted";
    const EntryId id = isDeletion ? objectId(notification) : oldId(notification);
    if (notification.ulObjType == MAPI_FOLDER)
    {
        onFolderRemoved(changes.deletedFolders);
        return;
    }
    if (!isLongTerm(id))
    {
        utilities::logLine(function, L"A short-term EntryId has been received for deleted object. "
                                     L"Object notification has been ignored.");
        return;
    }
    changes.deleted.emplace_back(id, false);
}

void ContactWatcher::onContactChanged(const OBJECT_NOTIFICATION& notification, Changes& changes)
{
    constexpr std::wstring_view function = L"ContactWatcher::onContactChanged";
    if (notification.ulObjType != MAPI_MESSAGE)
        return;

    const EntryId former = oldId(notification);
    const EntryId id = objectId(notification);
    IMAPIPropPtr object;
    const HRESULT result = m_data->store.openEntry(id, object);
    if (FAILED(result) || !object)
    {
        changes.deleted.emplace_back(id, false); // gone since: settled behaviour 36
        return;
    }
    if (former.empty() || former == id)
    {
        changes.changed.emplace_back(object);
        return;
    }
    // Another identifier by its bytes, so another contact to the host: settled behaviour 37.
    utilities::logLine(function, L"EntryId change detected for Contact. Old Value: " + toHexString(former) +
                                     L"\nNewValue: " + toHexString(id));
    changes.deleted.emplace_back(former, false);
    changes.added.emplace_back(object);
}

void ContactWatcher::onFolderRemoved(std::vector<SyncItem>& deletedFolders)
{
    KnownFolders& known = m_data->knownFolders;
    if (known.empty())
        return;
    KnownFolders present;
    processWatchedFolders([&present](IMAPIFolderPtr folder) { present.insert(mapi::entryId(std::move(folder))); });
    for (auto member = known.begin(); member != known.end();)
    {
        if (present.contains(*member))
        {
            ++member;
            continue;
        }
        deletedFolders.emplace_back(*member, true);
        member = known.erase(member);
    }
}
