#include "sandbox/runtime/objects/StoreObject.h"

#include "sandbox/runtime/delivery/Delivery.h"
#include "sandbox/runtime/objects/AdviseSinkWrapper.h"
#include "sandbox/runtime/objects/Opening.h"
#include "sandbox/runtime/record/Spoiling.h"

namespace sandbox
{
namespace
{
/// The events that a store sends.
constexpr ULONG storeEvents = fnevCriticalError | fnevNewMail | fnevObjectCreated | fnevObjectDeleted |
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
            require(eventMask != 0 && (eventMask & ~storeEvents) == 0);
            require(entryIdSize == 0 && entryId == nullptr, MAPI_E_NO_SUPPORT); // the whole store only
            *connection = Delivery::instance().advise(m_store, eventMask, sink, AdviseSinkWrapper::queueOf(sink),
                                                      [state = session()] { return state->hasEnded(); });
            spoilConnection(*connection);
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE StoreObject::Unadvise(ULONG_PTR connection)
{
    const HRESULT result = servedUnlocked(
        "IMsgStore::Unadvise", [&] { return Arguments{{"ulConnection", hexText(connection)}}; },
        [&]
        {
            require(Delivery::instance().unadvise(connection, *m_store));
            return S_OK;
        });
    // A client that comes too late has still done its part: the sink is let go.
    if (result == MAPI_E_END_OF_SESSION)
        (void)Delivery::instance().unadvise(connection, *m_store);
    return result;
}

HRESULT STDMETHODCALLTYPE StoreObject::OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                                 ULONG* objectType, IUnknown** object)
{
    return servedOpening(
        "IMsgStore::OpenEntry", *m_store, entryIdSize, entryId,
        [&] { return openEntryArguments(entryIdSize, entryId, iid, flags); },
        [&] { return openEntryOfStore(session(), *m_store, entryIdSize, entryId, iid, flags, objectType, object); });
}

void* StoreObject::interfaceFor(REFIID iid) noexcept
{
    return isOneOf(iid, IID_IUnknown, IID_IMAPIProp, IID_IMsgStore) ? static_cast<IMsgStore*>(this) : nullptr;
}
} // namespace sandbox
