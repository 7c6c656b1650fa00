// Batches of notifications: what passes the filter, in which order it is sent, and what is lost when something fails.
#include "tests/endtoend/LiveTest.h"

namespace endtoend
{
namespace
{
using support::PipeReply;

std::string lost(std::string_view failure)
{
    return caught("AdviseSinkImpl::OnNotify", failure);
}

class BatchTest : public EditTest
{
protected:
    static inline const std::string adaLine = namedLine("Ada", 1, contacts, 1);

    // Functions, as the identifiers are variables of other files, and compilers differ in which of these come first.
    static Notification ofAda(unsigned event) { return {.event = event, .id = ada, .parent = known}; }
    static Notification nobodyDeleted() { return {.event = 8, .id = nobody, .parent = known}; }

    /// A change of Ada must be sent as ever.
    void expectAsEver() { expect(ofAda(0x10), {notified(0x10, "Ada", ada), sending("change", {adaLine})}); }
};

// ---- The filter --------------------------------------------------------------------------------------------------------

TEST_F(BatchTest, OfOtherEventsAndObjectsIsNotSeen)
{
    // More bits than asked for, also beside one that is; the end of a search of a store; an address book user.
    expectNothing(inject({ofAda(0x100),
                          ofAda(0x110),
                          ofAda(0x11),
                          ofAda(0x12),
                          ofAda(0x80000004),
                          {.event = 0x80, .objectType = 1, .id = ada, .parent = known},
                          {.event = 0x10, .objectType = 6, .id = ada, .parent = known}}));
}

TEST_F(BatchTest, OfEventsThatMatchNoCaseIsLoggedOnly)
{
    expectLog(inject({ofAda(0x0C), ofAda(0x80), ofAda(0)}),
              {notified(0x0C, "Ada", ada), notified(0x80, "Ada", ada), notified(0, "Ada", ada)});
}

TEST_F(BatchTest, WithIdentifiersThatContradictThemselvesTakesThemAsNone)
{
    Json request = inject({{.event = 0x10, .id = ada}, ofAda(0x10)});
    request["notifications"][0]["parentId"] = {{"size", 46}};
    request["notifications"][0]["oldParentId"] = {{"bytes", known}, {"size", 0}};
    request["notifications"][1]["oldId"] = {{"size", 46}};
    expectLog(request, {notified(0x10, "Ada", ada), sending("change", {adaLine})});
}

// ---- Order -------------------------------------------------------------------------------------------------------------

TEST_F(BatchTest, IsSentDeletedFoldersFirstThenDeletedThenAddedThenChanged)
{
    const std::string fay = messageId(1, contacts, newMessage);
    expectLog({{"do", "batch"},
               {"requests",
                {{{"do", "editContact"}, {"contact", "Mailbox/Contacts/Ada"}, {"set", {{"displayName", "Ada"}}}},
                 {{"do", "addContact"}, {"folder", "Mailbox/Contacts"}, {"contact", {{"displayName", "Fay"}}}},
                 {{"do", "delete"}, {"object", "Mailbox/Contacts/Bea"}},
                 {{"do", "delete"}, {"object", "Mailbox/Friends"}}}}},
              joined({{notified(0x10, "Ada", ada), notified(4, "Fay", fay)},
                      notifiedUnopened(8, bea),
                      isIpmSubtree(),
                      notifiedUnopened(8, alsoKnown, folderType),
                      {"subfolder found: Contacts", "subfolder found: Mail", "subfolder found: Deep",
                       sending("delete", {alsoKnown}, "folder"), sending("delete", {deletedLine(bea)}),
                       sending("add", {namedLine("Fay", 1, contacts, newMessage)}), sending("change", {adaLine})}}));
}

TEST_F(BatchTest, MergesNothing)
{
    expect({ofAda(0x10), ofAda(4), ofAda(8), ofAda(0x10)},
           {notified(0x10, "Ada", ada), notified(4, "Ada", ada), notified(8, "Ada", ada), notified(0x10, "Ada", ada),
            sending("delete", {deletedLine(ada)}), sending("add", {adaLine}), sending("change", {adaLine, adaLine})});
}

TEST_F(BatchTest, FollowsOnBatch)
{
    // Posted one behind the other while the worker is busy with the first.
    ask({{"do", "plan"}, {"method", "IMsgStore::OpenEntry"}, {"hold", "busy"}});
    for (const std::string& id : {ada, bea, ada})
        ask(inject({{.event = 8, .id = id, .parent = known}}));
    ask({{"do", "wait"}, {"for", "held"}, {"hold", "busy"}});
    EXPECT_EQ(messages().size(), 1U); // the snapshot
    expectLog({{"do", "release"}, {"hold", "busy"}},
              {notified(8, "Ada", ada), sending("delete", {deletedLine(ada)}), notified(8, "Bea", bea),
               sending("delete", {deletedLine(bea)}), notified(8, "Ada", ada), sending("delete", {deletedLine(ada)})});
}

// ---- Which folders are known -------------------------------------------------------------------------------------------

TEST_F(BatchTest, FindsAFolderByAnotherOfItsIdentifiersWhereTheSearchComesByIt)
{
    // Of the two known folders the search asks for the second first. By its bytes the first alias stands behind it, so the
    // search goes on behind it and never meets the folder; the second one stands in front of both.
    expectLog(inject({{.event = 8, .id = nobody, .parent = "00000000FF"}}), {});
    expectLog(inject({{.event = 8, .id = nobody, .parent = "0000000001"}}),
              joined({notifiedUnopened(8, nobody), {sending("delete", {deletedLine(nobody)})}}));
}

TEST_F(BatchTest, GoesByTheBytesWhereTheComparisonFails)
{
    const std::string failed = "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80040115";
    ask({{"do", "plan"}, {"method", "IMAPISession::CompareEntryIDs"}, {"times", 0}, {"result", "0x80040115"}});
    expectLog(inject({ofAda(0x10)}),
              {failed, failed, failed, notified(0x10, "Ada", ada), sending("change", {adaLine})});
    // The alias is another folder then.
    expectLog(inject({{.event = 0x10, .id = ada, .parent = "0000000001"}}), {failed, failed, failed});
    ask({{"do", "clearPlans"}});
    expectAsEver();
}

// ---- Failures ----------------------------------------------------------------------------------------------------------

TEST_F(BatchTest, IsLostAsAWholeWhenAContactCannotBeRead)
{
    ask({{"do", "plan"}, {"method", "IMAPIProp::GetProps"}, {"on", "Mailbox/Contacts/Bea"}, {"result", "0x80004005"}});
    expectLog(inject({ofAda(4), {.event = 4, .id = bea, .parent = known}, nobodyDeleted()}),
              {notified(4, "Ada", ada), notified(4, "Bea", bea),
               lost("OutlookContact::load, line N: hr = 0x80004005(MAPI call failed)")});
    expectAsEver();
}

TEST_F(BatchTest, IsLostWhenTheWalkOfTheReconciliationFails)
{
    ask({{"do", "plan"}, {"method", "IMAPIContainer::GetHierarchyTable"}, {"result", "0x80070005"}});
    expectLog(
        inject({nobodyDeleted(), {.event = 8, .objectType = folderType, .id = nobody, .parent = known}, ofAda(8)}),
        joined({notifiedUnopened(8, nobody),
                notifiedUnopened(8, nobody, folderType),
                {lost("mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)")}}));
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
    EXPECT_EQ(reaction.messages, std::vector<std::string>());
    EXPECT_EQ(reaction.log.back(), lost("OutlookContact::load, line N: hr = 0x80004005(MAPI call failed)"));
    // So the next reconciliation has nothing to send.
    EXPECT_EQ(after({{"do", "delete"}, {"object", "Mailbox/Mail"}}).messages, std::vector<std::string>());
    expectLog(inject({ofAda(0x10)}), {notified(0x10, "Ada", ada), sending("change", {adaLine})});
}

/// Batches whose messages the host does not take.
class RefusedBatchTest : public BatchTest
{
protected:
    void SetUp() override
    {
        serveHost({PipeReply::text("ack"), PipeReply::text("ack"), PipeReply::text("no"), PipeReply::text("ack")});
        BatchTest::SetUp();
    }
};

TEST_F(RefusedBatchTest, LoseWhatIsNotSentYet)
{
    // The second message is refused, the third not sent.
    expectLog(inject({{.event = 0x10, .id = bea, .parent = known}, ofAda(4), nobodyDeleted()}),
              joined({{notified(0x10, "Bea", bea), notified(4, "Ada", ada)},
                      notifiedUnopened(8, nobody),
                      {sending("delete", {deletedLine(nobody)}), sending("add", {adaLine}),
                       lost("Unable to send data through ipc channel")}}));
    expectAsEver();
}

TEST_F(BatchTest, IsLostWhileThereIsNoHost)
{
    const Records log = joined({notifiedUnopened(8, nobody), {sending("delete", {deletedLine(nobody)})}});
    host().stop();
    const Reaction reaction = after(inject({nobodyDeleted()}));
    EXPECT_EQ(reaction.messages, std::vector<std::string>());
    EXPECT_EQ(reaction.log, joined({log,
                                    {"NamedPipe::NamedPipe: cannot create or open pipe: pipeName=CorvenaLinkwell, "
                                     "createNew=0, error=0x2",
                                     lost("Unable to send data through ipc channel")}}));
    hostReturns();
    expectLog(inject({nobodyDeleted()}), log);
}
} // namespace
} // namespace endtoend
