// What comes of a contact that is added, changed, moved, copied or deleted while the agent runs.
#include "tests/endtoend/LiveTest.h"

namespace endtoend
{
namespace
{
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

class ContactChangeTest : public EditTest
{
protected:
    static inline const std::string added = messageId(1, contacts, newMessage);
    static inline const std::string elsewhere = folderId(1, outside);

    static Json add(const std::string& folder, const Json& contact)
    {
        return {{"do", "addContact"}, {"folder", folder}, {"contact", contact}};
    }
    static Json move(const std::string& object, const std::string& to)
    {
        return {{"do", "move"}, {"object", object}, {"to", to}};
    }
    static Json copy(const std::string& object, const std::string& to)
    {
        return {{"do", "copy"}, {"object", object}, {"to", to}};
    }
};

// ---- Created, copied ---------------------------------------------------------------------------------------------------

TEST_F(ContactChangeTest, SendsWhatIsAddedToAKnownFolder)
{
    expect(add("Mailbox/Contacts", {{"displayName", "Fay"}, {"email", "fay@example.com"}}),
           {.event = 4, .id = added, .parent = known},
           {notified(4, "Fay", added),
            sending("add", {contactLine("Fay;;;;;fay@example.com;;;;", 1, contacts, newMessage)})});
    const std::string next = messageId(1, contacts, newMessage + 1);
    expect(add("Mailbox/Contacts", {{"class", "IPM.StickyNote"}, {"displayName", "Note"}}),
           {.event = 4, .id = next, .parent = known},
           {notified(4, "Note", next), sending("add", {namedLine("Note", 1, contacts, newMessage + 1)})});
}

TEST_F(ContactChangeTest, SendsWhatIsCopiedToAKnownFolder)
{
    expect(copy("Mailbox/Mail/Dan", "Mailbox/Contacts"),
           {.event = 0x40, .id = added, .parent = known, .oldId = dan, .oldParent = unknown},
           {notified(0x40, "Dan", added), sending("add", {namedLine("Dan", 1, contacts, newMessage)})});
}

TEST_F(ContactChangeTest, SeesNothingAddedOrCopiedElsewhere)
{
    expect(add("Mailbox/Mail", {{"displayName", "Fay"}}), {.event = 4, .id = added, .parent = unknown}, {});
    expect(copy("Mailbox/Mail/Dan", "#" + elsewhere),
           {.event = 0x40, .id = added, .parent = elsewhere, .oldId = dan, .oldParent = unknown}, {});
}

TEST_F(ContactChangeTest, OnlyLogsWhatIsCopiedOutOfAKnownFolder)
{
    const std::string id = messageId(1, mail, newMessage);
    expect(copy("Mailbox/Contacts/Ada", "Mailbox/Mail"),
           {.event = 0x40, .id = id, .parent = unknown, .oldId = ada, .oldParent = known}, {notified(0x40, "Ada", id)});
    expect({.event = 4, .id = ada, .parent = unknown, .oldParent = known}, {notified(4, "Ada", ada)});
}

TEST_F(ContactChangeTest, OnlyLogsWhatIsAddedButGone)
{
    for (const unsigned event : {0x4U, 0x40U})
        expect({.event = event, .id = nobody, .parent = known},
               joined({notifiedUnopened(event, nobody), {cannotOpenNew(nobody)}}));
}

TEST_F(ContactChangeTest, OnlyLogsWhatIsAddedWithoutAnIdentifier)
{
    expect({.event = 4, .parent = known}, {notifiedWithoutId(4), emptyIdPassed, cannotOpenNew("", "80070057")});
}

// ---- Deleted -----------------------------------------------------------------------------------------------------------

TEST_F(ContactChangeTest, SendsWhatIsDeleted)
{
    m_calls.setResult(ada, "0x8004010F");
    expect({{"do", "delete"}, {"object", "Mailbox/Contacts/Ada"}}, {.event = 8, .id = ada, .parent = known},
           joined({notifiedUnopened(8, ada), {sending("delete", {deletedLine(ada)})}}));
}

TEST_F(ContactChangeTest, SeesNothingDeletedElsewhere)
{
    expect({{"do", "delete"}, {"object", "Mailbox/Mail/Dan"}}, {.event = 8, .id = dan, .parent = unknown}, {});
}

TEST_F(ContactChangeTest, KeepsWhatIsDeletedWithoutALongTermIdentifier)
{
    expect({.event = 8, .id = shortTerm, .parent = known},
           joined({notifiedUnopened(8, shortTerm), {shortTermIgnored}}));
    expect({.event = 8, .parent = known}, {notifiedWithoutId(8), shortTermIgnored});
}

TEST_F(ContactChangeTest, SendsWhatIsDeletedWithOnlyAKnownFormerParent)
{
    expect({.event = 8, .id = nobody, .oldParent = known},
           joined({notifiedUnopened(8, nobody), {sending("delete", {deletedLine(nobody)})}}));
}

// ---- Modified ----------------------------------------------------------------------------------------------------------

TEST_F(ContactChangeTest, SendsWhatIsChanged)
{
    expect({{"do", "editContact"},
            {"contact", "Mailbox/Contacts/Ada"},
            {"set", {{"displayName", "Ada L."}, {"mobilePhone", "+44 7700 900123"}}}},
           {.event = 0x10, .id = ada, .parent = known},
           {notified(0x10, "Ada L.", ada),
            sending("change", {contactLine("Ada L.;;;;;;;;+44 7700 900123;", 1, contacts, 1)})});
}

TEST_F(ContactChangeTest, SeesNothingChangedElsewhere)
{
    expect({{"do", "editContact"}, {"contact", "Mailbox/Mail/Dan"}, {"set", {{"displayName", "Daniel"}}}},
           {.event = 0x10, .id = dan, .parent = unknown}, {});
}

TEST_F(ContactChangeTest, TakesAnotherFormerIdentifierForAnotherContact)
{
    const std::string line = namedLine("Ada", 1, contacts, 1);
    expect({.event = 0x10, .id = ada, .parent = known, .oldId = ada},
           {notified(0x10, "Ada", ada), sending("change", {line})});
    expect({.event = 0x10, .id = ada, .parent = known, .oldId = nobody},
           {notified(0x10, "Ada", ada), idChanged(nobody, ada), sending("delete", {deletedLine(nobody)}),
            sending("add", {line})});
}

TEST_F(ContactChangeTest, SendsWhatOpensWithAWarningAndLogsItWithoutItsName)
{
    m_calls.setResult(ada, "0x40380");
    ask({{"do", "plan"}, {"opens", "Mailbox/Contacts/Ada"}, {"times", 0}, {"result", "0x00040380"}});
    expect({.event = 0x10, .id = ada, .parent = known},
           joined({notifiedUnopened(0x10, ada, messageType, "40380"),
                   {sending("change", {namedLine("Ada", 1, contacts, 1)})}}));
}

TEST_F(ContactChangeTest, TakesWhatIsChangedButGoneForDeleted)
{
    for (const std::string& id : {nobody, shortTerm})
        expect({.event = 0x10, .id = id, .parent = known},
               joined({notifiedUnopened(0x10, id), {sending("delete", {deletedLine(id)})}}));
}

TEST_F(ContactChangeTest, SendsAnEmptyDeletionForAChangeWithoutAnIdentifier)
{
    expect({.event = 0x10, .parent = known}, {notifiedWithoutId(0x10), emptyIdPassed, sending("delete", {""})});
}

// ---- Moved -------------------------------------------------------------------------------------------------------------

TEST_F(ContactChangeTest, TakesWhatIsMovedOutOfAKnownFolderForDeleted)
{
    const std::string moved = messageId(1, mail, newMessage);
    expect(move("Mailbox/Contacts/Ada", "Mailbox/Mail"),
           {.event = 0x20, .id = moved, .parent = unknown, .oldId = ada, .oldParent = known},
           {notified(0x20, "Ada", moved), sending("delete", {deletedLine(ada)})});
}

TEST_F(ContactChangeTest, KeepsWhatIsMovedOutWithoutALongTermIdentifier)
{
    for (const std::string& former : {shortTerm, std::string()})
        expect({.event = 0x20, .id = ada, .parent = unknown, .oldId = former, .oldParent = known},
               {notified(0x20, "Ada", ada), shortTermIgnored});
}

TEST_F(ContactChangeTest, TakesWhatIsMovedIntoAKnownFolderForAdded)
{
    expect(move("Mailbox/Mail/Dan", "Mailbox/Contacts"),
           {.event = 0x20, .id = added, .parent = known, .oldId = dan, .oldParent = unknown},
           {notified(0x20, "Dan", added), sending("add", {namedLine("Dan", 1, contacts, newMessage)})});
    expect({.event = 0x20, .id = nobody, .parent = known, .oldId = dan, .oldParent = unknown},
           joined({notifiedUnopened(0x20, nobody), {cannotOpenNew(nobody)}}));
}

TEST_F(ContactChangeTest, TakesWhatIsMovedBetweenKnownFoldersForDeletedAndAdded)
{
    const std::string moved = messageId(1, friends, newMessage);
    expect(move("Mailbox/Contacts/Ada", "Mailbox/Friends"),
           {.event = 0x20, .id = moved, .parent = alsoKnown, .oldId = ada, .oldParent = known},
           {notified(0x20, "Ada", moved), idChanged(ada, moved), sending("delete", {deletedLine(ada)}),
            sending("add", {namedLine("Ada", 1, friends, newMessage)})});
}

TEST_F(ContactChangeTest, TakesWhatIsMovedBetweenKnownFoldersByItsOldIdentifierForChanged)
{
    Json request = move("Mailbox/Contacts/Ada", "Mailbox/Friends");
    request["keepId"] = true;
    expect(request, {.event = 0x20, .id = ada, .parent = alsoKnown, .oldId = ada, .oldParent = known},
           {notified(0x20, "Ada", ada), sending("change", {"Ada;;;;;;;;;;" + ada + ";" + alsoKnown})});
}

TEST_F(ContactChangeTest, TakesWhatIsMovedBetweenKnownFoldersButGoneForDeleted)
{
    expect({.event = 0x20, .id = nobody, .parent = alsoKnown, .oldId = ada, .oldParent = known},
           joined({notifiedUnopened(0x20, nobody), {sending("delete", {deletedLine(nobody)})}}));
}

TEST_F(ContactChangeTest, SeesNothingMovedBetweenUnknownFolders)
{
    const std::string moved = messageId(1, outside, newMessage);
    expect(move("Mailbox/Mail/Dan", "#" + elsewhere),
           {.event = 0x20, .id = moved, .parent = elsewhere, .oldId = dan, .oldParent = unknown}, {});
}

// ---- The name in the log -----------------------------------------------------------------------------------------------

TEST_F(ContactChangeTest, NamesAContactByAHashOfItsIdentifierInTheLog)
{
    expectLog(add("Mailbox/Mail", {{"displayName", "Anna Berg"}, {"entryId", "00000000A1B2C3D4"}}), {});
    const Reaction reaction = after(inject({{.event = 4, .id = "00000000A1B2C3D4", .parent = known}}));
    ASSERT_THAT(reaction.log, testing::SizeIs(2));
    EXPECT_EQ(reaction.log.front(),
              "Notification 4 for Anna Berg of type 5, EntryId hash = 7f37237dc92f23b5 (00000000A1B2C3D4)");
}
} // namespace
} // namespace endtoend
