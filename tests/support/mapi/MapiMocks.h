// MapiMocks.h: mocks of single MAPI interfaces, for what the sandbox can't be brought to do: a null object with success, an
// object with a failure, an interface that is refused, a number that no store gives.
#pragma once

#include <cstddef>
#include <tuple>

#include <gmock/gmock.h>

#include "agent/mapi/MapiPointers.h"
#include "sandbox/runtime/objects/Refusals.h"
#include "tests/support/mapi/FakeCom.h"

namespace tests
{
/// A counted fake whose slots that the agent never calls fail the test.
template <class Interface, const IID*... Iids>
class MockBase : public support::FakeCom<Interface, Iids...>
{
protected:
    static HRESULT refuse(const char* method)
    {
        ADD_FAILURE() << method << " was called";
        return MAPI_E_NO_SUPPORT;
    }
};

/// The slots of IMAPIProp that the agent calls.
template <class Interface, const IID*... Iids>
class MockPropOf : public sandbox::RefusingProp<MockBase<Interface, &IID_IMAPIProp, Iids...>>
{
public:
    MOCK_METHOD(HRESULT, GetProps, (SPropTagArray * tags, ULONG flags, ULONG* count, SPropValue** values),
                (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, GetPropList, (ULONG flags, SPropTagArray** tags), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, GetIDsFromNames, (ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags),
                (override, Calltype(STDMETHODCALLTYPE)));
};

class MockProp : public MockPropOf<IMAPIProp>
{
public:
    using Pointer = IMAPIPropPtr;
};

class MockMsgStore : public sandbox::RefusingStore<MockPropOf<IMsgStore, &IID_IMsgStore>>
{
public:
    using Pointer = IMsgStorePtr;

    MOCK_METHOD(HRESULT, Advise,
                (ULONG entryIdSize, ENTRYID* entryId, ULONG eventMask, IMAPIAdviseSink* sink, ULONG_PTR* connection),
                (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, Unadvise, (ULONG_PTR connection), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, OpenEntry,
                (ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags, ULONG* objectType,
                 IUnknown** object),
                (override, Calltype(STDMETHODCALLTYPE)));
};

class MockFolder : public sandbox::RefusingFolder<MockPropOf<IMAPIFolder, &IID_IMAPIContainer, &IID_IMAPIFolder>>
{
public:
    using Pointer = IMAPIFolderPtr;

    MOCK_METHOD(HRESULT, GetContentsTable, (ULONG flags, IMAPITable** table), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, GetHierarchyTable, (ULONG flags, IMAPITable** table), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, OpenEntry,
                (ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags, ULONG* objectType,
                 IUnknown** object),
                (override, Calltype(STDMETHODCALLTYPE)));
};

class MockTable : public sandbox::RefusingTable<MockBase<IMAPITable, &IID_IMAPITable>>
{
public:
    using Pointer = IMAPITablePtr;

    MOCK_METHOD(HRESULT, SetColumns, (SPropTagArray * tags, ULONG flags), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, GetRowCount, (ULONG flags, ULONG* count), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, FindRow, (SRestriction * restriction, BOOKMARK origin, ULONG flags),
                (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, Restrict, (SRestriction * restriction, ULONG flags), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, QueryRows, (LONG count, ULONG flags, SRowSet** rows), (override, Calltype(STDMETHODCALLTYPE)));
};

class MockSession : public sandbox::RefusingSession<MockBase<IMAPISession, &IID_IMAPISession>>
{
public:
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
};

/// Reached from a session by `session->answerInterface(IID_IMAPIClientShutdown, S_OK, shutdown.get())`.
class MockClientShutdown : public MockBase<IMAPIClientShutdown, &IID_IMAPIClientShutdown>
{
public:
    using Pointer = IMAPIClientShutdownPtr;

    MOCK_METHOD(HRESULT, QueryFastShutdown, (), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, NotifyProcessShutdown, (), (override, Calltype(STDMETHODCALLTYPE)));
    MOCK_METHOD(HRESULT, DoFastShutdown, (), (override, Calltype(STDMETHODCALLTYPE)));
};

/// Makes a mock and holds one reference on it. It answers S_OK, and fills nothing, where a test says nothing else.
template <class Mock>
class Mocked
{
public:
    Mocked();
    ~Mocked()
    {
        EXPECT_EQ(m_mock->references(), 1) << "an interface reference is still held";
        m_mock->Release();
    }
    Mocked(const Mocked&) = delete;
    Mocked& operator=(const Mocked&) = delete;

    [[nodiscard]] Mock* get() const noexcept { return m_mock; }
    Mock* operator->() const noexcept { return m_mock; }
    Mock& operator*() const noexcept { return *m_mock; }

    /// A counted pointer of the mock's interface, made without QueryInterface.
    [[nodiscard]] typename Mock::Pointer pointer() const
    {
        return typename Mock::Pointer(static_cast<typename Mock::Pointer::Interface*>(m_mock));
    }

private:
    Mock* const m_mock;
};

template <class Mock>
Mocked<Mock>::Mocked() : m_mock(new testing::NiceMock<Mock>)
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
} // namespace tests
