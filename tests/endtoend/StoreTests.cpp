// The message stores: which are read, in which order, and what is told of them.
#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
namespace
{
using testing::ElementsAre;

const std::string notTracked = "Event tracking for public store is not implemented.";
const std::string noStores = "An exception has been caught in AsyncMapiHelper::run : "
                             "SyncManager::createWatchers: Cannot find message stores for synchronization";

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

    /// The message of a store made by `store`: `number` is its number in the file.
    static std::string message(const std::string& name, unsigned number, const std::string& indexAndTotal)
    {
        return lines({"2;snapshot;contact;" + indexAndTotal, namedLine(name + "'s contact", number, firstFolder, 1)});
    }

    /// The four records of the reading of such a store.
    static Records snapshot(const std::string& name, unsigned number, const std::string& indexAndTotal)
    {
        return {"createSnapshot for \"" + name + "\" started", "subfolder found: Contacts",
                "createSnapshot for \"" + name + "\": 1 contact(s) found",
                "Sending data:\n" + message(name, number, indexAndTotal)};
    }

    static Records emptySnapshot(const std::string& name)
    {
        return {"createSnapshot for \"" + name + "\" started",
                "createSnapshot for \"" + name + "\": 0 contact(s) found"};
    }
};

TEST_F(AgentStoresTest, ComeInOrderDefaultThenOthersThenPublic)
{
    const AgentRun run = runUntilSubscribed(
        mailbox({store("Public", "\"public\": true"), store("Archive"), store("Mailbox", "\"default\": true"),
                 store("News", "\"public\": true"), store("Team")}),
        "News");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages,
                ElementsAre(message("Mailbox", 3, "0;5"), message("Archive", 2, "1;5"), message("Team", 5, "2;5"),
                            message("Public", 1, "3;5"), message("News", 4, "4;5")));
    EXPECT_EQ(run.log, logOfClosedWindow(joined(
                           {{storeFound("Public", 1, false, true), storeFound("Archive", 2),
                             storeFound("Mailbox", 3, true), storeFound("News", 4, false, true), storeFound("Team", 5)},
                            snapshot("Mailbox", 3, "0;5"),
                            snapshot("Archive", 2, "1;5"),
                            snapshot("Team", 5, "2;5"),
                            snapshot("Public", 1, "3;5"),
                            snapshot("News", 4, "4;5"),
                            {"Subscribe to Mailbox", "Subscribe to Archive", "Subscribe to Team", "Subscribe to Public",
                             notTracked, "Subscribe to News", notTracked}})));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, HaveTheLastOfTwoDefaultsFirst)
{
    const AgentRun run = runUntilSubscribed(
        mailbox({store("Old", "\"default\": true"), store("Archive"), store("New", "\"default\": true")}), "Archive");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages,
                ElementsAre(message("New", 3, "0;3"), message("Old", 1, "1;3"), message("Archive", 2, "2;3")));
    EXPECT_EQ(run.log, logOfClosedWindow(
                           joined({{storeFound("Old", 1, true), storeFound("Archive", 2), storeFound("New", 3, true)},
                                   snapshot("New", 3, "0;3"),
                                   snapshot("Old", 1, "1;3"),
                                   snapshot("Archive", 2, "2;3"),
                                   {"Subscribe to New", "Subscribe to Old", "Subscribe to Archive"}})));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, HaveAPublicDefaultFirstAmongThePublicOnes)
{
    const AgentRun run =
        runUntilSubscribed(mailbox({store("News", "\"public\": true"), store("Archive"),
                                    store("Public", R"("public": true, "default": true)"), store("Team")}),
                           "News");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(message("Archive", 2, "0;4"), message("Team", 4, "1;4"),
                                          message("Public", 3, "2;4"), message("News", 1, "3;4")));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, AreNoMoreThanOneWithoutADefault)
{
    const AgentRun run = runUntilSubscribed(mailbox({store("Only")}), "Only");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log,
              logOfClosedWindow(joined({{storeFound("Only", 1)}, snapshot("Only", 1, "0;1"), {"Subscribe to Only"}})));
}

TEST_F(AgentStoresTest, ArePublicAsTheOpenedStoreSaysAndNotTheRow)
{
    const AgentRun run = runUntilSubscribed(
        mailbox({store("Shy", R"("public": true, "row": {"PR_MDB_PROVIDER": null})"),
                 store("Loud", R"("row": {"PR_MDB_PROVIDER": "78B2FA70AFF711CD9BC800AA002FC45A"})")}),
        "Shy");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfClosedWindow(joined({{storeFound("Shy", 1), storeFound("Loud", 2, false, true)},
                                                 snapshot("Loud", 2, "0;2"),
                                                 snapshot("Shy", 1, "1;2"),
                                                 {"Subscribe to Loud", "Subscribe to Shy", notTracked}})));
}

TEST_F(AgentStoresTest, AreNotPublicWithAProviderOfAnotherLength)
{
    const AgentRun run = runUntilSubscribed(
        mailbox({store("Short", R"("properties": {"PR_MDB_PROVIDER": "78B2FA70AFF711CD9BC800AA002FC4"})"),
                 store("Long", R"("properties": {"PR_MDB_PROVIDER": "78B2FA70AFF711CD9BC800AA002FC45A00"})"),
                 store("Public", "\"public\": true"), store("Other")}),
        "Public");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfClosedWindow(joined({{storeFound("Short", 1), storeFound("Long", 2),
                                                  storeFound("Public", 3, false, true), storeFound("Other", 4)},
                                                 snapshot("Short", 1, "0;4"),
                                                 snapshot("Long", 2, "1;4"),
                                                 snapshot("Other", 4, "2;4"),
                                                 snapshot("Public", 3, "3;4"),
                                                 {"Subscribe to Short", "Subscribe to Long", "Subscribe to Other",
                                                  "Subscribe to Public", notTracked}})));
}

TEST_F(AgentStoresTest, LeaveAGapInTheIndexesWhenOneIsEmpty)
{
    const AgentRun run = runUntilSubscribed(
        mailbox({store("Mailbox", "\"default\": true"), R"({"name": "Empty"})", store("Archive")}), "Archive");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(message("Mailbox", 1, "0;3"), message("Archive", 3, "2;3")));
    EXPECT_EQ(run.log, logOfClosedWindow(
                           joined({{storeFound("Mailbox", 1, true), storeFound("Empty", 2), storeFound("Archive", 3)},
                                   snapshot("Mailbox", 1, "0;3"),
                                   emptySnapshot("Empty"),
                                   snapshot("Archive", 3, "2;3"),
                                   {"Subscribe to Mailbox", "Subscribe to Empty", "Subscribe to Archive"}})));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, SendNothingWhenAllAreEmpty)
{
    // No host is served: an agent that has nothing to send does not look for one.
    writeMailbox(mailbox({R"({"name": "Mailbox", "default": true})", R"({"name": "Archive"})"}));
    startAgent();
    ASSERT_TRUE(waitUntilSubscribed("Archive"));
    const AgentRun run = closeAndFinish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfClosedWindow(joined({{storeFound("Mailbox", 1, true), storeFound("Archive", 2)},
                                                 emptySnapshot("Mailbox"),
                                                 emptySnapshot("Archive"),
                                                 {"Subscribe to Mailbox", "Subscribe to Archive"}})));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, AreIgnoredWhenTheyCannotBeOpened)
{
    const AgentRun run = runUntilSubscribed(
        mailbox({store("Mailbox", R"("default": true, "openError": "MAPI_E_FAILONEPROVIDER")"), store("Archive")}),
        "Archive");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log,
              logOfClosedWindow(joined({{storeFound("Mailbox", 1, true),
                                         "An exception has been caught in `anonymous-namespace'::tryOpenStore : "
                                         "mapi::Session::openStore, line N: hr = 0x8004011d(MAPI call failed)",
                                         "Ignore message store \"Mailbox\" - cannot open.", storeFound("Archive", 2)},
                                        snapshot("Archive", 2, "0;1"),
                                        {"Subscribe to Archive"}})));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, AreOpenedInSpiteOfAWarning)
{
    const AgentRun run =
        runUntilSubscribed(mailbox({store("Mailbox", R"("default": true, "openError": "0x00040380")")}), "Mailbox");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(message("Mailbox", 1, "0;1")));
}

TEST_F(AgentStoresTest, AreReadAlsoWhenTheirRowsLackColumns)
{
    const AgentRun run =
        runUntilSubscribed(mailbox({store("Mailbox", R"json("default": true, "provider": "Exchange (Köln)",
                                         "row": {"PR_DEFAULT_STORE": {"error": "0x8004010F"}})json"),
                                    store("Archive", R"("row": {"PR_PROVIDER_DISPLAY_W": null})"),
                                    store("Lost", R"("row": {"PR_ENTRYID": null})"),
                                    store("Unnamed", R"("row": {"PR_DISPLAY_NAME_W": null})")}),
                           "");
    EXPECT_EQ(run.exitValue, 0U);
    Records nameless = snapshot("Unnamed", 4, "2;3");
    nameless.front() = "createSnapshot for \"\" started";
    nameless[2] = "createSnapshot for \"\": 1 contact(s) found";
    EXPECT_EQ(
        run.log,
        logOfClosedWindow(joined(
            {{"Message Store found: Mailbox (Exchange (Köln)), Default: false, Public: false, EntryId: " + storeId(1),
              "Message Store found: Archive (), Default: false, Public: false, EntryId: " + storeId(2),
              "Message Store found: Lost (Sandbox Message Store), Default: false, Public: false, EntryId: ",
              "An exception has been caught in `anonymous-namespace'::tryOpenStore : "
              "mapi::Session::openStore, line N: hr = 0x80040107(MAPI call failed)",
              "Ignore message store \"Lost\" - cannot open.", storeFound("", 4)},
             snapshot("Mailbox", 1, "0;3"),
             snapshot("Archive", 2, "1;3"),
             nameless,
             {"Subscribe to Mailbox", "Subscribe to Archive", "Subscribe to "}})));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, EndTheWorkerWhenThereIsNone)
{
    const AgentRun run = runUntilWorkerEnds(R"({"stores": []})");
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfEndedWorker({noStores}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, EndTheWorkerWhenNoneCanBeOpened)
{
    const AgentRun run = runUntilWorkerEnds(mailbox({store("Mailbox", R"("default": true, "openError": "0x80040115")"),
                                                     store("Archive", R"("openError": "MAPI_E_LOGON_FAILED")")}));
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfEndedWorker({storeFound("Mailbox", 1, true),
                                         "An exception has been caught in `anonymous-namespace'::tryOpenStore : "
                                         "mapi::Session::openStore, line N: hr = 0x80040115(MAPI call failed)",
                                         "Ignore message store \"Mailbox\" - cannot open.", storeFound("Archive", 2),
                                         "An exception has been caught in `anonymous-namespace'::tryOpenStore : "
                                         "mapi::Session::openStore, line N: hr = 0x80040111(MAPI call failed)",
                                         "Ignore message store \"Archive\" - cannot open.", noStores}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, EndTheWorkerWhenTheirTableCannotBeHad)
{
    const AgentRun run =
        runUntilWorkerEnds(mailbox({store("Mailbox")}, R"("results": {"GetMsgStoresTable": "0x80040102"})"));
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfEndedWorker({"An exception has been caught in AsyncMapiHelper::run : "
                                         "mapi::Session::enumerateStores, line N: hr = 0x80040102(MAPI call failed)"}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, AreNoneWhenTheirTableCannotBeRead)
{
    const AgentRun run =
        runUntilWorkerEnds(mailbox({store("Mailbox")}, R"("results": {"StoresTable.QueryRows": "0x80040115"})"));
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfEndedWorker({"An exception has been caught in mapi::Rowset::enumerate : "
                                         "mapi::Rowset::enumerate, line N: hr = 0x80040115(MAPI call failed)",
                                         noStores}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, EndTheWorkerWhenOneDoesNotTellItsProvider)
{
    serveHost();
    const AgentRun run = runUntilWorkerEnds(
        mailbox({store("Mailbox", "\"default\": true"), store("Odd", R"("properties": {"PR_MDB_PROVIDER": null})")}));
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre());
    EXPECT_EQ(run.log, logOfEndedWorker({storeFound("Mailbox", 1, true), storeFound("Odd", 2),
                                         "An exception has been caught in AsyncMapiHelper::run : "
                                         "mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)"}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, EndTheWorkerWhenOneHasNoIpmSubtree)
{
    serveHost();
    const AgentRun run = runUntilWorkerEnds(
        mailbox({store("Mailbox", "\"default\": true"),
                 store("Odd", R"("properties": {"PR_IPM_SUBTREE_ENTRYID": null})"), store("Archive")}));
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre(message("Mailbox", 1, "0;3")));
    EXPECT_EQ(run.log,
              logOfEndedWorker(joined({{storeFound("Mailbox", 1, true), storeFound("Odd", 2), storeFound("Archive", 3)},
                                       snapshot("Mailbox", 1, "0;3"),
                                       {"createSnapshot for \"Odd\" started",
                                        "An exception has been caught in AsyncMapiHelper::run : "
                                        "mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)"}})));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, EndTheWorkerWhenAnIpmSubtreeCannotBeOpened)
{
    serveHost();
    const AgentRun run = runUntilWorkerEnds(
        mailbox({store("Odd", R"("default": true, "ipmSubtree": {"openError": "0x80070005"})"), store("Archive")}));
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, ElementsAre());
    EXPECT_EQ(run.log, logOfEndedWorker({storeFound("Odd", 1, true), storeFound("Archive", 2),
                                         "createSnapshot for \"Odd\" started",
                                         "An exception has been caught in AsyncMapiHelper::run : "
                                         "mapi::openEntry, line N: hr = 0x80070005(MAPI call failed)"}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentStoresTest, EndTheWorkerWhenAnIpmSubtreeIdentifierIsEmpty)
{
    serveHost();
    const AgentRun run = runUntilWorkerEnds(
        mailbox({store("Odd", R"("default": true, "properties": {"PR_IPM_SUBTREE_ENTRYID": ""})"), store("Archive")}));
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, logOfEndedWorker(
                           {storeFound("Odd", 1, true), storeFound("Archive", 2), "createSnapshot for \"Odd\" started",
                            "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(an empty entryId passed)",
                            "An exception has been caught in AsyncMapiHelper::run : "
                            "mapi::openEntry, line N: hr = 0x80070057(MAPI call failed)"}));
    EXPECT_EQ(run.report, nothingHeld);
}
} // namespace
} // namespace endtoend
