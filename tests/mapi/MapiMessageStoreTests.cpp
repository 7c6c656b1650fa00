// The opening of stores' objects. MessageStore::testHierarchy is in MapiMessageStoreHierarchyTests.cpp.
#include "agent/mapi/MapiMessageStore.h"

#include <gmock/gmock.h>

#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using mapi::MessageStore;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using testing::Return;

constexpr HRESULT warning = MAPI_W_ERRORS_RETURNED;
const EntryId someId = {1, 2, 3};
const std::string noContainer =
    "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(container is not specified)";
const std::string emptyId = "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(an empty entryId passed)";

std::wstring noStore(const std::wstring& function)
{
    return L"condition \"m_store\" failed (mapi::MessageStore::" + function + L" in MapiMessageStore.cpp, line N)";
}

class MessageStoreTest : public MapiTest
{
protected:
    ~MessageStoreTest() override
    {
        EXPECT_EQ(m_mock->references(), 1);
        EXPECT_EQ(m_folder->references(), 1);
        EXPECT_EQ(m_object->references(), 1);
    }

    MessageStore store() const { return MessageStore(m_mock.pointer()); }

    /// Expects one open of `someId` for an interface, and gives the object.
    template <class Container, class Mock>
    static void expectOpen(const Mocked<Container>& container, const IID& iid, const Mocked<Mock>& object,
                           HRESULT result = S_OK)
    {
        EXPECT_CALL(*container, OpenEntry(3, NotNull(), _, 0, NotNull(), NotNull()))
            .WillOnce(
                [&container, &iid, result, give = givesObject<5>(object)](ULONG size, ENTRYID* bytes, const IID* asked,
                                                                          ULONG flags, ULONG* type, IUnknown** slot)
                {
                    EXPECT_EQ(mapi::makeEntryId(size, bytes), someId);
                    EXPECT_TRUE(IsEqualIID(*asked, iid));
                    EXPECT_GE(container->references(), 2); // held for the time of the call
                    give(size, bytes, asked, flags, type, slot);
                    return result;
                });
    }

    const Mocked<MockMsgStore> m_mock;
    const Mocked<MockFolder> m_folder;
    const Mocked<MockProp> m_object;
};

// ---- impl::openEntry -------------------------------------------------------------------------------------------------

using OpenEntryTest = MessageStoreTest;

TEST_F(OpenEntryTest, OpensInAStore)
{
    expectOpen(m_mock, IID_IMAPIProp, m_object);
    IMAPIPropPtr object;
    EXPECT_EQ(mapi::impl::openEntry(m_mock.pointer(), someId, IID_IMAPIProp, mapi::impl::unknownSlot(object)), S_OK);
    EXPECT_EQ(object.GetInterfacePtr(), m_object.get());
    EXPECT_EQ(m_object->references(), 2);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(OpenEntryTest, OpensInAFolder)
{
    expectOpen(m_folder, IID_IMAPIProp, m_object);
    IMAPIPropPtr object;
    EXPECT_EQ(mapi::impl::openEntry(m_folder.pointer(), someId, IID_IMAPIProp, mapi::impl::unknownSlot(object)), S_OK);
    EXPECT_EQ(object.GetInterfacePtr(), m_object.get());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(OpenEntryTest, GivesTheResultOfThePlatformWithoutAWord)
{
    for (const HRESULT result : {MAPI_E_NOT_FOUND, warning})
    {
        EXPECT_CALL(*m_mock, OpenEntry(_, _, _, _, _, _)).WillOnce(Return(result));
        EXPECT_CALL(*m_folder, OpenEntry(_, _, _, _, _, _)).WillOnce(Return(result));
        IUnknown* object = nullptr;
        EXPECT_EQ(mapi::impl::openEntry(m_mock.pointer(), someId, IID_IMAPIFolder, &object), result);
        EXPECT_EQ(mapi::impl::openEntry(m_folder.pointer(), someId, IID_IMAPIFolder, &object), result);
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(OpenEntryTest, LogsAndRefusesANullContainer)
{
    IUnknown* object = nullptr;
    EXPECT_EQ(mapi::impl::openEntry(IMsgStorePtr(), someId, IID_IMAPIProp, &object), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(mapi::impl::openEntry(IMAPIFolderPtr(), {}, IID_IMAPIProp, &object), MAPI_E_INVALID_PARAMETER);
    EXPECT_THAT(log(), ElementsAre(noContainer, noContainer)); // the container is tested first
}

TEST_F(OpenEntryTest, LogsAndRefusesAnEmptyIdentifierWithoutACall)
{
    IUnknown* object = nullptr;
    EXPECT_EQ(mapi::impl::openEntry(m_mock.pointer(), {}, IID_IMAPIProp, &object), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(mapi::impl::openEntry(m_folder.pointer(), {}, IID_IMAPIProp, &object), MAPI_E_INVALID_PARAMETER);
    EXPECT_THAT(log(), ElementsAre(emptyId, emptyId));
}

// ---- mapi::openEntry -------------------------------------------------------------------------------------------------

TEST_F(OpenEntryTest, OpensAFolderOrThrows)
{
    expectOpen(m_mock, IID_IMAPIFolder, m_folder);
    EXPECT_EQ(mapi::openEntry(m_mock.pointer(), someId).GetInterfacePtr(), m_folder.get());
    expectOpen(m_mock, IID_IMAPIFolder, m_folder, warning);
    EXPECT_EQ(mapi::openEntry(m_mock.pointer(), someId).GetInterfacePtr(), m_folder.get());

    expectOpen(m_mock, IID_IMAPIFolder, m_folder, MAPI_E_NO_ACCESS); // and gives a folder, which is released
    EXPECT_EQ(thrown([this] { (void)mapi::openEntry(m_mock.pointer(), someId); }),
              L"mapi::openEntry, line N: hr = 0x80070005(MAPI call failed)");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(OpenEntryTest, ThrowsForAFolderWhenAnArgumentIsMissing)
{
    const std::wstring expected = L"mapi::openEntry, line N: hr = 0x80070057(MAPI call failed)";
    EXPECT_EQ(thrown([] { (void)mapi::openEntry({}, someId); }), expected);
    EXPECT_EQ(thrown([this] { (void)mapi::openEntry(m_mock.pointer(), {}); }), expected);
    EXPECT_THAT(log(), ElementsAre(noContainer, emptyId));
}

// ---- MessageStore ----------------------------------------------------------------------------------------------------

TEST_F(MessageStoreTest, IsTrueWhenItHoldsAStore)
{
    EXPECT_FALSE(MessageStore());
    EXPECT_FALSE(MessageStore(IMsgStorePtr()));
    EXPECT_TRUE(store());
    const MessageStore held = store();
    const MessageStore copy = held;
    EXPECT_EQ(copy.store().GetInterfacePtr(), m_mock.get());
    EXPECT_EQ(m_mock->references(), 3);
}

TEST_F(MessageStoreTest, OperationsThrowWithoutAStore)
{
    const MessageStore none;
    IMAPIPropPtr object = m_object.pointer();
    EXPECT_EQ(thrown([&] { (void)none.openEntry(someId, object); }), noStore(L"openEntry"));
    EXPECT_EQ(object.GetInterfacePtr(), m_object.get());
    EXPECT_EQ(thrown([&] { (void)none.openFolder(someId); }), noStore(L"openFolder"));
    EXPECT_EQ(thrown([&] { (void)none.isPublic(); }), noStore(L"isPublic"));
    EXPECT_EQ(thrown([&] { (void)none.openIpmSubtree(); }), noStore(L"openIpmSubtree"));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MessageStoreTest, OpenEntryGivesTheObject)
{
    expectOpen(m_mock, IID_IMAPIProp, m_object);
    IMAPIPropPtr object;
    EXPECT_EQ(store().openEntry(someId, object), S_OK);
    EXPECT_EQ(object.GetInterfacePtr(), m_object.get());
}

TEST_F(MessageStoreTest, OpenEntryClearsThePointerFirst)
{
    IMAPIPropPtr object = m_object.pointer();
    EXPECT_CALL(*m_mock, OpenEntry(_, _, _, _, _, _))
        .WillOnce(
            [this](ULONG, ENTRYID*, const IID*, ULONG, ULONG*, IUnknown** slot)
            {
                EXPECT_EQ(*slot, nullptr);
                EXPECT_EQ(m_object->references(), 1);
                return MAPI_E_NOT_FOUND;
            });
    EXPECT_EQ(store().openEntry(someId, object), MAPI_E_NOT_FOUND);
    EXPECT_EQ(object.GetInterfacePtr(), nullptr);

    object = m_object.pointer();
    EXPECT_EQ(store().openEntry({}, object), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(object.GetInterfacePtr(), nullptr);
    EXPECT_THAT(log(), ElementsAre(emptyId));
}

TEST_F(MessageStoreTest, OpenFolderGivesTheFolderOrThrows)
{
    expectOpen(m_mock, IID_IMAPIFolder, m_folder);
    EXPECT_EQ(store().openFolder(someId).GetInterfacePtr(), m_folder.get());
    EXPECT_CALL(*m_mock, OpenEntry(_, _, _, _, _, _)).WillOnce(Return(MAPI_E_NOT_FOUND));
    EXPECT_EQ(thrown([this] { (void)store().openFolder(someId); }),
              L"mapi::openEntry, line N: hr = 0x8004010f(MAPI call failed)");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MessageStoreTest, IsPublicByItsProvider)
{
    EntryId provider = {0x78, 0xB2, 0xFA, 0x70, 0xAF, 0xF7, 0x11, 0xCD, 0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A};
    giveProperties(m_mock, {Property::bytes(PR_MDB_PROVIDER, provider)});
    EXPECT_TRUE(store().isPublic());
    provider.push_back(0);
    giveProperties(m_mock, {Property::bytes(PR_MDB_PROVIDER, provider)});
    EXPECT_FALSE(store().isPublic());
    provider.resize(15);
    giveProperties(m_mock, {Property::bytes(PR_MDB_PROVIDER, provider)});
    EXPECT_FALSE(store().isPublic());
}

TEST_F(MessageStoreTest, IsPublicThrowsWhenTheProviderCannotBeRead)
{
    giveProperties(m_mock, {});
    EXPECT_EQ(thrown([this] { (void)store().isPublic(); }),
              L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
    m_mock->answerInterface(IID_IMAPIProp, MAPI_E_CALL_FAILED);
    EXPECT_THROW((void)store().isPublic(), _com_error);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MessageStoreTest, OpenIpmSubtreeOpensTheFolderThatTheStoreNames)
{
    giveProperties(m_mock, {Property::bytes(PR_IPM_SUBTREE_ENTRYID, someId)});
    expectOpen(m_mock, IID_IMAPIFolder, m_folder);
    EXPECT_EQ(store().openIpmSubtree().GetInterfacePtr(), m_folder.get());
    EXPECT_THAT(m_runtime.calls(), ElementsAre("HrGetOneProp 35e00102 -> #1", "MAPIFreeBuffer #1"));
}

TEST_F(MessageStoreTest, OpenIpmSubtreeThrowsWhenTheStoreNamesNone)
{
    giveProperties(m_mock, {});
    EXPECT_EQ(thrown([this] { (void)store().openIpmSubtree(); }),
              L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
    EXPECT_THAT(log(), IsEmpty());

    giveProperties(m_mock, {Property::bytes(PR_IPM_SUBTREE_ENTRYID, {})});
    EXPECT_EQ(thrown([this] { (void)store().openIpmSubtree(); }),
              L"mapi::openEntry, line N: hr = 0x80070057(MAPI call failed)");
    EXPECT_THAT(log(), ElementsAre(emptyId));
}
} // namespace
