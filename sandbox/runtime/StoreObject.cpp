#include "sandbox/runtime/StoreObject.h"

#include "sandbox/runtime/Opening.h"

namespace sandbox
{
StoreObject::StoreObject(std::shared_ptr<SessionState> session, std::shared_ptr<Store> store) noexcept
    : RefusingStore("IMsgStore", std::move(session), store, &store->names()), m_store(std::move(store))
{
}

HRESULT STDMETHODCALLTYPE StoreObject::Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR*)
{
    return served("IMsgStore::Advise", [] { return MAPI_E_NO_SUPPORT; });
}

HRESULT STDMETHODCALLTYPE StoreObject::Unadvise(ULONG_PTR)
{
    return served("IMsgStore::Unadvise", [] { return MAPI_E_NO_SUPPORT; });
}

HRESULT STDMETHODCALLTYPE StoreObject::CompareEntryIDs(ULONG size1, ENTRYID* entryId1, ULONG size2, ENTRYID* entryId2,
                                                       ULONG flags, ULONG* result)
{
    return served("IMsgStore::CompareEntryIDs", [&]
                  { return compareEntryIds(session()->mailbox(), size1, entryId1, size2, entryId2, flags, result); });
}

HRESULT STDMETHODCALLTYPE StoreObject::OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                                 ULONG* objectType, IUnknown** object)
{
    return served(
        "IMsgStore::OpenEntry",
        [&] { return openEntryOfStore(session(), *m_store, entryIdSize, entryId, iid, flags, objectType, object); });
}

void* StoreObject::interfaceFor(REFIID iid) noexcept
{
    return isOneOf(iid, IID_IUnknown, IID_IMAPIProp, IID_IMsgStore) ? static_cast<IMsgStore*>(this) : nullptr;
}
} // namespace sandbox
