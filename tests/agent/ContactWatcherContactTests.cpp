// What a watcher makes of each event of a contact.
#include "tests/agent/ContactWatcherFixture.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::Return;

const EntryId known = {0x02};
const EntryId otherKnown = {0x03};
const EntryId unknown = {0x04};
const EntryId anna = {0x00, 0x0A};
const EntryId former = {0x00, 0x0C}; // an identifier that Anna had
const EntryId shortTerm = {0x01, 0x0A};

const std::string shortTermRecord = "ContactWatcher::onObjectDeleted: A short-term EntryId has been received for "
                                    "deleted object. Object notification has been ignored.";
const std::string cannotOpenRecord = "HRESULT logged: ContactWatcher::onNewObject, line N: hr = ";
const std::wstring annaText = L"Anna;;;;;;;;;;000A;";
const std::wstring annaGone = L";;;;;;;;;;000A;";
const std::wstring formerGone = L";;;;;;;;;;000C;";

class ContactWatcherContactTest : public ContactWatcherFixture
{
protected:
    ContactWatcherContactTest() { subscribe(); }

    /// One notification in a batch of its own; gives what the callback got, or nothing.
    Changes changesOf(const Event& event)
    {
        m_batches.clear();
        notify({event});
        EXPECT_LE(m_batches.size(), 1u);
        return m_batches.empty() ? Changes() : m_batches.front();
    }
    void expectNothing(const Event& event)
    {
        changesOf(event);
        EXPECT_THAT(m_batches, IsEmpty());
    }
    static void expectAdded(const Changes& changes)
    {
        EXPECT_THAT(textsOf(changes.added), ElementsAre(annaText));
        EXPECT_THAT(changes.changed, IsEmpty());
        EXPECT_THAT(changes.deleted, IsEmpty());
        EXPECT_THAT(changes.deletedFolders, IsEmpty());
    }
    static void expectChanged(const Changes& changes)
    {
        EXPECT_THAT(textsOf(changes.changed), ElementsAre(annaText));
        EXPECT_THAT(changes.added, IsEmpty());
        EXPECT_THAT(changes.deleted, IsEmpty());
        EXPECT_THAT(changes.deletedFolders, IsEmpty());
    }
    static void expectDeleted(const Changes& changes, const std::wstring& text)
    {
        EXPECT_THAT(textsOf(changes.deleted), ElementsAre(text));
        for (const SyncItem& item : changes.deleted)
            EXPECT_FALSE(item.isFolder);
        EXPECT_THAT(changes.added, IsEmpty());
        EXPECT_THAT(changes.changed, IsEmpty());
        EXPECT_THAT(changes.deletedFolders, IsEmpty());
    }
};

TEST_F(ContactWatcherContactTest, DropsEachEventOfUnknownFolders)
{
    for (const ULONG type :
         {fnevObjectCreated, fnevObjectCopied, fnevObjectDeleted, fnevObjectModified, fnevObjectMoved})
        expectNothing({.type = type, .id = anna, .parent = unknown, .oldId = former, .oldParent = {0x05}});
    EXPECT_THAT(lines(), IsEmpty());
}

// ---- Created and copied --------------------------------------------------------------------------------------------

TEST_F(ContactWatcherContactTest, AddsWhatIsCreatedOrCopiedIntoAKnownFolder)
{
    for (const ULONG type : {fnevObjectCreated, fnevObjectCopied})
    {
        expectAdded(changesOf({.type = type, .id = anna, .parent = known}));
        expectAdded(changesOf({.type = type, .id = anna, .parent = known, .oldId = former, .oldParent = unknown}));
        expectAdded(changesOf({.type = type, .id = anna, .parent = known, .oldId = former, .oldParent = otherKnown}));
    }
    EXPECT_EQ(lines()[0], logged(fnevObjectCreated, "Anna", 5, anna));
    EXPECT_EQ(lines()[3], logged(fnevObjectCopied, "Anna", 5, anna));
    EXPECT_THAT(lines(), testing::SizeIs(6));
}

TEST_F(ContactWatcherContactTest, OnlyLogsWhatIsCreatedOrCopiedOutOfAKnownFolder)
{
    for (const ULONG type : {fnevObjectCreated, fnevObjectCopied})
    {
        m_calls.clear();
        expectNothing({.type = type, .id = anna, .parent = unknown, .oldId = former, .oldParent = known});
        EXPECT_EQ(std::ranges::count(m_calls, "open prop 000A"), 1); // for the line
    }
    EXPECT_THAT(lines(),
                ElementsAre(logged(fnevObjectCreated, "Anna", 5, anna), logged(fnevObjectCopied, "Anna", 5, anna)));
}

TEST_F(ContactWatcherContactTest, LogsANewContactThatCannotBeOpened)
{
    m_openResults[anna] = MAPI_E_NOT_FOUND;
    expectNothing({.type = fnevObjectCreated, .id = anna, .parent = known});
    EXPECT_THAT(lines(), ElementsAreArray(joined(
                             {loggedGone(fnevObjectCreated, 5, anna),
                              {cannotOpenRecord + "0x8004010f(Cannot open new or copied object. EntryID = 000A)"}})));
}

TEST_F(ContactWatcherContactTest, LogsANewContactThatOpensToNothing)
{
    m_objects[anna] = nullptr;
    expectNothing({.type = fnevObjectCopied, .id = anna, .parent = known});
    EXPECT_THAT(lines(), ElementsAre(logged(fnevObjectCopied, "(cannot resolve)", 5, anna),
                                     cannotOpenRecord + "0x0(Cannot open new or copied object. EntryID = 000A)"));
}

TEST_F(ContactWatcherContactTest, LogsANewContactWithoutAnIdentifier)
{
    expectNothing({.type = fnevObjectCreated, .id = {}, .parent = known});
    EXPECT_THAT(lines(), ElementsAre("`anonymous-namespace'::logNotification: Notification 4: EntryId is empty!",
                                     "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(an empty entryId "
                                     "passed)",
                                     cannotOpenRecord + "0x80070057(Cannot open new or copied object. EntryID = )"));
}

TEST_F(ContactWatcherContactTest, AddsANewContactThatOpensWithAWarning)
{
    m_openResults[anna] = MAPI_W_ERRORS_RETURNED;
    expectAdded(changesOf({.type = fnevObjectCreated, .id = anna, .parent = known}));
}

TEST_F(ContactWatcherContactTest, AddsMessagesOfAnyClass)
{
    giveProperties(m_anna.message,
                   {Property::text(PR_DISPLAY_NAME_W, L"Anna"), Property::text(PR_MESSAGE_CLASS_W, L"IPM.Note"),
                    Property::bytes(PR_ENTRYID, anna)});
    expectAdded(changesOf({.type = fnevObjectCreated, .id = anna, .parent = known}));
    EXPECT_THAT(m_runtime.calls(), Not(Contains(testing::StartsWith("HrGetOneProp 001a"))));
}

// ---- Deleted -------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherContactTest, DeletesByTheIdentifierWhicheverParentIsKnown)
{
    m_openResults[anna] = MAPI_E_NOT_FOUND;
    const Event events[] = {
        {.type = fnevObjectDeleted, .id = anna, .parent = known, .oldId = former},
        {.type = fnevObjectDeleted, .id = anna, .parent = {}, .oldId = former, .oldParent = known},
        {.type = fnevObjectDeleted, .id = anna, .parent = unknown, .oldId = shortTerm, .oldParent = known},
        {.type = fnevObjectDeleted, .id = anna, .parent = known, .oldParent = otherKnown}};
    for (const Event& event : events)
        expectDeleted(changesOf(event), annaGone);
    const auto gone = loggedGone(fnevObjectDeleted, 5, anna);
    EXPECT_THAT(lines(), ElementsAreArray(joined({gone, gone, gone, gone})));
}

TEST_F(ContactWatcherContactTest, KeepsWhatIsDeletedByAShortTermIdentifier)
{
    expectNothing({.type = fnevObjectDeleted, .id = shortTerm, .parent = known, .oldId = former});
    EXPECT_THAT(lines(), ElementsAreArray(joined({loggedGone(fnevObjectDeleted, 5, shortTerm), {shortTermRecord}})));
}

TEST_F(ContactWatcherContactTest, KeepsWhatIsDeletedWithoutAnIdentifier)
{
    expectNothing({.type = fnevObjectDeleted, .id = {}, .parent = known, .oldId = former});
    EXPECT_THAT(lines(), ElementsAre("`anonymous-namespace'::logNotification: Notification 8: EntryId is empty!",
                                     shortTermRecord));
}

TEST_F(ContactWatcherContactTest, TellsLongTermIdentifiersByTheirFirstByte)
{
    for (const BYTE flags : {BYTE{0x01}, BYTE{0x80}, BYTE{0xFF}})
        expectNothing({.type = fnevObjectDeleted, .id = {flags, 0x00, 0x00}, .parent = known});
    expectDeleted(changesOf({.type = fnevObjectDeleted, .id = {0x00, 0xFF}, .parent = known}), L";;;;;;;;;;00FF;");
    expectDeleted(changesOf({.type = fnevObjectDeleted, .id = {0x00}, .parent = known}), L";;;;;;;;;;00;");
}

// ---- Modified ------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherContactTest, ChangesWhatIsModifiedWhicheverParentIsKnown)
{
    const Event events[] = {{.type = fnevObjectModified, .id = anna, .parent = known},
                            {.type = fnevObjectModified, .id = anna, .parent = unknown, .oldParent = known},
                            {.type = fnevObjectModified, .id = anna, .parent = known, .oldId = anna},
                            {.type = fnevObjectModified, .id = anna, .parent = known, .oldParent = otherKnown}};
    for (const Event& event : events)
        expectChanged(changesOf(event));
    const std::string line = logged(fnevObjectModified, "Anna", 5, anna);
    EXPECT_THAT(lines(), ElementsAre(line, line, line, line));
}

TEST_F(ContactWatcherContactTest, ReplacesWhatHasGotAnotherIdentifier)
{
    const Changes changes = changesOf({.type = fnevObjectModified, .id = anna, .parent = known, .oldId = former});
    EXPECT_THAT(textsOf(changes.deleted), ElementsAre(formerGone));
    EXPECT_THAT(textsOf(changes.added), ElementsAre(annaText));
    EXPECT_THAT(changes.changed, IsEmpty());
    EXPECT_FALSE(changes.deleted.front().isFolder);
    EXPECT_THAT(lines(), ElementsAre(logged(fnevObjectModified, "Anna", 5, anna),
                                     "ContactWatcher::onContactChanged: EntryId change detected for Contact. Old "
                                     "Value: 000C",
                                     "| NewValue: 000A"));
}

TEST_F(ContactWatcherContactTest, ComparesTheTwoIdentifiersByTheirBytes)
{
    m_aliases = {{anna, former}, {anna, {0x00}}, {anna, {0x00, 0x0A, 0x00}}, {anna, shortTerm}};
    for (const EntryId& oldId : {former, EntryId{0x00}, EntryId{0x00, 0x0A, 0x00}, shortTerm})
    {
        m_calls.clear();
        const Changes changes = changesOf({.type = fnevObjectModified, .id = anna, .parent = known, .oldId = oldId});
        EXPECT_THAT(changes.deleted, testing::SizeIs(1));
        EXPECT_THAT(textsOf(changes.added), ElementsAre(annaText));
        EXPECT_THAT(m_calls, Not(Contains(testing::HasSubstr("compare 000A"))));
    }
}

TEST_F(ContactWatcherContactTest, DeletesAModifiedContactThatCannotBeOpened)
{
    m_openResults[anna] = MAPI_E_OBJECT_DELETED;
    expectDeleted(changesOf({.type = fnevObjectModified, .id = anna, .parent = known, .oldId = former}), annaGone);
    EXPECT_THAT(lines(), ElementsAre("HRESULT logged: `anonymous-namespace'::logNotification, line N: hr = 0x8004010a",
                                     logged(fnevObjectModified, "(cannot resolve)", 5, anna))); // nothing else
}

TEST_F(ContactWatcherContactTest, DeletesAModifiedContactThatOpensToNothing)
{
    m_objects[anna] = nullptr;
    expectDeleted(changesOf({.type = fnevObjectModified, .id = anna, .parent = known}), annaGone);
}

TEST_F(ContactWatcherContactTest, DeletesAModifiedContactAlsoByAShortTermIdentifier)
{
    expectDeleted(changesOf({.type = fnevObjectModified, .id = shortTerm, .parent = known}), L";;;;;;;;;;010A;");
    EXPECT_THAT(lines(), ElementsAreArray(loggedGone(fnevObjectModified, 5, shortTerm)));
}

TEST_F(ContactWatcherContactTest, DeletesAnEmptyIdentifierWhenAModifiedContactHasNone)
{
    expectDeleted(changesOf({.type = fnevObjectModified, .id = {}, .parent = known}), L"");
    EXPECT_THAT(lines(), ElementsAre("`anonymous-namespace'::logNotification: Notification 10: EntryId is empty!",
                                     "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(an empty entryId "
                                     "passed)"));
}

TEST_F(ContactWatcherContactTest, ChangesAModifiedContactThatOpensWithAWarning)
{
    m_openResults[anna] = MAPI_W_ERRORS_RETURNED;
    expectChanged(changesOf({.type = fnevObjectModified, .id = anna, .parent = known}));
}

// ---- Moved ---------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherContactTest, DeletesByTheFormerIdentifierWhatMovesAway)
{
    expectDeleted(
        changesOf({.type = fnevObjectMoved, .id = shortTerm, .parent = unknown, .oldId = former, .oldParent = known}),
        formerGone);
    EXPECT_THAT(lines(), ElementsAreArray(loggedGone(fnevObjectMoved, 5, shortTerm)));
}

TEST_F(ContactWatcherContactTest, KeepsWhatMovesAwayByAShortTermIdentifier)
{
    expectNothing({.type = fnevObjectMoved, .id = anna, .parent = unknown, .oldId = shortTerm, .oldParent = known});
    expectNothing({.type = fnevObjectMoved, .id = anna, .parent = unknown, .oldId = {}, .oldParent = known});
    const std::string line = logged(fnevObjectMoved, "Anna", 5, anna);
    EXPECT_THAT(lines(), ElementsAre(line, shortTermRecord, line, shortTermRecord));
}

TEST_F(ContactWatcherContactTest, AddsWhatMovesIn)
{
    expectAdded(
        changesOf({.type = fnevObjectMoved, .id = anna, .parent = known, .oldId = former, .oldParent = unknown}));
    expectAdded(changesOf({.type = fnevObjectMoved, .id = anna, .parent = known, .oldId = former}));
    const std::string line = logged(fnevObjectMoved, "Anna", 5, anna);
    EXPECT_THAT(lines(), ElementsAre(line, line));
}

TEST_F(ContactWatcherContactTest, LogsWhatMovesInAndCannotBeOpened)
{
    m_openResults[anna] = MAPI_E_NOT_FOUND;
    expectNothing({.type = fnevObjectMoved, .id = anna, .parent = known, .oldId = former, .oldParent = unknown});
    EXPECT_EQ(lines().back(), cannotOpenRecord + "0x8004010f(Cannot open new or copied object. EntryID = 000A)");
}

TEST_F(ContactWatcherContactTest, ChangesWhatMovesBetweenKnownFoldersAndKeepsItsIdentifier)
{
    expectChanged(
        changesOf({.type = fnevObjectMoved, .id = anna, .parent = known, .oldId = anna, .oldParent = otherKnown}));
    expectChanged(changesOf({.type = fnevObjectMoved, .id = anna, .parent = known, .oldParent = otherKnown}));
    expectChanged(changesOf({.type = fnevObjectMoved, .id = anna, .parent = known, .oldId = anna, .oldParent = known}));
}

TEST_F(ContactWatcherContactTest, ReplacesWhatMovesBetweenKnownFoldersWithANewIdentifier)
{
    const Changes changes =
        changesOf({.type = fnevObjectMoved, .id = anna, .parent = known, .oldId = former, .oldParent = otherKnown});
    EXPECT_THAT(textsOf(changes.deleted), ElementsAre(formerGone));
    EXPECT_THAT(textsOf(changes.added), ElementsAre(annaText));
    EXPECT_THAT(changes.changed, IsEmpty());
}

TEST_F(ContactWatcherContactTest, DeletesWhatMovesBetweenKnownFoldersAndIsGone)
{
    m_openResults[anna] = MAPI_E_NOT_FOUND;
    expectDeleted(
        changesOf({.type = fnevObjectMoved, .id = anna, .parent = known, .oldId = former, .oldParent = otherKnown}),
        annaGone);
}
} // namespace
