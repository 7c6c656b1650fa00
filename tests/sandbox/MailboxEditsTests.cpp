#include "sandbox/mailbox/edits/MailboxEdits.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mapiabi/MapiTags.h"
#include "tests/sandbox/EditedMailbox.h"

using namespace sandbox;
using namespace sandboxtest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{
const char* const editedMailbox = R"({
  "addressBook":{"mara":{"smtpAddress":"mara@example.com"}},
  "stores":[
    {"name":"One","folders":[
      {"name":"A","messages":[{"displayName":"a1","aliases":["0000000099"],"email":"a1@example.com"},{"displayName":"a2"}],
       "folders":[{"name":"AA","messages":[{"displayName":"aa1","entryId":"0000000042"}]}]},
      {"name":"B","generate":{"contacts":3}}]},
    {"name":"Two","properties":{"PS_PUBLIC_STRINGS:Shift:text":"x"},"folders":[{"name":"C"}]}]})";

class MailboxEditsTest : public testing::Test
{
protected:
    MailboxEditsTest() : box(editedMailbox) {}

    EditedMailbox box;
};
} // namespace

// ---- Contacts --------------------------------------------------------------------------------------------------------

TEST_F(MailboxEditsTest, AddsAContactAtTheEndOfItsFolder)
{
    std::shared_ptr<Message> added;
    const Batches events = box.edit(
        [&](MailboxEdits& edits)
        {
            added =
                edits.addContact(box.folder("One/A"), Json{{"displayName", "new"}, {"email", "new@example.com"}}, "");
        });

    EXPECT_THAT(box.namesIn("One/A"), ElementsAre("a1", "a2", "new"));
    EXPECT_EQ(box.find(added->entryId()), added);
    EXPECT_EQ(box.find(added->shortTermId()), added);
    EXPECT_THAT(events, ElementsAre("One: created message " + idOf(*added) + " in " + box.id("One/A"),
                                    "One: modified folder " + box.id("One/A")));
}

TEST_F(MailboxEditsTest, KnowsTheAddressBookOfTheFile)
{
    std::shared_ptr<Message> added;
    (void)box.edit([&](MailboxEdits& edits)
                   { added = edits.addContact(box.folder("One"), Json{{"email", {{"addressBook", "mara"}}}}, ""); });
    EXPECT_EQ(box.named(*added, PidLidEmail1AddressType), L"EX");
    EXPECT_EQ(box.named(*added, PidLidEmail1EmailAddress), L"/o=Example/cn=Recipients/cn=mara");
}

TEST_F(MailboxEditsTest, EditsOnlyWhatIsSaidOfAContact)
{
    const std::shared_ptr<Message> message = box.message("One/A/a1");
    const Batches events = box.edit(
        [&](MailboxEdits& edits)
        {
            edits.editContact(message,
                              Json{{"displayName", nullptr},
                                   {"surname", "Lindqvist"},
                                   {"properties", {{"PR_NICKNAME_W", "Li"}, {"PR_TITLE_W", nullptr}}}},
                              "/set");
        });
    EXPECT_EQ(text(*message, PR_DISPLAY_NAME_W), L"(none)");
    EXPECT_EQ(text(*message, PR_SURNAME_W), L"Lindqvist");
    EXPECT_EQ(text(*message, PROP_TAG(PT_UNICODE, 0x3A4F)), L"Li");
    EXPECT_EQ(text(*message, PR_MESSAGE_CLASS_W), L"IPM.Contact");
    EXPECT_EQ(box.named(*message, PidLidEmail1EmailAddress), L"a1@example.com");
    EXPECT_THAT(events, ElementsAre("One: modified message " + idOf(*message) + " in " + box.id("One/A")));
}

TEST_F(MailboxEditsTest, ReplacesTheWholeFirstAddress)
{
    const std::shared_ptr<Message> message = box.message("One/A/a1");
    const auto setEmail = [&](Json email)
    {
        (void)box.edit([&](MailboxEdits& edits) { edits.editContact(message, Json{{"email", email}}, ""); });
    };
    setEmail({{"addressBook", "mara"}, {"displayName", "Mara"}});
    EXPECT_EQ(box.named(*message, PidLidEmail1AddressType), L"EX");
    EXPECT_EQ(box.named(*message, 0x8080), L"Mara");
    setEmail("other@example.com");
    EXPECT_EQ(box.named(*message, PidLidEmail1AddressType), L"SMTP");
    EXPECT_EQ(box.named(*message, PidLidEmail1EmailAddress), L"other@example.com");
    EXPECT_EQ(box.named(*message, 0x8080), L"(none)");
    EXPECT_FALSE(box.hasNamed(*message, PidLidEmail1OriginalEntryId));
    setEmail(nullptr);
    EXPECT_EQ(box.named(*message, PidLidEmail1AddressType), L"(none)");
    EXPECT_EQ(box.named(*message, PidLidEmail1EmailAddress), L"(none)");
}

TEST_F(MailboxEditsTest, EditsRows)
{
    const std::shared_ptr<Message> message = box.message("One/A/a1");
    const auto set = [&](Json json)
    {
        (void)box.edit([&](MailboxEdits& edits) { edits.editContact(message, json, ""); });
    };
    set({{"row", {{"PR_ENTRYID", nullptr}}}});
    EXPECT_FALSE(message->rowProperty(PROP_ID(PR_ENTRYID)));
    set({{"row", nullptr}});
    EXPECT_TRUE(message->rowProperty(PROP_ID(PR_ENTRYID)));
}

TEST_F(MailboxEditsTest, EditsGeneratedContactsLikeOthers)
{
    const std::shared_ptr<Message> message = box.folder("One/B")->messages().at(1);
    (void)box.edit([&](MailboxEdits& edits)
                   { edits.editContact(message, Json{{"displayName", "Mara"}, {"email", nullptr}}, ""); });
    EXPECT_EQ(text(*message, PR_DISPLAY_NAME_W), L"Mara");
    EXPECT_EQ(text(*message, PR_GIVEN_NAME_W), L"Bj\u00F6rn");
    EXPECT_EQ(box.named(*message, PidLidEmail1EmailAddress), L"(none)");
}

// ---- Folders and stores ----------------------------------------------------------------------------------------------

TEST_F(MailboxEditsTest, AddsAFolderWithAllInIt)
{
    std::shared_ptr<Folder> added;
    const Batches events = box.edit(
        [&](MailboxEdits& edits)
        {
            added = edits.addFolder(
                box.folder("Two"),
                Json::parse(R"({"name":"New","messages":[{"displayName":"n1"}],"generate":{"contacts":2},
                                                    "folders":[{"name":"Below","messages":[{"displayName":"b1"}]}]})"),
                "");
        });
    EXPECT_THAT(events, ElementsAre("Two: created folder " + idOf(*added) + " in " + box.id("Two")));
    EXPECT_EQ(added->messages().size(), 3U);
    EXPECT_THAT(box.namesIn("Two/New/Below"), ElementsAre("b1"));
}

TEST_F(MailboxEditsTest, EditsAFolder)
{
    const std::shared_ptr<Folder> folder = box.folder("One/A");
    const auto set = [&](Json json)
    {
        return box.edit([&](MailboxEdits& edits) { edits.editFolder(folder, json, ""); });
    };
    EXPECT_THAT(set({{"name", "Z"}, {"class", "IPF.Contact"}, {"hidden", true}, {"shortTermIds", true}}),
                ElementsAre("One: modified folder " + idOf(*folder) + " in " + box.id("One")));
    EXPECT_EQ(text(*folder, PR_DISPLAY_NAME_W), L"Z");
    EXPECT_EQ(text(*folder, PR_CONTAINER_CLASS_W), L"IPF.Contact");
    EXPECT_TRUE(std::get<bool>(folder->property(PROP_ID(PR_ATTR_HIDDEN))->value));
    EXPECT_TRUE(folder->givesShortTermIds());
    (void)set({{"class", nullptr}, {"hidden", nullptr}, {"shortTermIds", nullptr}});
    EXPECT_FALSE(folder->property(PROP_ID(PR_CONTAINER_CLASS_W)));
    EXPECT_FALSE(folder->property(PROP_ID(PR_ATTR_HIDDEN)));
    EXPECT_FALSE(folder->givesShortTermIds());
    EXPECT_EQ(folder->name(), L"Z");
}

TEST_F(MailboxEditsTest, TheLatestWordOnAPropertyHolds)
{
    const std::shared_ptr<Folder> folder = box.folder("One/A");
    const auto set = [&](Json json)
    {
        (void)box.edit([&](MailboxEdits& edits) { edits.editFolder(folder, json, ""); });
    };
    set({{"properties", {{"PR_CONTAINER_CLASS_W", "IPF.Note"}, {"PR_DISPLAY_NAME_W", nullptr}}}});
    EXPECT_EQ(text(*folder, PR_CONTAINER_CLASS_W), L"IPF.Note");
    EXPECT_EQ(text(*folder, PR_DISPLAY_NAME_W), L"(none)");
    set({{"class", "IPF.Contact"}, {"name", "A"}});
    EXPECT_EQ(text(*folder, PR_CONTAINER_CLASS_W), L"IPF.Contact");
    EXPECT_EQ(text(*folder, PR_DISPLAY_NAME_W), L"A");
}

TEST_F(MailboxEditsTest, EditsAStoreAndTellsNobody)
{
    const std::shared_ptr<Store> store = box.mailbox().stores().at(1);
    const auto set = [&](Json json)
    {
        return box.edit([&](MailboxEdits& edits) { edits.editStore(store, json, ""); });
    };
    EXPECT_THAT(set({{"name", "Public"}, {"public", true}}), IsEmpty());
    EXPECT_EQ(store->name(), L"Public");
    EXPECT_EQ(toHex(std::get<Bytes>(store->property(PROP_ID(PR_MDB_PROVIDER))->value)),
              "78B2FA70AFF711CD9BC800AA002FC45A");
    (void)set({{"public", false}});
    EXPECT_EQ(toHex(std::get<Bytes>(store->property(PROP_ID(PR_MDB_PROVIDER))->value)),
              "9EB4770074E411CE8C5E00AA004254E2");
}

// ---- What goes together ----------------------------------------------------------------------------------------------

TEST_F(MailboxEditsTest, TellsAllEditsOfAStoreInOneBatchAndTheChangedFoldersOnce)
{
    std::shared_ptr<Message> first, second;
    const std::string a2 = idOf(*box.message("One/A/a2"));
    const std::vector<StoreBatch> batches = box.editRaw(
        [&](MailboxEdits& edits)
        {
            first = edits.addContact(box.folder("One/A"), Json::object(), "");
            second = edits.addContact(box.folder("Two/C"), Json::object(), "");
            edits.remove(box.message("One/A/a2"));
        });
    ASSERT_EQ(batches.size(), 4U);
    EXPECT_EQ(batches[0].events.size(), 2U);
    EXPECT_EQ(batches[1].events.size(), 1U);
    EXPECT_THAT(wordsOf(batches),
                ElementsAre("One: created message " + idOf(*first) + " in " + box.id("One/A"),
                            "One: deleted message " + a2 + " in " + box.id("One/A"),
                            "Two: created message " + idOf(*second) + " in " + box.id("Two/C"),
                            "One: modified folder " + box.id("One/A"), "Two: modified folder " + box.id("Two/C")));
}

TEST_F(MailboxEditsTest, DoesNotTellOfTheContentsOfAFolderThatIsGone)
{
    const std::string folder = box.id("One/A");
    const Batches events = box.edit(
        [&](MailboxEdits& edits)
        {
            edits.addContact(box.folder("One/A"), Json::object(), "");
            edits.remove(box.folder("One/A"));
        });
    EXPECT_THAT(events, testing::SizeIs(2));
    EXPECT_THAT(events.back(), HasSubstr("deleted folder " + folder));
}

TEST_F(MailboxEditsTest, TakesEverythingBackUnlessItIsKept)
{
    const std::string before = box.wholeState();
    {
        MailboxEdits edits(box.mailbox());
        edits.addContact(box.folder("One/A"), Json{{"properties", {{"PS_PUBLIC_STRINGS:Fresh:text", "x"}}}}, "");
        edits.addFolder(box.folder("One/A"), Json{{"name", "N"}, {"generate", {{"contacts", 2}}}}, "");
        edits.editContact(box.message("One/A/a1"), Json{{"displayName", "other"}, {"email", "x"}}, "");
        edits.editFolder(box.folder("One/B"), Json{{"hidden", true}, {"name", "BB"}}, "");
        edits.editStore(box.mailbox().stores().at(1), Json{{"public", true}}, "");
        edits.move(box.message("One/A/other"), box.folder("One/A/AA"), true);
        edits.move(box.message("One/A/a2"), box.folder("One/BB"), false);
        edits.move(box.folder("One/A/AA"), box.folder("One/BB"), false);
        edits.move(box.folder("One/BB/AA"), box.folder("Two/C"), false);
        edits.copy(box.folder("One/BB"), box.folder("Two"));
        edits.remove(box.folder("One/A"));
        edits.remove(box.folder("Two/C"));
        EXPECT_NE(box.wholeState(), before);
    }
    EXPECT_EQ(box.wholeState(), before);
}
