// Batches of notifications: what passes the filter, in which order it is told, and what is lost when something fails.
#include "tests/endtoend/LiveTest.h"

namespace endtoend
{
namespace
{
using support::PipeReply;
using testing::IsEmpty;

constexpr unsigned folderType = 3;
constexpr unsigned messageType = 5;
constexpr unsigned contacts = 3;
constexpr unsigned friends = 4;
constexpr unsigned mail = 5;

const std::string ada = messageId(1, contacts, 1);
const std::string bea = messageId(1, contacts, 2);
const std::string knownFolder = folderId(1, contacts);

constexpr std::string_view mailbox = R"({"stores": [{"name": "Mailbox", "default": true,
    "ipmSubtree": {"class": "IPF.Note"},
    "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "aliases": ["00000000FF", "0000000001"],
         "messages": [{"displayName": "Ada"}, {"displayName": "Bea"}]},
        {"name": "Friends", "class": "IPF.Contact", "messages": [{"displayName": "Cid"}]},
        {"name": "Mail", "class": "IPF.Note"}]}]})";

std::string caught(std::string_view failure)
{
    return "An exception has been caught in AdviseSinkImpl::OnNotify : " + std::string(failure);
}

class BatchTest : public LiveTest
{
protected:
    void SetUp() override
    {
        LiveTest::SetUp();
        startLive(mailbox);
    }

    void TearDown() override { closeLive(); }

    void expect(const Json& request, const std::vector<std::string>& messages, std::initializer_list<Records> log)
    {
        const Reaction reaction = after(request);
        EXPECT_EQ(reaction.messages, messages);
        EXPECT_EQ(reaction.log, joined(log));
    }

    /// A change of Ada must be told as ever.
    void expectAsEver()
    {
        const std::string message = change("change", "contact", {namedLine("Ada", 1, contacts, 1)});
        expect(inject({{.event = 0x10, .id = ada, .parent = knownFolder}}), {message},
               {{notified(0x10, "Ada", messageType, ada), sending(message)}});
    }
};

// ---- The filter --------------------------------------------------------------------------------------------------------

TEST_F(BatchTest, OfOtherEventsAndObjectsIsNotSeen)
{
    // More bits than asked for, also beside one that is; the end of a search of a store; an address book user.
    const Reaction reaction = after(inject({{.event = 0x100, .id = ada, .parent = knownFolder},
                                            {.event = 0x110, .id = ada, .parent = knownFolder},
                                            {.event = 0x11, .id = ada, .parent = knownFolder},
                                            {.event = 0x12, .id = ada, .parent = knownFolder},
                                            {.event = 0x80000004, .id = ada, .parent = knownFolder},
                                            {.event = 0x80, .objectType = 1, .id = ada, .parent = knownFolder},
                                            {.event = 0x10, .objectType = 6, .id = ada, .parent = knownFolder}}));
    EXPECT_THAT(reaction.messages, IsEmpty());
    EXPECT_THAT(reaction.log, IsEmpty());
    EXPECT_THAT(reaction.calls, IsEmpty());
}

TEST_F(BatchTest, OfEventsThatMatchNoCaseIsLoggedOnly)
{
    expect(inject({{.event = 0x0C, .id = ada, .parent = knownFolder},
                   {.event = 0x80, .id = ada, .parent = knownFolder},
                   {.event = 0, .id = ada, .parent = knownFolder}}),
           {},
           {{notified(0x0C, "Ada", messageType, ada), notified(0x80, "Ada", messageType, ada),
             notified(0, "Ada", messageType, ada)}});
}

TEST_F(BatchTest, ThatGivesNothingIsLoggedOnly)
{
    expect(inject({{.event = 8, .id = "80000000AB", .parent = knownFolder},
                   {.event = 8, .id = "80000000CD", .parent = knownFolder}}),
           {},
           {notifiedUnopened(8, messageType, "80000000AB"),
            {shortTermIgnored},
            notifiedUnopened(8, messageType, "80000000CD"),
            {shortTermIgnored}});
}

TEST_F(BatchTest, WithIdentifiersThatContradictThemselvesTakesThemAsNone)
{
    Json request = inject({{.event = 0x10, .id = ada}, {.event = 0x10, .id = ada, .parent = knownFolder}});
    request["notifications"][0]["parentId"] = {{"size", 46}};
    request["notifications"][0]["oldParentId"] = {{"bytes", knownFolder}, {"size", 0}};
    request["notifications"][1]["oldId"] = {{"size", 46}};
    const std::string message = change("change", "contact", {namedLine("Ada", 1, contacts, 1)});
    expect(request, {message}, {{notified(0x10, "Ada", messageType, ada), sending(message)}});
}

// ---- Order -------------------------------------------------------------------------------------------------------------

TEST_F(BatchTest, IsToldDeletedFoldersFirstThenDeletedThenAddedThenChanged)
{
    const std::string eve = messageId(1, contacts, 4);
    const std::string folder = change("delete", "folder", {folderId(1, friends)});
    const std::string deleted = change("delete", "contact", {deletedLine(bea)});
    const std::string added = change("add", "contact", {namedLine("Eve", 1, contacts, 4)});
    const std::string changed = change("change", "contact", {namedLine("Ada", 1, contacts, 1)});
    const Reaction reaction =
        after({{"do", "batch"},
               {"requests",
                {{{"do", "editContact"}, {"contact", "Mailbox/Contacts/Ada"}, {"set", {{"displayName", "Ada"}}}},
                 {{"do", "addContact"}, {"folder", "Mailbox/Contacts"}, {"contact", {{"displayName", "Eve"}}}},
                 {{"do", "delete"}, {"object", "Mailbox/Contacts/Bea"}},
                 {{"do", "delete"}, {"object", "Mailbox/Friends"}}}}});
    EXPECT_EQ(reaction.messages, (std::vector{folder, deleted, added, changed}));
    EXPECT_EQ(
        reaction.log,
        joined({{notified(0x10, "Ada", messageType, ada), notified(4, "Eve", messageType, eve)},
                notifiedUnopened(8, messageType, bea),
                {"mapi::MessageStore::testHierarchy: Analyze relations of root folder IPM_SUBTREE and  IPM_SUBTREE",
                 "mapi::MessageStore::testHierarchy: These are different instances of the same object."},
                notifiedUnopened(8, folderType, folderId(1, friends)),
                {"subfolder found: Contacts", "subfolder found: Mail", sending(folder), sending(deleted),
                 sending(added), sending(changed)}}));
}

TEST_F(BatchTest, MergesNothing)
{
    const std::string twice = namedLine("Ada", 1, contacts, 1);
    const std::string deleted = change("delete", "contact", {deletedLine(ada)});
    const std::string added = change("add", "contact", {twice});
    const std::string changed = change("change", "contact", {twice, twice});
    const Raw change{.event = 0x10, .id = ada, .parent = knownFolder};
    expect(inject({change,
                   {.event = 4, .id = ada, .parent = knownFolder},
                   {.event = 8, .id = ada, .parent = knownFolder},
                   change}),
           {deleted, added, changed},
           {{notified(0x10, "Ada", messageType, ada), notified(4, "Ada", messageType, ada),
             notified(8, "Ada", messageType, ada), notified(0x10, "Ada", messageType, ada), sending(deleted),
             sending(added), sending(changed)}});
}

TEST_F(BatchTest, FollowsOnBatch)
{
    // Posted one behind the other while the worker is busy with the first.
    ask({{"do", "plan"}, {"method", "IMsgStore::OpenEntry"}, {"hold", "busy"}});
    for (const std::string& id : {ada, bea, ada})
        ask(inject({{.event = 8, .id = id, .parent = knownFolder}}));
    ask({{"do", "wait"}, {"for", "held"}, {"hold", "busy"}});
    EXPECT_THAT(messages().size(), 1U); // the snapshot
    ask({{"do", "release"}, {"hold", "busy"}});
    EXPECT_EQ(reaction().messages, (std::vector{change("delete", "contact", {deletedLine(ada)}),
                                                change("delete", "contact", {deletedLine(bea)}),
                                                change("delete", "contact", {deletedLine(ada)})}));
}

// ---- Which folders are known -------------------------------------------------------------------------------------------

TEST_F(BatchTest, FindsAFolderByAnotherOfItsIdentifiersWhereTheSearchComesByIt)
{
    // Of the two known folders the search asks for the second first. By its bytes the first alias stands behind it, so the
    // search goes on behind it and never meets the folder; the second one stands in front of both.
    expect(inject({{.event = 8, .id = nobody, .parent = "00000000FF"}}), {}, {});
    const std::string message = change("delete", "contact", {deletedLine(nobody)});
    expect(inject({{.event = 8, .id = nobody, .parent = "0000000001"}}), {message},
           {notifiedUnopened(8, messageType, nobody), {sending(message)}});
}

TEST_F(BatchTest, GoesByTheBytesWhereTheComparisonFails)
{
    const std::string failed = "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80040115";
    const std::string message = change("change", "contact", {namedLine("Ada", 1, contacts, 1)});
    ask({{"do", "plan"}, {"method", "IMAPISession::CompareEntryIDs"}, {"times", 0}, {"result", "0x80040115"}});
    expect(inject({{.event = 0x10, .id = ada, .parent = knownFolder}}), {message},
           {{failed, failed, failed, notified(0x10, "Ada", messageType, ada), sending(message)}});
    // The alias is another folder then.
    expect(inject({{.event = 0x10, .id = ada, .parent = "0000000001"}}), {}, {{failed, failed, failed}});
    ask({{"do", "clearPlans"}});
    expectAsEver();
}

// ---- Failures ----------------------------------------------------------------------------------------------------------

TEST_F(BatchTest, IsLostAsAWholeWhenAContactCannotBeRead)
{
    ask({{"do", "plan"}, {"method", "IMAPIProp::GetProps"}, {"on", "Mailbox/Contacts/Bea"}, {"result", "0x80004005"}});
    const Raw added{.event = 4, .id = ada, .parent = knownFolder};
    const Raw next{.event = 4, .id = bea, .parent = knownFolder};
    const Raw never{.event = 8, .id = nobody, .parent = knownFolder};
    const Reaction reaction = after(inject({added, next, never}));
    EXPECT_THAT(reaction.messages, IsEmpty());
    EXPECT_EQ(reaction.log, (Records{notified(4, "Ada", messageType, ada), notified(4, "Bea", messageType, bea),
                                     caught("OutlookContact::load, line N: hr = 0x80004005(MAPI call failed)")}));
    expectAsEver();
}

TEST_F(BatchTest, IsLostWhenTheWalkOfTheReconciliationFails)
{
    ask({{"do", "plan"}, {"method", "IMAPIContainer::GetHierarchyTable"}, {"result", "0x80070005"}});
    const Reaction reaction = after(inject({{.event = 8, .id = nobody, .parent = knownFolder},
                                            {.event = 8, .objectType = folderType, .id = nobody, .parent = knownFolder},
                                            {.event = 8, .id = ada, .parent = knownFolder}}));
    EXPECT_THAT(reaction.messages, IsEmpty());
    EXPECT_EQ(reaction.log, joined({notifiedUnopened(8, messageType, nobody),
                                    notifiedUnopened(8, folderType, nobody),
                                    {caught("mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)")}}));
    expectAsEver();
}

TEST_F(BatchTest, ForgetsAFolderAlsoWhenItsBatchIsLost)
{
    // The folder is erased, and then the contact behind it in the batch can't be read.
    ask({{"do", "plan"}, {"method", "IMAPIProp::GetProps"}, {"result", "0x80004005"}});
    const Reaction reaction =
        after({{"do", "batch"},
               {"requests",
                {{{"do", "delete"}, {"object", "Mailbox/Friends"}},
                 {{"do", "editContact"}, {"contact", "Mailbox/Contacts/Ada"}, {"set", {{"displayName", "Ada"}}}}}}});
    EXPECT_THAT(reaction.messages, IsEmpty());
    EXPECT_EQ(reaction.log.back(), caught("OutlookContact::load, line N: hr = 0x80004005(MAPI call failed)"));
    // So the next reconciliation has nothing to tell.
    EXPECT_THAT(after({{"do", "delete"}, {"object", "Mailbox/Mail"}}).messages, IsEmpty());
    expectAsEver();
}

/// Batches whose messages the host does not take.
class RefusedBatchTest : public BatchTest
{
protected:
    void SetUp() override
    {
        LiveTest::SetUp();
        serveHost({PipeReply::text("ack"), PipeReply::text("ack"), PipeReply::text("no"), PipeReply::text("ack")});
        startLive(mailbox);
    }
};

TEST_F(RefusedBatchTest, LoseWhatIsNotSentYet)
{
    const std::string deleted = change("delete", "contact", {deletedLine(nobody)});
    const std::string added = change("add", "contact", {namedLine("Ada", 1, contacts, 1)});
    const Reaction reaction = after(inject({{.event = 0x10, .id = bea, .parent = knownFolder},
                                            {.event = 4, .id = ada, .parent = knownFolder},
                                            {.event = 8, .id = nobody, .parent = knownFolder}}));
    EXPECT_EQ(reaction.messages, (std::vector{deleted, added})); // the second is refused, the third not sent
    EXPECT_EQ(reaction.log,
              joined({{notified(0x10, "Bea", messageType, bea), notified(4, "Ada", messageType, ada)},
                      notifiedUnopened(8, messageType, nobody),
                      {sending(deleted), sending(added), caught("Unable to send data through ipc channel")}}));
    expectAsEver();
}

TEST_F(LiveTest, OutlivesTheHost)
{
    startLive(mailbox);
    const std::string message = change("delete", "contact", {deletedLine(nobody)});
    const Json request = inject({{.event = 8, .id = nobody, .parent = knownFolder}});
    host().stop();
    Reaction reaction = after(request);
    EXPECT_THAT(reaction.messages, IsEmpty());
    EXPECT_EQ(reaction.log, joined({notifiedUnopened(8, messageType, nobody),
                                    {sending(message),
                                     "NamedPipe::NamedPipe: cannot create or open pipe: pipeName=CorvenaLinkwell, "
                                     "createNew=0, error=0x2",
                                     caught("Unable to send data through ipc channel")}}));
    hostReturns();
    reaction = after(request);
    EXPECT_EQ(reaction.messages, std::vector{message});
    closeLive();
}

// ---- Stores that are not watched ---------------------------------------------------------------------------------------

TEST_F(LiveTest, HearsNothingOfAPublicStore)
{
    startLive(R"({"stores": [{"name": "Public", "default": true, "public": true, "folders": [
        {"name": "Contacts", "class": "IPF.Contact"}]}, {"name": "Mailbox", "folders": [
        {"name": "Contacts", "class": "IPF.Contact"}]}]})",
              "Public");
    Reaction reaction =
        after({{"do", "addContact"}, {"folder", "Public/Contacts"}, {"contact", {{"displayName", "Ada"}}}});
    EXPECT_THAT(reaction.messages, IsEmpty());
    EXPECT_THAT(reaction.log, IsEmpty());
    EXPECT_THAT(reaction.calls, IsEmpty());
    reaction = after({{"do", "addContact"}, {"folder", "Mailbox/Contacts"}, {"contact", {{"displayName", "Ada"}}}});
    EXPECT_EQ(reaction.messages.size(), 1U);
    closeLive();
}

TEST_F(LiveTest, DropsAllOfAStoreWithoutContactFolders)
{
    startLive(R"({"stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"},
        "folders": [{"name": "Mail", "class": "IPF.Note"}]}]})");
    for (const Json& request : {Json{{"do", "addContact"}, {"folder", "Mailbox/Mail"}, {"contact", Json::object()}},
                                Json{{"do", "addFolder"},
                                     {"parent", "Mailbox"},
                                     {"folder", {{"name", "Contacts"}, {"class", "IPF.Contact"}}}}})
    {
        const Reaction reaction = after(request);
        EXPECT_THAT(reaction.messages, IsEmpty());
        EXPECT_THAT(reaction.log, IsEmpty());
        EXPECT_THAT(reaction.calls, IsEmpty());
    }
    closeLive();
}
} // namespace
} // namespace endtoend
