// IMAPITable, mostly on a contents table of contacts.
#include "tests/sandbox/SandboxTest.h"

#include <psapi.h>

using namespace sandboxtest;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{
const char* const tabledMailbox = R"({"stores":[{"name":"S","folders":[
    {"name":"F","class":"IPF.Contact","messages":[
      {"displayName":"d","company":"x"},{"displayName":"b"},{"displayName":"A","company":"y"},
      {"displayName":"c","company":"X"},{"displayName":"E","row":{"PR_DISPLAY_NAME":null}}],
     "folders":[{"name":"FA","hidden":true,"folders":[{"name":"FAA"}]},{"name":"FB","row":{"PR_ENTRYID":null}}]},
    {"name":"G"}]}]})";

class TableObjectTest : public SandboxTest
{
protected:
    TableObjectTest()
        : m_session(logonTo(tabledMailbox)),
          m_folder(openSubfolder(openIpmSubtree(openStore(m_session)))),
          m_table(contentsTable(m_folder))
    {
        checkOk(m_table->SetColumns(Tags({PR_DISPLAY_NAME_W}), 0));
    }

    /// The names of the next rows.
    std::vector<std::wstring> next(LONG count, ULONG flags = 0) { return nextRows(m_table, count, flags).texts(); }

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

    IMAPISessionPtr m_session;
    IMAPIFolderPtr m_folder;
    IMAPITablePtr m_table;
};
} // namespace

TEST_F(TableObjectTest, DeliversRowsAndMovesOn)
{
    EXPECT_THAT(next(2), ElementsAre(L"d", L"b"));
    EXPECT_THAT(next(2, TBL_NOADVANCE), ElementsAre(L"A", L"c"));
    EXPECT_THAT(next(100), ElementsAre(L"A", L"c", L"!8004010f"));
    EXPECT_THAT(next(1), IsEmpty());
}

TEST_F(TableObjectTest, FindsARowAndStopsBeforeIt)
{
    EXPECT_EQ(find(L"A", BOOKMARK_BEGINNING), S_OK);
    EXPECT_THAT(next(1), ElementsAre(L"A"));
    EXPECT_EQ(find(L"A", BOOKMARK_CURRENT), MAPI_E_NOT_FOUND);
    EXPECT_THAT(next(1), ElementsAre(L"c"));
}

TEST_F(TableObjectTest, RestrictsItsRows)
{
    SRestriction restriction = {};
    restriction.rt = RES_EXIST;
    restriction.res.resExist.ulPropTag = PR_COMPANY_NAME_W;
    EXPECT_THAT(next(1), ElementsAre(L"d"));
    ASSERT_EQ(m_table->Restrict(&restriction, TBL_BATCH), S_OK);
    ULONG count = 0;
    ASSERT_EQ(m_table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 3u);
    EXPECT_THAT(next(10), ElementsAre(L"d", L"A", L"c"));
    ASSERT_EQ(m_table->Restrict(nullptr, 0), S_OK);
    EXPECT_THAT(next(10), SizeIs(5));
}

TEST_F(TableObjectTest, ShowsTheFoldersDirectlyBelow)
{
    const Rows rows = queryRows(hierarchyTable(m_folder), {PR_DISPLAY_NAME_W, PR_OBJECT_TYPE, PR_ENTRYID});
    EXPECT_THAT(rows.texts(), ElementsAre(L"FA", L"FB"));
    EXPECT_EQ(rows.at(0, 1).Value.l, static_cast<LONG>(MAPI_FOLDER));
    EXPECT_EQ(rows.at(1, 2).ulPropTag, CHANGE_PROP_TYPE(PR_ENTRYID, PT_ERROR));
}

TEST_F(TableObjectTest, RefusesWhatIsMissingOrNotServed)
{
    SRowSet* rows = nullptr;
    EXPECT_EQ(m_table->QueryRows(0, 0, &rows), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_table->QueryRows(-1, 0, &rows), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(m_table->QueryRows(1, 2, &rows), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(m_table->QueryRows(1, 0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_table->SetColumns(nullptr, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_table->SetColumns(Tags({}), 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_table->SetColumns(Tags({PR_ENTRYID}), 4), MAPI_E_UNKNOWN_FLAGS);
    ULONG count = 0;
    EXPECT_EQ(m_table->GetRowCount(2, &count), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(m_table->GetRowCount(0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_table->Restrict(nullptr, 8), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(find(L"A", BOOKMARK_END), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(find(L"A", BOOKMARK_BEGINNING, 1), MAPI_E_UNKNOWN_FLAGS); // DIR_BACKWARD
    EXPECT_EQ(m_table->FindRow(nullptr, BOOKMARK_BEGINNING, 0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_table->SortTable(nullptr, 0), MAPI_E_NO_SUPPORT);
    IMAPITablePtr none;
    EXPECT_EQ(m_folder->GetContentsTable(MAPI_ASSOCIATED, &none), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(m_folder->GetHierarchyTable(CONVENIENT_DEPTH, &none), MAPI_E_UNKNOWN_FLAGS);
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

/// What this process has of memory, in bytes.
[[nodiscard]] std::size_t memory()
{
    PROCESS_MEMORY_COUNTERS counters{};
    EXPECT_TRUE(GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)));
    return counters.PagefileUsage; // Wine 8 counts what has been touched
}

TEST_F(TableObjectTest, ReadsAHundredThousandContactsAsTheAgentDoes)
{
    constexpr ULONG contacts = 100'000;
    const std::size_t before = memory();
    const IMAPISessionPtr session = logonTo(R"({"stores":[{"name":"S","folders":[{"name":"F","class":"IPF.Contact",
                    "generate":{"contacts":100000,"seed":7}}]}]})");
    const IMAPIFolderPtr folder = openSubfolder(openIpmSubtree(openStore(session)));
    const IMAPITablePtr table = contentsTable(folder);
    const Rows rows = queryRows(table, {PR_ENTRYID}, contacts);
    ASSERT_EQ(rows.count(), contacts);
    EXPECT_LE(memory() - before, contacts * std::size_t{1'000}); // "300,000 take 300 MB at most", docs/sandbox.md

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
    }
}
