// MapiMocks.h: GoogleMock mocks of the MAPI interfaces that the agent is handed.
//
// The methods that the agent calls are mocked by name; a call of any other slot fails the test. Make them by Mocked,
// which makes them strict: a call that no test expects fails as well.
#pragma once

#include <cstddef>
#include <tuple>
#include <type_traits>

#include <gmock/gmock.h>

#include "agent/mapi/MapiPointers.h"
#include "tests/support/FakeCom.h"

namespace support
{
/// What a slot gives that the agent never calls.
inline HRESULT neverCalled(const char* method)
{
    ADD_FAILURE() << method << " was called";
    return MAPI_E_NO_SUPPORT;
}

/// The slots of IMAPIProp, for a mock of `Interface`.
template <class Interface, const IID*... Iids>
class MockPropOf : public FakeCom<Interface, &IID_IMAPIProp, Iids...>
{
public:
    MOCK_METHOD(HRESULT, GetProps, (SPropTagArray * tags, ULONG flags, ULONG* count, SPropValue** values),
                (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, GetPropList, (ULONG flags, SPropTagArray** tags), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, GetIDsFromNames, (ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags),
                (override, Calltype(STDMETHODCALLTYPE)));

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) override
    {
        return neverCalled("IMAPIProp::GetLastError");
    }
    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG) override { return neverCalled("IMAPIProp::SaveChanges"); }
    HRESULT STDMETHODCALLTYPE OpenProperty(ULONG, const IID*, ULONG, ULONG, IUnknown**) override
    {
        return neverCalled("IMAPIProp::OpenProperty");
    }
    HRESULT STDMETHODCALLTYPE SetProps(ULONG, SPropValue*, SPropProblemArray**) override
    {
        return neverCalled("IMAPIProp::SetProps");
    }
    HRESULT STDMETHODCALLTYPE DeleteProps(SPropTagArray*, SPropProblemArray**) override
    {
        return neverCalled("IMAPIProp::DeleteProps");
    }
    HRESULT STDMETHODCALLTYPE CopyTo(ULONG, const IID*, SPropTagArray*, ULONG_PTR, IMAPIProgress*, const IID*, void*,
                                     ULONG, SPropProblemArray**) override
    {
        return neverCalled("IMAPIProp::CopyTo");
    }
    HRESULT STDMETHODCALLTYPE CopyProps(SPropTagArray*, ULONG_PTR, IMAPIProgress*, const IID*, void*, ULONG,
                                        SPropProblemArray**) override
    {
        return neverCalled("IMAPIProp::CopyProps");
    }
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(SPropTagArray**, GUID*, ULONG, ULONG*, MAPINAMEID***) override
    {
        return neverCalled("IMAPIProp::GetNamesFromIDs");
    }
};

class MockProp : public MockPropOf<IMAPIProp>
{
public:
    using Interface = IMAPIProp;
    using Pointer = IMAPIPropPtr;
};

class MockMsgStore : public MockPropOf<IMsgStore, &IID_IMsgStore>
{
public:
    using Interface = IMsgStore;
    using Pointer = IMsgStorePtr;

    MOCK_METHOD(HRESULT, Advise,
                (ULONG entryIdSize, ENTRYID* entryId, ULONG eventMask, IMAPIAdviseSink* sink, ULONG_PTR* connection),
                (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, Unadvise, (ULONG_PTR connection), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, OpenEntry,
                (ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags, ULONG* objectType,
                 IUnknown** object),
                (override, Calltype(STDMETHODCALLTYPE)));

    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG, ULONG*) override
    {
        return neverCalled("IMsgStore::CompareEntryIDs");
    }
    HRESULT STDMETHODCALLTYPE SetReceiveFolder(void*, ULONG, ULONG, ENTRYID*) override
    {
        return neverCalled("IMsgStore::SetReceiveFolder");
    }
    HRESULT STDMETHODCALLTYPE GetReceiveFolder(void*, ULONG, ULONG*, ENTRYID**, void**) override
    {
        return neverCalled("IMsgStore::GetReceiveFolder");
    }
    HRESULT STDMETHODCALLTYPE GetReceiveFolderTable(ULONG, IMAPITable**) override
    {
        return neverCalled("IMsgStore::GetReceiveFolderTable");
    }
    HRESULT STDMETHODCALLTYPE StoreLogoff(ULONG*) override { return neverCalled("IMsgStore::StoreLogoff"); }
    HRESULT STDMETHODCALLTYPE AbortSubmit(ULONG, ENTRYID*, ULONG) override
    {
        return neverCalled("IMsgStore::AbortSubmit");
    }
    HRESULT STDMETHODCALLTYPE GetOutgoingQueue(ULONG, IMAPITable**) override
    {
        return neverCalled("IMsgStore::GetOutgoingQueue");
    }
    HRESULT STDMETHODCALLTYPE SetLockState(IMessage*, ULONG) override { return neverCalled("IMsgStore::SetLockState"); }
    HRESULT STDMETHODCALLTYPE FinishedMsg(ULONG, ULONG, ENTRYID*) override
    {
        return neverCalled("IMsgStore::FinishedMsg");
    }
    HRESULT STDMETHODCALLTYPE NotifyNewMail(NOTIFICATION*) override { return neverCalled("IMsgStore::NotifyNewMail"); }
};

class MockFolder : public MockPropOf<IMAPIFolder, &IID_IMAPIContainer, &IID_IMAPIFolder>
{
public:
    using Interface = IMAPIFolder;
    using Pointer = IMAPIFolderPtr;

    MOCK_METHOD(HRESULT, GetContentsTable, (ULONG flags, IMAPITable** table), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, GetHierarchyTable, (ULONG flags, IMAPITable** table), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, OpenEntry,
                (ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags, ULONG* objectType,
                 IUnknown** object),
                (override, Calltype(STDMETHODCALLTYPE)));

    HRESULT STDMETHODCALLTYPE SetSearchCriteria(SRestriction*, ENTRYLIST*, ULONG) override
    {
        return neverCalled("IMAPIContainer::SetSearchCriteria");
    }
    HRESULT STDMETHODCALLTYPE GetSearchCriteria(ULONG, SRestriction**, ENTRYLIST**, ULONG*) override
    {
        return neverCalled("IMAPIContainer::GetSearchCriteria");
    }
    HRESULT STDMETHODCALLTYPE CreateMessage(const IID*, ULONG, IMessage**) override
    {
        return neverCalled("IMAPIFolder::CreateMessage");
    }
    HRESULT STDMETHODCALLTYPE CopyMessages(ENTRYLIST*, const IID*, void*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return neverCalled("IMAPIFolder::CopyMessages");
    }
    HRESULT STDMETHODCALLTYPE DeleteMessages(ENTRYLIST*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return neverCalled("IMAPIFolder::DeleteMessages");
    }
    HRESULT STDMETHODCALLTYPE CreateFolder(ULONG, void*, void*, const IID*, ULONG, IMAPIFolder**) override
    {
        return neverCalled("IMAPIFolder::CreateFolder");
    }
    HRESULT STDMETHODCALLTYPE CopyFolder(ULONG, ENTRYID*, const IID*, void*, void*, ULONG_PTR, IMAPIProgress*,
                                         ULONG) override
    {
        return neverCalled("IMAPIFolder::CopyFolder");
    }
    HRESULT STDMETHODCALLTYPE DeleteFolder(ULONG, ENTRYID*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return neverCalled("IMAPIFolder::DeleteFolder");
    }
    HRESULT STDMETHODCALLTYPE SetReadFlags(ENTRYLIST*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return neverCalled("IMAPIFolder::SetReadFlags");
    }
    HRESULT STDMETHODCALLTYPE GetMessageStatus(ULONG, ENTRYID*, ULONG, ULONG*) override
    {
        return neverCalled("IMAPIFolder::GetMessageStatus");
    }
    HRESULT STDMETHODCALLTYPE SetMessageStatus(ULONG, ENTRYID*, ULONG, ULONG, ULONG*) override
    {
        return neverCalled("IMAPIFolder::SetMessageStatus");
    }
    HRESULT STDMETHODCALLTYPE SaveContentsSort(SSortOrderSet*, ULONG) override
    {
        return neverCalled("IMAPIFolder::SaveContentsSort");
    }
    HRESULT STDMETHODCALLTYPE EmptyFolder(ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return neverCalled("IMAPIFolder::EmptyFolder");
    }
};

class MockTable : public FakeCom<IMAPITable, &IID_IMAPITable>
{
public:
    using Interface = IMAPITable;
    using Pointer = IMAPITablePtr;

    MOCK_METHOD(HRESULT, SetColumns, (SPropTagArray * tags, ULONG flags), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, GetRowCount, (ULONG flags, ULONG* count), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, FindRow, (SRestriction * restriction, BOOKMARK origin, ULONG flags),
                (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, Restrict, (SRestriction * restriction, ULONG flags), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, QueryRows, (LONG count, ULONG flags, SRowSet** rows), (override, Calltype(STDMETHODCALLTYPE)));

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) override
    {
        return neverCalled("IMAPITable::GetLastError");
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, IMAPIAdviseSink*, ULONG_PTR*) override
    {
        return neverCalled("IMAPITable::Advise");
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR) override { return neverCalled("IMAPITable::Unadvise"); }
    HRESULT STDMETHODCALLTYPE GetStatus(ULONG*, ULONG*) override { return neverCalled("IMAPITable::GetStatus"); }
    HRESULT STDMETHODCALLTYPE QueryColumns(ULONG, SPropTagArray**) override
    {
        return neverCalled("IMAPITable::QueryColumns");
    }
    HRESULT STDMETHODCALLTYPE SeekRow(BOOKMARK, LONG, LONG*) override { return neverCalled("IMAPITable::SeekRow"); }
    HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG, ULONG) override { return neverCalled("IMAPITable::SeekRowApprox"); }
    HRESULT STDMETHODCALLTYPE QueryPosition(ULONG*, ULONG*, ULONG*) override
    {
        return neverCalled("IMAPITable::QueryPosition");
    }
    HRESULT STDMETHODCALLTYPE CreateBookmark(BOOKMARK*) override { return neverCalled("IMAPITable::CreateBookmark"); }
    HRESULT STDMETHODCALLTYPE FreeBookmark(BOOKMARK) override { return neverCalled("IMAPITable::FreeBookmark"); }
    HRESULT STDMETHODCALLTYPE SortTable(SSortOrderSet*, ULONG) override { return neverCalled("IMAPITable::SortTable"); }
    HRESULT STDMETHODCALLTYPE QuerySortOrder(SSortOrderSet**) override
    {
        return neverCalled("IMAPITable::QuerySortOrder");
    }
    HRESULT STDMETHODCALLTYPE Abort() override { return neverCalled("IMAPITable::Abort"); }
    HRESULT STDMETHODCALLTYPE ExpandRow(ULONG, BYTE*, ULONG, ULONG, SRowSet**, ULONG*) override
    {
        return neverCalled("IMAPITable::ExpandRow");
    }
    HRESULT STDMETHODCALLTYPE CollapseRow(ULONG, BYTE*, ULONG, ULONG*) override
    {
        return neverCalled("IMAPITable::CollapseRow");
    }
    HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG, ULONG, ULONG*) override
    {
        return neverCalled("IMAPITable::WaitForCompletion");
    }
    HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG, ULONG, BYTE*, ULONG*, BYTE**) override
    {
        return neverCalled("IMAPITable::GetCollapseState");
    }
    HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG, ULONG, BYTE*, BOOKMARK*) override
    {
        return neverCalled("IMAPITable::SetCollapseState");
    }
};

class MockSession : public FakeCom<IMAPISession, &IID_IMAPISession>
{
public:
    using Interface = IMAPISession;
    using Pointer = IMAPISessionPtr;

    MOCK_METHOD(HRESULT, GetMsgStoresTable, (ULONG flags, IMAPITable** table), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, OpenMsgStore,
                (ULONG_PTR window, ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags, IMsgStore** store),
                (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, OpenEntry,
                (ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags, ULONG* objectType,
                 IUnknown** object),
                (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, CompareEntryIDs,
                (ULONG size1, ENTRYID* entryId1, ULONG size2, ENTRYID* entryId2, ULONG flags, ULONG* result),
                (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, Logoff, (ULONG_PTR window, ULONG flags, ULONG reserved),
                (override, Calltype(STDMETHODCALLTYPE)));

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) override
    {
        return neverCalled("IMAPISession::GetLastError");
    }
    HRESULT STDMETHODCALLTYPE OpenAddressBook(ULONG_PTR, const IID*, ULONG, IAddrBook**) override
    {
        return neverCalled("IMAPISession::OpenAddressBook");
    }
    HRESULT STDMETHODCALLTYPE OpenProfileSection(MAPIUID*, const IID*, ULONG, IProfSect**) override
    {
        return neverCalled("IMAPISession::OpenProfileSection");
    }
    HRESULT STDMETHODCALLTYPE GetStatusTable(ULONG, IMAPITable**) override
    {
        return neverCalled("IMAPISession::GetStatusTable");
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR*) override
    {
        return neverCalled("IMAPISession::Advise");
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR) override { return neverCalled("IMAPISession::Unadvise"); }
    HRESULT STDMETHODCALLTYPE MessageOptions(ULONG_PTR, ULONG, void*, IMessage*) override
    {
        return neverCalled("IMAPISession::MessageOptions");
    }
    HRESULT STDMETHODCALLTYPE QueryDefaultMessageOpt(void*, ULONG, ULONG*, SPropValue**) override
    {
        return neverCalled("IMAPISession::QueryDefaultMessageOpt");
    }
    HRESULT STDMETHODCALLTYPE EnumAdrTypes(ULONG, ULONG*, void***) override
    {
        return neverCalled("IMAPISession::EnumAdrTypes");
    }
    HRESULT STDMETHODCALLTYPE QueryIdentity(ULONG*, ENTRYID**) override
    {
        return neverCalled("IMAPISession::QueryIdentity");
    }
    HRESULT STDMETHODCALLTYPE SetDefaultStore(ULONG, ULONG, ENTRYID*) override
    {
        return neverCalled("IMAPISession::SetDefaultStore");
    }
    HRESULT STDMETHODCALLTYPE AdminServices(ULONG, IMsgServiceAdmin**) override
    {
        return neverCalled("IMAPISession::AdminServices");
    }
    HRESULT STDMETHODCALLTYPE ShowForm(ULONG_PTR, IMsgStore*, IMAPIFolder*, const IID*, ULONG_PTR, IMessage*, ULONG,
                                       ULONG, ULONG, ULONG, char*) override
    {
        return neverCalled("IMAPISession::ShowForm");
    }
    HRESULT STDMETHODCALLTYPE PrepareForm(const IID*, IMessage*, ULONG_PTR*) override
    {
        return neverCalled("IMAPISession::PrepareForm");
    }
};

/// Reached from a session by `session->answerInterface(IID_IMAPIClientShutdown, S_OK, shutdown.get())`.
class MockClientShutdown : public FakeCom<IMAPIClientShutdown, &IID_IMAPIClientShutdown>
{
public:
    using Interface = IMAPIClientShutdown;
    using Pointer = IMAPIClientShutdownPtr;

    MOCK_METHOD(HRESULT, QueryFastShutdown, (), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, NotifyProcessShutdown, (), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, DoFastShutdown, (), (override, Calltype(STDMETHODCALLTYPE)));
};

/// Makes a strict mock and holds one reference on it.
template <class Mock>
class Mocked
{
public:
    Mocked();
    ~Mocked() { m_mock->Release(); }
    Mocked(const Mocked&) = delete;
    Mocked& operator=(const Mocked&) = delete;

    [[nodiscard]] Mock* get() const noexcept { return m_mock; }
    Mock* operator->() const noexcept { return m_mock; }
    Mock& operator*() const noexcept { return *m_mock; }

    /// A counted pointer of the mock's interface, made without QueryInterface.
    [[nodiscard]] typename Mock::Pointer pointer() const
    {
        return typename Mock::Pointer(static_cast<typename Mock::Interface*>(m_mock));
    }

private:
    Mock* const m_mock;
};

template <class Mock>
Mocked<Mock>::Mocked() : m_mock(new testing::StrictMock<Mock>)
{
}

// Making a mock takes GoogleMock's whole machinery for each of its methods. It is compiled once, in MapiMocks.cpp.
extern template class Mocked<MockProp>;
extern template class Mocked<MockMsgStore>;
extern template class Mocked<MockFolder>;
extern template class Mocked<MockTable>;
extern template class Mocked<MockSession>;
extern template class Mocked<MockClientShutdown>;

/// An action: puts a reference on the mock into the call's out argument with this index, and gives the result. The mock
/// is borrowed.
template <std::size_t index, class Mock>
[[nodiscard]] auto givesObject(const Mocked<Mock>& mock, HRESULT result = S_OK)
{
    return [object = mock.get(), result](auto&&... arguments) -> HRESULT
    {
        object->AddRef();
        *std::get<index>(std::tie(arguments...)) = object;
        return result;
    };
}
} // namespace support
