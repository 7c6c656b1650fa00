// The subfolders of a folder, as MapiUtilities finds and opens them.
#include <gmock/gmock.h>

#include "agent/mapi/MapiUtilities.h"
#include "mapiabi/MapiTags.h"
#include "tests/mapi/GuardedText.h"
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

/// What the row handler is called in messages.
const std::string handler = "mapi::getSubfolders::<lambda_1>::operator ()";

Properties folderRow(const EntryId& entryId, const std::wstring& name)
{
    return {Property::bytes(PR_ENTRYID, entryId), Property::text(PR_DISPLAY_NAME_W, name),
            Property::number(PR_OBJECT_TYPE, 3)};
}

class GetSubfoldersTest : public MapiTest
{
protected:
    ~GetSubfoldersTest() override
    {
        EXPECT_EQ(m_parent->references(), 1);
        EXPECT_EQ(m_table->references(), 1);
        EXPECT_EQ(m_child->references(), 1);
    }

    std::vector<IMAPIFolderPtr> subfolders(SRestriction* restriction = nullptr)
    {
        return mapi::getSubfolders(m_parent.pointer(), restriction);
    }
    void expectTable() { EXPECT_CALL(*m_parent, GetHierarchyTable(_, _)).WillOnce(givesObject<1>(m_table)); }
    /// Gives these rows as they are.
    void expectRows(const std::vector<Properties>& rows)
    {
        expectTable();
        EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(S_OK));
        EXPECT_CALL(*m_table, GetRowCount(_, _))
            .WillOnce(DoAll(SetArgPointee<1>(static_cast<ULONG>(rows.size())), Return(S_OK)));
        if (!rows.empty())
            EXPECT_CALL(*m_table, QueryRows(_, _, _)).WillOnce(givesRows(rows));
    }
    /// Expects that the folder with this identifier is opened, and gives the child.
    void expectOpen(const EntryId& entryId, HRESULT result = S_OK, ULONG type = MAPI_FOLDER)
    {
        EXPECT_CALL(*m_parent, OpenEntry(_, _, _, _, _, _))
            .WillOnce(
                [=, this](ULONG size, ENTRYID* bytes, const IID* iid, ULONG flags, ULONG* objectType, IUnknown** object)
                {
                    EXPECT_EQ(mapi::makeEntryId(size, bytes), entryId);
                    EXPECT_TRUE(IsEqualIID(*iid, IID_IMAPIFolder));
                    EXPECT_EQ(flags, 0x10u);
                    *objectType = type;
                    m_child->AddRef();
                    *object = m_child.get();
                    return result;
                });
    }

    const Mocked<MockFolder> m_parent;
    const Mocked<MockFolder> m_child;
    const Mocked<MockTable> m_table;
};

TEST_F(GetSubfoldersTest, IsEmptyForNull)
{
    EXPECT_THAT(mapi::getSubfolders({}, nullptr), IsEmpty());
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(GetSubfoldersTest, ReadsTheHierarchyTableInAFixedOrder)
{
    SRestriction filter{};
    const InSequence order;
    EXPECT_CALL(*m_parent, GetHierarchyTable(MAPI_UNICODE, NotNull())).WillOnce(givesObject<1>(m_table));
    EXPECT_CALL(*m_table, Restrict(&filter, 2)).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_table, SetColumns(_, 0))
        .WillOnce(
            [](SPropTagArray* tags, ULONG)
            {
                EXPECT_THAT(tagsOf(tags), ElementsAre(0x0FFF0102, 0x3001001F, 0x0FFE0003));
                return S_OK;
            });
    EXPECT_CALL(*m_table, GetRowCount(0, _)).WillOnce(DoAll(SetArgPointee<1>(1), Return(S_OK)));
    EXPECT_CALL(*m_table, QueryRows(1, TBL_NOADVANCE, _)).WillOnce(givesRows({folderRow({7, 8}, L"Contacts")}));
    expectOpen({7, 8});
    const auto found = subfolders(&filter);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].GetInterfacePtr(), m_child.get());
    EXPECT_EQ(m_child->references(), 2);
    EXPECT_THAT(log(), ElementsAre("subfolder found: Contacts"));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(GetSubfoldersTest, SetsNoRestrictionWhenThereIsNone)
{
    expectRows({}); // strict: Restrict is not called
    EXPECT_THAT(subfolders(), IsEmpty());
}

TEST_F(GetSubfoldersTest, ThrowsWhenTheHierarchyTableCannotBeHad)
{
    EXPECT_CALL(*m_parent, GetHierarchyTable(_, _)).WillOnce(Return(MAPI_E_NO_ACCESS));
    EXPECT_EQ(thrown([this] { (void)subfolders(); }),
              L"mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)");
}

TEST_F(GetSubfoldersTest, ThrowsWhenTheRestrictionFails)
{
    SRestriction filter{};
    expectTable();
    EXPECT_CALL(*m_table, Restrict(_, _)).WillOnce(Return(MAPI_E_TOO_COMPLEX));
    EXPECT_EQ(thrown([&] { (void)subfolders(&filter); }),
              L"mapi::getSubfolders, line N: hr = 0x80040117(MAPI call failed)");
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty()); // the columns among them
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(GetSubfoldersTest, PassesAWarningOfTheRestriction)
{
    SRestriction filter{};
    expectRows({});
    EXPECT_CALL(*m_table, Restrict(_, _)).WillOnce(Return(warning));
    EXPECT_THAT(subfolders(&filter), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(GetSubfoldersTest, LogsAndIsEmptyWhenTheRowsCannotBeRead)
{
    expectTable();
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_THAT(subfolders(), IsEmpty());
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::Rowset::enumerate, line N: hr = 0x80004005(MAPI call failed)"));
}

TEST_F(GetSubfoldersTest, FindsTheValuesWhateverTheirPlaceInTheRow)
{
    expectRows({{Property::number(PR_DEPTH, 9), Property::number(PR_OBJECT_TYPE, 3),
                 Property::text(PR_COMMENT_W, L"not the name"), Property::text(PR_DISPLAY_NAME_W, L"Friends"),
                 Property::error(PR_PARENT_ENTRYID), Property::bytes(PR_ENTRYID, {1, 2, 3})}});
    expectOpen({1, 2, 3});
    EXPECT_EQ(subfolders().size(), 1u);
    EXPECT_THAT(log(), ElementsAre("subfolder found: Friends"));
}

TEST_F(GetSubfoldersTest, OpensAFolderWithoutAName)
{
    for (const Property& noName : {Property::error(PR_DISPLAY_NAME_W), Property::nullText(PR_DISPLAY_NAME_W)})
    {
        expectRows({{Property::bytes(PR_ENTRYID, {1}), noName, Property::number(PR_OBJECT_TYPE, 3)}});
        expectOpen({1});
        EXPECT_EQ(subfolders().size(), 1u);
    }
    expectRows({{Property::bytes(PR_ENTRYID, {1}), Property::number(PR_OBJECT_TYPE, 3)}});
    expectOpen({1});
    EXPECT_EQ(subfolders().size(), 1u);
    EXPECT_THAT(log(), ElementsAre("subfolder found: ", "subfolder found: ", "subfolder found: "));
}

TEST_F(GetSubfoldersTest, PassesRowsOverWithoutAWordThatAreNoFolderOrHaveNoEntryId)
{
    const Property name = Property::text(PR_DISPLAY_NAME_W, L"x");
    const Property entryId = Property::bytes(PR_ENTRYID, {1});
    const Property type = Property::number(PR_OBJECT_TYPE, 3);
    expectRows({{Property::error(PR_ENTRYID), name, type},
                {Property::bytes(PR_ENTRYID, {}), name, type},
                {name, type},
                {entryId, name, Property::error(PR_OBJECT_TYPE)},
                {entryId, name},
                {entryId, name, Property::number(PR_OBJECT_TYPE, 5)},
                {entryId, name, Property::number(PR_OBJECT_TYPE, -1)},
                {}});
    EXPECT_THAT(subfolders(), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(GetSubfoldersTest, DoesNotLookAtTheTypeThatOpenEntryReports)
{
    expectRows({folderRow({1}, L"A")});
    expectOpen({1}, S_OK, MAPI_MESSAGE);
    EXPECT_EQ(subfolders().size(), 1u);
}

TEST_F(GetSubfoldersTest, LogsAFolderThatCannotBeOpenedAndGoesOn)
{
    expectRows({folderRow({1}, L"A \"quoted\""), folderRow({2}, L"B")});
    EXPECT_CALL(*m_parent, OpenEntry(_, _, _, _, _, _))
        .WillOnce(Return(MAPI_E_UNKNOWN_ENTRYID))
        .WillOnce(givesObject<5>(m_child));
    EXPECT_EQ(subfolders().size(), 1u);
    EXPECT_THAT(log(), ElementsAre("subfolder found: A \"quoted\"",
                                   "HRESULT logged: " + handler +
                                       ", line N: hr = 0x80040201(OpenEntry failed for \"A \"quoted\"\")",
                                   "subfolder found: B"));
}

TEST_F(GetSubfoldersTest, TakesAWarningOfOpenEntryForAFailure)
{
    expectRows({folderRow({1}, L"A")});
    expectOpen({1}, warning); // and gives a folder, which is released
    EXPECT_THAT(subfolders(), IsEmpty());
    EXPECT_EQ(m_child->references(), 1);
    EXPECT_THAT(log(), ElementsAre("subfolder found: A", "HRESULT logged: " + handler +
                                                             ", line N: hr = 0x40380(OpenEntry failed for \"A\")"));
}

TEST_F(GetSubfoldersTest, IsCancelledByTheTableBetweenRows)
{
    expectRows({folderRow({1}, L"A"), folderRow({2}, L"B")});
    EXPECT_CALL(*m_parent, OpenEntry(_, _, _, _, _, _))
        .WillOnce(DoAll([] { utilities::requestStop(); }, givesObject<5>(m_child)));
    EXPECT_EQ(thrown([this] { (void)subfolders(); }), L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_EQ(m_child->references(), 1); // what was open has been released
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
    EXPECT_THAT(log(), ElementsAre("subfolder found: A"));
}

// The flag is set in the moment in which the row's name is read, so behind the table's own test of it.
TEST_F(GetSubfoldersTest, IsCancelledInARowBehindItsColumnsAndBeforeAnyCall)
{
    GuardedText name(L"A", [] { utilities::requestStop(); });
    expectTable();
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(DoAll(SetArgPointee<1>(1), Return(S_OK)));
    EXPECT_CALL(*m_table, QueryRows(_, _, _))
        .WillOnce(
            [&name](LONG, ULONG, SRowSet** set)
            {
                *set = makeRows({{Property::bytes(PR_ENTRYID, {1}), Property::nullText(PR_DISPLAY_NAME_W),
                                  Property::number(PR_OBJECT_TYPE, 3)}});
                (*set)->aRow[0].lpProps[1].Value.lpszW = name.text();
                return S_OK;
            });
    name.arm();
    EXPECT_EQ(thrown([this] { (void)subfolders(); }),
              L"mapi::getSubfolders::<lambda_1>::operator (): cancelled by request");
    EXPECT_TRUE(name.wasRead());
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

// A row that would be passed over is cancelled all the same.
TEST_F(GetSubfoldersTest, IsCancelledInARowThatIsNoFolder)
{
    GuardedText name(L"A", [] { utilities::requestStop(); });
    expectTable();
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(DoAll(SetArgPointee<1>(1), Return(S_OK)));
    EXPECT_CALL(*m_table, QueryRows(_, _, _))
        .WillOnce(
            [&name](LONG, ULONG, SRowSet** set)
            {
                *set = makeRows({{Property::nullText(PR_DISPLAY_NAME_W)}});
                (*set)->aRow[0].lpProps[0].Value.lpszW = name.text();
                return S_OK;
            });
    name.arm();
    EXPECT_EQ(thrown([this] { (void)subfolders(); }),
              L"mapi::getSubfolders::<lambda_1>::operator (): cancelled by request");
}
} // namespace
