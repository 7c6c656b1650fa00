// Which notifications a watcher takes up, what it asks for that, and the line that it logs of each.
#include "tests/agent/ContactWatcherFixture.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Return;

class ContactWatcherFilterTest : public ContactWatcherFixture
{
protected:
    ContactWatcherFilterTest() { subscribe(); }
};

/// An event that has no effect of its own: what is logged tells whether it was taken up.
Event ofMessage(const EntryId& parent, const EntryId& oldParent = {})
{
    return {.type = fnevSearchComplete, .id = {0x00, 0x0A}, .parent = parent, .oldParent = oldParent};
}
Event ofFolder(const EntryId& parent, const EntryId& oldParent = {})
{
    return {
        .type = fnevObjectModified, .objectType = MAPI_FOLDER, .id = {0x04}, .parent = parent, .oldParent = oldParent};
}

// ---- Without a MAPI call -------------------------------------------------------------------------------------------

TEST_F(ContactWatcherFilterTest, DoesNothingForAnEmptyBatch)
{
    notify({});
    EXPECT_EQ(m_sink->OnNotify(0, nullptr), 0u);
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(m_calls, IsEmpty());
}

TEST_F(ContactWatcherFilterTest, SkipsEventsThatItHasNotAskedForWithoutAWordOrACall)
{
    for (const ULONG type : {0x1u, 0x2u, 0x100u, 0x104u, 0x5u, 0x80000010u, 0xFFFFFFFFu})
        notify({{.type = type, .id = m_anna.id, .parent = {0x02}, .oldParent = {0x02}}});
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(m_calls, IsEmpty());
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
    EXPECT_THAT(m_batches, IsEmpty());
}

TEST_F(ContactWatcherFilterTest, SkipsObjectsOfOtherTypesWithoutAWordOrACall)
{
    for (const ULONG type : {0u, 1u, 2u, 4u, 6u, 7u, 8u, 0x10005u})
        notify({{.type = fnevObjectCreated, .objectType = type, .id = m_anna.id, .parent = {0x02}}});
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(m_calls, IsEmpty());
    EXPECT_THAT(m_batches, IsEmpty());
}

TEST_F(ContactWatcherFilterTest, LogsOddEventsOfKnownFoldersAndDoesNothing)
{
    notify({{.type = 0x0C, .id = m_anna.id, .parent = {0x02}},
            {.type = 0xFC, .id = m_anna.id, .parent = {0x02}},
            {.type = fnevSearchComplete, .id = m_anna.id, .parent = {0x02}},
            {.type = 0, .id = m_anna.id, .parent = {0x02}}});
    EXPECT_THAT(lines(), ElementsAre(logged(0x0C, "Anna", 5, m_anna.id), logged(0xFC, "Anna", 5, m_anna.id),
                                     logged(0x80, "Anna", 5, m_anna.id), logged(0, "Anna", 5, m_anna.id)));
    EXPECT_THAT(m_batches, IsEmpty());
}

// ---- Messages ------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherFilterTest, AsksOnlyForTheCurrentParentOfAMessageWhenThatIsKnown)
{
    notify({ofMessage({0x02}, {0x03})});
    EXPECT_THAT(m_calls, ElementsAre("compare 03 02", "compare 02 02", "compare 02 02", "open prop 000A"));
}

TEST_F(ContactWatcherFilterTest, AsksForTheFormerParentOfAMessageWhenTheCurrentOneIsUnknown)
{
    notify({ofMessage({0x01}, {0x03})});
    EXPECT_THAT(m_calls, ElementsAre("compare 03 01", "compare 02 01", "compare 01 02", // not found
                                     "compare 03 03", "compare 02 03", "compare 03 03", "open prop 000A"));
    EXPECT_THAT(lines(), ElementsAre(logged(0x80, "Anna", 5, m_anna.id)));
}

TEST_F(ContactWatcherFilterTest, DropsAMessageOfUnknownFoldersWithoutOpeningAnything)
{
    notify({ofMessage({0x04}, {0x05}), ofMessage({0x04}), ofMessage({}, {0x05}), ofMessage({}, {})});
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(m_calls, testing::Each(testing::StartsWith("compare")));
    EXPECT_THAT(m_batches, IsEmpty());
}

TEST_F(ContactWatcherFilterTest, AsksNothingAboutAnEmptyParent)
{
    notify({ofMessage({}, {})});
    EXPECT_THAT(m_calls, IsEmpty());
}

TEST_F(ContactWatcherFilterTest, TakesAnIdentifierWithoutBytesOrWithoutALengthForNone)
{
    BYTE known[] = {0x02};
    const auto bytes = reinterpret_cast<ENTRYID*>(known);
    NOTIFICATION notifications[2] = {};
    for (NOTIFICATION& notification : notifications)
    {
        notification.ulEventType = fnevObjectDeleted;
        notification.info.obj.ulObjType = MAPI_MESSAGE;
    }
    notifications[0].info.obj.cbParentID = 1;
    notifications[1].info.obj.lpParentID = bytes;
    EXPECT_EQ(m_sink->OnNotify(2, notifications), 0u);
    EXPECT_THAT(m_calls, IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(ContactWatcherFilterTest, KnowsAFolderByAnotherOfItsIdentifiers)
{
    m_aliases = {{{0x03}, {0x03, 0x77}}};
    notify({ofMessage({0x03, 0x77})});
    EXPECT_THAT(lines(), ElementsAre(logged(0x80, "Anna", 5, m_anna.id)));
}

TEST_F(ContactWatcherFilterTest, GoesByTheParentAndNotByTheObject)
{
    notify({{.type = fnevObjectCreated, .id = {0x02}, .parent = {0x04}, .oldId = {0x03}}});
    EXPECT_THAT(lines(), IsEmpty());
}

// ---- Folders -------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherFilterTest, OpensNoParentOfAFolderWhenTheParentIsKnown)
{
    notify({ofFolder({0x02})});
    EXPECT_THAT(m_calls, ElementsAre("compare 03 02", "compare 02 02", "compare 02 02", // looked up twice
                                     "compare 03 02", "compare 02 02", "compare 02 02", "open prop 04"));
    EXPECT_THAT(lines(), ElementsAre(logged(0x10, "Notes", 3, {0x04})));
}

TEST_F(ContactWatcherFilterTest, FindsAParentOfAFolderAnywhereBelowTheRoot)
{
    notify({ofFolder({0x04})});
    EXPECT_THAT(m_calls, ElementsAre("compare 03 04", "compare 03 04",   // not known, and looked up twice
                                     "open folder 04", "open folder 01", // the parent, and the root
                                     "compare 99 99", "compare 99 99", "compare 01 04",  // stores, and the two
                                     "open folder 01", "compare 01 04", "compare 01 01", // a step upward
                                     "open prop 04"));
    EXPECT_THAT(lines(), ElementsAreArray(joined({loggedPlace("Notes", true), {logged(0x10, "Notes", 3, {0x04})}})));
}

TEST_F(ContactWatcherFilterTest, TakesTheRootItselfForAKnownParentOfAFolder)
{
    notify({ofFolder({0x01})});
    EXPECT_THAT(lines(), ElementsAre("mapi::MessageStore::testHierarchy: Analyze relations of root folder Top and  Top",
                                     "mapi::MessageStore::testHierarchy: These are different instances of the same "
                                     "object.",
                                     logged(0x10, "Notes", 3, {0x04})));
}

TEST_F(ContactWatcherFilterTest, DropsAFolderWhoseParentsLieBesideTheRoot)
{
    notify({ofFolder({0x05}, {0x0F})});
    EXPECT_THAT(lines(), ElementsAreArray(joined({loggedPlace("Outside", false), loggedPlace("Beginning", false)})));
    EXPECT_THAT(m_calls, testing::Not(testing::Contains("open prop 04")));
}

TEST_F(ContactWatcherFilterTest, AsksForTheFormerParentOfAFolderWhenTheCurrentOneIsUnknown)
{
    notify({ofFolder({0x05}, {0x02})});
    EXPECT_THAT(lines(), ElementsAreArray(joined({loggedPlace("Outside", false), {logged(0x10, "Notes", 3, {0x04})}})));
}

TEST_F(ContactWatcherFilterTest, DropsAFolderWhoseParentCannotBeOpened)
{
    m_openResults[{0x04}] = MAPI_E_NOT_FOUND;
    notify({ofFolder({0x04})});
    m_openResults[{0x04}] = MAPI_W_ERRORS_RETURNED; // and comes with the object
    notify({ofFolder({0x04})});
    EXPECT_THAT(m_calls, ElementsAre("compare 03 04", "compare 03 04", "open folder 04", "compare 03 04",
                                     "compare 03 04", "open folder 04"));
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(ContactWatcherFilterTest, DropsAFolderWithoutAParentWithoutACall)
{
    notify({ofFolder({}, {})});
    EXPECT_THAT(m_calls, IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(ContactWatcherFilterTest, DropsAFolderWhoseParentIsOfAnotherStore)
{
    giveProperties(m_notes.folder, {Property::bytes(PR_ENTRYID, {0x04}), Property::text(PR_DISPLAY_NAME_W, L"Notes"),
                                    Property::bytes(PR_STORE_ENTRYID, {0x98})});
    notify({ofFolder({0x04})});
    EXPECT_THAT(lines(),
                ElementsAre("mapi::MessageStore::testHierarchy: Analyze relations of root folder Top and  Notes",
                            "mapi::MessageStore::testHierarchy: One or both objects are from another store."));
}

// ---- The line ------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherFilterTest, LogsTheNameTheHashAndTheIdentifier)
{
    ContactMock berg({0x00, 0x00, 0x00, 0x00, 0xA1, 0xB2, 0xC3, 0xD4}, L"Anna Berg");
    m_objects[berg.id] = berg.message.get();
    notify({{.type = fnevObjectCreated, .id = berg.id, .parent = {0x02}}});
    EXPECT_THAT(lines(), ElementsAre("Notification 4 for Anna Berg of type 5, EntryId hash = 7f37237dc92f23b5 "
                                     "(00000000A1B2C3D4)"));
}

TEST_F(ContactWatcherFilterTest, LogsAnObjectWithoutAName)
{
    giveProperties(m_anna.message, {Property::bytes(PR_ENTRYID, m_anna.id)});
    notify({ofMessage({0x02})});
    EXPECT_THAT(lines(), ElementsAre(logged(0x80, "(cannot resolve)", 5, m_anna.id)));
}

TEST_F(ContactWatcherFilterTest, LogsAnObjectThatCannotBeOpened)
{
    m_openResults[m_anna.id] = MAPI_E_NOT_FOUND;
    notify({ofMessage({0x02})});
    EXPECT_THAT(lines(), ElementsAreArray(loggedGone(0x80, 5, m_anna.id)));
}

TEST_F(ContactWatcherFilterTest, LogsAnObjectThatOpensWithAWarningAsOneThatCannotBeOpened)
{
    m_openResults[m_anna.id] = S_FALSE;
    notify({ofMessage({0x02})});
    EXPECT_THAT(lines(), ElementsAre("HRESULT logged: `anonymous-namespace'::logNotification, line N: hr = 0x1",
                                     logged(0x80, "(cannot resolve)", 5, m_anna.id)));
}

TEST_F(ContactWatcherFilterTest, LogsAnObjectThatOpensToNothingWithoutAResult)
{
    m_objects[m_anna.id] = nullptr;
    notify({ofMessage({0x02})});
    EXPECT_THAT(lines(), ElementsAre(logged(0x80, "(cannot resolve)", 5, m_anna.id)));
}

TEST_F(ContactWatcherFilterTest, LogsThatAnIdentifierIsEmptyAndOpensNothing)
{
    notify({{.type = fnevSearchComplete, .id = {}, .parent = {0x02}}});
    EXPECT_THAT(lines(), ElementsAre("`anonymous-namespace'::logNotification: Notification 80: EntryId is empty!"));
    EXPECT_THAT(m_calls, testing::Each(testing::StartsWith("compare")));
}

// ---- Batches -------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherFilterTest, GivesOneRecordForABatchAndMergesNothing)
{
    notify({{.type = fnevObjectModified, .id = m_anna.id, .parent = {0x02}},
            {.type = fnevObjectCreated, .id = m_ola.id, .parent = {0x02}},
            {.type = fnevObjectCreated, .id = m_anna.id, .parent = {0x04}}, // dropped
            {.type = fnevObjectDeleted, .id = {0x00, 0x02}, .parent = {0x02}},
            {.type = fnevObjectCreated, .id = m_anna.id, .parent = {0x03}},
            {.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = {0x02}},
            {.type = fnevObjectModified, .id = m_anna.id, .parent = {0x02}}});
    const Changes changes = onlyBatch();
    EXPECT_THAT(textsOf(changes.added), ElementsAre(L"Ola;;;;;;;;;;000B;", L"Anna;;;;;;;;;;000A;"));
    EXPECT_THAT(textsOf(changes.changed), ElementsAre(L"Anna;;;;;;;;;;000A;", L"Anna;;;;;;;;;;000A;"));
    EXPECT_THAT(textsOf(changes.deleted), ElementsAre(L";;;;;;;;;;0002;", L";;;;;;;;;;0001;"));
    EXPECT_THAT(changes.deletedFolders, IsEmpty());
}

TEST_F(ContactWatcherFilterTest, BeginsEachBatchAfresh)
{
    notify({{.type = fnevObjectCreated, .id = m_anna.id, .parent = {0x02}}});
    m_batches.clear();
    notify({{.type = fnevObjectCreated, .id = m_ola.id, .parent = {0x02}}});
    EXPECT_THAT(textsOf(onlyBatch().added), ElementsAre(L"Ola;;;;;;;;;;000B;"));
}

TEST_F(ContactWatcherFilterTest, DoesNotCallBackWhenNothingHasChanged)
{
    notify({ofMessage({0x04}), ofMessage({0x02}), {.type = fnevObjectDeleted, .id = {0x80}, .parent = {0x02}}});
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_THAT(lines(), testing::SizeIs(4));
}

TEST_F(ContactWatcherFilterTest, CallsBackForAnyOfTheFourLists)
{
    notify({{.type = fnevObjectCreated, .id = m_anna.id, .parent = {0x02}}});
    notify({{.type = fnevObjectModified, .id = m_anna.id, .parent = {0x02}}});
    notify({{.type = fnevObjectDeleted, .id = m_anna.id, .parent = {0x02}}});
    giveRows(m_top.hierarchy, {});
    notify({{.type = fnevObjectDeleted, .objectType = MAPI_FOLDER, .id = {0x02}, .parent = {0x02}}});
    ASSERT_THAT(m_batches, testing::SizeIs(4));
    EXPECT_THAT(m_batches[0].added, testing::SizeIs(1));
    EXPECT_THAT(m_batches[1].changed, testing::SizeIs(1));
    EXPECT_THAT(m_batches[2].deleted, testing::SizeIs(1));
    EXPECT_THAT(m_batches[3].deletedFolders, testing::SizeIs(2));
}
} // namespace
