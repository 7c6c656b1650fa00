#include "agent/ContactLoading.h"

#include "mapiabi/MapiTags.h"

#include <vector>

#include <gmock/gmock.h>

#include "tests/agent/MailboxMocks.h"
#include "tests/support/MapiTest.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pointee;
using testing::Return;

const EntryId folderId = {0x00, 0x01};

class ContactLoadingTest : public MapiTest
{
protected:
    [[nodiscard]] static std::vector<std::wstring> collected(const FolderMock& folder)
    {
        std::vector<std::wstring> texts;
        for (const SyncItem& item : collectContactItems(folder.folder.pointer()))
        {
            EXPECT_FALSE(item.isFolder);
            texts.push_back(item.text);
        }
        return texts;
    }

    ContactMock m_anna{{0x0A}, L"Anna"};
    ContactMock m_ola{{0x0B}, L"Ola"};
    ContactMock m_eva{{0x0C}, L"Eva"};
    FolderMock m_contacts{folderId, contactFolder(), {&m_anna, &m_ola, &m_eva}};
};

const std::wstring anna = L"Anna;;;;;;;;;;0A;";
const std::wstring ola = L"Ola;;;;;;;;;;0B;";
const std::wstring eva = L"Eva;;;;;;;;;;0C;";

// ---- openContact ---------------------------------------------------------------------------------------------------

TEST_F(ContactLoadingTest, OpensAMessageForReading)
{
    EXPECT_CALL(*m_contacts.folder, OpenEntry(1, _, Pointee(IID_IMAPIProp), 0, _, _))
        .WillOnce(
            [this](ULONG size, ENTRYID* bytes, const IID*, ULONG, ULONG*, IUnknown** object)
            {
                EXPECT_EQ(mapi::makeEntryId(size, bytes), EntryId{0x0B});
                m_ola.message->AddRef();
                *object = m_ola.message.get();
                return S_OK;
            });
    EXPECT_EQ(openContact(m_contacts.folder.pointer(), {0x0B}).GetInterfacePtr(), m_ola.message.get());
    EXPECT_EQ(m_ola.message->references(), 1);
    EXPECT_EQ(m_contacts.folder->references(), 1);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactLoadingTest, LogsAMessageThatCannotBeOpened)
{
    EXPECT_CALL(*m_contacts.folder, OpenEntry(_, _, _, _, _, _)).WillOnce(Return(MAPI_E_NO_ACCESS));
    EXPECT_EQ(openContact(m_contacts.folder.pointer(), {0x0B}).GetInterfacePtr(), nullptr);
    EXPECT_THAT(log(), ElementsAre("Cannot open contact: hr = 80070005"));
}

TEST_F(ContactLoadingTest, OpensAMessageWithAWarning)
{
    EXPECT_CALL(*m_contacts.folder, OpenEntry(_, _, _, _, _, _))
        .WillOnce(givesObject<5>(m_ola.message, MAPI_W_ERRORS_RETURNED));
    EXPECT_NE(openContact(m_contacts.folder.pointer(), {0x0B}).GetInterfacePtr(), nullptr);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactLoadingTest, LogsTwiceWhenThereIsNoFolder)
{
    EXPECT_EQ(openContact({}, {0x0B}).GetInterfacePtr(), nullptr);
    EXPECT_THAT(log(), ElementsAre("HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057"
                                   "(container is not specified)",
                                   "Cannot open contact: hr = 80070057"));
}

TEST_F(ContactLoadingTest, LogsTwiceAndCallsNothingForAnEmptyIdentifier)
{
    EXPECT_CALL(*m_contacts.folder, OpenEntry(_, _, _, _, _, _)).Times(0);
    EXPECT_EQ(openContact(m_contacts.folder.pointer(), {}).GetInterfacePtr(), nullptr);
    EXPECT_THAT(log(), ElementsAre("HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057"
                                   "(an empty entryId passed)",
                                   "Cannot open contact: hr = 80070057"));
}

// ---- collectContactItems -------------------------------------------------------------------------------------------

TEST_F(ContactLoadingTest, CollectsNothingForNull)
{
    EXPECT_THAT(collectContactItems({}), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactLoadingTest, CollectsAllMessagesInTheOrderOfTheTable)
{
    EXPECT_THAT(collected(m_contacts), ElementsAre(anna, ola, eva));
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_EQ(m_contacts.folder->references(), 1);
    EXPECT_EQ(m_contacts.contents->references(), 1);
    EXPECT_EQ(m_anna.message->references(), 1);
}

TEST_F(ContactLoadingTest, ReadsOneColumnInOneBatchWithoutARestriction)
{
    const testing::InSequence inSequence;
    EXPECT_CALL(*m_contacts.folder, GetContentsTable(MAPI_UNICODE, _)).WillOnce(givesObject<1>(m_contacts.contents));
    EXPECT_CALL(*m_contacts.contents, SetColumns(_, 0))
        .WillOnce(
            [](SPropTagArray* tags, ULONG)
            {
                EXPECT_THAT(tagsOf(tags), ElementsAre(PR_ENTRYID));
                return S_OK;
            });
    EXPECT_CALL(*m_contacts.contents, GetRowCount(0, _))
        .WillOnce(
            [](ULONG, ULONG* count)
            {
                *count = 2;
                return S_OK;
            });
    EXPECT_CALL(*m_contacts.contents, QueryRows(2, TBL_NOADVANCE, _))
        .WillOnce(givesRows({{Property::bytes(PR_ENTRYID, {0x0C})}, {Property::bytes(PR_ENTRYID, {0x0A})}}));
    EXPECT_THAT(collected(m_contacts), ElementsAre(eva, anna)); // a call of Restrict would fail the test
}

TEST_F(ContactLoadingTest, ReadsNoTableOfAFolderOfAnotherClass)
{
    const FolderMock notes({0x02}, otherFolder(), {&m_anna});
    EXPECT_CALL(*notes.folder, GetContentsTable(_, _)).Times(0);
    EXPECT_THAT(collected(notes), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactLoadingTest, CollectsNothingFromAnEmptyFolderWithoutAClass)
{
    const FolderMock empty({0x02}, {});
    EXPECT_THAT(collected(empty), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactLoadingTest, CollectsAllMessagesOfAFolderThatHoldsAContact)
{
    const FolderMock mixed({0x02}, {}, {&m_anna, &m_ola});
    EXPECT_CALL(*mixed.contents, FindRow(_, BOOKMARK_BEGINNING, 0)).WillOnce(Return(S_OK));
    EXPECT_THAT(collected(mixed), ElementsAre(anna, ola));
}

TEST_F(ContactLoadingTest, CollectsNothingFromAFolderThatHoldsNoContact)
{
    const FolderMock mixed({0x02}, {}, {&m_anna});
    EXPECT_CALL(*mixed.contents, FindRow(_, _, _)).WillOnce(Return(MAPI_E_NOT_FOUND));
    EXPECT_THAT(collected(mixed), IsEmpty());
}

TEST_F(ContactLoadingTest, LeavesOutAMessageThatCannotBeOpened)
{
    const FolderMock folder({0x02}, contactFolder(), {&m_anna, &m_ola, &m_eva});
    EXPECT_CALL(*folder.folder, OpenEntry(_, _, _, _, _, _))
        .WillOnce(givesObject<5>(m_anna.message))
        .WillOnce(Return(MAPI_E_NOT_FOUND))
        .WillOnce(givesObject<5>(m_eva.message));
    EXPECT_THAT(collected(folder), ElementsAre(anna, eva));
    EXPECT_THAT(log(), ElementsAre("Cannot open contact: hr = 8004010f"));
}

TEST_F(ContactLoadingTest, LeavesOutAMessageThatOpensToNothing)
{
    EXPECT_CALL(*m_contacts.folder, OpenEntry(_, _, _, _, _, _))
        .WillOnce(givesObject<5>(m_anna.message))
        .WillOnce(Return(S_OK))
        .WillOnce(givesObject<5>(m_eva.message));
    EXPECT_THAT(collected(m_contacts), ElementsAre(anna, eva));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactLoadingTest, SkipsRowsWithoutAnIdentifier)
{
    EXPECT_CALL(*m_contacts.contents, QueryRows(_, _, _))
        .WillOnce(givesRows({{Property::error(PR_ENTRYID)},
                             {Property::bytes(PR_INSTANCE_KEY, {0x0A}), Property::bytes(PR_ENTRYID, {0x0B})},
                             {Property::bytes(PR_ENTRYID, {0x0C}), Property::error(PR_SUBJECT_W)}}));
    EXPECT_THAT(collected(m_contacts), ElementsAre(eva));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactLoadingTest, LogsARowWithAnEmptyIdentifier)
{
    EXPECT_CALL(*m_contacts.contents, QueryRows(_, _, _))
        .WillOnce(givesRows({{Property::bytes(PR_ENTRYID, {})}, {Property::bytes(PR_ENTRYID, {0x0C})}}));
    EXPECT_THAT(collected(m_contacts), ElementsAre(eva));
    EXPECT_THAT(log(), ElementsAre("HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057"
                                   "(an empty entryId passed)",
                                   "Cannot open contact: hr = 80070057"));
}

TEST_F(ContactLoadingTest, ThrowsForARowWithoutColumns)
{
    EXPECT_CALL(*m_contacts.contents, QueryRows(_, _, _))
        .WillOnce(givesRows({{Property::bytes(PR_ENTRYID, {0x0C})}, {}}));
    EXPECT_EQ(thrown([&] { static_cast<void>(collected(m_contacts)); }),
              L"rowset::table_row::operator []: index out of bounds.");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactLoadingTest, ThrowsWhenAMessageThatOpenedCannotBeRead)
{
    EXPECT_CALL(*m_ola.message, GetProps(_, _, _, _)).WillOnce(Return(MAPI_E_OBJECT_DELETED));
    EXPECT_EQ(thrown([&] { static_cast<void>(collected(m_contacts)); }),
              L"OutlookContact::load, line N: hr = 0x8004010a(MAPI call failed)");
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty()); // the rows are freed as well
    EXPECT_EQ(m_ola.message->references(), 1);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactLoadingTest, ThrowsWhenTheNamesOfAMessageCannotBeHad)
{
    EXPECT_CALL(*m_anna.message, GetIDsFromNames(_, _, _, _)).WillOnce(Return(MAPI_E_NO_SUPPORT));
    EXPECT_EQ(thrown([&] { static_cast<void>(collected(m_contacts)); }),
              L"mapi::PropTagArray::at: index is out of scope");
}

TEST_F(ContactLoadingTest, ThrowsWhenTheTableCannotBeHad)
{
    EXPECT_CALL(*m_contacts.folder, GetContentsTable(_, _)).WillOnce(Return(MAPI_E_NO_ACCESS));
    EXPECT_EQ(thrown([&] { static_cast<void>(collected(m_contacts)); }),
              L"mapi::getContentsTable, line N: hr = 0x80070005(GetContentsTable)");
}

TEST_F(ContactLoadingTest, CollectsNothingWhenTheTableCannotBeRead)
{
    EXPECT_CALL(*m_contacts.contents, SetColumns(_, _)).WillOnce(Return(MAPI_E_TOO_COMPLEX)).WillOnce(Return(S_OK));
    EXPECT_THAT(collected(m_contacts), IsEmpty());
    EXPECT_CALL(*m_contacts.contents, QueryRows(_, _, _)).WillOnce(Return(MAPI_E_NOT_ENOUGH_MEMORY));
    EXPECT_THAT(collected(m_contacts), IsEmpty());
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::Rowset::enumerate, line N: hr = 0x80040117(MAPI call failed)",
                                   "An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::Rowset::enumerate, line N: hr = 0x8007000e(MAPI call failed)"));
}

TEST_F(ContactLoadingTest, CountsAFolderAsNoContactFolderWhenItCannotBeAsked)
{
    EXPECT_CALL(*m_contacts.folder, GetPropList(_, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_CALL(*m_contacts.folder, GetContentsTable(_, _)).Times(0);
    EXPECT_THAT(collected(m_contacts), IsEmpty());
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::maybeContactFolder : "
                                   "mapi::hasProperty, line N: hr = 0x80004005(MAPI call failed)"));
}

TEST_F(ContactLoadingTest, IsCancelledBeforeTheFirstMessage)
{
    utilities::requestStop();
    EXPECT_CALL(*m_contacts.folder, OpenEntry(_, _, _, _, _, _)).Times(0);
    EXPECT_EQ(thrown([&] { static_cast<void>(collected(m_contacts)); }),
              L"mapi::Rowset::enumerate: cancelled by request");
}

TEST_F(ContactLoadingTest, IsCancelledBetweenTwoMessages)
{
    EXPECT_CALL(*m_contacts.folder, OpenEntry(_, _, _, _, _, _))
        .WillOnce(
            [this](ULONG, ENTRYID*, const IID*, ULONG, ULONG*, IUnknown** object)
            {
                utilities::requestStop();
                m_anna.message->AddRef();
                *object = m_anna.message.get();
                return S_OK;
            });
    EXPECT_EQ(thrown([&] { static_cast<void>(collected(m_contacts)); }),
              L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(ContactLoadingTest, CollectsTheLastMessageWhenTheStopComesDuringIt)
{
    const FolderMock one({0x02}, contactFolder(), {&m_anna});
    EXPECT_CALL(*m_anna.message, GetIDsFromNames(_, _, _, _))
        .WillOnce(
            [](ULONG, MAPINAMEID**, ULONG, SPropTagArray** tags)
            {
                utilities::requestStop();
                *tags = makeTags({0x81010000, 0x81020000, 0x81030000});
                return S_OK;
            });
    EXPECT_THAT(collected(one), ElementsAre(anna));
}
} // namespace
