#include "sandbox/runtime/objects/SessionObject.h"

#include <utility>

#include "sandbox/runtime/delivery/Delivery.h"
#include "sandbox/runtime/objects/Opening.h"
#include "sandbox/runtime/objects/TableObject.h"
#include "sandbox/runtime/record/Spoiling.h"

namespace sandbox
{
namespace
{
constexpr ULONG openStoreFlags = MDB_NO_DIALOG | MDB_WRITE | MAPI_DEFERRED_ERRORS | MAPI_BEST_ACCESS |
                                 0x20 /* MDB_TEMPORARY */ | 0x80 /* MDB_NO_MAIL */ | 0x100 /* MDB_ONLINE */;
constexpr ULONG logoffFlags = 0x1 /* MAPI_LOGOFF_SHARED */ | 0x2 /* MAPI_LOGOFF_UI */;
} // namespace

SessionObject::SessionObject(std::shared_ptr<Mailbox> mailbox)
    : RefusingSession("IMAPISession"), m_state(std::make_shared<SessionState>(std::move(mailbox)))
{
}

template <class Describe, class Work>
HRESULT SessionObject::servedOpening(const char* name, ULONG size, const ENTRYID* entryId, Describe&& describe,
                                     Work&& work) noexcept
{
    return serveOpening(
        name, [&] { return m_state->openedId(nullptr, size, entryId); }, describe,
        [&] { return m_state->locked(work); });
}

template <class Describe, class Work>
HRESULT SessionObject::served(const char* name, Describe&& describe, Work&& work) noexcept
{
    return serveCall(name, describe, [&] { return m_state->locked(work); });
}

HRESULT STDMETHODCALLTYPE SessionObject::GetMsgStoresTable(ULONG flags, IMAPITable** table)
{
    return served("IMAPISession::GetMsgStoresTable", onlyFlags(flags),
                  [&]
                  {
                      require(table != nullptr);
                      *table = nullptr;
                      requireFlags(flags, MAPI_UNICODE);
                      const auto& stores = m_state->mailbox().stores();
                      *table = new TableObject(m_state, {TableKind::Stores, nullptr}, {stores.begin(), stores.end()});
                      spoilObject(table);
                      return S_OK;
                  });
}

HRESULT STDMETHODCALLTYPE SessionObject::OpenMsgStore(ULONG_PTR window, ULONG entryIdSize, ENTRYID* entryId,
                                                      const IID* iid, ULONG flags, IMsgStore** store)
{
    return servedOpening(
        "IMAPISession::OpenMsgStore", entryIdSize, entryId,
        [&]
        {
            return Arguments{{"ulUIParam", hexText(window)},
                             {"lpEntryID", entryIdText(entryIdSize, entryId)},
                             {"lpInterface", interfaceText(iid)},
                             {"ulFlags", hexText(flags)}};
        },
        [&]
        {
            require(store != nullptr);
            *store = nullptr;
            requireFlags(flags, openStoreFlags);
            const std::shared_ptr<MailboxObject> object = m_state->mailbox().find(entryIdOf(entryIdSize, entryId));
            require(object != nullptr && object->type() == MAPI_STORE, MAPI_E_UNKNOWN_ENTRYID);
            IUnknown* opened = nullptr;
            openObject(m_state, object, iid, nullptr, &opened);
            *store = static_cast<IMsgStore*>(opened); // every interface of a store is this one
            spoilObject(store);
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE SessionObject::OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                                   ULONG* objectType, IUnknown** object)
{
    return servedOpening(
        "IMAPISession::OpenEntry", entryIdSize, entryId,
        [&] { return openEntryArguments(entryIdSize, entryId, iid, flags); },
        [&]
        {
            require(object != nullptr);
            *object = nullptr;
            requireOpenEntryFlags(flags);
            const std::shared_ptr<MailboxObject> found = m_state->mailbox().find(entryIdOf(entryIdSize, entryId));
            require(found != nullptr, MAPI_E_UNKNOWN_ENTRYID);
            openObject(m_state, found, iid, objectType, object);
            spoilObject(object);
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE SessionObject::CompareEntryIDs(ULONG size1, ENTRYID* entryId1, ULONG size2, ENTRYID* entryId2,
                                                         ULONG flags, ULONG* result)
{
    return served(
        "IMAPISession::CompareEntryIDs",
        [&]
        {
            return Arguments{{"lpEntryID1", entryIdText(size1, entryId1)},
                             {"lpEntryID2", entryIdText(size2, entryId2)},
                             {"ulFlags", hexText(flags)}};
        },
        [&]
        {
            require(result != nullptr);
            *result = 0;
            requireFlags(flags, 0);
            const Bytes first = entryIdOf(size1, entryId1);
            const Bytes second = entryIdOf(size2, entryId2);
            // Identifiers of objects that are gone still differ by their bytes.
            const std::shared_ptr<MailboxObject> object = m_state->mailbox().find(first);
            const bool same = first == second || (object != nullptr && object == m_state->mailbox().find(second));
            *result = same ? 1 : 0;
            spoilNumber(*result);
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE SessionObject::Logoff(ULONG_PTR window, ULONG flags, ULONG reserved)
{
    return served(
        "IMAPISession::Logoff",
        [&]
        {
            return Arguments{
                {"ulUIParam", hexText(window)}, {"ulFlags", hexText(flags)}, {"ulReserved", hexText(reserved)}};
        },
        [&]
        {
            require(reserved == 0);
            requireFlags(flags, logoffFlags);
            m_state->end();
            Delivery::instance().noteEndOfSession();
            return S_OK;
        });
}

void* SessionObject::interfaceFor(REFIID iid) noexcept
{
    if (isOneOf(iid, IID_IUnknown, IID_IMAPISession))
        return static_cast<IMAPISession*>(this);
    if (isOneOf(iid, IID_IMAPIClientShutdown) && m_state->mailbox().supportsFastShutdown())
        return static_cast<IMAPIClientShutdown*>(&m_shutdown);
    return nullptr;
}

HRESULT STDMETHODCALLTYPE SessionObject::ClientShutdown::QueryInterface(REFIID iid, void** object)
{
    return m_session.QueryInterface(iid, object);
}

ULONG STDMETHODCALLTYPE SessionObject::ClientShutdown::AddRef()
{
    return m_session.addReference();
}

ULONG STDMETHODCALLTYPE SessionObject::ClientShutdown::Release()
{
    return m_session.releaseReference();
}

HRESULT STDMETHODCALLTYPE SessionObject::ClientShutdown::QueryFastShutdown()
{
    return m_session.served("IMAPIClientShutdown::QueryFastShutdown", noArguments, [] { return S_OK; });
}

HRESULT STDMETHODCALLTYPE SessionObject::ClientShutdown::NotifyProcessShutdown()
{
    return m_session.served("IMAPIClientShutdown::NotifyProcessShutdown", noArguments, [] { return S_OK; });
}

HRESULT STDMETHODCALLTYPE SessionObject::ClientShutdown::DoFastShutdown()
{
    return m_session.served("IMAPIClientShutdown::DoFastShutdown", noArguments,
                            [this]
                            {
                                m_session.m_state->end();
                                Delivery::instance().noteEndOfSession();
                                return S_OK;
                            });
}
} // namespace sandbox
