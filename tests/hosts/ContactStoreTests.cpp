// What the store of hosts/cpp keeps, and what it tells of each message.
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hosts/cpp/LinkwellHost.h"

namespace hosts
{
namespace
{
using linkwell::Change;
using linkwell::ContactPtr;
using linkwell::parseMessage;
using testing::ElementsAre;
using testing::IsEmpty;
using Names = std::vector<std::string>;

std::string line(const std::string& name, const std::string& id, const std::string& folder = "00000000F1")
{
    return '\n' + name + ";;;;;;;;;;00000000" + id + ';' + folder;
}

const std::string snapshot = "2;snapshot;contact;0;3" + line("Anna", "A1") + line("Ola", "A2", "00000000F2");
const std::string secondStore = "2;snapshot;contact;2;3" + line("Jun", "A3", "00000000F3");

Names namesOf(const std::vector<ContactPtr>& contacts)
{
    Names names;
    for (const ContactPtr& contact : contacts)
        names.push_back(contact->displayName);
    return names;
}

class ContactStoreTest : public testing::Test
{
protected:
    Change apply(const std::string& text) { return m_store.apply(parseMessage(text)); }
    [[nodiscard]] Names names() const
    {
        Names found;
        for (const auto& known : m_store.contacts())
            found.push_back(known.second->displayName);
        return found;
    }

    linkwell::ContactStore m_store;
};

TEST_F(ContactStoreTest, HasTheContactsOfAllStoresOfASnapshot)
{
    const Change first = apply(snapshot);
    EXPECT_FALSE(first.forgot);
    EXPECT_EQ(namesOf(first.added), Names({"Anna", "Ola"}));
    EXPECT_EQ(namesOf(apply(secondStore).added), Names({"Jun"}));
    EXPECT_THAT(names(), ElementsAre("Anna", "Ola", "Jun"));
    EXPECT_EQ(m_store.find("00000000A2")->displayName, "Ola");
    EXPECT_EQ(m_store.find("00000000A9"), nullptr);
    EXPECT_THAT(m_store.folders(), ElementsAre("00000000F1", "00000000F2", "00000000F3"));
    EXPECT_EQ(namesOf(m_store.contactsIn("00000000F1")), Names({"Anna"}));
    EXPECT_THAT(m_store.contactsIn("00000000F9"), IsEmpty());
}

TEST_F(ContactStoreTest, AddsAndChangesAndSaysNothingOfWhatStays)
{
    apply(snapshot);
    const Change change =
        apply("2;change;contact;0;1" + line("Anna Berg", "A1") + line("Mia", "A4") + line("Ola", "A2", "00000000F2"));
    EXPECT_EQ(namesOf(change.added), Names({"Mia"}));
    ASSERT_EQ(change.changed.size(), 1U);
    EXPECT_EQ(change.changed[0].before->displayName, "Anna");
    EXPECT_EQ(change.changed[0].after->displayName, "Anna Berg");
    EXPECT_THAT(change.removed, IsEmpty());
    EXPECT_THAT(names(), ElementsAre("Anna Berg", "Ola", "Mia"));
    const Change again = apply("2;add;contact;0;1" + line("Mia", "A4") + line("Ann", "A1"));
    EXPECT_THAT(again.added, IsEmpty());
    EXPECT_EQ(again.changed.size(), 1U);
}

TEST_F(ContactStoreTest, MovesAContactToAnotherFolder)
{
    apply(snapshot);
    apply("2;change;contact;0;1" + line("Anna", "A1", "00000000F2"));
    EXPECT_THAT(m_store.folders(), ElementsAre("00000000F2"));
    EXPECT_EQ(namesOf(m_store.contactsIn("00000000F2")), Names({"Anna", "Ola"}));
}

TEST_F(ContactStoreTest, DeletesAndNamesWhatItDoesNotKnow)
{
    apply(snapshot);
    const Change change = apply("2;delete;contact;0;1\n;;;;;;;;;;00000000A1;\n;;;;;;;;;;00000000A9;\n");
    EXPECT_EQ(namesOf(change.removed), Names({"Anna"}));
    EXPECT_THAT(change.unknown, ElementsAre("00000000A9"));
    EXPECT_THAT(change.unreadable, ElementsAre(""));
    EXPECT_THAT(names(), ElementsAre("Ola"));
    EXPECT_THAT(m_store.folders(), ElementsAre("00000000F2"));
}

TEST_F(ContactStoreTest, DeletesAFolderWithItsContacts)
{
    apply(snapshot);
    const Change change = apply("2;delete;folder;0;1\n00000000F2\n00000000F9");
    EXPECT_EQ(namesOf(change.removed), Names({"Ola"}));
    EXPECT_THAT(change.unknown, ElementsAre("00000000F9"));
    EXPECT_THAT(names(), ElementsAre("Anna"));
    EXPECT_EQ(m_store.find("00000000A2"), nullptr);
}

TEST_F(ContactStoreTest, KeepsNothingWithoutAnIdentifier)
{
    EXPECT_THAT(apply("2;add;contact;0;1\nAnna;;;;;;;;;;;").unreadable, ElementsAre("Anna;;;;;;;;;;;"));
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(ContactStoreTest, ForgetsAllWhenASnapshotCannotGoOn)
{
    const std::string change = "2;add;contact;0;1" + line("Mia", "A4");
    const std::string ofFour = "2;snapshot;contact;1;4" + line("Anna", "A1");
    const std::vector<std::vector<std::string>> runs = {
        {snapshot, snapshot},                                       // begins at the same store
        {snapshot, secondStore, snapshot},                          // begins at an earlier one
        {"2;snapshot;contact;0;3" + line("Jun", "A3"), ofFour},     // has another number of stores
        {snapshot, change, secondStore},                            // comes behind a change
        {snapshot, "2;delete;folder;0;1\n00000000F1", secondStore}, // also behind one of folders
    };
    for (const auto& texts : runs)
    {
        SCOPED_TRACE(texts.back());
        m_store = {};
        for (std::size_t at = 0; at + 1 < texts.size(); ++at)
            EXPECT_FALSE(apply(texts[at]).forgot);
        const Names before = names();
        const Change last = apply(texts.back());
        EXPECT_TRUE(last.forgot);
        EXPECT_EQ(namesOf(last.removed), before);
        EXPECT_EQ(namesOf(last.added), names());
    }
}

TEST_F(ContactStoreTest, ForgetsAllWhenItIsToldTo)
{
    apply(snapshot);
    const Change change = m_store.clear();
    EXPECT_TRUE(change.forgot);
    EXPECT_EQ(namesOf(change.removed), Names({"Anna", "Ola"}));
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(m_store.folders(), IsEmpty());
    EXPECT_FALSE(apply(secondStore).forgot);
}
} // namespace
} // namespace hosts
