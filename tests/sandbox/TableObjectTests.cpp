// IMAPITable, mostly on a contents table of contacts.
#include "tests/sandbox/SandboxTest.h"

#include <set>

using namespace sandboxtest;
using sandbox::Bytes;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
const char* const s_mailbox = R"({"stores":[{"name":"S","folders":[
    {"name":"F","class":"IPF.Contact","messages":[
      {"displayName":"d","company":"x"},{"displayName":"b"},{"displayName":"A","company":"y"},
      {"displayName":"c","company":"X"},{"displayName":"E","row":{"PR_DISPLAY_NAME":null}}],
     "folders":[{"name":"FA","hidden":true,"folders":[{"name":"FAA"}]},{"name":"FB","row":{"PR_ENTRYID":null}}]},
    {"name":"G"}]}]})";

class TableObjectTest : public SandboxTest
{
protected:
    TableObjectTest()
        : m_session(logonTo(s_mailbox)),
          m_folder(openSubfolder(openIpmSubtree(openStore(m_session)))),
          m_table(contentsTable(m_folder))
    {
        checkOk(m_table->SetColumns(Tags({PR_DISPLAY_NAME_W}), 0));
    }

    /// The names of the next rows.
    std::vector<std::wstring> next(LONG count, ULONG flags = 0) { return nextRows(m_table, count, flags).texts(); }

    ULONG position()
    {
        ULONG row = 0;
        ULONG numerator = 0;
        ULONG denominator = 0;
        checkOk(m_table->QueryPosition(&row, &numerator, &denominator));
        EXPECT_EQ(numerator, row);
        EXPECT_GE(denominator, 1u);
        return row;
    }

    HRESULT find(const wchar_t* name, BOOKMARK origin, ULONG flags = 0)
    {
        SPropValue value = {};
        value.ulPropTag = PR_DISPLAY_NAME_W;
        value.Value.lpszW = const_cast<wchar_t*>(name);
        SRestriction restriction = {};
        restriction.rt = RES_PROPERTY;
        restriction.res.resProperty = {RELOP_EQ, PR_DISPLAY_NAME_W, &value};
        return m_table->FindRow(&restriction, origin, flags);
    }

    HRESULT sort(std::initializer_list<SSortOrder> levels)
    {
        std::vector<ULONG> words = {static_cast<ULONG>(levels.size()), 0, 0};
        for (const SSortOrder& level : levels)
            words.insert(words.end(), {level.ulPropTag, level.ulOrder});
        return m_table->SortTable(reinterpret_cast<SSortOrderSet*>(words.data()), 0);
    }

    IMAPISessionPtr m_session;
    IMAPIFolderPtr m_folder;
    IMAPITablePtr m_table;
};
} // namespace

TEST_F(TableObjectTest, DeliversRowsAndMovesOn)
{
    EXPECT_THAT(next(2), ElementsAre(L"d", L"b"));
    EXPECT_EQ(position(), 2u);
    EXPECT_THAT(next(2, TBL_NOADVANCE), ElementsAre(L"A", L"c"));
    EXPECT_EQ(position(), 2u);
    EXPECT_THAT(next(100), ElementsAre(L"A", L"c", L"!8004010f"));
    EXPECT_EQ(position(), 5u);
    EXPECT_THAT(next(1), IsEmpty());
}

TEST_F(TableObjectTest, StepsBackForANegativeCount)
{
    EXPECT_THAT(next(4), ElementsAre(L"d", L"b", L"A", L"c"));
    EXPECT_THAT(next(-2), ElementsAre(L"A", L"c"));
    EXPECT_EQ(position(), 2u);
    EXPECT_THAT(next(-100, TBL_NOADVANCE), ElementsAre(L"d", L"b"));
    EXPECT_EQ(position(), 2u);
    EXPECT_THAT(next(std::numeric_limits<LONG>::min()), ElementsAre(L"d", L"b"));
    EXPECT_EQ(position(), 0u);
    EXPECT_THAT(next(-1), IsEmpty());
}

TEST_F(TableObjectTest, ChecksTheArgumentsOfQueryRows)
{
    SRowSet* rows = nullptr;
    EXPECT_EQ(m_table->QueryRows(0, 0, &rows), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_table->QueryRows(1, 2, &rows), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(m_table->QueryRows(1, 0, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(TableObjectTest, DeliversNoMoreRowsThanTheMailboxAllows)
{
    const IMAPISessionPtr session = logonTo(R"({"rowsPerQuery":2,"stores":[{"name":"A"},{"name":"B"},{"name":"C"}]})");
    const IMAPITablePtr table = storesTable(session);
    checkOk(table->SetColumns(Tags({PR_DISPLAY_NAME_W}), 0));
    EXPECT_THAT(nextRows(table, 10).texts(), ElementsAre(L"A", L"B"));
    EXPECT_THAT(nextRows(table, 10).texts(), ElementsAre(L"C"));
}

TEST_F(TableObjectTest, DeliversColumnsInTheirOrder)
{
    const Rows rows = queryRows(m_table, {PR_COMPANY_NAME_W, PR_OBJECT_TYPE, PR_DISPLAY_NAME_W,
                                          CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8), PR_ENTRYID});
    EXPECT_STREQ(rows.at(0, 0).Value.lpszW, L"x");
    EXPECT_EQ(rows.at(0, 1).Value.l, static_cast<LONG>(MAPI_MESSAGE));
    EXPECT_STREQ(rows.at(0, 2).Value.lpszW, L"d");
    EXPECT_STREQ(rows.at(0, 3).Value.lpszA, "d");
    EXPECT_EQ(rows.at(1, 0).ulPropTag, CHANGE_PROP_TYPE(PR_COMPANY_NAME_W, PT_ERROR));
    EXPECT_EQ(rows.at(1, 0).Value.err, MAPI_E_NOT_FOUND);
    EXPECT_EQ(bytesOf(rows.at(4, 4)), binaryOf(openMessage(m_folder, 4), PR_ENTRYID));
}

TEST_F(TableObjectTest, ChecksTheColumns)
{
    EXPECT_EQ(m_table->SetColumns(nullptr, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_table->SetColumns(Tags({}), 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_table->SetColumns(Tags({PR_ENTRYID}), 4), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(m_table->SetColumns(Tags({PR_ENTRYID}), TBL_BATCH), S_OK);
}

TEST_F(TableObjectTest, TellsItsColumns)
{
    SPropTagArray* columns = nullptr;
    ASSERT_EQ(m_table->QueryColumns(0, &columns), S_OK);
    EXPECT_EQ(columns->cValues, 1u);
    EXPECT_EQ(columns->aulPropTag[0], PR_DISPLAY_NAME_W);
    dll.MAPIFreeBuffer(columns);
    ASSERT_EQ(m_table->QueryColumns(TBL_ALL_COLUMNS, &columns), S_OK);
    EXPECT_GT(columns->cValues, 3u);
    dll.MAPIFreeBuffer(columns);
    EXPECT_EQ(m_table->QueryColumns(2, &columns), MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(TableObjectTest, HasItsOwnColumnsInTheWidthOfItsTable)
{
    SPropTagArray* columns = nullptr;
    const IMAPITablePtr narrow = contentsTable(m_folder, 0);
    ASSERT_EQ(narrow->QueryColumns(0, &columns), S_OK);
    const std::set<ULONG> tags(columns->aulPropTag, columns->aulPropTag + columns->cValues);
    dll.MAPIFreeBuffer(columns);
    EXPECT_TRUE(tags.contains(CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8)));
    EXPECT_FALSE(tags.contains(PR_DISPLAY_NAME_W));
}

TEST_F(TableObjectTest, CountsItsRows)
{
    ULONG count = 0;
    EXPECT_EQ(m_table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(m_table->GetRowCount(2, &count), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(m_table->GetRowCount(0, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(TableObjectTest, SeeksAndStopsAtTheEnds)
{
    LONG sought = 0;
    EXPECT_EQ(m_table->SeekRow(BOOKMARK_BEGINNING, 3, &sought), S_OK);
    EXPECT_EQ(sought, 3);
    EXPECT_EQ(position(), 3u);
    EXPECT_EQ(m_table->SeekRow(BOOKMARK_CURRENT, 10, &sought), S_OK);
    EXPECT_EQ(sought, 2);
    EXPECT_EQ(m_table->SeekRow(BOOKMARK_END, -2, nullptr), S_OK);
    EXPECT_EQ(position(), 3u);
    EXPECT_EQ(m_table->SeekRow(BOOKMARK_CURRENT, std::numeric_limits<LONG>::min(), &sought), S_OK);
    EXPECT_EQ(sought, -3);
    EXPECT_EQ(m_table->SeekRow(77, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
}

TEST_F(TableObjectTest, FindsARowAndStopsBeforeIt)
{
    EXPECT_EQ(find(L"A", BOOKMARK_BEGINNING), S_OK);
    EXPECT_EQ(position(), 2u);
    EXPECT_THAT(next(1), ElementsAre(L"A"));
    EXPECT_EQ(find(L"A", BOOKMARK_CURRENT), MAPI_E_NOT_FOUND);
    EXPECT_EQ(position(), 3u);
    EXPECT_EQ(find(L"A", BOOKMARK_CURRENT, DIR_BACKWARD), S_OK);
    EXPECT_EQ(find(L"c", BOOKMARK_END, DIR_BACKWARD), S_OK);
    EXPECT_EQ(position(), 3u);
    EXPECT_EQ(find(L"none", BOOKMARK_BEGINNING), MAPI_E_NOT_FOUND);
    EXPECT_EQ(find(L"A", 77), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(find(L"A", BOOKMARK_BEGINNING, 2), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(m_table->FindRow(nullptr, BOOKMARK_BEGINNING, 0), MAPI_E_INVALID_PARAMETER);
}

TEST_F(TableObjectTest, RestrictsItsRows)
{
    SRestriction restriction = {};
    restriction.rt = RES_EXIST;
    restriction.res.resExist.ulPropTag = PR_COMPANY_NAME_W;
    EXPECT_THAT(next(1), ElementsAre(L"d"));
    BOOKMARK bookmark = 0;
    ASSERT_EQ(m_table->CreateBookmark(&bookmark), S_OK);
    ASSERT_EQ(m_table->Restrict(&restriction, TBL_BATCH), S_OK);
    EXPECT_EQ(m_table->SeekRow(bookmark, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
    ULONG count = 0;
    ASSERT_EQ(m_table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 3u);
    EXPECT_THAT(next(10), ElementsAre(L"d", L"A", L"c"));
    ASSERT_EQ(m_table->Restrict(nullptr, 0), S_OK);
    EXPECT_EQ(position(), 0u);
    ASSERT_EQ(m_table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(m_table->Restrict(nullptr, 8), MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(TableObjectTest, KeepsBookmarksOfMoreThan32Bits)
{
    ASSERT_EQ(m_table->SeekRow(BOOKMARK_BEGINNING, 2, nullptr), S_OK);
    BOOKMARK bookmark = 0;
    ASSERT_EQ(m_table->CreateBookmark(&bookmark), S_OK);
    EXPECT_GT(bookmark, 0xFFFFFFFFu);
    ASSERT_EQ(m_table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    EXPECT_EQ(m_table->SeekRow(bookmark, 1, nullptr), S_OK);
    EXPECT_EQ(position(), 3u);
    EXPECT_EQ(m_table->SeekRow(static_cast<ULONG>(bookmark), 0, nullptr), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(m_table->FreeBookmark(bookmark), S_OK);
    EXPECT_EQ(m_table->SeekRow(bookmark, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(m_table->FreeBookmark(bookmark), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(m_table->FreeBookmark(BOOKMARK_END), S_OK);
    EXPECT_EQ(m_table->CreateBookmark(nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(TableObjectTest, SortsItsRows)
{
    ASSERT_EQ(sort({{PR_DISPLAY_NAME_W, TABLE_SORT_ASCEND}}), S_OK);
    EXPECT_THAT(next(10), ElementsAre(L"!8004010f", L"A", L"b", L"c", L"d"));
    ASSERT_EQ(sort({{PR_COMPANY_NAME_W, TABLE_SORT_DESCEND}, {PR_DISPLAY_NAME_W, TABLE_SORT_ASCEND}}), S_OK);
    EXPECT_THAT(next(10), ElementsAre(L"A", L"c", L"d", L"!8004010f", L"b"));
    ASSERT_EQ(sort({}), S_OK);
    EXPECT_THAT(next(2), ElementsAre(L"d", L"b"));
    EXPECT_EQ(sort({{PR_DISPLAY_NAME_W, 7}}), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(m_table->SortTable(nullptr, 0), MAPI_E_INVALID_PARAMETER);
}

TEST_F(TableObjectTest, ShowsFoldersOneLevelDeepOrAll)
{
    const IMAPITablePtr children = hierarchyTable(m_folder);
    const Rows direct = queryRows(children, {PR_DISPLAY_NAME_W, PR_DEPTH, PR_OBJECT_TYPE, PR_ENTRYID});
    EXPECT_THAT(direct.texts(), ElementsAre(L"FA", L"FB"));
    EXPECT_EQ(direct.at(0, 1).Value.l, 0);
    EXPECT_EQ(direct.at(0, 2).Value.l, static_cast<LONG>(MAPI_FOLDER));
    EXPECT_EQ(direct.at(1, 3).ulPropTag, CHANGE_PROP_TYPE(PR_ENTRYID, PT_ERROR));

    const IMAPITablePtr all = hierarchyTable(m_folder, MAPI_UNICODE | CONVENIENT_DEPTH);
    const Rows deep = queryRows(all, {PR_DISPLAY_NAME_W, PR_DEPTH});
    EXPECT_THAT(deep.texts(), ElementsAre(L"FA", L"FAA", L"FB"));
    EXPECT_EQ(deep.at(1, 1).Value.l, 1);
}

TEST_F(TableObjectTest, ShowsNoAssociatedContents)
{
    const IMAPITablePtr table = contentsTable(m_folder, MAPI_ASSOCIATED);
    EXPECT_EQ(queryRows(table, {PR_ENTRYID}).count(), 0u);
    IMAPITablePtr none;
    EXPECT_EQ(m_folder->GetContentsTable(0x10, &none), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(m_folder->GetHierarchyTable(0x10, &none), MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(TableObjectTest, AnswersWhatIsPlanned)
{
    const IMAPISessionPtr session = logonTo(
        R"({"stores":[{"name":"S","ipmSubtree":{"results":{"ContentsTable.GetRowCount":"MAPI_E_BUSY",
            "ContentsTable.FindRow":"E_FAIL","HierarchyTable.SetColumns":"MAPI_E_NO_ACCESS",
            "HierarchyTable.Restrict":"MAPI_E_TOO_COMPLEX"}}}]})");
    const IMAPIFolderPtr folder = openIpmSubtree(openStore(session));
    const IMAPITablePtr contents = contentsTable(folder);
    const IMAPITablePtr hierarchy = hierarchyTable(folder);
    ULONG count = 0;
    EXPECT_EQ(contents->GetRowCount(0, &count), mapiResult(0x8004010B));
    EXPECT_EQ(contents->FindRow(nullptr, 0, 0), E_FAIL);
    EXPECT_EQ(contents->SetColumns(Tags({PR_ENTRYID}), 0), S_OK);
    EXPECT_EQ(hierarchy->SetColumns(Tags({PR_ENTRYID}), 0), MAPI_E_NO_ACCESS);
    EXPECT_EQ(hierarchy->Restrict(nullptr, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(hierarchy->GetRowCount(0, &count), S_OK);
}

TEST_F(TableObjectTest, AnswersWhatIsPlannedForGivingTablesOut)
{
    const IMAPISessionPtr session = logonTo(
        R"({"stores":[{"name":"S","ipmSubtree":{"results":{"GetContentsTable":"MAPI_E_NO_ACCESS",
            "GetHierarchyTable":"MAPI_E_NETWORK_ERROR"}}}]})");
    const IMAPIFolderPtr folder = openIpmSubtree(openStore(session));
    IMAPITablePtr table;
    EXPECT_EQ(folder->GetContentsTable(0, &table), MAPI_E_NO_ACCESS);
    EXPECT_EQ(folder->GetHierarchyTable(0, &table), mapiResult(0x80040115));
}

TEST_F(TableObjectTest, RefusesTheRest)
{
    EXPECT_EQ(m_table->Advise(0, nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(m_table->GetStatus(nullptr, nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(m_table->SeekRowApprox(1, 2), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(m_table->QuerySortOrder(nullptr), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(m_table->Abort(), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(m_table->WaitForCompletion(0, 0, nullptr), MAPI_E_NO_SUPPORT);
}

TEST_F(TableObjectTest, ReadsAHundredThousandContactsAsTheAgentDoes)
{
    constexpr ULONG contacts = 100'000;
    const IMAPISessionPtr session = logonTo(R"({"stores":[{"name":"S","folders":[{"name":"F","class":"IPF.Contact",
                    "generate":{"contacts":100000,"seed":7}}]}]})");
    const IMAPIFolderPtr folder = openSubfolder(openIpmSubtree(openStore(session)));
    const IMAPITablePtr table = contentsTable(folder);
    const Rows rows = queryRows(table, {PR_ENTRYID}, contacts);
    ASSERT_EQ(rows.count(), contacts);

    GUID set = PSETID_Address;
    MAPINAMEID names[3] = {};
    MAPINAMEID* pointers[3] = {};
    for (std::size_t index = 0; index < 3; ++index)
    {
        names[index].lpguid = &set;
        names[index].ulKind = MNID_ID;
        names[index].Kind.lID = index == 2 ? 0x8085 : static_cast<LONG>(0x8082 + index);
        pointers[index] = &names[index];
    }
    std::size_t withAddress = 0;
    for (ULONG row = 0; row < contacts; ++row)
    {
        const IMAPIPropPtr contact(openEntry(static_cast<IMAPIFolder*>(folder), bytesOf(rows.at(row, 0))));
        const Values values =
            getProps(contact,
                     {PR_DISPLAY_NAME_W, PR_GIVEN_NAME_W, PR_MIDDLE_NAME_W, PR_SURNAME_W, PR_COMPANY_NAME_W,
                      PR_SMTP_ADDRESS_W, PR_BUSINESS_TELEPHONE_NUMBER_W, PR_MOBILE_TELEPHONE_NUMBER_W,
                      PR_HOME_TELEPHONE_NUMBER_W, PR_BUSINESS_FAX_NUMBER_W, PR_ENTRYID, PR_PARENT_ENTRYID},
                     MAPI_W_ERRORS_RETURNED);
        ASSERT_EQ(bytesOf(values.at(10)), bytesOf(rows.at(row, 0)));
        SPropTagArray* tags = nullptr;
        checkOk(contact->GetIDsFromNames(3, pointers, MAPI_CREATE, &tags));
        const ULONG address = CHANGE_PROP_TYPE(tags->aulPropTag[1], PT_UNICODE);
        dll.MAPIFreeBuffer(tags);
        ULONG count = 0;
        SPropValue* address1 = nullptr;
        const HRESULT result = contact->GetProps(Tags({address}), MAPI_UNICODE, &count, &address1);
        withAddress += result == S_OK ? 1u : 0u;
        dll.MAPIFreeBuffer(address1);
    }
    EXPECT_EQ(withAddress, contacts - contacts / 10);
}
