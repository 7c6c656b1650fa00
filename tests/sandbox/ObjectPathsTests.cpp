#include "sandbox/mailbox/reading/ObjectPaths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sandbox/mailbox/model/MailboxError.h"
#include "sandbox/mailbox/reading/MailboxReader.h"

using namespace sandbox;
using testing::EndsWith;

namespace
{
class ObjectPathsTest : public testing::Test
{
protected:
    template <class Find>
    [[nodiscard]] std::string complaint(Find find, const Json& place)
    {
        try
        {
            (void)find(*mailbox, place, "/path");
            return "(none)";
        }
        catch (const MailboxError& error)
        {
            return error.what();
        }
    }

    const std::shared_ptr<Mailbox> mailbox = readMailbox(R"({
        "addressBook":{"mara":{"entryId":"0000000050"}},
        "stores":[
        {"name":"Mailbox","entryId":"0000000001","folders":[
          {"name":"Contacts","entryId":"0000000002","messages":[
             {"displayName":"Mara","entryId":"0000000003","aliases":["8000000033"]},
             {"displayName":"Twin","entryId":"0000000004"},{"displayName":"Twin","entryId":"0000000005"},
             {"displayName":"A/B\\C","entryId":"0000000006"},{"entryId":"0000000007"},
             {"displayName":"Both","entryId":"0000000008"},{"displayName":"Łukasz","entryId":"0000000010"}],
           "folders":[{"name":"Both","entryId":"0000000009"}]}]},
        {"name":"#Odd","entryId":"0000000020"},
        {"name":"Same","folders":[{"name":"F","entryId":"0000000031"},{"name":"Only here","entryId":"0000000032"}]},
        {"name":"Same","folders":[{"name":"F","entryId":"0000000041"}]}]})");
};

[[nodiscard]] std::string foundId(const std::shared_ptr<MailboxObject>& object)
{
    return toHex(object->entryId());
}
} // namespace

TEST_F(ObjectPathsTest, FollowsThePathOfNames)
{
    EXPECT_EQ(foundId(folderAt(*mailbox, "Mailbox/Contacts", "")), "0000000002");
    EXPECT_EQ(foundId(messageAt(*mailbox, "Mailbox/Contacts/Mara", "")), "0000000003");
    EXPECT_EQ(foundId(messageAt(*mailbox, "Mailbox/Contacts/Łukasz", "")), "0000000010");
    EXPECT_EQ(foundId(objectAt(*mailbox, "Mailbox/Contacts/Mara", "")), "0000000003");
    EXPECT_EQ(foundId(folderAt(*mailbox, "Same/Only here", "")), "0000000032")
        << "one of two stores of the name has it";
}

TEST_F(ObjectPathsTest, TakesAStoresNameForWhatIsWanted)
{
    EXPECT_EQ(foundId(storeAt(*mailbox, "Mailbox", "")), "0000000001");
    EXPECT_EQ(foundId(objectAt(*mailbox, "Mailbox", "")), "0000000001");
    EXPECT_EQ(folderAt(*mailbox, "Mailbox", ""), mailbox->stores().at(0)->ipmSubtree());
}

TEST_F(ObjectPathsTest, UnderstandsEscapes)
{
    EXPECT_EQ(foundId(messageAt(*mailbox, "Mailbox/Contacts/A\\/B\\\\C", "")), "0000000006");
    EXPECT_EQ(foundId(storeAt(*mailbox, "\\#Odd", "")), "0000000020");
    EXPECT_EQ(complaint(storeAt, "Mail\\box"),
              "/path: in a path, '\\' stands before '/' or '\\' (or before '#' and '@' at the start)");
    EXPECT_EQ(complaint(storeAt, "Mailbox\\"),
              "/path: in a path, '\\' stands before '/' or '\\' (or before '#' and '@' at the start)");
}

TEST_F(ObjectPathsTest, TakesIdentifiersOfEveryForm)
{
    EXPECT_EQ(foundId(messageAt(*mailbox, "#0000000003", "")), "0000000003");
    EXPECT_EQ(foundId(messageAt(*mailbox, "#80 00 00 00 33", "")), "0000000003");
    const Bytes shortTermId = folderAt(*mailbox, "Mailbox/Contacts", "")->shortTermId();
    EXPECT_EQ(foundId(folderAt(*mailbox, "#" + toHex(shortTermId), "")), "0000000002");
    EXPECT_EQ(foundId(storeAt(*mailbox, "#0000000001", "")), "0000000001");
    EXPECT_EQ(objectAt(*mailbox, "#0000000050", "")->type(), MAPI_MAILUSER);
}

TEST_F(ObjectPathsTest, DecidesByTheKindThatIsWanted)
{
    EXPECT_EQ(foundId(folderAt(*mailbox, "Mailbox/Contacts/Both", "")), "0000000009");
    EXPECT_EQ(foundId(messageAt(*mailbox, "Mailbox/Contacts/Both", "")), "0000000008");
    EXPECT_EQ(complaint(objectAt, "Mailbox/Contacts/Both"),
              "/path: 'Mailbox/Contacts/Both' fits 2 objects: #0000000009, #0000000008");
}

TEST_F(ObjectPathsTest, RefusesWhatFitsSeveral)
{
    EXPECT_EQ(complaint(messageAt, "Mailbox/Contacts/Twin"),
              "/path: 'Mailbox/Contacts/Twin' fits 2 objects: #0000000004, #0000000005");
    EXPECT_EQ(complaint(folderAt, "Same/F"), "/path: 'Same/F' fits 2 objects: #0000000031, #0000000041");
}

TEST_F(ObjectPathsTest, RefusesWhatIsNotThere)
{
    EXPECT_EQ(complaint(storeAt, "Nobody"), "/path: there is no store 'Nobody'");
    EXPECT_EQ(complaint(folderAt, "Nobody/Contacts"), "/path: there is no store 'Nobody'");
    EXPECT_EQ(complaint(messageAt, "Mailbox/Kontakte/Mara"),
              "/path: there is no 'Kontakte' where 'Mailbox/Kontakte/Mara' has it; the nearest is 'Mailbox/Contacts'");
    EXPECT_EQ(complaint(messageAt, "Mailbox/Contacts/Mara/x"),
              "/path: there is no 'x' where 'Mailbox/Contacts/Mara/x' has it");
    EXPECT_EQ(complaint(objectAt, "Mailbox/Contacts/"), "/path: there is no '' where 'Mailbox/Contacts/' has it");
    EXPECT_EQ(complaint(objectAt, "#0000000077"), "/path: nothing has the entry identifier #0000000077");
}

TEST_F(ObjectPathsTest, SuggestsTheNearestPlace)
{
    EXPECT_THAT(complaint(storeAt, "mailbox"), EndsWith("; the nearest is 'Mailbox'"));
    EXPECT_THAT(complaint(folderAt, "Mail/Contacts"), EndsWith("; the nearest is 'Mailbox'"));
    EXPECT_THAT(complaint(storeAt, "Odd"), EndsWith("; the nearest is '\\#Odd'")) << "as a path has it";
    EXPECT_THAT(complaint(messageAt, "Mailbox/Contacts/Maria"), EndsWith("; the nearest is 'Mailbox/Contacts/Mara'"));
    EXPECT_THAT(complaint(messageAt, "Mailbox/Contacts/Lukasz"),
                EndsWith("; the nearest is 'Mailbox/Contacts/Łukasz'"));
    EXPECT_THAT(complaint(messageAt, "Mailbox/Contacts/A"), EndsWith("; the nearest is 'Mailbox/Contacts/A\\/B\\\\C'"));
    EXPECT_THAT(complaint(folderAt, "Same/Only"), EndsWith("; the nearest is 'Same/Only here'"));
    EXPECT_THAT(complaint(messageAt, "Mailbox/Contacts/Quux"), EndsWith("' has it")) << "nothing is near";
    EXPECT_THAT(complaint(messageAt, "Mailbox/Contacts/" + std::string(100'000, 'M')), EndsWith("' has it"));
}

TEST_F(ObjectPathsTest, RefusesWhatIsOfAnotherKind)
{
    EXPECT_EQ(complaint(objectAt, "#12x"), "/path: behind '#' must be hexadecimal digits in pairs");
    EXPECT_EQ(complaint(folderAt, "Mailbox/Contacts/Mara"),
              "/path: 'Mailbox/Contacts/Mara' is a message, and not a folder");
    EXPECT_EQ(complaint(messageAt, "Mailbox"), "/path: 'Mailbox' is a store, and not a message");
    EXPECT_EQ(complaint(storeAt, "Mailbox/Contacts"), "/path: 'Mailbox/Contacts' is a folder, and not a store");
    EXPECT_EQ(complaint(folderAt, "#0000000050"),
              "/path: '#0000000050' is a user of the address book, and not a folder");
}
