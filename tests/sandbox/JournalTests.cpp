// The journal: which calls are in it, in which order, and how it writes their arguments.
#include <thread>

#include "tests/sandbox/NotifyTest.h"

using namespace sandboxtest;
using sandbox::Bytes;
using sandbox::Json;
using testing::StartsWith;

namespace
{
constexpr const char* journaledMailbox =
    R"({"stores":[{"name":"A","entryId":"00000000AA","folders":[
        {"name":"F","entryId":"00000000F0","messages":[{"entryId":"00000000A1"}]}]}]})";

class JournalTest : public NotifyTest
{
protected:
    JournalTest()
    {
        openOn(journaledMailbox);
        m_folder = IMAPIFolderPtr(openEntry(m_store.GetInterfacePtr(), Bytes{0, 0, 0, 0, 0xF0}));
        m_table = contentsTable(m_folder);
        dll.startJournal();
    }
    ~JournalTest() override
    {
        m_table = nullptr;
        m_folder = nullptr;
    }

    /// What stands in it, a line for each call: "<thread> <call> [on <identifier>] <arguments> = <result>".
    std::string journal(bool clears = false)
    {
        const Json answer = dll.request({{"do", "journal"}, {"action", "read"}, {"clear", clears}});
        std::string text;
        for (const Json& call : answer.at("calls"))
        {
            text += call.at("thread").dump() + ' ' + call.at("call").get<std::string>();
            if (call.contains("on"))
                text += " on " + call["on"].get<std::string>();
            text += ' ' + call.at("arguments").dump() + " = " + call.at("result").get<std::string>() + '\n';
        }
        return text;
    }
    /// What came in since the last time.
    std::string news() { return journal(true); }
    void doJournal(const char* action) { dll.request({{"do", "journal"}, {"action", action}}); }

    void getRowCount()
    {
        ULONG count = 0;
        (void)m_table->GetRowCount(0, &count);
    }
    const std::string m_getRowCount = R"( IMAPITable::GetRowCount on 00000000F0 {"ulFlags":"0x0"} = 0x0)"
                                      "\n";

    IMAPIFolderPtr m_folder;
    IMAPITablePtr m_table;
};
} // namespace

// ---- Which calls ---------------------------------------------------------------------------------------------------

TEST_F(JournalTest, HasTheCallsWhileItIsOn)
{
    getRowCount();
    doJournal("stop");
    getRowCount();
    EXPECT_EQ(journal(), "1" + m_getRowCount);
    doJournal("start");
    getRowCount();
    EXPECT_EQ(journal(), "1" + m_getRowCount + "1" + m_getRowCount);
    doJournal("clear");
    EXPECT_EQ(journal(), "");
}

TEST_F(JournalTest, IsOffAndEmptyAfterAReset)
{
    getRowCount();
    dll.sandboxReset();
    getRowCount();
    EXPECT_EQ(journal(), "");
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
    EXPECT_EQ(news(), R"(1 HrGetOneProp {"ulPropTag":"0x3001001F"} = 0x0
1 IMAPITable::QueryRows on 00000000F0 {"lRowCount":"0x1","ulFlags":"0x0"} = 0x0
)");
}

TEST_F(JournalTest, HasWhatIsRefusedPlannedAndFails)
{
    (void)m_folder->CreateMessage(nullptr, 0, nullptr);
    (void)m_session->QueryIdentity(nullptr, nullptr);
    (void)m_table->GetRowCount(0xF0, nullptr);
    dll.plan({{"method", "IMAPISession::Logoff"}, {"result", "0x8004010B"}});
    (void)m_session->Logoff(0, 0, 0);
    EXPECT_EQ(news(), R"(1 IMAPIFolder::CreateMessage on 00000000F0 {} = 0x80040102
1 IMAPISession::QueryIdentity {} = 0x80040102
1 IMAPITable::GetRowCount on 00000000F0 {"ulFlags":"0xF0"} = 0x80070057
1 IMAPISession::Logoff {"ulFlags":"0x0","ulReserved":"0x0","ulUIParam":"0x0"} = 0x8004010B
)");
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
    EXPECT_EQ(news(), R"(1 MAPIInitialize {"ulFlags":"0x8","ulVersion":"0x0"} = 0x0
1 MAPIInitialize {} = 0x0
1 MAPIAllocateBuffer {"cbSize":"0x10"} = 0x0
1 MAPIAllocateMore {"cbSize":"0x8"} = 0x0
1 MAPILogonEx {"lpszPassword":null,"lpszProfileName":"Profíl","ulFlags":"0x80000020","ulUIParam":"0x5"} = 0x0
1 MAPIUninitialize {} = 0x0
1 MAPIUninitialize {} = 0x0
)");
}

// ---- Arguments -----------------------------------------------------------------------------------------------------

TEST_F(JournalTest, WritesIdentifiersAndInterfaces)
{
    const Bytes id = {0, 0, 0, 0, 0xA1};
    const IID unknown = {0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
    UnknownPtr object;
    (void)m_store->OpenEntry(5, entryId(id), &IID_IMessage, 0x10, nullptr, &object);
    (void)m_session->OpenEntry(0, nullptr, nullptr, 0, nullptr, nullptr);
    ULONG same = 0;
    (void)m_session->CompareEntryIDs(5, entryId(id), 0, nullptr, 0, &same);
    (void)m_session->OpenMsgStore(7, 5, entryId(id), &unknown, 1, nullptr);
    EXPECT_EQ(
        news(),
        R"(1 IMsgStore::OpenEntry on 00000000AA {"lpEntryID":"00000000A1","lpInterface":"IID_IMessage","ulFlags":"0x10"} = 0x0
1 IMAPISession::OpenEntry {"lpEntryID":"","lpInterface":null,"ulFlags":"0x0"} = 0x80070057
1 IMAPISession::CompareEntryIDs {"lpEntryID1":"00000000A1","lpEntryID2":"","ulFlags":"0x0"} = 0x80040107
1 IMAPISession::OpenMsgStore {"lpEntryID":"00000000A1","lpInterface":"{12345678-9ABC-DEF0-0102-030405060708}","ulFlags":"0x1","ulUIParam":"0x7"} = 0x80070057
)");
}

TEST_F(JournalTest, WritesQueryInterfaceByTheObject)
{
    UnknownPtr object;
    (void)m_store->QueryInterface(IID_IMsgStore, reinterpret_cast<void**>(&object));
    EXPECT_EQ(news(), "1 IUnknown::QueryInterface on 00000000AA {\"riid\":\"IID_IMsgStore\"} = 0x0\n");
}

TEST_F(JournalTest, WritesPropertyTagsAndNames)
{
    ULONG count = 0;
    SPropValue* values = nullptr;
    (void)m_store->GetProps(Tags{PR_ENTRYID, PR_DISPLAY_NAME_W}, MAPI_UNICODE, &count, &values);
    (void)dll.MAPIFreeBuffer(values);
    (void)m_store->GetProps(nullptr, 0xF, &count, &values);
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
    EXPECT_EQ(
        news(),
        R"(1 IMAPIProp::GetProps on 00000000AA {"lpPropTagArray":["0xFFF0102","0x3001001F"],"ulFlags":"0x80000000"} = 0x0
1 IMAPIProp::GetProps on 00000000AA {"lpPropTagArray":null,"ulFlags":"0xF"} = 0x80040106
1 IMAPIProp::GetIDsFromNames on 00000000AA {"cPropNames":"0x3","lppPropNames":[)"
        R"({"lID":"0x8083","lpguid":"{00062004-0000-0000-C000-000000000046}"},)"
        R"({"lpguid":"{00062004-0000-0000-C000-000000000046}","lpwstrName":"Key"},null],"ulFlags":"0x2"} = 0x80070057
)");
}

TEST_F(JournalTest, WritesRestrictionsOut)
{
    wchar_t wide[] = L"IPM.";
    SPropValue text = {};
    text.ulPropTag = PR_MESSAGE_CLASS_W;
    text.Value.lpszW = wide;
    SRestriction parts[2] = {};
    parts[0].rt = RES_PROPERTY;
    parts[0].res.resProperty = {RELOP_EQ, PR_MESSAGE_CLASS_W, &text};
    parts[1].rt = RES_EXIST;
    parts[1].res.resExist.ulPropTag = PR_ENTRYID;
    SRestriction all = {};
    all.rt = RES_AND;
    all.res.resAnd = {2, parts};
    SRestriction negated = {};
    negated.rt = RES_NOT;
    negated.res.resNot.lpRes = &all;
    (void)m_table->FindRow(&negated, BOOKMARK_BEGINNING, 0);
    (void)m_table->Restrict(nullptr, 0);
    negated.rt = RES_SIZE;
    (void)m_table->Restrict(&negated, 0);
    EXPECT_EQ(
        news(),
        R"(1 IMAPITable::FindRow on 00000000F0 {"bkOrigin":"0x0","lpRestriction":{"lpRes":{"lpRes":[)"
        R"({"lpProp":{"Value":"IPM.","ulPropTag":"0x1A001F"},"relop":"RELOP_EQ","rt":"RES_PROPERTY","ulPropTag":"0x1A001F"},)"
        R"({"rt":"RES_EXIST","ulPropTag":"0xFFF0102"}],"rt":"RES_AND"},"rt":"RES_NOT"},"ulFlags":"0x0"} = 0x0
1 IMAPITable::Restrict on 00000000F0 {"lpRestriction":null,"ulFlags":"0x0"} = 0x0
1 IMAPITable::Restrict on 00000000F0 {"lpRestriction":{"rt":"0x7"},"ulFlags":"0x0"} = 0x80040117
)");
}

TEST_F(JournalTest, SurvivesARestrictionThatNeverEnds)
{
    SRestriction endless = {};
    endless.rt = RES_NOT;
    endless.res.resNot.lpRes = &endless;
    EXPECT_EQ(m_table->Restrict(&endless, 0), MAPI_E_TOO_COMPLEX);
    EXPECT_THAT(news(), StartsWith(R"(1 IMAPITable::Restrict on 00000000F0 {"lpRestriction":{"lpRes":{"lpRes":)"));
}

TEST_F(JournalTest, WritesSubscriptions)
{
    const RecordingSinkPtr sink = makeSink();
    {
        IMAPIAdviseSinkPtr wrapper;
        (void)dll.HrThisThreadAdviseSink(sink, &wrapper);
        ULONG_PTR first = 0;
        (void)m_store->Advise(0, nullptr, allEvents, wrapper, &first);
        (void)m_store->Unadvise(first);
        (void)m_store->Advise(0, nullptr, 0, nullptr, &first);
    }
    EXPECT_EQ(news(), R"(1 HrThisThreadAdviseSink {"lpAdviseSink":"unwrapped"} = 0x0
1 IMsgStore::Advise on 00000000AA {"lpAdviseSink":"wrapped","lpEntryID":"","ulEventMask":"0xFC"} = 0x0
1 IMsgStore::Unadvise on 00000000AA {"ulConnection":"0x500000001"} = 0x0
1 IMsgStore::Advise on 00000000AA {"lpAdviseSink":null,"lpEntryID":"","ulEventMask":"0x0"} = 0x80070057
)");
}

// ---- Order and threads ---------------------------------------------------------------------------------------------

TEST_F(JournalTest, KeepsTheOrderInWhichCallsBegan)
{
    dll.plan({{"method", "IMAPITable::SetColumns"}, {"hold", "gate"}});
    std::thread caller([&] { (void)m_table->SetColumns(Tags{PR_ENTRYID}, TBL_BATCH); });
    dll.waitUntilHeld("gate");
    getRowCount();
    EXPECT_EQ(journal(), "1" + m_getRowCount); // the first has not ended
    dll.release("gate");
    caller.join();
    EXPECT_EQ(journal(),
              R"(2 IMAPITable::SetColumns on 00000000F0 {"lpPropTagArray":["0xFFF0102"],"ulFlags":"0x2"} = 0x0
1)" + m_getRowCount);
}

TEST_F(JournalTest, NumbersThreadsByTheirFirstCallAlsoWhileItIsOff)
{
    doJournal("stop");
    std::thread([&] { getRowCount(); }).join();
    doJournal("start");
    std::thread([&] { getRowCount(); }).join();
    getRowCount();
    EXPECT_EQ(news(), "3" + m_getRowCount + "1" + m_getRowCount);
}

TEST_F(JournalTest, KeepsTheLatestCallsAndCountsTheLost)
{
    void* block = nullptr;
    for (ULONG size = 1; size <= 100007; ++size)
    {
        (void)dll.MAPIAllocateBuffer(size % 64, &block);
        (void)dll.MAPIFreeBuffer(block);
    }
    const Json answer = dll.request({{"do", "journal"}, {"action", "read"}});
    EXPECT_EQ(answer.at("lost"), 7);
    EXPECT_EQ(answer.at("calls").size(), 100'000U);
    EXPECT_EQ(answer.at("calls").at(0).at("arguments"), (Json{{"cbSize", "0x8"}}));
}
