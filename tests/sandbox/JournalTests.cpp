// The journal: which calls are in it, in which order, and how it tells their arguments.
#include <algorithm>
#include <chrono>
#include <thread>

#include "tests/sandbox/NotifyTest.h"

using namespace sandboxtest;
using sandbox::Bytes;
using testing::StartsWith;

namespace
{
constexpr const char* s_mailbox =
    R"({"stores":[{"name":"A","entryId":"00000000AA","folders":[
        {"name":"F","entryId":"00000000F0","messages":[{"entryId":"00000000A1"}]}]}]})";

class JournalTest : public SandboxTest
{
protected:
    JournalTest() : m_session(logonTo(s_mailbox)), m_store(openStore(m_session))
    {
        m_folder = IMAPIFolderPtr(openEntry(m_store.GetInterfacePtr(), Bytes{0, 0, 0, 0, 0xF0}));
        m_table = contentsTable(m_folder);
        dll.sandboxStartJournal();
    }

    /// What came in since the last time.
    std::string news()
    {
        const std::string text = dll.journal();
        dll.sandboxClearJournal();
        return text;
    }

    IMAPISessionPtr m_session;
    IMsgStorePtr m_store;
    IMAPIFolderPtr m_folder;
    IMAPITablePtr m_table;
};
} // namespace

// ---- Which calls ---------------------------------------------------------------------------------------------------

TEST_F(JournalTest, HasTheCallsWhileItIsOn)
{
    ULONG count = 0;
    (void)m_table->GetRowCount(0, &count);
    dll.sandboxStopJournal();
    (void)m_table->GetRowCount(1, &count);
    EXPECT_EQ(dll.journal(), "1 IMAPITable::GetRowCount on 00000000F0 {ulFlags: \"0x0\"} = \"0x0\"\n");
    dll.sandboxStartJournal();
    (void)m_table->GetRowCount(1, &count);
    EXPECT_EQ(dll.journal(), "1 IMAPITable::GetRowCount on 00000000F0 {ulFlags: \"0x0\"} = \"0x0\"\n"
                             "1 IMAPITable::GetRowCount on 00000000F0 {ulFlags: \"0x1\"} = \"0x0\"\n");
    dll.sandboxClearJournal();
    EXPECT_EQ(dll.journal(), "");
}

TEST_F(JournalTest, IsOffAndEmptyAfterAReset)
{
    ULONG count = 0;
    (void)m_table->GetRowCount(0, &count);
    dll.sandboxReset();
    serve(s_mailbox);
    const IMAPISessionPtr session = logon();
    EXPECT_EQ(dll.journal(), "");
}

TEST_F(JournalTest, HasNoCallThatTheRuntimeMakesOnItsWayAndNoLettingGo)
{
    SPropValue* value = nullptr;
    (void)dll.HrGetOneProp(m_store, PR_DISPLAY_NAME_W, &value);
    (void)dll.MAPIFreeBuffer(value);
    m_store->AddRef();
    m_store->Release();
    SRowSet* rows = nullptr;
    (void)m_table->QueryRows(1, 0, &rows);
    dll.FreeProws(rows);
    EXPECT_EQ(news(), "1 HrGetOneProp {ulPropTag: \"0x3001001F\"} = \"0x0\"\n"
                      "1 IMAPITable::QueryRows on 00000000F0 {lRowCount: \"0x1\", ulFlags: \"0x0\"} = \"0x0\"\n");
}

TEST_F(JournalTest, HasWhatIsRefusedAndWhatFails)
{
    (void)m_folder->CreateMessage(nullptr, 0, nullptr);
    (void)m_session->QueryIdentity(nullptr, nullptr);
    (void)m_table->GetRowCount(0xF0, nullptr);
    EXPECT_EQ(news(), "1 IMAPIFolder::CreateMessage on 00000000F0 {} = \"0x80040102\"\n"
                      "1 IMAPISession::QueryIdentity {} = \"0x80040102\"\n"
                      "1 IMAPITable::GetRowCount on 00000000F0 {ulFlags: \"0xF0\"} = \"0x80070057\"\n");
}

TEST_F(JournalTest, HasWhatIsPlanned)
{
    const HRESULT busy = mapiResult(0x8004010B);
    const SandboxPlan plan = {"IMAPISession::Logoff", nullptr, 0, 1, 1, &busy, 0, nullptr};
    dll.sandboxAddPlan(&plan);
    (void)m_session->Logoff(0, 0, 0);
    EXPECT_EQ(news(), "1 IMAPISession::Logoff {ulUIParam: \"0x0\", ulFlags: \"0x0\", ulReserved: \"0x0\"} = "
                      "\"0x8004010B\"\n");
}

TEST_F(JournalTest, HasTheFunctions)
{
    struct
    {
        ULONG version;
        ULONG flags;
    } parameters = {0, 0x8};
    (void)dll.MAPIInitialize(&parameters);
    (void)dll.MAPIInitialize(nullptr);
    void* block = nullptr;
    void* more = nullptr;
    (void)dll.MAPIAllocateBuffer(16, &block);
    (void)dll.MAPIAllocateMore(8, block, &more);
    (void)dll.MAPIFreeBuffer(block);
    {
        IMAPISessionPtr session;
        wchar_t profile[] = L"Prof\u00EDl";
        (void)dll.MAPILogonEx(5, profile, nullptr, MAPI_UNICODE | MAPI_EXTENDED, &session);
    }
    dll.MAPIUninitialize();
    dll.MAPIUninitialize();
    EXPECT_EQ(news(), "1 MAPIInitialize {ulVersion: \"0x0\", ulFlags: \"0x8\"} = \"0x0\"\n"
                      "1 MAPIInitialize {} = \"0x0\"\n"
                      "1 MAPIAllocateBuffer {cbSize: \"0x10\"} = \"0x0\"\n"
                      "1 MAPIAllocateMore {cbSize: \"0x8\"} = \"0x0\"\n"
                      "1 MAPILogonEx {ulUIParam: \"0x5\", lpszProfileName: \"Prof\xC3\xADl\", lpszPassword: null, "
                      "ulFlags: \"0x80000020\"} = \"0x0\"\n"
                      "1 MAPIUninitialize {} = \"0x0\"\n"
                      "1 MAPIUninitialize {} = \"0x0\"\n");
}

// ---- Arguments -----------------------------------------------------------------------------------------------------

TEST_F(JournalTest, TellsIdentifiersAndInterfaces)
{
    const Bytes id = {0, 0, 0, 0, 0xA1};
    const IID unknown = {0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
    UnknownPtr object;
    (void)m_store->OpenEntry(5, entryId(id), &IID_IMessage, 0x10, nullptr, &object);
    (void)m_session->OpenEntry(0, nullptr, nullptr, 0, nullptr, nullptr);
    ULONG same = 0;
    (void)m_session->CompareEntryIDs(5, entryId(id), 0, nullptr, 0, &same);
    (void)m_session->OpenMsgStore(7, 5, entryId(id), &unknown, 1, nullptr);
    EXPECT_EQ(news(), "1 IMsgStore::OpenEntry on 00000000AA {lpEntryID: \"00000000A1\", lpInterface: \"IID_IMessage\", "
                      "ulFlags: \"0x10\"} = \"0x0\"\n"
                      "1 IMAPISession::OpenEntry {lpEntryID: \"\", lpInterface: null, ulFlags: \"0x0\"} = "
                      "\"0x80070057\"\n"
                      "1 IMAPISession::CompareEntryIDs {lpEntryID1: \"00000000A1\", lpEntryID2: \"\", "
                      "ulFlags: \"0x0\"} = \"0x80040107\"\n"
                      "1 IMAPISession::OpenMsgStore {ulUIParam: \"0x7\", lpEntryID: \"00000000A1\", "
                      "lpInterface: \"{12345678-9ABC-DEF0-0102-030405060708}\", ulFlags: \"0x1\"} = "
                      "\"0x80070057\"\n");
}

TEST_F(JournalTest, TellsQueryInterfaceByTheObject)
{
    UnknownPtr object;
    (void)m_store->QueryInterface(IID_IMsgStore, reinterpret_cast<void**>(&object));
    EXPECT_EQ(news(), "1 IUnknown::QueryInterface on 00000000AA {riid: \"IID_IMsgStore\"} = \"0x0\"\n");
}

TEST_F(JournalTest, TellsPropertyTags)
{
    ULONG count = 0;
    SPropValue* values = nullptr;
    (void)m_store->GetProps(Tags{PR_ENTRYID, PR_DISPLAY_NAME_W}, MAPI_UNICODE, &count, &values);
    (void)dll.MAPIFreeBuffer(values);
    (void)m_store->GetProps(nullptr, 0xF, &count, &values);
    (void)m_table->SetColumns(Tags{PR_ENTRYID}, TBL_BATCH);
    EXPECT_EQ(news(), "1 IMAPIProp::GetProps on 00000000AA {lpPropTagArray: [\"0xFFF0102\",\"0x3001001F\"], "
                      "ulFlags: \"0x80000000\"} = \"0x0\"\n"
                      "1 IMAPIProp::GetProps on 00000000AA {lpPropTagArray: null, ulFlags: \"0xF\"} = \"0x80040106\"\n"
                      "1 IMAPITable::SetColumns on 00000000F0 {lpPropTagArray: [\"0xFFF0102\"], ulFlags: \"0x2\"} = "
                      "\"0x0\"\n");
}

TEST_F(JournalTest, TellsNamedProperties)
{
    GUID set = {0x00062004, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    wchar_t text[] = L"Key";
    MAPINAMEID number = {};
    number.lpguid = &set;
    number.ulKind = MNID_ID;
    number.Kind.lID = 0x8083;
    MAPINAMEID name = {};
    name.lpguid = &set;
    name.ulKind = MNID_STRING;
    name.Kind.lpwstrName = text;
    MAPINAMEID* names[] = {&number, &name, nullptr};
    SPropTagArray* tags = nullptr;
    (void)m_store->GetIDsFromNames(3, names, MAPI_CREATE, &tags);
    EXPECT_EQ(news(), "1 IMAPIProp::GetIDsFromNames on 00000000AA {cPropNames: \"0x3\", lppPropNames: ["
                      "{\"lID\":\"0x8083\",\"lpguid\":\"{00062004-0000-0000-C000-000000000046}\"},"
                      "{\"lpguid\":\"{00062004-0000-0000-C000-000000000046}\",\"lpwstrName\":\"Key\"},null], "
                      "ulFlags: \"0x2\"} = \"0x80070057\"\n");
}

TEST_F(JournalTest, WritesRestrictionsOut)
{
    wchar_t wide[] = L"IPM.";
    SPropValue text = {};
    text.ulPropTag = PR_MESSAGE_CLASS_W;
    text.Value.lpszW = wide;
    BYTE bytes[] = {0xA1, 0x02};
    SPropValue binary = {};
    binary.ulPropTag = PR_ENTRYID;
    binary.Value.bin = {2, bytes};
    SRestriction parts[4] = {};
    parts[0].rt = RES_CONTENT;
    parts[0].res.resContent = {FL_PREFIX | FL_IGNORECASE, PR_MESSAGE_CLASS_W, &text};
    parts[1].rt = RES_PROPERTY;
    parts[1].res.resProperty = {RELOP_EQ, PR_ENTRYID, &binary};
    parts[2].rt = RES_EXIST;
    parts[2].res.resExist.ulPropTag = PR_ENTRYID;
    parts[3].rt = RES_BITMASK;
    parts[3].res.resBitMask = {BMR_NEZ, PR_OBJECT_TYPE, 3};
    SRestriction all = {};
    all.rt = RES_AND;
    all.res.resAnd = {4, parts};
    SRestriction negated = {};
    negated.rt = RES_NOT;
    negated.res.resNot.lpRes = &all;
    EXPECT_EQ(m_table->FindRow(&negated, BOOKMARK_BEGINNING, DIR_BACKWARD), S_OK);
    EXPECT_EQ(m_table->Restrict(nullptr, 0), S_OK);
    negated.rt = 0x77;
    EXPECT_EQ(m_table->Restrict(&negated, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(news(), "1 IMAPITable::FindRow on 00000000F0 {lpRestriction: {\"lpRes\":{\"lpRes\":["
                      "{\"lpProp\":{\"Value\":\"IPM.\",\"ulPropTag\":\"0x1A001F\"},\"rt\":\"RES_CONTENT\","
                      "\"ulFuzzyLevel\":\"0x10002\",\"ulPropTag\":\"0x1A001F\"},"
                      "{\"lpProp\":{\"Value\":\"A102\",\"ulPropTag\":\"0xFFF0102\"},\"relop\":\"RELOP_EQ\","
                      "\"rt\":\"RES_PROPERTY\",\"ulPropTag\":\"0xFFF0102\"},"
                      "{\"rt\":\"RES_EXIST\",\"ulPropTag\":\"0xFFF0102\"},"
                      "{\"relBMR\":\"BMR_NEZ\",\"rt\":\"RES_BITMASK\",\"ulMask\":\"0x3\",\"ulPropTag\":\"0xFFE0003\"}"
                      "],\"rt\":\"RES_AND\"},\"rt\":\"RES_NOT\"}, bkOrigin: \"0x0\", ulFlags: \"0x1\"} = \"0x0\"\n"
                      "1 IMAPITable::Restrict on 00000000F0 {lpRestriction: null, ulFlags: \"0x0\"} = \"0x0\"\n"
                      "1 IMAPITable::Restrict on 00000000F0 {lpRestriction: {\"rt\":\"0x77\"}, ulFlags: \"0x0\"} = "
                      "\"0x80040117\"\n");
}

TEST_F(JournalTest, SurvivesARestrictionThatNeverEnds)
{
    SRestriction endless = {};
    endless.rt = RES_NOT;
    endless.res.resNot.lpRes = &endless;
    EXPECT_EQ(m_table->Restrict(&endless, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_THAT(news(), StartsWith("1 IMAPITable::Restrict on 00000000F0 {lpRestriction: {\"lpRes\":{\"lpRes\":"));
}

TEST_F(JournalTest, TellsTheOtherArgumentsOfTables)
{
    SSortOrderSet order = {};
    order.cSorts = 1;
    order.aSort[0] = {PR_DISPLAY_NAME_W, TABLE_SORT_DESCEND};
    EXPECT_EQ(m_table->SortTable(&order, 0), S_OK);
    LONG sought = 0;
    EXPECT_EQ(m_table->SeekRow(BOOKMARK_END, -1, &sought), S_OK);
    EXPECT_EQ(m_table->FreeBookmark(0x500000007), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(news(),
              "1 IMAPITable::SortTable on 00000000F0 {lpSortCriteria: {\"aSort\":[{\"ulOrder\":\"TABLE_SORT_DESCEND\","
              "\"ulPropTag\":\"0x3001001F\"}],\"cCategories\":\"0x0\",\"cExpanded\":\"0x0\"}, ulFlags: \"0x0\"} = "
              "\"0x0\"\n"
              "1 IMAPITable::SeekRow on 00000000F0 {bkOrigin: \"0x2\", lRowCount: \"0xFFFFFFFF\"} = \"0x0\"\n"
              "1 IMAPITable::FreeBookmark on 00000000F0 {bkPosition: \"0x500000007\"} = \"0x80040405\"\n");
}

TEST_F(JournalTest, TellsSubscriptions)
{
    const RecordingSinkPtr sink = makeSink();
    {
        IMAPIAdviseSinkPtr wrapper;
        (void)dll.HrThisThreadAdviseSink(sink, &wrapper);
        ULONG_PTR first = 0;
        ULONG_PTR second = 0;
        const Bytes id = {0, 0, 0, 0, 0xA1};
        (void)m_store->Advise(0, nullptr, s_allEvents, wrapper, &first);
        (void)m_store->Advise(5, entryId(id), s_allEvents, sink, &second);
        ULONG_PTR none = 0;
        (void)m_store->Advise(0, nullptr, 0, nullptr, &none);
        (void)m_store->Unadvise(first);
    }
    EXPECT_EQ(news(), "1 HrThisThreadAdviseSink {lpAdviseSink: \"unwrapped\"} = \"0x0\"\n"
                      "1 IMsgStore::Advise on 00000000AA {lpEntryID: \"\", ulEventMask: \"0xFC\", "
                      "lpAdviseSink: \"wrapped\"} = \"0x0\"\n"
                      "1 IMsgStore::Advise on 00000000AA {lpEntryID: \"00000000A1\", ulEventMask: \"0xFC\", "
                      "lpAdviseSink: \"unwrapped\"} = \"0x0\"\n"
                      "1 IMsgStore::Advise on 00000000AA {lpEntryID: \"\", ulEventMask: \"0x0\", lpAdviseSink: null} = "
                      "\"0x80070057\"\n"
                      "1 IMsgStore::Unadvise on 00000000AA {ulConnection: \"0x500000001\"} = \"0x0\"\n");
    EXPECT_EQ(m_store->Unadvise(0x500000002), S_OK);
}

// ---- Order and threads ---------------------------------------------------------------------------------------------

TEST_F(JournalTest, KeepsTheOrderInWhichCallsBegan)
{
    const SandboxPlan plan = {"IMAPITable::QueryPosition", nullptr, 0, 1, 1, nullptr, 0, "gate"};
    dll.sandboxAddPlan(&plan);
    std::thread caller(
        [&]
        {
            ULONG row = 0;
            ULONG numerator = 0;
            ULONG denominator = 0;
            (void)m_table->QueryPosition(&row, &numerator, &denominator);
        });
    const auto deadline = std::chrono::milliseconds(support::deadline);
    EXPECT_EQ(dll.sandboxWaitUntilHeld("gate", static_cast<unsigned>(deadline.count()), nullptr), 1);
    ULONG count = 0;
    (void)m_table->GetRowCount(0, &count);
    const std::string second = "1 IMAPITable::GetRowCount on 00000000F0 {ulFlags: \"0x0\"} = \"0x0\"\n";
    EXPECT_EQ(dll.journal(), second); // the first has not ended
    EXPECT_EQ(dll.sandboxReleaseHold("gate"), 1);
    caller.join();
    EXPECT_EQ(dll.journal(), "2 IMAPITable::QueryPosition on 00000000F0 {} = \"0x0\"\n" + second);
}

TEST_F(JournalTest, NumbersThreadsByTheirFirstCallAlsoWhileItIsOff)
{
    dll.sandboxStopJournal();
    ULONG count = 0;
    std::thread([&] { (void)m_table->GetRowCount(0, &count); }).join();
    dll.sandboxStartJournal();
    std::thread([&] { (void)m_table->GetRowCount(0, &count); }).join();
    (void)m_table->GetRowCount(0, &count);
    EXPECT_EQ(news(), "3 IMAPITable::GetRowCount on 00000000F0 {ulFlags: \"0x0\"} = \"0x0\"\n"
                      "1 IMAPITable::GetRowCount on 00000000F0 {ulFlags: \"0x0\"} = \"0x0\"\n");
}

TEST_F(JournalTest, KeepsTheLatestCallsAndCountsTheLost)
{
    void* block = nullptr;
    for (ULONG size = 1; size <= 100007; ++size)
    {
        (void)dll.MAPIAllocateBuffer(size % 64, &block);
        (void)dll.MAPIFreeBuffer(block);
    }
    const std::string text = dll.journal();
    EXPECT_THAT(text, StartsWith("lost: 7\n1 MAPIAllocateBuffer {cbSize: \"0x8\"} = \"0x0\"\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 100001);
    EXPECT_EQ(news().size(), text.size());
    EXPECT_EQ(dll.journal(), "");
}
