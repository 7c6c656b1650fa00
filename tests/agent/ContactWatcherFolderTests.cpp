// What a watcher makes of each event of a folder, and the comparison of the folders that it knows with those of the store.
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
using testing::StartsWith;

const EntryId known = {0x02};
const EntryId otherKnown = {0x03};
const EntryId belowRoot = {0x04}; // known to folders, not to messages
const EntryId outside = {0x05};
const EntryId created = {0x06};

const std::string registered = "Maybe Contacts folder New registered as known notification source";
const std::wstring annaText = L"Anna;;;;;;;;;;000A;";
const std::wstring olaText = L"Ola;;;;;;;;;;000B;";

class ContactWatcherFolderTest : public ContactWatcherFixture
{
protected:
    ContactWatcherFolderTest()
    {
        m_objects[created] = m_new.folder.get();
        subscribe();
    }
    ~ContactWatcherFolderTest() override { EXPECT_EQ(m_new.folder->references(), 1); }

    void notifyOf(const Event& event)
    {
        Event ofFolder = event;
        ofFolder.objectType = MAPI_FOLDER;
        notify({ofFolder});
    }
    static std::string line(ULONG eventType) { return logged(eventType, "New", MAPI_FOLDER, created); }
    /// The log of a walk over Top and what lies directly below it.
    static std::vector<std::string> walked(std::size_t subfolders)
    {
        return std::vector<std::string>(subfolders, "subfolder found: subfolder");
    }
    /// Whether a message in the folder is taken up.
    [[nodiscard]] bool watches(const EntryId& folder)
    {
        const auto before = log().size();
        notify({{.type = fnevSearchComplete, .id = m_anna.id, .parent = folder}});
        return log().size() > before;
    }
    /// The store has these folders below Top, with their identifiers.
    void placeBelowTop(const std::vector<FolderMock*>& folders)
    {
        std::vector<Properties> rows;
        Objects objects;
        for (const FolderMock* const folder : folders)
        {
            rows.push_back({Property::bytes(PR_ENTRYID, folder->id), Property::text(PR_DISPLAY_NAME_W, L"subfolder"),
                            Property::number(PR_OBJECT_TYPE, MAPI_FOLDER)});
            objects.emplace_back(folder->id, folder->folder.get());
        }
        giveRows(m_top.hierarchy, rows);
        EXPECT_CALL(*m_top.folder, OpenEntry(_, _, _, _, _, _))
            .WillRepeatedly([objects](ULONG size, ENTRYID* bytes, const IID*, ULONG, ULONG*, IUnknown** object)
                            { return openObject(objects, size, bytes, object); });
    }

    FolderMock m_inner{{0x07}, folderProperties(L"Inner", created, contactFolder()), {&m_anna}};
    FolderMock m_new{created, folderProperties(L"New", belowRoot, contactFolder()), {&m_ola, &m_anna}, {&m_inner}};
};

TEST_F(ContactWatcherFolderTest, DropsEachEventOfUnknownParents)
{
    for (const ULONG type :
         {fnevObjectCreated, fnevObjectCopied, fnevObjectDeleted, fnevObjectModified, fnevObjectMoved})
        notifyOf({.type = type, .id = created, .parent = outside, .oldId = {0x02}, .oldParent = {0x0F}});
    const auto asked = joined({loggedPlace("Outside", false), loggedPlace("Beginning", false)});
    EXPECT_THAT(lines(), ElementsAreArray(joined({asked, asked, asked, asked, asked})));
    EXPECT_THAT(m_batches, IsEmpty());
}

// ---- Created and copied --------------------------------------------------------------------------------------------

TEST_F(ContactWatcherFolderTest, AddsTheContactsOfANewFolderAndRegistersIt)
{
    notifyOf({.type = fnevObjectCreated, .id = created, .parent = known});
    EXPECT_THAT(textsOf(onlyBatch().added), ElementsAre(olaText, annaText));
    EXPECT_THAT(lines(), ElementsAre(line(fnevObjectCreated), registered));
    EXPECT_TRUE(watches(created));
    EXPECT_FALSE(watches(m_inner.id)); // what lies below a new folder is not looked at
}

TEST_F(ContactWatcherFolderTest, FindsANewFolderAnywhereBelowTheRoot)
{
    notifyOf({.type = fnevObjectCopied, .id = created, .parent = belowRoot, .oldId = {0x03}, .oldParent = {0x01}});
    EXPECT_THAT(textsOf(onlyBatch().added), ElementsAre(olaText, annaText));
    // The parent is asked about by the filter, and again before the object is opened.
    EXPECT_THAT(lines(),
                ElementsAreArray(joined(
                    {loggedPlace("Notes", true), {line(fnevObjectCopied)}, loggedPlace("Notes", true), {registered}})));
    EXPECT_TRUE(watches(created));
}

TEST_F(ContactWatcherFolderTest, OnlyLogsANewFolderWhoseFormerParentAloneIsKnown)
{
    for (const ULONG type : {fnevObjectCreated, fnevObjectCopied})
        notifyOf({.type = type, .id = created, .parent = outside, .oldId = {0x03}, .oldParent = known});
    EXPECT_THAT(lines(), ElementsAreArray(joined({loggedPlace("Outside", false),
                                                  {line(fnevObjectCreated)},
                                                  loggedPlace("Outside", false),
                                                  loggedPlace("Outside", false),
                                                  {line(fnevObjectCopied)},
                                                  loggedPlace("Outside", false)})));
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_FALSE(watches(created));
}

TEST_F(ContactWatcherFolderTest, LeavesNoTraceOfANewFolderOfAnotherClass)
{
    giveProperties(m_new.folder, folderProperties(L"New", known, otherFolder()));
    notifyOf({.type = fnevObjectCreated, .id = created, .parent = known});
    EXPECT_THAT(lines(), ElementsAre(line(fnevObjectCreated)));
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_FALSE(watches(created));
}

TEST_F(ContactWatcherFolderTest, RegistersANewFolderWithoutContacts)
{
    const FolderMock empty({0x08}, folderProperties(L"New", known, {})); // without a class, too
    m_objects[empty.id] = empty.folder.get();
    notifyOf({.type = fnevObjectCreated, .id = empty.id, .parent = known});
    EXPECT_THAT(lines(), ElementsAre(logged(fnevObjectCreated, "New", MAPI_FOLDER, empty.id), registered));
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_TRUE(watches(empty.id));
}

TEST_F(ContactWatcherFolderTest, RegistersANewFolderByItsOwnIdentifier)
{
    m_objects[{0x80, 0x06}] = m_new.folder.get(); // opened by a short-term identifier
    notifyOf({.type = fnevObjectCreated, .id = {0x80, 0x06}, .parent = known});
    EXPECT_TRUE(watches(created));
    EXPECT_FALSE(watches({0x80, 0x06}));
}

TEST_F(ContactWatcherFolderTest, TellsOfANewFolderThatItKnowsAgainButKeepsItOnce)
{
    notifyOf({.type = fnevObjectCreated, .id = created, .parent = known});
    notifyOf({.type = fnevObjectCreated, .id = created, .parent = known});
    EXPECT_THAT(m_batches, testing::SizeIs(2));
    EXPECT_THAT(lines(), ElementsAre(line(fnevObjectCreated), registered, line(fnevObjectCreated), registered));
    m_batches.clear();
    notifyOf({.type = fnevObjectDeleted, .id = created, .parent = known});
    EXPECT_THAT(textsOf(onlyBatch().deletedFolders), ElementsAre(L"06"));
}

TEST_F(ContactWatcherFolderTest, LogsANewFolderThatCannotBeOpened)
{
    m_openResults[created] = MAPI_E_NO_ACCESS;
    notifyOf({.type = fnevObjectCreated, .id = created, .parent = known});
    EXPECT_THAT(lines(), ElementsAre("HRESULT logged: `anonymous-namespace'::logNotification, line N: hr = 0x80070005",
                                     logged(fnevObjectCreated, "(cannot resolve)", MAPI_FOLDER, created),
                                     "HRESULT logged: ContactWatcher::onNewObject, line N: hr = 0x80070005(Cannot "
                                     "open new or copied object. EntryID = 06)"));
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_FALSE(watches(created));
}

// ---- Modified ------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherFolderTest, OnlyLogsAModifiedFolder)
{
    notifyOf({.type = fnevObjectModified, .id = created, .parent = known});
    notifyOf({.type = fnevObjectModified, .id = created, .parent = {}, .oldParent = known});
    EXPECT_THAT(lines(), ElementsAre(line(fnevObjectModified), line(fnevObjectModified)));
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_FALSE(watches(created)); // though it is a contact folder by now
}

TEST_F(ContactWatcherFolderTest, KeepsAFolderThatIsNoContactFolderAnyMore)
{
    giveProperties(m_team.folder, folderProperties(L"Team", {0x01}, otherFolder()));
    notifyOf({.type = fnevObjectModified, .id = {0x03}, .parent = known});
    EXPECT_TRUE(watches({0x03}));
    notifyOf({.type = fnevObjectDeleted, .id = {0x03}, .parent = known}); // it is still to be seen
    EXPECT_TRUE(watches({0x03}));
    EXPECT_THAT(m_batches, IsEmpty());
}

// ---- Moved ---------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherFolderTest, TakesUpAFolderThatMovesIn)
{
    notifyOf({.type = fnevObjectMoved, .id = created, .parent = known, .oldId = {0x88}, .oldParent = outside});
    EXPECT_THAT(textsOf(onlyBatch().added), ElementsAre(olaText, annaText));
    EXPECT_THAT(lines(),
                ElementsAreArray(joined({{line(fnevObjectMoved)}, loggedPlace("Outside", false), {registered}})));
    EXPECT_TRUE(watches(created));
}

TEST_F(ContactWatcherFolderTest, OnlyLogsAFolderThatMovesBetweenKnownPlaces)
{
    notifyOf({.type = fnevObjectMoved, .id = created, .parent = known, .oldId = created, .oldParent = belowRoot});
    EXPECT_THAT(lines(), ElementsAreArray(joined({{line(fnevObjectMoved)}, loggedPlace("Notes", true)})));
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_FALSE(watches(created));
}

TEST_F(ContactWatcherFolderTest, ComparesItsFoldersWhenOneMovesAway)
{
    placeBelowTop({&m_contacts, &m_notes});
    notifyOf({.type = fnevObjectMoved, .id = {0x03}, .parent = outside, .oldId = {0x03}, .oldParent = belowRoot});
    EXPECT_THAT(textsOf(onlyBatch().deletedFolders), ElementsAre(L"03"));
    EXPECT_THAT(lines(), ElementsAreArray(joined({loggedPlace("Outside", false), // the filter
                                                  loggedPlace("Notes", true),
                                                  {logged(fnevObjectMoved, "Team", MAPI_FOLDER, {0x03})},
                                                  walked(2)})));
    EXPECT_FALSE(watches({0x03}));
}

TEST_F(ContactWatcherFolderTest, ReportsNothingWhenAFolderMovesWithinWhatUsersSee)
{
    // The former parent alone is given, so the folders are compared; it is visible at its new place.
    notifyOf({.type = fnevObjectMoved, .id = {0x03}, .parent = {}, .oldId = {0x03}, .oldParent = known});
    EXPECT_THAT(lines(), ElementsAreArray(joined({{logged(fnevObjectMoved, "Team", MAPI_FOLDER, {0x03})}, walked(3)})));
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_TRUE(watches({0x03}));
}

// ---- Deleted -------------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherFolderTest, DeletesEachKnownFolderThatIsNoLongerToBeSeen)
{
    placeBelowTop({&m_notes});
    m_openResults[{0x03}] = MAPI_E_NOT_FOUND;
    notifyOf({.type = fnevObjectDeleted, .id = {0x03}, .parent = {0x01}});
    const Changes changes = onlyBatch();
    EXPECT_THAT(textsOf(changes.deletedFolders), ElementsAre(L"02", L"03")); // one event, all that are gone
    for (const SyncItem& item : changes.deletedFolders)
        EXPECT_TRUE(item.isFolder);
    EXPECT_THAT(changes.deleted, IsEmpty());
    EXPECT_THAT(changes.added, IsEmpty());
    EXPECT_THAT(changes.changed, IsEmpty());
    EXPECT_FALSE(watches({0x02}));
    EXPECT_FALSE(watches({0x03}));
}

TEST_F(ContactWatcherFolderTest, GoesByTheStoreAndNotByTheIdentifierOfTheNotification)
{
    placeBelowTop({&m_contacts});
    for (const EntryId& id : {EntryId{}, EntryId{0x02}, EntryId{0x81, 0x03}})
        notifyOf({.type = fnevObjectDeleted, .id = id, .parent = known});
    EXPECT_THAT(textsOf(onlyBatch().deletedFolders), ElementsAre(L"03")); // told once
    EXPECT_TRUE(watches({0x02}));
}

TEST_F(ContactWatcherFolderTest, ReportsNothingWhenAllKnownFoldersAreThere)
{
    notifyOf({.type = fnevObjectDeleted, .id = created, .parent = known});
    EXPECT_THAT(lines(), ElementsAreArray(joined({{line(fnevObjectDeleted)}, walked(3)})));
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_TRUE(watches({0x02}));
    EXPECT_TRUE(watches({0x03}));
}

TEST_F(ContactWatcherFolderTest, ComparesWhicheverParentIsKnown)
{
    placeBelowTop({&m_contacts});
    notifyOf({.type = fnevObjectDeleted, .id = {0x03}, .parent = {}, .oldParent = known});
    EXPECT_THAT(textsOf(onlyBatch().deletedFolders), ElementsAre(L"03"));
}

TEST_F(ContactWatcherFolderTest, ComparesThroughMapiAndWithFoldersOfAnyClass)
{
    // The team folder has another class and another identifier by now, which MAPI knows for the same.
    giveProperties(m_team.folder,
                   {Property::bytes(PR_ENTRYID, {0x03, 0x01}), Property::text(PR_CONTAINER_CLASS_W, L"")});
    m_aliases = {{{0x03}, {0x03, 0x01}}};
    notifyOf({.type = fnevObjectDeleted, .id = created, .parent = known});
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_TRUE(watches({0x03}));
}

TEST_F(ContactWatcherFolderTest, AsksForVisibleFoldersAloneWhenItCompares)
{
    EXPECT_CALL(*m_top.hierarchy, Restrict(testing::NotNull(), TBL_BATCH)).WillOnce(Return(S_OK));
    notifyOf({.type = fnevObjectDeleted, .id = created, .parent = known});
}

TEST_F(ContactWatcherFolderTest, DeletesAHiddenFolderThatItHasBeenToldOf)
{
    notifyOf({.type = fnevObjectCreated, .id = created, .parent = known}); // the walk doesn't see it
    m_batches.clear();
    notifyOf({.type = fnevObjectDeleted, .id = {0x77}, .parent = known});
    EXPECT_THAT(textsOf(onlyBatch().deletedFolders), ElementsAre(L"06"));
    EXPECT_FALSE(watches(created));
    EXPECT_TRUE(watches({0x02}));
}

TEST_F(ContactWatcherFolderTest, DoesNotWalkOnceItKnowsNoFolder)
{
    placeBelowTop({});
    Event deleted{.type = fnevObjectDeleted, .objectType = MAPI_FOLDER, .id = {0x77}, .parent = {0x01}};
    notify({deleted, deleted}); // the second is dropped: no folder is known any more
    EXPECT_THAT(textsOf(onlyBatch().deletedFolders), ElementsAre(L"02", L"03"));
    EXPECT_EQ(std::ranges::count(m_calls, "open folder 01"), 3); // twice for the filter, once for the walk
}

TEST_F(ContactWatcherFolderTest, TellsOfDeletedFoldersInTheOrderOfTheirIdentifiers)
{
    notifyOf({.type = fnevObjectCreated, .id = created, .parent = known});
    m_batches.clear();
    placeBelowTop({&m_team});
    notifyOf({.type = fnevObjectDeleted, .id = created, .parent = otherKnown});
    EXPECT_THAT(textsOf(onlyBatch().deletedFolders), ElementsAre(L"02", L"06"));
    EXPECT_TRUE(watches({0x03}));
}
} // namespace
