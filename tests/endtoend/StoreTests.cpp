// The message stores: which are read, in which order, and what is logged of them.
#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
namespace
{
const std::string noStores =
    workerFailed("SyncManager::createWatchers: Cannot find message stores for synchronization");

/// What is logged of a store that can't be opened.
Records ignored(const std::string& store, std::string_view code)
{
    return {caught("`anonymous-namespace'::tryOpenStore",
                   "mapi::Session::openStore, line N: hr = 0x" + std::string(code) + "(MAPI call failed)"),
            "Ignore message store \"" + store + "\" - cannot open."};
}

class AgentStoresTest : public EndToEndTest
{
protected:
    /// A store in JSON with one contact, "<name>'s contact", in its folder "Contacts".
    static std::string store(const std::string& name, const std::string& more = "")
    {
        return "{\"name\": \"" + name + "\"" + (more.empty() ? "" : ", " + more) +
               R"(, "folders": [{"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": ")" + name +
               R"('s contact"}]}]})";
    }

    static std::string mailbox(std::initializer_list<std::string> stores, const std::string& more = "")
    {
        std::string json = "{\"stores\": [";
        for (const std::string& text : stores)
            json += (json.ends_with('[') ? "" : ", ") + text;
        return json + "]" + (more.empty() ? "" : ", " + more) + "}";
    }

    /// The snapshot of a store made by `store`: `number` is its number in the file.
    static Records read(const std::string& name, unsigned number, const std::string& indexAndTotal)
    {
        return snapshot(name, indexAndTotal, {namedLine(name + "'s contact", number, firstFolder, 1)});
    }

    static Records readEmpty(const std::string& name) { return snapshot(name, "", {}, {}); }
};

TEST_F(AgentStoresTest, ComeInOrderDefaultThenOthersThenPublic)
{
    expectClosedRun(mailbox({store("Public", "\"public\": true"), store("Archive"),
                             store("Mailbox", "\"default\": true"), store("News", "\"public\": true"), store("Team")}),
                    "News",
                    joined({{storeFound("Public", 1, false, true), storeFound("Archive", 2),
                             storeFound("Mailbox", 3, true), storeFound("News", 4, false, true), storeFound("Team", 5)},
                            read("Mailbox", 3, "0;5"),
                            read("Archive", 2, "1;5"),
                            read("Team", 5, "2;5"),
                            read("Public", 1, "3;5"),
                            read("News", 4, "4;5"),
                            {"Subscribe to Mailbox", "Subscribe to Archive", "Subscribe to Team", "Subscribe to Public",
                             notTracked, "Subscribe to News", notTracked}}));
}

TEST_F(AgentStoresTest, HaveTheLastOfTwoDefaultsFirst)
{
    expectClosedRun(mailbox({store("Old", "\"default\": true"), store("Archive"), store("New", "\"default\": true")}),
                    "Archive",
                    joined({{storeFound("Old", 1, true), storeFound("Archive", 2), storeFound("New", 3, true)},
                            read("New", 3, "0;3"),
                            read("Old", 1, "1;3"),
                            read("Archive", 2, "2;3"),
                            {"Subscribe to New", "Subscribe to Old", "Subscribe to Archive"}}));
}

TEST_F(AgentStoresTest, HaveAPublicDefaultFirstAmongThePublicOnes)
{
    expectClosedRun(mailbox({store("News", "\"public\": true"), store("Archive"),
                             store("Public", R"("public": true, "default": true)"), store("Team")}),
                    "News",
                    joined({{storeFound("News", 1, false, true), storeFound("Archive", 2),
                             storeFound("Public", 3, true, true), storeFound("Team", 4)},
                            read("Archive", 2, "0;4"),
                            read("Team", 4, "1;4"),
                            read("Public", 3, "2;4"),
                            read("News", 1, "3;4"),
                            {"Subscribe to Archive", "Subscribe to Team", "Subscribe to Public", notTracked,
                             "Subscribe to News", notTracked}}));
}

TEST_F(AgentStoresTest, ArePublicAsTheOpenedStoreSaysAndNotTheRow)
{
    expectClosedRun(mailbox({store("Shy", R"("public": true, "row": {"PR_MDB_PROVIDER": null})"),
                             store("Loud", R"("row": {"PR_MDB_PROVIDER": "78B2FA70AFF711CD9BC800AA002FC45A"})")}),
                    "Shy",
                    joined({{storeFound("Shy", 1), storeFound("Loud", 2, false, true)},
                            read("Loud", 2, "0;2"),
                            read("Shy", 1, "1;2"),
                            {"Subscribe to Loud", "Subscribe to Shy", notTracked}}));
}

TEST_F(AgentStoresTest, AreNotPublicWithAProviderOfAnotherLength)
{
    expectClosedRun(
        mailbox({store("Short", R"("properties": {"PR_MDB_PROVIDER": "78B2FA70AFF711CD9BC800AA002FC4"})"),
                 store("Long", R"("properties": {"PR_MDB_PROVIDER": "78B2FA70AFF711CD9BC800AA002FC45A00"})"),
                 store("Public", "\"public\": true"), store("Other")}),
        "Public",
        joined({{storeFound("Short", 1), storeFound("Long", 2), storeFound("Public", 3, false, true),
                 storeFound("Other", 4)},
                read("Short", 1, "0;4"),
                read("Long", 2, "1;4"),
                read("Other", 4, "2;4"),
                read("Public", 3, "3;4"),
                {"Subscribe to Short", "Subscribe to Long", "Subscribe to Other", "Subscribe to Public", notTracked}}));
}

TEST_F(AgentStoresTest, LeaveAGapInTheIndexesWhenOneIsEmpty)
{
    expectClosedRun(mailbox({store("Mailbox", "\"default\": true"), R"({"name": "Empty"})", store("Archive")}),
                    "Archive",
                    joined({{storeFound("Mailbox", 1, true), storeFound("Empty", 2), storeFound("Archive", 3)},
                            read("Mailbox", 1, "0;3"),
                            readEmpty("Empty"),
                            read("Archive", 3, "2;3"),
                            {"Subscribe to Mailbox", "Subscribe to Empty", "Subscribe to Archive"}}));
}

TEST_F(AgentStoresTest, SendNothingWhenAllAreEmpty)
{
    // No host is served: an agent that has nothing to send does not look for one.
    writeMailbox(mailbox({R"({"name": "Mailbox"})"}));
    startAgent();
    ASSERT_TRUE(waitUntilSubscribed("Mailbox"));
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    const Records found = {storeFound("Mailbox", 1)};
    expectRun(finish(), logOfClosedWindow(joined({found, readEmpty("Mailbox"), subscribed("Mailbox")})));
}

TEST_F(AgentStoresTest, AreIgnoredWhenTheyCannotBeOpenedButNotForAWarning)
{
    expectClosedRun(
        mailbox({store("Mailbox", R"("default": true)"), store("Archive"), store("Odd")},
                plansFor({{R"("opens": "Mailbox")", "MAPI_E_FAILONEPROVIDER"}, {R"("opens": "Odd")", "0x00040380"}})),
        "Odd",
        joined({{storeFound("Mailbox", 1, true)},
                ignored("Mailbox", "8004011d"),
                {storeFound("Archive", 2), storeFound("Odd", 3)},
                read("Archive", 2, "0;2"),
                read("Odd", 3, "1;2"),
                {"Subscribe to Archive", "Subscribe to Odd"}}));
}

TEST_F(AgentStoresTest, AreReadAlsoWhenTheirRowsLackColumns)
{
    Records nameless = read("Unnamed", 4, "2;3");
    nameless.front() = "createSnapshot for \"\" started";
    nameless[2] = "createSnapshot for \"\": 1 contact(s) found";
    expectClosedRun(
        mailbox({store("Mailbox", R"json("default": true, "provider": "Exchange (Köln)",
                                         "row": {"PR_DEFAULT_STORE": {"error": "0x8004010F"}})json"),
                 store("Archive", R"("row": {"PR_PROVIDER_DISPLAY_W": null})"),
                 store("Lost", R"("row": {"PR_ENTRYID": null})"),
                 store("Unnamed", R"("row": {"PR_DISPLAY_NAME_W": null})")}),
        "",
        joined(
            {{"Message Store found: Mailbox (Exchange (Köln)), Default: false, Public: false, EntryId: " + storeId(1),
              "Message Store found: Archive (), Default: false, Public: false, EntryId: " + storeId(2),
              "Message Store found: Lost (Sandbox Message Store), Default: false, Public: false, EntryId: "},
             ignored("Lost", "80040107"),
             {storeFound("", 4)},
             read("Mailbox", 1, "0;3"),
             read("Archive", 2, "1;3"),
             nameless,
             {"Subscribe to Mailbox", "Subscribe to Archive", "Subscribe to "}}));
}

TEST_F(AgentStoresTest, EndTheWorkerWhenThereIsNone)
{
    expectEndedWorker(R"({"stores": []})", {noStores});
}

TEST_F(AgentStoresTest, EndTheWorkerWhenNoneCanBeOpened)
{
    expectEndedWorker(
        mailbox({store("Mailbox", "\"default\": true"), store("Archive")},
                plansFor({{R"("opens": "Mailbox")", "0x80040115"}, {R"("opens": "Archive")", "MAPI_E_LOGON_FAILED"}})),
        joined({{storeFound("Mailbox", 1, true)},
                ignored("Mailbox", "80040115"),
                {storeFound("Archive", 2)},
                ignored("Archive", "80040111"),
                {noStores}}));
}

TEST_F(AgentStoresTest, EndTheWorkerWhenTheirTableCannotBeHadOrRead)
{
    expectEndedWorker(
        mailbox({store("Mailbox")}, plansFor({{R"("method": "IMAPISession::GetMsgStoresTable")", "0x80040102"}})),
        {workerFailed("mapi::Session::enumerateStores, line N: hr = 0x80040102(MAPI call failed)")});
    ASSERT_TRUE(DeleteFileW(logFile().c_str()));
    expectEndedWorker(
        mailbox({store("Mailbox")},
                plansFor({{R"("method": "IMAPITable::QueryRows", "table": "stores")", "0x80040115"}})),
        {caught("mapi::Rowset::enumerate", "mapi::Rowset::enumerate, line N: hr = 0x80040115(MAPI call failed)"),
         noStores});
}

TEST_F(AgentStoresTest, EndTheWorkerWhenOneHasNoProvider)
{
    expectEndedWorker(
        mailbox({store("Mailbox", "\"default\": true"), store("Odd", R"("properties": {"PR_MDB_PROVIDER": null})")}),
        {storeFound("Mailbox", 1, true), storeFound("Odd", 2),
         workerFailed("mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)")});
}

TEST_F(AgentStoresTest, EndTheWorkerWhenOneHasNoIpmSubtree)
{
    expectEndedWorker(mailbox({store("Mailbox", "\"default\": true"),
                               store("Odd", R"("properties": {"PR_IPM_SUBTREE_ENTRYID": null})"), store("Archive")}),
                      joined({{storeFound("Mailbox", 1, true), storeFound("Odd", 2), storeFound("Archive", 3)},
                              read("Mailbox", 1, "0;3"),
                              {"createSnapshot for \"Odd\" started",
                               workerFailed("mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)")}}));
}

TEST_F(AgentStoresTest, EndTheWorkerWhenAnIpmSubtreeCannotBeOpened)
{
    const Records start = {storeFound("Odd", 1), "createSnapshot for \"Odd\" started"};
    expectEndedWorker(mailbox({store("Odd")}, plansFor({{R"("method": "IMsgStore::OpenEntry")", "0x80070005"}})),
                      joined({start, {workerFailed("mapi::openEntry, line N: hr = 0x80070005(MAPI call failed)")}}));
    ASSERT_TRUE(DeleteFileW(logFile().c_str()));
    expectEndedWorker(
        mailbox({store("Odd", R"("properties": {"PR_IPM_SUBTREE_ENTRYID": ""})")}),
        joined({start, {emptyIdPassed, workerFailed("mapi::openEntry, line N: hr = 0x80070057(MAPI call failed)")}}));
}
} // namespace
} // namespace endtoend
