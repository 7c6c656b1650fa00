#include "agent/mapi/MapiSession.h"

#include "agent/mapi/MapiRuntime.h"
#include "agent/mapi/PropReaders.h"
#include "agent/mapi/PropTagArray.h"
#include "agent/mapi/Rowset.h"
#include "mapiabi/MapiTags.h"
#include "utilities/Failure.h"
#include "utilities/Logger.h"

namespace mapi
{
using utilities::checkCondition;
using utilities::checkHresult;
using utilities::Logger;
using utilities::logHresult;

IMAPISessionPtr Session::s_session;

namespace
{
constexpr ULONG logonFlags = MAPI_UNICODE | MAPI_USE_DEFAULT | MAPI_EXTENDED | MAPI_NEW_SESSION | MAPI_LOGON_UI;
constexpr ULONG openStoreFlags = MAPI_BEST_ACCESS | MDB_NO_DIALOG;
constexpr ULONG sameObject = 1; // and no other: settled behaviour 26

constexpr utilities::Precondition sessionActive{L"MAPI session is not active"};

/// A step of the fast shutdown, done or logged. A warning ends the sequence as well: settled behaviour 42.
bool stepDone(HRESULT result, std::wstring_view failure,
              utilities::SourceLocation where = utilities::SourceLocation::current())
{
    constexpr std::wstring_view function = L"mapi::Session::shutdown";
    if (result != S_OK)
        logHresult(function, result, failure, where);
    return result == S_OK;
}

[[nodiscard]] MsgStoreInfo storeInfo(const Rowset::TableRow& row)
{
    MsgStoreInfo info;
    for (const SPropValue& value : row.values())
    {
        switch (value.ulPropTag) // the whole tag, so that an error in place of a value is passed over
        {
        case PR_ENTRYID:
            info.entryId = readBinary(value);
            break;
        case PR_DISPLAY_NAME_W:
            info.displayName = readText(value);
            break;
        case PR_PROVIDER_DISPLAY_W:
            info.providerName = readText(value);
            break;
        case PR_DEFAULT_STORE:
            info.isDefault = value.Value.b != 0;
            break;
        case PR_MDB_PROVIDER:
            info.isPublic = isPublicProvider(readBinary(value));
            break;
        default:
            break;
        }
    }
    return info;
}
} // namespace

Session::Session()
{
    constexpr std::wstring_view function = L"mapi::Session::Session";
    checkHresult(function, MAPIInitialize(nullptr), L"Initialize MAPI");
}

Session::~Session()
{
    MAPIUninitialize();
}

void Session::open()
{
    constexpr std::wstring_view function = L"mapi::Session::open";
    checkCondition(!s_session, utilities::Precondition{L"MAPI session is already active"}, function);

    IMAPISessionPtr session;
    checkHresult(function, MAPILogonEx(0, nullptr, nullptr, logonFlags, &session), L"Logon to MAPI");
    s_session = session;
}

void Session::logoff()
{
    constexpr std::wstring_view function = L"mapi::Session::logoff";
    const IMAPISessionPtr session = s_session;
    if (!session)
        return;
    Logger::instance().write(L"Logoff...");
    const HRESULT result = session->Logoff(0, 0, 0);
    if (result != S_OK)
        logHresult(function, result);
}

HRESULT Session::shutdown()
{
    const IMAPISessionPtr session = s_session;
    if (!session)
        return S_OK;
    Logger::instance().write(L"Try to shutdown MAPI fast (if we can do this, failed MAPI calls may be reported.)");

    IMAPIClientShutdownPtr client;
    HRESULT result = session->QueryInterface(IID_IMAPIClientShutdown, reinterpret_cast<void**>(&client));
    if (!stepDone(result, L"Fast shutdown is not supported"))
        return result;
    result = client->QueryFastShutdown();
    if (!stepDone(result, L"Fast shutdown is either not supported or disabled by system administrator"))
        return result;
    result = client->NotifyProcessShutdown();
    if (!stepDone(result, L"Fast shutdown notification failed"))
        return result;
    result = client->DoFastShutdown();
    stepDone(result, L"Fast shutdown failed");
    return result;
}

IMsgStorePtr Session::openStore(ULONG size, ENTRYID* bytes)
{
    constexpr std::wstring_view function = L"mapi::Session::openStore";
    const IMAPISessionPtr session = s_session;
    checkCondition(session, sessionActive, function);

    IMsgStorePtr store;
    checkHresult(function, session->OpenMsgStore(0, size, bytes, &IID_IMsgStore, openStoreFlags, &store));
    return store;
}

void Session::enumerateStores(const StoreFunction& storeFunction)
{
    constexpr std::wstring_view function = L"mapi::Session::enumerateStores";
    const IMAPISessionPtr session = s_session;
    checkCondition(session, sessionActive, function);
    checkCondition(storeFunction != nullptr, utilities::Precondition{L"enumerator function is not specified"},
                   function);

    IMAPITablePtr table;
    checkHresult(function, session->GetMsgStoresTable(0, &table));
    const PropTagArray columns{PR_ENTRYID, PR_DISPLAY_NAME_W, PR_DEFAULT_STORE, PR_MDB_PROVIDER, PR_PROVIDER_DISPLAY_W};
    Rowset::enumerate(table, columns.get(),
                      [&storeFunction](const Rowset::TableRow& row) { storeFunction(storeInfo(row)); });
}

bool Session::isSameObject(const EntryId& first, const EntryId& second)
{
    constexpr std::wstring_view function = L"mapi::Session::isSameObject";
    const IMAPISessionPtr session = s_session;
    checkCondition(session, utilities::Condition{L"s_session"}, function);
    if (first.empty() || second.empty())
        return false;

    ULONG same = 0;
    const HRESULT result = session->CompareEntryIDs(entryIdSize(first), entryIdBytes(first), entryIdSize(second),
                                                    entryIdBytes(second), 0, &same);
    if (result != S_OK)
    {
        logHresult(function, result);
        return false;
    }
    return same == sameObject;
}
} // namespace mapi
