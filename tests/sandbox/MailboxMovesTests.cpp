#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/edits/MailboxEdits.h"
#include "sandbox/mailbox/reading/ObjectPaths.h"
#include "tests/sandbox/EditedMailbox.h"

using namespace sandbox;
using namespace sandboxtest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{
// The second store knows other named properties before those of the first one.
const char* const movedMailbox = R"({"stores":[
    {"name":"One","folders":[
      {"name":"A","messages":[{"displayName":"a1","aliases":["0000000099"],"entryId":"0000000098",
                               "email":"a1@example.com","row":{"PidLidEmail1AddressType":"ROW"}},{"displayName":"a2"}],
       "folders":[{"name":"AA","aliases":["0000000097"],"messages":[{"displayName":"aa1"}],"generate":{"contacts":2}}]},
      {"name":"B"}]},
    {"name":"Two","properties":{"PS_PUBLIC_STRINGS:Shift:text":"x"},"folders":[{"name":"C"}]}]})";

class MailboxMovesTest : public testing::Test
{
protected:
    MailboxMovesTest() : box(movedMailbox) {}

    Batches move(const std::string& message, const std::string& target, bool keepId = false)
    {
        return box.edit([&](MailboxEdits& edits)
                        { moved = edits.move(objectAt(box.mailbox(), message, ""), box.folder(target), keepId); });
    }
    Batches copy(const std::string& object, const std::string& target)
    {
        return box.edit([&](MailboxEdits& edits)
                        { moved = edits.copy(objectAt(box.mailbox(), object, ""), box.folder(target)); });
    }
    Batches remove(const std::string& object)
    {
        return box.edit([&](MailboxEdits& edits) { edits.remove(objectAt(box.mailbox(), object, "")); });
    }
    [[nodiscard]] std::string refusedMove(const std::string& object, const std::string& target, bool keepId = false)
    {
        return box.refusal([&](MailboxEdits& edits)
                           { edits.move(objectAt(box.mailbox(), object, ""), box.folder(target), keepId); });
    }

    EditedMailbox box;
    std::shared_ptr<MailboxObject> moved;
};
} // namespace

// ---- Messages --------------------------------------------------------------------------------------------------------

TEST_F(MailboxMovesTest, AMovedMessageGetsAnIdentifierAndLosesTheFormerOnes)
{
    const std::shared_ptr<Message> message = box.message("One/A/a1");
    const Bytes shortTermId = message->shortTermId();
    const Batches events = move("One/A/a1", "One/B");
    EXPECT_THAT(box.namesIn("One/A"), ElementsAre("a2"));
    EXPECT_THAT(box.namesIn("One/B"), ElementsAre("a1"));
    EXPECT_NE(moved->entryId(), message->entryId());
    EXPECT_EQ(box.find(moved->entryId()), moved);
    EXPECT_EQ(box.find(moved->shortTermId()), moved);
    for (const Bytes& id : {message->entryId(), shortTermId, Bytes{0, 0, 0, 0, 0x99}})
        EXPECT_EQ(box.find(id), nullptr);
    EXPECT_THAT(events,
                ElementsAre("One: moved message " + idOf(*moved) + " in " + box.id("One/B") + " from 0000000098 in " +
                                box.id("One/A"),
                            "One: modified folder " + box.id("One/A"), "One: modified folder " + box.id("One/B")));
}

TEST_F(MailboxMovesTest, AMovedMessageKeepsItsIdentifiersIfItIsSaid)
{
    const std::shared_ptr<Message> message = box.message("One/A/a2");
    const Bytes id = message->entryId();
    const Batches events = move("One/A/a2", "One/B", true);
    EXPECT_EQ(moved, message);
    EXPECT_EQ(message->entryId(), id);
    EXPECT_EQ(box.find(id), message);
    EXPECT_EQ(box.find(message->shortTermId()), message);
    EXPECT_EQ(std::get<Bytes>(message->property(PROP_ID(PR_PARENT_ENTRYID))->value), box.folder("One/B")->entryId());
    EXPECT_THAT(events, ElementsAre("One: moved message " + toHex(id) + " in " + box.id("One/B") + " from " +
                                        toHex(id) + " in " + box.id("One/A"),
                                    testing::_, testing::_));
}

TEST_F(MailboxMovesTest, AMessageInAnotherStoreIsAnotherObject)
{
    const Batches events = move("One/A/a1", "Two/C");
    const auto& message = static_cast<const Message&>(*moved);
    EXPECT_EQ(&message.store(), box.mailbox().stores().at(1).get());
    EXPECT_EQ(box.named(message, PidLidEmail1EmailAddress), L"a1@example.com") << "under that store's own identifier";
    const ULONG typeId = message.store().names().find({PSETID_Address, PidLidEmail1AddressType}).value();
    EXPECT_EQ(std::get<std::wstring>(message.rowProperty(typeId)->value), L"ROW");
    EXPECT_EQ(message.tags(), message.tags());
    EXPECT_THAT(events,
                ElementsAre("Two: created message " + idOf(*moved) + " in " + box.id("Two/C"),
                            "One: deleted message 0000000098 in " + box.id("One/A"),
                            "One: modified folder " + box.id("One/A"), "Two: modified folder " + box.id("Two/C")));
}

TEST_F(MailboxMovesTest, ACopyHasNoIdentifierOfTheOriginal)
{
    const Batches events = copy("One/A/a1", "One/B");
    EXPECT_THAT(box.namesIn("One/A"), ElementsAre("a1", "a2"));
    EXPECT_THAT(box.namesIn("One/B"), ElementsAre("a1"));
    EXPECT_THAT(moved->explicitIds(), IsEmpty());
    EXPECT_EQ(box.find({0, 0, 0, 0, 0x99}), box.message("One/A/a1"));
    EXPECT_THAT(events, ElementsAre("One: copied message " + idOf(*moved) + " in " + box.id("One/B") +
                                        " from 0000000098 in " + box.id("One/A"),
                                    "One: modified folder " + box.id("One/B")));
}

TEST_F(MailboxMovesTest, GeneratedContactsMoveAndAreCopied)
{
    const std::shared_ptr<Message> contact = box.folder("One/A/AA")->messages().at(1);
    const std::wstring name = text(*contact, PR_DISPLAY_NAME_W);
    (void)copy("#" + idOf(*contact), "Two/C");
    EXPECT_EQ(text(*moved, PR_DISPLAY_NAME_W), name);
    EXPECT_EQ(box.named(static_cast<const Message&>(*moved), PidLidEmail1EmailAddress),
              box.named(*contact, PidLidEmail1EmailAddress));
    (void)move("#" + idOf(*contact), "One/B");
    EXPECT_EQ(text(*moved, PR_DISPLAY_NAME_W), name);
    (void)remove("#" + idOf(*moved));
    EXPECT_THAT(box.namesIn("One/B"), IsEmpty());
}

TEST_F(MailboxMovesTest, ADeletedMessageAnswersThoseWhoHoldIt)
{
    const std::shared_ptr<Message> message = box.message("One/A/AA/aa1");
    const Bytes folder = box.folder("One/A/AA")->entryId();
    (void)remove("One/A/AA/aa1");
    (void)remove("One/A");
    EXPECT_EQ(text(*message, PR_DISPLAY_NAME_W), L"aa1");
    EXPECT_EQ(std::get<Bytes>(message->property(PROP_ID(PR_PARENT_ENTRYID))->value), folder);
    EXPECT_EQ(box.find(message->entryId()), nullptr);
}

// ---- Folders ---------------------------------------------------------------------------------------------------------

TEST_F(MailboxMovesTest, AMovedFolderKeepsAllIdentifiers)
{
    const std::shared_ptr<Folder> folder = box.folder("One/A/AA");
    const Batches events = move("One/A/AA", "One/B");
    EXPECT_EQ(moved, folder);
    EXPECT_EQ(box.folder("One/B/AA"), folder);
    EXPECT_EQ(box.find(folder->messages().at(0)->entryId()), folder->messages().at(0));
    EXPECT_EQ(std::get<Bytes>(folder->property(PROP_ID(PR_PARENT_ENTRYID))->value), box.folder("One/B")->entryId());
    EXPECT_THAT(events, ElementsAre("One: moved folder " + idOf(*folder) + " in " + box.id("One/B") + " from " +
                                    idOf(*folder) + " in " + box.id("One/A")));
}

TEST_F(MailboxMovesTest, AFolderInAnotherStoreIsAnotherObjectWithAllBelow)
{
    const std::shared_ptr<Folder> former = box.folder("One/A");
    const Batches events = move("One/A", "Two");
    EXPECT_EQ(box.folder("Two/A"), moved);
    EXPECT_EQ(box.folder("Two/A/AA")->messages().size(), 3U);
    EXPECT_EQ(box.named(*box.message("Two/A/a1"), PidLidEmail1EmailAddress), L"a1@example.com");
    EXPECT_EQ(box.find(former->entryId()), nullptr);
    EXPECT_EQ(box.find({0, 0, 0, 0, 0x97}), nullptr);
    EXPECT_THAT(events, ElementsAre("Two: created folder " + idOf(*moved) + " in " + box.id("Two"),
                                    "One: deleted folder " + idOf(*former) + " in " + box.id("One")));
}

TEST_F(MailboxMovesTest, CopiesAFolderWithAllBelow)
{
    const Batches events = copy("One/A", "One/B");
    EXPECT_THAT(box.namesIn("One/B/A"), ElementsAre("a1", "a2"));
    EXPECT_EQ(box.folder("One/B/A/AA")->messages().size(), 3U);
    EXPECT_EQ(box.folder("One/A/AA")->messages().size(), 3U);
    EXPECT_THAT(events, ElementsAre("One: copied folder " + idOf(*moved) + " in " + box.id("One/B") + " from " +
                                    box.id("One/A") + " in " + box.id("One")));
}

TEST_F(MailboxMovesTest, ADeletedFolderTakesAllBelowWithIt)
{
    const std::shared_ptr<Folder> folder = box.folder("One/A");
    const std::shared_ptr<Folder> below = folder->folders().at(0);
    const std::shared_ptr<Message> message = folder->messages().at(0);
    const std::string id = idOf(*folder);
    EXPECT_THAT(remove("One/A"), ElementsAre("One: deleted folder " + id + " in " + box.id("One")));
    for (const Bytes& gone :
         {folder->entryId(), folder->shortTermId(), below->entryId(), below->messages().at(2)->entryId(),
          message->entryId(), message->shortTermId(), Bytes{0, 0, 0, 0, 0x99}, Bytes{0, 0, 0, 0, 0x97}})
        EXPECT_EQ(box.find(gone), nullptr) << toHex(gone);
    EXPECT_EQ(folder->messages().size(), 2U) << "who holds it still sees what it had";
    EXPECT_EQ(std::get<Bytes>(folder->property(PROP_ID(PR_PARENT_ENTRYID))->value), box.folder("One")->entryId());
}

TEST_F(MailboxMovesTest, AnIdentifierThatIsFreeAgainCanBeGivenAgain)
{
    (void)remove("One/A");
    std::shared_ptr<Message> added;
    (void)box.edit([&](MailboxEdits& edits)
                   { added = edits.addContact(box.folder("One/B"), Json{{"entryId", "0000000098"}}, ""); });
    EXPECT_EQ(box.find({0, 0, 0, 0, 0x98}), added);
}

// ---- What is refused -------------------------------------------------------------------------------------------------

TEST_F(MailboxMovesTest, RefusesMovesThatMakeNoSense)
{
    EXPECT_EQ(refusedMove("One/A", "One/A"), "a folder can't be moved into itself");
    EXPECT_EQ(refusedMove("One/A", "One/A/AA"), "a folder can't be moved into a folder below itself");
    EXPECT_EQ(refusedMove("One/A", "One"), "the folder is in this folder already");
    EXPECT_EQ(refusedMove("One/A/a1", "One/A"), "the message is in this folder already");
    EXPECT_EQ(refusedMove("One/A/a1", "Two", true), "nothing keeps its identifier on its way to another store");
    EXPECT_EQ(refusedMove("One", "Two"), "a store can't be moved");
    EXPECT_EQ(refusedMove("#" + box.id("One"), "Two"), "the IPM subtree of a store can't be moved");
    EXPECT_EQ(refusedMove("#" + idOf(*box.mailbox().stores().at(0)->root()), "Two"),
              "the root folder of a store can't be moved");
}

TEST_F(MailboxMovesTest, RefusesCopiesAndDeletionsThatMakeNoSense)
{
    const auto refusedCopy = [&](const std::string& object, const std::string& target)
    {
        return box.refusal([&](MailboxEdits& edits)
                           { edits.copy(objectAt(box.mailbox(), object, ""), box.folder(target)); });
    };
    const auto refusedDeletion = [&](const std::string& object)
    {
        return box.refusal([&](MailboxEdits& edits) { edits.remove(objectAt(box.mailbox(), object, "")); });
    };
    EXPECT_EQ(refusedCopy("One/A", "One/A/AA"), "a folder can't be copied into a folder below itself");
    EXPECT_EQ(refusedCopy("One", "Two"), "a store can't be copied");
    EXPECT_EQ(refusedDeletion("One"), "a store can't be deleted");
    EXPECT_EQ(refusedDeletion("#" + box.id("One")), "the IPM subtree of a store can't be deleted");
    EXPECT_EQ(refusedDeletion("#" + idOf(*box.mailbox().stores().at(0)->root())),
              "the root folder of a store can't be deleted");
}

TEST_F(MailboxMovesTest, RefusesWhatTheReaderRefusesWithItsPlace)
{
    const auto added = [&](const char* json)
    {
        return box.refusal([&](MailboxEdits& edits)
                           { edits.addFolder(box.folder("One"), Json::parse(json), "/folder"); });
    };
    EXPECT_EQ(added(R"({"name":"N","messages":[{"properties":{"PS_PUBLIC_STRINGS:Fresh:text":"x"}},
                                               {"entryId":"0000000098"}]})"),
              "/folder/messages/1: the entry identifier 0000000098 stands for another object already");
    EXPECT_EQ(added(R"({"name":"N","folders":[{"name":"O","generate":{"contacts":5}},{"name":3}]})"),
              "/folder/folders/1/name: must be a text");
    EXPECT_EQ(added(R"({"messages":[]})"), "/folder: 'name' is missing");
    EXPECT_THAT(added(R"({"name":"N","mesages":[]})"), HasSubstr("/folder/mesages: unknown key; known here are "));
}

TEST_F(MailboxMovesTest, RefusesChangesThatContradictThemselves)
{
    const auto set = [&](const char* place, const char* json)
    {
        return box.refusal(
            [&](MailboxEdits& edits)
            {
                const std::shared_ptr<MailboxObject> object = objectAt(box.mailbox(), place, "");
                const Json changes = Json::parse(json);
                if (object->type() == MAPI_MESSAGE)
                    edits.editContact(std::static_pointer_cast<Message>(object), changes, "/set");
                else if (object->type() == MAPI_FOLDER)
                    edits.editFolder(std::static_pointer_cast<Folder>(object), changes, "/set");
                else
                    edits.editStore(std::static_pointer_cast<Store>(object), changes, "/set");
            });
    };
    EXPECT_EQ(set("One/A/a1", R"({"surname":"x","properties":{"PR_SURNAME_W":"y","PS_PUBLIC_STRINGS:F:text":"z"}})"),
              "/set/properties/PR_SURNAME_W: this property is given already, by another key of the same object");
    EXPECT_EQ(set("One/A", R"({"class":"IPF.Note","properties":{"PR_CONTAINER_CLASS_W":"IPF.Task"}})"),
              "/set/properties: says what 'class' says already");
    EXPECT_EQ(set("One", R"({"public":true,"properties":{"PR_MDB_PROVIDER":"00"}})"),
              "/set/properties: says what 'public' says already");
}

TEST_F(MailboxMovesTest, RefusesFoldersThatAreNestedTooDeep)
{
    std::string below = R"({"name":"deepest"})";
    for (int level = 0; level < 1500; ++level)
        below = R"({"name":"f","folders":[)" + below + "]}";
    std::shared_ptr<Folder> deep;
    (void)box.edit([&](MailboxEdits& edits) { deep = edits.addFolder(box.folder("Two"), Json::parse(below), ""); });
    const std::shared_ptr<Folder> deepest = withFoldersBelow(deep).back();
    EXPECT_THAT(box.refusal([&](MailboxEdits& edits) { edits.addFolder(deepest, Json::parse(below), ""); }),
                HasSubstr("folders are nested deeper than 2000 levels"));
    (void)copy("#" + idOf(*deep), "One");
    EXPECT_EQ(box.refusal([&](MailboxEdits& edits) { edits.move(moved, deepest, false); }),
              "folders would be nested deeper than 2000 levels");
}
