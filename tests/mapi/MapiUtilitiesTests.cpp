// Which folders hold contacts, and the tables of a folder. The other operations of MapiUtilities have files of their own.
#include "agent/mapi/MapiUtilities.h"

#include <gmock/gmock.h>

#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::NotNull;
using testing::Return;
using testing::SetArgPointee;

constexpr HRESULT warning = MAPI_W_ERRORS_RETURNED;

const std::wstring listFailed = L"mapi::hasProperty, line N: hr = 0x80004005(MAPI call failed)";
const std::wstring noObject = L"condition \"obj\" failed (mapi::hasProperty in MapiUtilities.cpp, line N)";
const std::string noValue = "mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)";

class FolderTest : public MapiTest
{
protected:
    ~FolderTest() override
    {
        EXPECT_EQ(m_folder->references(), 1);
        EXPECT_EQ(m_table->references(), 1);
    }

    IMAPIFolderPtr folder() const { return m_folder.pointer(); }
    void giveClass(const std::wstring& name) { giveProperties(m_folder, {Property::text(PR_CONTAINER_CLASS_W, name)}); }
    void failPropList() { EXPECT_CALL(*m_folder, GetPropList(_, _)).WillRepeatedly(Return(MAPI_E_CALL_FAILED)); }
    void giveContents(ULONG count)
    {
        EXPECT_CALL(*m_folder, GetContentsTable(MAPI_UNICODE, NotNull())).WillOnce(givesObject<1>(m_table));
        EXPECT_CALL(*m_table, GetRowCount(0, NotNull())).WillOnce(DoAll(SetArgPointee<1>(count), Return(S_OK)));
    }

    const Mocked<MockFolder> m_folder;
    const Mocked<MockTable> m_table;
};

// ---- isContactFolder -------------------------------------------------------------------------------------------------

using IsContactFolderTest = FolderTest;

TEST_F(IsContactFolderTest, IsTrueForTheExactClassOnly)
{
    giveClass(L"IPF.Contact");
    EXPECT_TRUE(mapi::isContactFolder(folder()));
    for (const wchar_t* const other :
         {L"IPF.CONTACT", L"ipf.contact", L"IPF.contact", L"IPF.Contact.Sub", L"IPF.Contact.", L"IPF.Contac",
          L" IPF.Contact", L"IPF.Contact ", L"IPF.Note", L""})
    {
        giveClass(other);
        EXPECT_FALSE(mapi::isContactFolder(folder())) << testing::PrintToString(other);
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(IsContactFolderTest, IsFalseForAFolderWithoutClass)
{
    giveProperties(m_folder, {Property::text(PR_DISPLAY_NAME_W, L"Contacts"),
                              Property::number(CHANGE_PROP_TYPE(PR_CONTAINER_CLASS_W, PT_STRING8), 0)});
    EXPECT_CALL(*m_folder, GetProps(_, _, _, _)).Times(0); // only what is listed under the very tag is read
    EXPECT_FALSE(mapi::isContactFolder(folder()));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(IsContactFolderTest, IsFalseForANullClass)
{
    giveProperties(m_folder, {Property::nullText(PR_CONTAINER_CLASS_W)});
    EXPECT_FALSE(mapi::isContactFolder(folder()));
}

TEST_F(IsContactFolderTest, LogsAndIsFalseWhenTheClassCannotBeRead)
{
    giveProperties(m_folder, {Property::error(PR_CONTAINER_CLASS_W)});
    EXPECT_FALSE(mapi::isContactFolder(folder()));
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::isContactFolder : " + noValue));
}

TEST_F(IsContactFolderTest, ThrowsForNull)
{
    EXPECT_EQ(thrown([] { (void)mapi::isContactFolder({}); }),
              L"condition \"folder\" failed (mapi::isContactFolder in MapiUtilities.cpp, line N)");
}

TEST_F(IsContactFolderTest, ThrowsWhenThePropertiesCannotBeListed)
{
    failPropList();
    EXPECT_EQ(thrown([this] { (void)mapi::isContactFolder(folder()); }), listFailed);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(IsContactFolderTest, ThrowsWhenTheFolderIsNoIMAPIProp)
{
    m_folder->answerInterface(IID_IMAPIProp, E_NOINTERFACE);
    EXPECT_EQ(thrown([this] { (void)mapi::isContactFolder(folder()); }), noObject);
    m_folder->answerInterface(IID_IMAPIProp, MAPI_E_CALL_FAILED);
    EXPECT_THROW((void)mapi::isContactFolder(folder()), _com_error);
    EXPECT_THAT(log(), IsEmpty());
}

// ---- maybeContactFolder ----------------------------------------------------------------------------------------------

using MaybeContactFolderTest = FolderTest;

// The mocks are strict: no contents table is asked for.
TEST_F(MaybeContactFolderTest, GoesByTheClassAloneWhenThereIsOne)
{
    giveClass(L"IPF.Contact");
    EXPECT_TRUE(mapi::maybeContactFolder(folder()));
    for (const wchar_t* const other : {L"IPF.CONTACT", L"IPF.Contact.Sub", L"IPF.Note", L""})
    {
        giveClass(other);
        EXPECT_FALSE(mapi::maybeContactFolder(folder())) << testing::PrintToString(other);
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MaybeContactFolderTest, IsTrueForAnEmptyFolderWithoutClass)
{
    giveProperties(m_folder, {});
    giveContents(0);
    EXPECT_TRUE(mapi::maybeContactFolder(folder()));
    EXPECT_FALSE(mapi::isContactFolder(folder()));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MaybeContactFolderTest, LooksForOneContactMessageWhenThereIsNoClass)
{
    giveProperties(m_folder, {});
    giveContents(2);
    EXPECT_CALL(*m_table, FindRow(NotNull(), BOOKMARK_BEGINNING, 0))
        .WillOnce(
            [](SRestriction* filter, BOOKMARK, ULONG)
            {
                EXPECT_EQ(filter->rt, RES_PROPERTY);
                EXPECT_EQ(filter->res.resProperty.relop, RELOP_EQ);
                EXPECT_EQ(filter->res.resProperty.ulPropTag, 0x001A001Fu);
                EXPECT_EQ(filter->res.resProperty.lpProp->ulPropTag, 0x001A001Fu);
                EXPECT_STREQ(filter->res.resProperty.lpProp->Value.lpszW, L"IPM.Contact");
                return S_OK;
            });
    EXPECT_TRUE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty()); // the filter among them
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MaybeContactFolderTest, IsFalseOnlyWhenNoContactMessageIsFound)
{
    const std::pair<HRESULT, bool> answers[] = {{MAPI_E_NOT_FOUND, false},
                                                {S_OK, true},
                                                {warning, true},
                                                {MAPI_E_TOO_COMPLEX, true},
                                                {MAPI_E_NO_SUPPORT, true},
                                                {MAPI_E_CALL_FAILED, true},
                                                {MAPI_E_INVALID_BOOKMARK, true}};
    giveProperties(m_folder, {});
    for (const auto& [result, answer] : answers)
    {
        giveContents(1);
        EXPECT_CALL(*m_table, FindRow(_, _, _)).WillOnce(Return(result));
        EXPECT_EQ(mapi::maybeContactFolder(folder()), answer) << std::hex << result;
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MaybeContactFolderTest, AsksInAFixedOrder)
{
    const InSequence order;
    EXPECT_CALL(*m_folder, GetPropList(MAPI_UNICODE, _)).WillOnce(Return(S_OK)); // no list: no property
    EXPECT_CALL(*m_folder, GetContentsTable(MAPI_UNICODE, _)).WillOnce(givesObject<1>(m_table));
    EXPECT_CALL(*m_table, GetRowCount(0, _)).WillOnce(DoAll(SetArgPointee<1>(100000), Return(S_OK)));
    EXPECT_CALL(*m_table, FindRow(_, _, _)).WillOnce(Return(S_OK));
    EXPECT_TRUE(mapi::maybeContactFolder(folder()));
}

TEST_F(MaybeContactFolderTest, ThrowsForNull)
{
    EXPECT_EQ(thrown([] { (void)mapi::maybeContactFolder({}); }),
              L"condition \"folder\" failed (mapi::maybeContactFolder in MapiUtilities.cpp, line N)");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(MaybeContactFolderTest, LogsAndIsFalseWhenThePropertiesCannotBeListed)
{
    failPropList();
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::maybeContactFolder : "
                                   "mapi::hasProperty, line N: hr = 0x80004005(MAPI call failed)"));
}

// The strict test lists the properties anew; its failure reaches the guard of the generous one.
TEST_F(MaybeContactFolderTest, LogsAndIsFalseWhenThePropertiesCannotBeListedAgain)
{
    EXPECT_CALL(*m_folder, GetPropList(_, _))
        .WillOnce(
            [](ULONG, SPropTagArray** tags)
            {
                *tags = makeTags({PR_CONTAINER_CLASS_W});
                return S_OK;
            })
        .WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::maybeContactFolder : "
                                   "mapi::hasProperty, line N: hr = 0x80004005(MAPI call failed)"));
}

TEST_F(MaybeContactFolderTest, LogsOnceWhenTheClassCannotBeRead)
{
    giveProperties(m_folder, {Property::error(PR_CONTAINER_CLASS_W)});
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::isContactFolder : " + noValue));
}

TEST_F(MaybeContactFolderTest, LogsAndIsFalseWhenTheContentsCannotBeHad)
{
    giveProperties(m_folder, {});
    EXPECT_CALL(*m_folder, GetContentsTable(_, _)).WillOnce(Return(MAPI_E_NO_ACCESS));
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::maybeContactFolder : "
                                   "mapi::getContentsTable, line N: hr = 0x80070005(GetContentsTable)"));
}

TEST_F(MaybeContactFolderTest, LogsAndIsFalseWhenTheMessagesCannotBeCounted)
{
    giveProperties(m_folder, {});
    EXPECT_CALL(*m_folder, GetContentsTable(_, _)).WillOnce(givesObject<1>(m_table));
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(Return(MAPI_E_NO_SUPPORT));
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::maybeContactFolder : "
                                   "mapi::tableRowCount, line N: hr = 0x80040102(MAPI call failed)"));
}

TEST_F(MaybeContactFolderTest, LogsAndIsFalseWhenTheFolderIsNoIMAPIProp)
{
    m_folder->answerInterface(IID_IMAPIProp, E_NOINTERFACE);
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(),
                ElementsAre("An exception has been caught in mapi::maybeContactFolder : condition \"obj\" failed "
                            "(mapi::hasProperty in MapiUtilities.cpp, line N)"));
}

TEST_F(MaybeContactFolderTest, PassesComErrors)
{
    m_folder->answerInterface(IID_IMAPIProp, MAPI_E_CALL_FAILED);
    EXPECT_THROW((void)mapi::maybeContactFolder(folder()), _com_error);
    EXPECT_THAT(log(), IsEmpty());
}

// ---- Tables ----------------------------------------------------------------------------------------------------------

using FolderTablesTest = FolderTest;

TEST_F(FolderTablesTest, AreAskedForInUnicode)
{
    EXPECT_CALL(*m_folder, GetContentsTable(0x80000000, NotNull())).WillOnce(givesObject<1>(m_table));
    EXPECT_CALL(*m_folder, GetHierarchyTable(0x80000000, NotNull())).WillOnce(givesObject<1>(m_table));
    EXPECT_EQ(mapi::getContentsTable(folder()).GetInterfacePtr(), m_table.get());
    EXPECT_EQ(mapi::getHierarchyTable(folder()).GetInterfacePtr(), m_table.get());
}

TEST_F(FolderTablesTest, ComeWithWarningsToo)
{
    EXPECT_CALL(*m_folder, GetContentsTable(_, _)).WillOnce(givesObject<1>(m_table, warning));
    EXPECT_CALL(*m_folder, GetHierarchyTable(_, _)).WillOnce(givesObject<1>(m_table, warning));
    EXPECT_EQ(mapi::getContentsTable(folder()).GetInterfacePtr(), m_table.get());
    EXPECT_EQ(mapi::getHierarchyTable(folder()).GetInterfacePtr(), m_table.get());
}

// Both failures name the contents table.
TEST_F(FolderTablesTest, FailWithTheSameWords)
{
    EXPECT_CALL(*m_folder, GetContentsTable(_, _)).WillOnce(Return(MAPI_E_NO_ACCESS));
    EXPECT_CALL(*m_folder, GetHierarchyTable(_, _)).WillOnce(Return(MAPI_E_NO_SUPPORT));
    EXPECT_EQ(thrown([this] { (void)mapi::getContentsTable(folder()); }),
              L"mapi::getContentsTable, line N: hr = 0x80070005(GetContentsTable)");
    EXPECT_EQ(thrown([this] { (void)mapi::getHierarchyTable(folder()); }),
              L"mapi::getHierarchyTable, line N: hr = 0x80040102(GetContentsTable)");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(FolderTablesTest, AreRefusedWithoutAFolder)
{
    EXPECT_EQ(thrown([] { (void)mapi::getContentsTable({}); }),
              L"condition \"folder\" failed (mapi::getContentsTable in MapiUtilities.cpp, line N)");
    EXPECT_EQ(thrown([] { (void)mapi::getHierarchyTable({}); }),
              L"condition \"folder\" failed (mapi::getHierarchyTable in MapiUtilities.cpp, line N)");
}
} // namespace
