// ContactWatcherChanges.cpp: the half of ContactWatcher that reacts to notifications.
#include "agent/ContactWatcherData.h"
#include "agent/EntryIdHash.h"
#include "utilities/Failure.h"
#include "utilities/HexString.h"
#include "utilities/Logger.h"

namespace
{
/// Whether a notification may be handled, as far as that can be said without asking MAPI.
[[nodiscard]] bool mayCount(const NOTIFICATION& notification)
{
    const OBJECT_NOTIFICATION& object = notification.info.obj;
    return (notification.ulEventType & ~mapi::NotificationSink::eventMask) == 0 &&
           (object.ulObjType == MAPI_FOLDER || object.ulObjType == MAPI_MESSAGE);
}

[[nodiscard]] ObjectNotification copyOf(const NOTIFICATION& notification)
{
    const OBJECT_NOTIFICATION& object = notification.info.obj;
    return {notification.ulEventType,
            object.ulObjType,
            mapi::makeEntryId(object.cbEntryID, object.lpEntryID),
            mapi::makeEntryId(object.cbParentID, object.lpParentID),
            mapi::makeEntryId(object.cbOldID, object.lpOldID),
            mapi::makeEntryId(object.cbOldParentID, object.lpOldParentID)};
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
void logNotification(const mapi::MessageStore& store, const ObjectNotification& notification)
{
    constexpr std::wstring_view function = L"`anonymous-namespace'::logNotification";
    const std::wstring eventType = utilities::toHexNumber(std::uint64_t{notification.eventType});
    if (notification.id.empty())
    {
        utilities::logLine(function, L"Notification " + eventType + L": EntryId is empty!");
        return;
    }

    IMAPIPropPtr object;
    const HRESULT result = store.openEntry(notification.id, object);
    if (result != S_OK)
    {
        utilities::logHresult(function, result); // a deleted object, usually: settled behaviour 68
        object = nullptr;
    }
    const std::wstring name = mapi::displayName(object);
    const std::wstring hex = toHexString(notification.id);
    utilities::Logger::instance().write(L"Notification " + eventType + L" for " + name + L" of type " +
                                        utilities::toHexNumber(std::uint64_t{notification.objectType}) +
                                        L", EntryId hash = " + utilities::toHexNumber(EntryIdHash()(hex)) + L" (" +
                                        hex + L")");
}
} // namespace

void ContactWatcher::onNotification(ULONG count, const NOTIFICATION* notifications)
{
    constexpr std::wstring_view function = L"ContactWatcher::onNotification";
    if (count != 0 && notifications == nullptr)
        utilities::checkHresult(function, MAPI_E_INVALID_PARAMETER);
    // All of it is copied before MAPI is called, which may hand over another batch inside.
    std::vector<ObjectNotification> batch;
    for (ULONG index = 0; notifications != nullptr && index < count; ++index)
    {
        if (mayCount(notifications[index]))
            batch.push_back(copyOf(notifications[index]));
    }
    Changes changes;
    for (const ObjectNotification& notification : batch)
        onObject(notification, changes);
    if (!isEmpty(changes) && m_data->onChanges)
        m_data->onChanges(changes);
}

void ContactWatcher::onObject(const ObjectNotification& notification, Changes& changes)
{
    if (m_data->knownFolders.empty())
        return;
    const bool fromKnownParent = isFromKnownParent(notification);
    if (!fromKnownParent && !isFromKnownOldParent(notification))
        return;

    logNotification(m_data->store, notification);
    switch (notification.eventType) // combinations match no case: settled behaviour 38
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
    (void)m_data->knownFolders.contains(parentId); // changes nothing: settled behaviour 24
    if (known)
        return true;

    IMAPIFolderPtr parent;
    if (mapi::impl::openEntry(m_data->store.store(), parentId, IID_IMAPIFolder, mapi::unknownSlot(parent)) != S_OK)
        return false;
    return m_data->store.testHierarchy(m_data->store.openIpmSubtree(), parent);
}

bool ContactWatcher::isFromKnownParent(const ObjectNotification& notification) const
{
    return isKnownSource(notification.objectType, notification.parentId);
}

bool ContactWatcher::isFromKnownOldParent(const ObjectNotification& notification) const
{
    return isKnownSource(notification.objectType, notification.oldParentId);
}

void ContactWatcher::onNewObject(const ObjectNotification& notification, Changes& changes)
{
    constexpr std::wstring_view function = L"ContactWatcher::onNewObject";
    if (!isFromKnownParent(notification))
        return;

    IMAPIPropPtr object;
    const HRESULT result = m_data->store.openEntry(notification.id, object);
    if (FAILED(result) || !object)
    {
        utilities::logHresult(function, result,
                              L"Cannot open new or copied object. EntryID = " + toHexString(notification.id));
        return;
    }
    if (notification.objectType == MAPI_FOLDER)
    {
        const IMAPIFolderPtr folder = object;
        collectContacts(folder, changes.added);
        subscribe(folder);
        return;
    }
    changes.added.emplace_back(object); // whatever its class: settled behaviour 12
}

void ContactWatcher::onObjectDeleted(const ObjectNotification& notification, Changes& changes, bool isDeletion)
{
    constexpr std::wstring_view function = L"ContactWatcher::onObjectDeleted";
    if (notification.objectType == MAPI_FOLDER)
    {
        onFolderRemoved(changes.deletedFolders);
        return;
    }
    const EntryId& id = isDeletion ? notification.id : notification.oldId;
    if (!isLongTerm(id))
    {
        utilities::logLine(function, L"A short-term EntryId has been received for deleted object. "
                                     L"Object notification has been ignored.");
        return;
    }
    changes.deleted.emplace_back(id, false);
}

void ContactWatcher::onContactChanged(const ObjectNotification& notification, Changes& changes)
{
    constexpr std::wstring_view function = L"ContactWatcher::onContactChanged";
    if (notification.objectType != MAPI_MESSAGE)
        return;

    const EntryId& former = notification.oldId;
    const EntryId& id = notification.id;
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
    // What a nested batch takes out or puts in from here on is its own to report: settled behaviour 70.
    const std::vector<KnownFolders::Member> before = known.members();
    KnownFolders present;
    processWatchedFolders([&present](IMAPIFolderPtr folder) { present.insert(mapi::entryId(std::move(folder))); });
    for (const KnownFolders::Member& member : before)
    {
        if (!present.contains(*member) && known.erase(member))
            deletedFolders.emplace_back(*member, true);
    }
}
