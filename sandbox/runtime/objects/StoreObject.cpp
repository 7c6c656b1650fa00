#include "sandbox/runtime/objects/StoreObject.h"

#include "sandbox/runtime/delivery/Delivery.h"
#include "sandbox/runtime/objects/Opening.h"

namespace sandbox
{
namespace
{
/// The events of which a store tells.
constexpr ULONG s_storeEvents = fnevCriticalError | fnevNewMail | fnevObjectCreated | fnevObjectDeleted |
                                fnevObjectModified | fnevObjectMoved | fnevObjectCopied | fnevSearchComplete |
                                0x80000000 /* fnevExtended */;
} // namespace

StoreObject::StoreObject(std::shared_ptr<SessionState> session, std::shared_ptr<Store> store) noexcept
    : RefusingStore("IMsgStore", std::move(session), store, &store->names()), m_store(std::move(store))
{
}

HRESULT STDMETHODCALLTYPE StoreObject::Advise(ULONG entryIdSize, ENTRYID* entryId, ULONG eventMask,
                                              IMAPIAdviseSink* sink, ULONG_PTR* connection)
{
    return servedUnlocked(
        "IMsgStore::Advise",
        [&]
        {
            return Arguments{{"lpEntryID", entryIdText(entryIdSize, entryId)},
                             {"ulEventMask", hexText(eventMask)},
                             {"lpAdviseSink", sinkText(sink)}};
        },
        [&]
        {
            require(connection != nullptr);
            *connection = 0;
            require(sink != nullptr);
            require(eventMask != 0 && (eventMask & ~s_storeEvents) == 0);
            Bytes watched = watchedId(entryIdSize, entryId);
            *connection = Delivery::instance().advise(m_store, std::move(watched), eventMask, sink, session());
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE StoreObject::Unadvise(ULONG_PTR connection)
{
    const HRESULT result = servedUnlocked(
        "IMsgStore::Unadvise", [&] { return Arguments{{"ulConnection", hexText(connection)}}; },
        [&]
        {
            require(Delivery::instance().unadvise(connection, m_store.get()));
            return S_OK;
        });
    // A client that comes too late has still done its part: the sink is let go.
    if (result == MAPI_E_END_OF_SESSION)
        (void)Delivery::instance().unadvise(connection, m_store.get());
    return result;
}

HRESULT STDMETHODCALLTYPE StoreObject::CompareEntryIDs(ULONG size1, ENTRYID* entryId1, ULONG size2, ENTRYID* entryId2,
                                                       ULONG flags, ULONG* result)
{
    return served(
        "IMsgStore::CompareEntryIDs",
        [&]
        {
            return Arguments{{"lpEntryID1", entryIdText(size1, entryId1)},
                             {"lpEntryID2", entryIdText(size2, entryId2)},
                             {"ulFlags", hexText(flags)}};
        },
        [&] { return compareEntryIds(session()->mailbox(), size1, entryId1, size2, entryId2, flags, result); });
}

HRESULT STDMETHODCALLTYPE StoreObject::OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                                 ULONG* objectType, IUnknown** object)
{
    return servedOpening(
        "IMsgStore::OpenEntry", *m_store, entryIdSize, entryId,
        [&]
        {
            return Arguments{{"lpEntryID", entryIdText(entryIdSize, entryId)},
                             {"lpInterface", interfaceText(iid)},
                             {"ulFlags", hexText(flags)}};
        },
        [&] { return openEntryOfStore(session(), *m_store, entryIdSize, entryId, iid, flags, objectType, object); });
}

Bytes StoreObject::watchedId(ULONG size, const ENTRYID* entryId) const
{
    if (size == 0 && entryId == nullptr)
        return {};
    const Bytes id = entryIdOf(size, entryId);
    const std::lock_guard lock(session()->mailbox().mutex());
    return objectOfStore(session()->mailbox(), *m_store, id)->entryId();
}

void* StoreObject::interfaceFor(REFIID iid) noexcept
{
    return isOneOf(iid, IID_IUnknown, IID_IMAPIProp, IID_IMsgStore) ? static_cast<IMsgStore*>(this) : nullptr;
}
} // namespace sandbox
