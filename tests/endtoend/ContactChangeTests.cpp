// What comes of a contact that is added, changed, moved, copied or deleted while the agent runs.
#include "tests/endtoend/ExpectedCalls.h"

namespace endtoend
{
namespace
{
// The folders of the mailbox below, by their numbers.
constexpr unsigned contacts = 3;
constexpr unsigned friends = 4;
constexpr unsigned mail = 5;
constexpr unsigned outside = 6;

// Its messages.
const std::string ada = messageId(1, contacts, 1);
const std::string bea = messageId(1, contacts, 2);
const std::string cid = messageId(1, friends, 3);
const std::string dan = messageId(1, mail, 4);

/// Two contact folders, which are known, and a mail folder below the IPM subtree; another contact folder beside it.
constexpr std::string_view mailbox = R"({"stores": [{"name": "Mailbox", "default": true,
    "ipmSubtree": {"class": "IPF.Note"},
    "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}, {"displayName": "Bea"}]},
        {"name": "Friends", "class": "IPF.Contact", "messages": [{"displayName": "Cid"}]},
        {"name": "Mail", "class": "IPF.Note", "messages": [{"class": "IPM.Note", "displayName": "Dan"}]}],
    "rootFolders": [{"name": "Outside", "class": "IPF.Contact"}]}]})";

std::string cannotOpenNew(const std::string& id, std::string_view result = "8004010f")
{
    return "HRESULT logged: ContactWatcher::onNewObject, line N: hr = 0x" + std::string(result) +
           "(Cannot open new or copied object. EntryID = " + id + ")";
}

std::string idChanged(const std::string& oldId, const std::string& newId)
{
    return "ContactWatcher::onContactChanged: EntryId change detected for Contact. Old Value: " + oldId +
           "\nNewValue: " + newId;
}

class ContactChangeTest : public LiveTest
{
protected:
    void SetUp() override
    {
        LiveTest::SetUp();
        startLive(mailbox);
    }

    void TearDown() override { closeLive(); }

    /// One request must bring these messages, records and calls, and no others.
    void expect(const Json& request, const std::vector<std::string>& messages, const Records& log,
                std::initializer_list<Calls> calls)
    {
        const Reaction reaction = after(request);
        EXPECT_EQ(reaction.messages, messages);
        EXPECT_EQ(reaction.log, log);
        EXPECT_EQ(reaction.calls, joinedCalls(calls));
    }

    /// An object that can't be opened.
    static Calls notThere(const std::string& id) { return opened(id, "0x8004010F"); }

    /// The search for this folder among the known ones.
    static Calls asked(unsigned folder)
    {
        return searched({folderId(1, contacts), folderId(1, friends)}, folderId(1, folder));
    }
};

// ---- Created, copied ---------------------------------------------------------------------------------------------------

TEST_F(ContactChangeTest, AddedToAKnownFolderIsTold)
{
    const std::string eve = messageId(1, contacts, 5);
    const std::string message = change("add", "contact", {contactLine("Eve;;;;;eve@example.com;;;;", 1, contacts, 5)});
    expect({{"do", "addContact"},
            {"folder", "Mailbox/Contacts"},
            {"contact", {{"displayName", "Eve"}, {"email", "eve@example.com"}}}},
           {message}, {notified(4, "Eve", 5, eve), sending(message)},
           {asked(contacts), openedForLog(eve), asked(contacts), opened(eve), loaded(eve)});
}

TEST_F(ContactChangeTest, OfAnotherClassIsTold)
{
    const std::string message = change("add", "contact", {namedLine("Note", 1, contacts, 5)});
    expect({{"do", "addContact"},
            {"folder", "Mailbox/Contacts"},
            {"contact", {{"class", "IPM.StickyNote"}, {"displayName", "Note"}}}},
           {message}, {notified(4, "Note", 5, messageId(1, contacts, 5)), sending(message)},
           {asked(contacts), openedForLog(messageId(1, contacts, 5)), asked(contacts),
            opened(messageId(1, contacts, 5)), loaded(messageId(1, contacts, 5))});
}

TEST_F(ContactChangeTest, CopiedToAKnownFolderIsTold)
{
    const std::string message = change("add", "contact", {namedLine("Dan", 1, contacts, 5)});
    expect({{"do", "copy"}, {"object", "Mailbox/Mail/Dan"}, {"to", "Mailbox/Contacts"}}, {message},
           {notified(0x40, "Dan", 5, messageId(1, contacts, 5)), sending(message)},
           {asked(contacts), openedForLog(messageId(1, contacts, 5)), asked(contacts),
            opened(messageId(1, contacts, 5)), loaded(messageId(1, contacts, 5))});
}

TEST_F(ContactChangeTest, AddedOrCopiedElsewhereIsNotSeen)
{
    expect({{"do", "addContact"}, {"folder", "Mailbox/Mail"}, {"contact", {{"displayName", "Eve"}}}}, {}, {},
           {asked(mail)});
    expect({{"do", "copy"}, {"object", "Mailbox/Mail/Dan"}, {"to", "#" + folderId(1, outside)}}, {}, {},
           {asked(outside), asked(mail)});
}

TEST_F(ContactChangeTest, CopiedOutOfAKnownFolderIsLoggedOnly)
{
    expect({{"do", "copy"}, {"object", "Mailbox/Contacts/Ada"}, {"to", "Mailbox/Mail"}}, {},
           {notified(0x40, "Ada", 5, messageId(1, mail, 5))},
           {asked(mail), asked(contacts), openedForLog(messageId(1, mail, 5)), asked(mail)});
}

TEST_F(ContactChangeTest, CreatedWithOnlyAKnownFormerParentIsLoggedOnly)
{
    expect(inject({{.event = 4, .id = ada, .parent = folderId(1, mail), .oldParent = folderId(1, contacts)}}), {},
           {notified(4, "Ada", 5, ada)}, {asked(mail), asked(contacts), openedForLog(ada), asked(mail)});
}

TEST_F(ContactChangeTest, AddedButGoneIsLoggedOnly)
{
    for (const unsigned event : {0x4U, 0x40U})
    {
        Records log = notifiedUnopened(event, 5, nobody);
        log.push_back(cannotOpenNew(nobody));
        expect(inject({{.event = event, .id = nobody, .parent = folderId(1, contacts)}}), {}, log,
               {asked(contacts), notThere(nobody), asked(contacts), notThere(nobody)});
    }
}

TEST_F(ContactChangeTest, AddedWithoutAnIdentifierIsLoggedOnly)
{
    expect(inject({{.event = 4, .parent = folderId(1, contacts)}}), {},
           {"`anonymous-namespace'::logNotification: Notification 4: EntryId is empty!",
            "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(an empty entryId passed)",
            cannotOpenNew("", "80070057")},
           {asked(contacts), asked(contacts)});
}

// ---- Deleted -----------------------------------------------------------------------------------------------------------

TEST_F(ContactChangeTest, DeletedIsTold)
{
    const std::string message = change("delete", "contact", {deletedLine(ada)});
    Records log = notifiedUnopened(8, 5, ada);
    log.push_back(sending(message));
    expect({{"do", "delete"}, {"object", "Mailbox/Contacts/Ada"}}, {message}, log, {asked(contacts), notThere(ada)});
}

TEST_F(ContactChangeTest, DeletedElsewhereIsNotSeen)
{
    expect({{"do", "delete"}, {"object", "Mailbox/Mail/Dan"}}, {}, {}, {asked(mail)});
}

TEST_F(ContactChangeTest, DeletedByAShortTermIdentifierIsKept)
{
    const std::string shortTerm = "80000000AB";
    Records log = notifiedUnopened(8, 5, shortTerm);
    log.push_back(shortTermIgnored);
    expect(inject({{.event = 8, .id = shortTerm, .parent = folderId(1, contacts)}}), {}, log,
           {asked(contacts), notThere(shortTerm)});
}

TEST_F(ContactChangeTest, DeletedWithoutAnIdentifierIsKept)
{
    expect(inject({{.event = 8, .parent = folderId(1, contacts)}}), {},
           {"`anonymous-namespace'::logNotification: Notification 8: EntryId is empty!", shortTermIgnored},
           {asked(contacts)});
}

TEST_F(ContactChangeTest, DeletedWithOnlyAKnownFormerParentIsTold)
{
    const std::string message = change("delete", "contact", {deletedLine(nobody)});
    Records log = notifiedUnopened(8, 5, nobody);
    log.push_back(sending(message));
    expect(inject({{.event = 8, .id = nobody, .oldParent = folderId(1, contacts)}}), {message}, log,
           {asked(contacts), notThere(nobody)});
}

// ---- Modified ----------------------------------------------------------------------------------------------------------

TEST_F(ContactChangeTest, ChangedIsTold)
{
    const std::string message =
        change("change", "contact", {contactLine("Ada L.;;;;;;;;+44 7700 900123;", 1, contacts, 1)});
    expect({{"do", "editContact"},
            {"contact", "Mailbox/Contacts/Ada"},
            {"set", {{"displayName", "Ada L."}, {"mobilePhone", "+44 7700 900123"}}}},
           {message}, {notified(0x10, "Ada L.", 5, ada), sending(message)},
           {asked(contacts), openedForLog(ada), opened(ada), loaded(ada)});
}

TEST_F(ContactChangeTest, ChangedElsewhereIsNotSeen)
{
    expect({{"do", "editContact"}, {"contact", "Mailbox/Mail/Dan"}, {"set", {{"displayName", "Daniel"}}}}, {}, {},
           {asked(mail)});
}

TEST_F(ContactChangeTest, ChangedWithTheSameFormerIdentifierIsAChange)
{
    const std::string message = change("change", "contact", {namedLine("Ada", 1, contacts, 1)});
    expect(inject({{.event = 0x10, .id = ada, .parent = folderId(1, contacts), .oldId = ada}}), {message},
           {notified(0x10, "Ada", 5, ada), sending(message)},
           {asked(contacts), openedForLog(ada), opened(ada), loaded(ada)});
}

TEST_F(ContactChangeTest, ChangedWithAnotherFormerIdentifierIsAnother)
{
    const std::string deleted = change("delete", "contact", {deletedLine(nobody)});
    const std::string added = change("add", "contact", {namedLine("Ada", 1, contacts, 1)});
    expect(inject({{.event = 0x10, .id = ada, .parent = folderId(1, contacts), .oldId = nobody}}), {deleted, added},
           {notified(0x10, "Ada", 5, ada), idChanged(nobody, ada), sending(deleted), sending(added)},
           {asked(contacts), openedForLog(ada), opened(ada), loaded(ada)});
}

TEST_F(ContactChangeTest, ChangedThatOpensWithAWarningIsToldAndLoggedWithoutItsName)
{
    const std::string message = change("change", "contact", {namedLine("Ada", 1, contacts, 1)});
    Records log = notifiedUnopened(0x10, 5, ada, "40380");
    log.push_back(sending(message));
    const Calls warned = opened(ada, "0x40380");
    expect({{"do", "editContact"}, {"contact", "Mailbox/Contacts/Ada"}, {"set", {{"openError", "0x00040380"}}}},
           {message}, log, {asked(contacts), warned, warned, loaded(ada)});
}

TEST_F(ContactChangeTest, ChangedButGoneIsDeleted)
{
    const std::string message = change("delete", "contact", {deletedLine(nobody)});
    Records log = notifiedUnopened(0x10, 5, nobody);
    log.push_back(sending(message));
    expect(inject({{.event = 0x10, .id = nobody, .parent = folderId(1, contacts)}}), {message}, log,
           {asked(contacts), notThere(nobody), notThere(nobody)});
}

TEST_F(ContactChangeTest, ChangedButGoneIsDeletedAlsoByAShortTermIdentifier)
{
    const std::string shortTerm = "80000000AB";
    const std::string message = change("delete", "contact", {deletedLine(shortTerm)});
    Records log = notifiedUnopened(0x10, 5, shortTerm);
    log.push_back(sending(message));
    expect(inject({{.event = 0x10, .id = shortTerm, .parent = folderId(1, contacts)}}), {message}, log,
           {asked(contacts), notThere(shortTerm), notThere(shortTerm)});
}

TEST_F(ContactChangeTest, ChangedWithoutAnIdentifierIsAnEmptyDeletion)
{
    const std::string message = change("delete", "contact", {""});
    expect(inject({{.event = 0x10, .parent = folderId(1, contacts)}}), {message},
           {"`anonymous-namespace'::logNotification: Notification 10: EntryId is empty!",
            "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(an empty entryId passed)",
            sending(message)},
           {asked(contacts)});
}

// ---- Moved -------------------------------------------------------------------------------------------------------------

TEST_F(ContactChangeTest, MovedOutOfAKnownFolderIsDeleted)
{
    const std::string message = change("delete", "contact", {deletedLine(ada)});
    expect({{"do", "move"}, {"object", "Mailbox/Contacts/Ada"}, {"to", "Mailbox/Mail"}}, {message},
           {notified(0x20, "Ada", 5, messageId(1, mail, 5)), sending(message)},
           {asked(mail), asked(contacts), openedForLog(messageId(1, mail, 5))});
}

TEST_F(ContactChangeTest, MovedOutByAShortTermIdentifierIsKept)
{
    for (const std::string& former : {std::string("80000000AB"), std::string()})
        expect(inject({{.event = 0x20,
                        .id = ada,
                        .parent = folderId(1, mail),
                        .oldId = former,
                        .oldParent = folderId(1, contacts)}}),
               {}, {notified(0x20, "Ada", 5, ada), shortTermIgnored},
               {asked(mail), asked(contacts), openedForLog(ada)});
}

TEST_F(ContactChangeTest, MovedIntoAKnownFolderIsAdded)
{
    const std::string message = change("add", "contact", {namedLine("Dan", 1, contacts, 5)});
    expect({{"do", "move"}, {"object", "Mailbox/Mail/Dan"}, {"to", "Mailbox/Contacts"}}, {message},
           {notified(0x20, "Dan", 5, messageId(1, contacts, 5)), sending(message)},
           {asked(contacts), openedForLog(messageId(1, contacts, 5)), asked(mail), asked(contacts),
            opened(messageId(1, contacts, 5)), loaded(messageId(1, contacts, 5))});
}

TEST_F(ContactChangeTest, MovedIntoAKnownFolderButGoneIsLoggedOnly)
{
    Records log = notifiedUnopened(0x20, 5, nobody);
    log.push_back(cannotOpenNew(nobody));
    expect(inject({{.event = 0x20,
                    .id = nobody,
                    .parent = folderId(1, contacts),
                    .oldId = dan,
                    .oldParent = folderId(1, mail)}}),
           {}, log, {asked(contacts), notThere(nobody), asked(mail), asked(contacts), notThere(nobody)});
}

TEST_F(ContactChangeTest, MovedBetweenKnownFoldersIsDeletedAndAdded)
{
    const std::string moved = messageId(1, friends, 5);
    const std::string deleted = change("delete", "contact", {deletedLine(ada)});
    const std::string added = change("add", "contact", {namedLine("Ada", 1, friends, 5)});
    expect({{"do", "move"}, {"object", "Mailbox/Contacts/Ada"}, {"to", "Mailbox/Friends"}}, {deleted, added},
           {notified(0x20, "Ada", 5, moved), idChanged(ada, moved), sending(deleted), sending(added)},
           {asked(friends), openedForLog(moved), asked(contacts), opened(moved), loaded(moved)});
}

TEST_F(ContactChangeTest, MovedBetweenKnownFoldersByItsOldIdentifierIsChanged)
{
    const std::string message = change("change", "contact", {"Ada;;;;;;;;;;" + ada + ";" + folderId(1, friends)});
    expect({{"do", "move"}, {"object", "Mailbox/Contacts/Ada"}, {"to", "Mailbox/Friends"}, {"keepId", true}}, {message},
           {notified(0x20, "Ada", 5, ada), sending(message)},
           {asked(friends), openedForLog(ada), asked(contacts), opened(ada), loaded(ada)});
}

TEST_F(ContactChangeTest, MovedBetweenKnownFoldersButGoneIsDeleted)
{
    const std::string message = change("delete", "contact", {deletedLine(nobody)});
    Records log = notifiedUnopened(0x20, 5, nobody);
    log.push_back(sending(message));
    expect(inject({{.event = 0x20,
                    .id = nobody,
                    .parent = folderId(1, friends),
                    .oldId = ada,
                    .oldParent = folderId(1, contacts)}}),
           {message}, log, {asked(friends), notThere(nobody), asked(contacts), notThere(nobody)});
}

TEST_F(ContactChangeTest, MovedBetweenUnknownFoldersIsNotSeen)
{
    expect({{"do", "move"}, {"object", "Mailbox/Mail/Dan"}, {"to", "#" + folderId(1, outside)}}, {}, {},
           {asked(outside), asked(mail)});
}

// ---- The name in the log -----------------------------------------------------------------------------------------------

TEST_F(ContactChangeTest, IsNamedByAHashOfItsIdentifierInTheLog)
{
    ask({{"do", "addContact"},
         {"folder", "Mailbox/Mail"},
         {"contact", {{"displayName", "Anna Berg"}, {"entryId", "00000000A1B2C3D4"}}}});
    (void)reaction();
    const Reaction reaction = after(inject({{.event = 4, .id = "00000000A1B2C3D4", .parent = folderId(1, contacts)}}));
    ASSERT_THAT(reaction.log, testing::SizeIs(2));
    EXPECT_EQ(reaction.log.front(),
              "Notification 4 for Anna Berg of type 5, EntryId hash = 7f37237dc92f23b5 (00000000A1B2C3D4)");
}
} // namespace
} // namespace endtoend
