// Batches that arrive while another one is handled, inside a call of MAPI that its handling makes; and one that arrives when
// nobody is left to hear of it.
#include <algorithm>
#include <cstddef>

#include "tests/endtoend/LiveTest.h"

namespace endtoend
{
namespace
{
class NestedBatchTest : public EditTest
{
protected:
    static inline const std::string deepId = folderId(1, deep);
    static inline const std::string outsideId = folderId(1, outside);
    static inline const std::string newId = folderId(1, newFolder);
    static inline const Json deletesFriends = {{"do", "delete"}, {"object", "Mailbox/Friends"}};
    static inline const Json deletesDeep = {{"do", "delete"}, {"object", "Mailbox/Mail/Deep"}};
    /// The walk comes by this folder when it has looked into the IPM subtree and into Contacts.
    static inline const Json walkInMail = {{"method", "IMAPIContainer::GetHierarchyTable"}, {"on", "Mailbox/Mail"}};

    static Json edits(const std::string& contact, const std::string& name)
    {
        return {{"do", "editContact"}, {"contact", contact}, {"set", {{"displayName", name}}}};
    }
    /// A contact folder in Contacts, of one contact.
    static Json adds(const std::string& name)
    {
        return {{"do", "addFolder"},
                {"parent", "Mailbox/Contacts"},
                {"folder",
                 {{"name", name}, {"class", "IPF.Contact"}, {"messages", Json::array({{{"displayName", "Fay"}}})}}}};
    }
    /// What is logged of such a folder up to its registration, and its message; these are new folders in their order.
    static Records registers(const std::string& name, unsigned number = 0)
    {
        return {notified(4, name, folderId(1, newFolder + number), folderType), registered(name)};
    }
    static std::string sends(unsigned number = 0)
    {
        return sending("add", {namedLine("Fay", 1, newFolder + number, newMessage + number)});
    }
    static Records changes(const std::string& name, const std::string& id, const std::string& line)
    {
        return {notified(0x10, name, id), sending("change", {line})};
    }
    static Records walk(std::initializer_list<std::string_view> folders)
    {
        Records records;
        for (const std::string_view folder : folders)
            records.push_back("subfolder found: " + std::string(folder));
        return records;
    }

    /// A comparison of identifiers in the handling of a notification: the last one, or one so many in front of it.
    [[nodiscard]] Json comparison(const Notification& notification, std::ptrdiff_t fromLast = 0) const
    {
        const Calls calls = CallModel(m_calls).handled(notification);
        const auto number = std::ranges::count_if(calls, [](const std::string& call)
                                                  { return call.starts_with("IMAPISession::CompareEntryIDs"); });
        return {{"method", "IMAPISession::CompareEntryIDs"}, {"call", number - fromLast}};
    }

    /// The second request is made, and what it brings handled, inside this call in the handling of what the first brings.
    /// All that must have these records, and the messages that they say are sent.
    void expectNested(Json call, const Json& outer, const Json& inner, const Records& log)
    {
        call.update({{"do", "plan"}, {"hold", "inside"}, {"deliver", true}});
        ask(call);
        ask(outer);
        ask({{"do", "wait"}, {"for", "held"}, {"hold", "inside"}});
        ask(inner);
        expectLog({{"do", "release"}, {"hold", "inside"}}, log);
        ask({{"do", "clearPlans"}});
    }

    /// A new contact in this folder must be sent.
    void expectWatched(const std::string& folder)
    {
        EXPECT_EQ(after({{"do", "addContact"}, {"folder", "#" + folder}, {"contact", {{"displayName", "New"}}}})
                      .messages.size(),
                  1U);
    }
    /// No known folder is missing, and none is known that is not there.
    void expectNothingGone()
    {
        EXPECT_EQ(after({{"do", "delete"}, {"object", "Mailbox/Mail"}}).messages, std::vector<std::string>());
    }
};

// ---- Inside a search of the known folders ------------------------------------------------------------------------------

TEST_F(NestedBatchTest, InASearchIsHandledFirstAndAddsAFolder)
{
    for (unsigned number = 0; number < 3; ++number) // in each of the search's calls
    {
        const std::string name = "Work " + std::to_string(number);
        expectNested(
            {{"method", "IMAPISession::CompareEntryIDs"}, {"call", number + 1}}, edits("Mailbox/Contacts/Ada", "Ada"),
            adds(name),
            joined({registers(name, number), {sends(number)}, changes("Ada", ada, namedLine("Ada", 1, contacts, 1))}));
    }
    expectWatched(newId);
    expectNothingGone();
}

TEST_F(NestedBatchTest, InASearchTakesTheFolderAwayThatIsSearchedFor)
{
    // Cid lay in Friends.
    expectNested({{"method", "IMAPISession::CompareEntryIDs"}}, edits("Mailbox/Friends/Cid", "Cid"), deletesFriends,
                 joined({isIpmSubtree(),
                         notifiedUnopened(8, alsoKnown, folderType),
                         walk({"Contacts", "Mail", "Deep"}),
                         {sending("delete", {alsoKnown}, "folder")}}));
}

// ---- Inside the registration of a folder -------------------------------------------------------------------------------

TEST_F(NestedBatchTest, InARegistrationTakesAFolderAway)
{
    m_calls.putContacts(newId, known);
    expectNested(comparison({4, folderType, newId, known}), adds("Work"), deletesFriends,
                 joined({registers("Work"),
                         isIpmSubtree(),
                         notifiedUnopened(8, alsoKnown, folderType),
                         walk({"Contacts", "Mail", "Work", "Deep"}),
                         {sending("delete", {alsoKnown}, "folder"), sends()}}));
    expectWatched(newId);
    expectWatched(known);
    expectNothingGone();
}

TEST_F(NestedBatchTest, InARegistrationRegistersAnotherFolder)
{
    m_calls.putContacts(newId, known);
    expectNested(comparison({4, folderType, newId, known}), adds("Work"), adds("Club"),
                 joined({registers("Work"), registers("Club", 1), {sends(1), sends()}}));
    expectWatched(newId);
    expectWatched(folderId(1, newFolder + 1));
    expectNothingGone();
}

// ---- Inside a reconciliation -------------------------------------------------------------------------------------------

TEST_F(NestedBatchTest, InAWalkReportsAMissingFolderWhichIsNotReportedAgain)
{
    expectNested(walkInMail, deletesFriends, deletesDeep,
                 joined({isIpmSubtree(),
                         notifiedUnopened(8, alsoKnown, folderType),
                         walk({"Contacts", "Mail"}),
                         lies("Mail", true),
                         notifiedUnopened(8, deepId, folderType),
                         walk({"Contacts", "Mail"}),
                         {sending("delete", {alsoKnown}, "folder")}}));
    expectWatched(known);
    expectNothingGone();
}

TEST_F(NestedBatchTest, InAWalkRegistersAFolderWhichIsNotReportedAsGone)
{
    expectNested(walkInMail, deletesDeep, adds("Work"),
                 joined({lies("Mail", true),
                         notifiedUnopened(8, deepId, folderType),
                         walk({"Contacts", "Friends", "Mail"}),
                         registers("Work"),
                         {sends()}}));
    expectWatched(newId);
    expectNothingGone();
}

TEST_F(NestedBatchTest, InAWalkRegistersAKnownFolderAgainWhichIsNotReportedAsGone)
{
    const auto moves = [](const std::string& to)
    {
        return Json{{"do", "move"}, {"object", "#" + alsoKnown}, {"to", to}};
    };
    const std::string moved = notified(0x20, "Friends", alsoKnown, folderType);
    expectNested(walkInMail, moves("#" + outsideId), moves("Mailbox/Contacts"),
                 joined({lies("Outside", false),
                         isIpmSubtree(),
                         {moved},
                         walk({"Contacts", "Mail"}),
                         {moved},
                         lies("Outside", false),
                         {registered("Friends"), sending("add", {namedLine("Cid", 1, friends, 3)})},
                         walk({"Deep"})}));
    expectWatched(alsoKnown);
    expectNothingGone();
}

/// The comparisons behind the walk: of Contacts, which takes four, and of Friends, which takes three.
class NestedBatchInComparisonTest : public NestedBatchTest, public testing::WithParamInterface<std::ptrdiff_t>
{
};

TEST_P(NestedBatchInComparisonTest, ReportsAMissingFolderWhichIsNotReportedAgain)
{
    m_calls.remove(alsoKnown);
    expectNested(comparison({8, folderType, alsoKnown, folderId(1, ipmSubtree)}, GetParam()), deletesFriends,
                 deletesDeep,
                 joined({isIpmSubtree(),
                         notifiedUnopened(8, alsoKnown, folderType),
                         walk({"Contacts", "Mail", "Deep"}),
                         lies("Mail", true),
                         notifiedUnopened(8, deepId, folderType),
                         walk({"Contacts", "Mail"}),
                         {sending("delete", {alsoKnown}, "folder")}}));
    expectWatched(known);
    expectNothingGone();
}

TEST_P(NestedBatchInComparisonTest, RegistersAFolderWhichIsNotReportedAsGone)
{
    m_calls.remove(alsoKnown);
    expectNested(comparison({8, folderType, alsoKnown, folderId(1, ipmSubtree)}, GetParam()), deletesFriends,
                 adds("Work"),
                 joined({isIpmSubtree(),
                         notifiedUnopened(8, alsoKnown, folderType),
                         walk({"Contacts", "Mail", "Deep"}),
                         registers("Work"),
                         {sends(), sending("delete", {alsoKnown}, "folder")}}));
    expectWatched(newId);
    expectWatched(known);
    expectNothingGone();
}

INSTANTIATE_TEST_SUITE_P(FromTheLast, NestedBatchInComparisonTest, testing::Range<std::ptrdiff_t>(0, 7),
                         testing::PrintToStringParamName());

// ---- Failures, and depth -----------------------------------------------------------------------------------------------

TEST_F(NestedBatchTest, CostsNoneButItselfWhenItFails)
{
    ask({{"do", "plan"}, {"method", "IMAPIProp::GetProps"}, {"on", "Mailbox/Contacts/Bea"}, {"result", "0x80004005"}});
    expectNested(
        {{"method", "IMsgStore::OpenEntry"}}, edits("Mailbox/Contacts/Ada", "Ada"),
        edits("Mailbox/Contacts/Bea", "Bea"),
        joined({{notified(0x10, "Bea", bea),
                 caught("AdviseSinkImpl::OnNotify", "OutlookContact::load, line N: hr = 0x80004005(MAPI call failed)")},
                changes("Ada", ada, namedLine("Ada", 1, contacts, 1))}));
}

TEST_F(NestedBatchTest, IsSentAlsoWhenTheOuterOneFails)
{
    ask({{"do", "plan"}, {"method", "IMAPIProp::GetProps"}, {"on", "Mailbox/Contacts/Ada"}, {"result", "0x80004005"}});
    expectNested({{"method", "IMsgStore::OpenEntry"}}, edits("Mailbox/Contacts/Ada", "Ada"),
                 edits("Mailbox/Contacts/Bea", "Bea"),
                 joined({changes("Bea", bea, namedLine("Bea", 1, contacts, 2)),
                         {notified(0x10, "Ada", ada),
                          caught("AdviseSinkImpl::OnNotify",
                                 "OutlookContact::load, line N: hr = 0x80004005(MAPI call failed)")}}));
}

TEST_F(NestedBatchTest, MayHaveAnotherOneInside)
{
    for (const int call : {1, 2})
        ask({{"do", "plan"},
             {"method", "IMsgStore::OpenEntry"},
             {"call", call},
             {"hold", std::to_string(call)},
             {"deliver", true}});
    ask(edits("Mailbox/Contacts/Ada", "Ada"));
    for (const char* const call : {"1", "2"})
    {
        ask({{"do", "wait"}, {"for", "held"}, {"hold", call}});
        ask(*call == '1' ? edits("Mailbox/Contacts/Bea", "Bea") : edits("Mailbox/Friends/Cid", "Cid"));
        ask({{"do", "release"}, {"hold", call}});
    }
    const Reaction made = reaction();
    EXPECT_EQ(made.log, joined({changes("Cid", cid, namedLine("Cid", 1, friends, 3)),
                                changes("Bea", bea, namedLine("Bea", 1, contacts, 2)),
                                changes("Ada", ada, namedLine("Ada", 1, contacts, 1))}));
    EXPECT_EQ(made.messages, sentIn(made.log));
}

// ---- Late batches ------------------------------------------------------------------------------------------------------

class LateBatchTest : public EndToEndTest
{
};

TEST_F(LateBatchTest, IsDroppedWithoutAWord)
{
    // The worker ends since the second store's folders can't be walked anew. The first store stays subscribed although its
    // watcher goes, and is edited then; what that brings is delivered when the other watcher goes.
    startAgentOn(R"({"stores": [
        {"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"}, "folders": [
            {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}]}]},
        {"name": "Archive", "ipmSubtree": {"class": "IPF.Note"}, "folders": [
            {"name": "Old", "class": "IPF.Contact"}]}],
        "plans": [
            {"method": "IMAPIContainer::GetHierarchyTable", "on": "Archive", "call": 2, "result": "0x80070005"},
            {"method": "IMsgStore::Unadvise", "result": "0x80040115"},
            {"method": "IMsgStore::Unadvise", "call": 2, "hold": "second", "deliver": true}]})");
    ask({{"do", "wait"}, {"for", "held"}, {"hold", "second"}});
    Json requests = Json::array();
    for (std::size_t length = 1; length <= 256;
         ++length) // in memory that was the watcher's, if there is any left of it
        requests.push_back({{"do", "addContact"},
                            {"folder", "Mailbox/Contacts"},
                            {"contact", {{"displayName", std::string(length, 'x')}}}});
    ask({{"do", "batch"}, {"requests", requests}});
    ask({{"do", "release"}, {"hold", "second"}});
    const AgentRun run = runUntilWorkerEnds();
    const Records records =
        joined({{storeFound("Mailbox", 1, true), storeFound("Archive", 2)},
                snapshot("Mailbox", "0;2", {namedLine("Ada", 1, firstFolder, 1)}),
                snapshot("Archive", "1;2", {}, {"subfolder found: Old"}),
                {"Subscribe to Mailbox", "subfolder found: Contacts", registered("Contacts"), "Subscribe to Archive",
                 "Unadvise hr = 80040115", "Unadvise hr = 0",
                 workerFailed("mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)")}});
    expectRun(run, logOfEndedWorker(records), sentIn(records),
              "IMAPIAdviseSink from HrThisThreadAdviseSink: 1 object(s), 1 reference(s)\n"); // the sandbox's own
}
} // namespace
} // namespace endtoend
