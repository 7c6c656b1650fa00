// The host and the store of hosts/cpp with LinkwellAgent.exe, and with what it has sent in the demo.
#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <sstream>

#include "hosts/cpp/LinkwellHost.h"
#include "tests/endtoend/EndToEndTest.h"

namespace hosts
{
namespace
{
using linkwell::ContactPtr;
using testing::IsEmpty;
const std::filesystem::path source = LINKWELL_SOURCE_FOLDER;

/// The contact of this name; null when there is none.
ContactPtr named(const linkwell::ContactStore& store, std::string_view name)
{
    for (const auto& known : store.contacts())
    {
        if (known.second->displayName == name)
            return known.second;
    }
    return nullptr;
}

/// What the sample mailbox has in a contact with a ";" and line breaks in its fields, but for the identifiers.
void expectBrokenContact(const ContactPtr& contact)
{
    ASSERT_NE(contact, nullptr);
    EXPECT_TRUE(contact->guessed);
    EXPECT_EQ(contact->givenName, "Klaus");
    EXPECT_EQ(contact->middleName, "");
    EXPECT_EQ(contact->surname, "Gr\u00FCn");
    EXPECT_EQ(contact->company, "Beispiel GmbH\r\nAbteilung 7; Haus B\nBerlin");
    EXPECT_EQ(contact->email, "kontakt@example.net");
    EXPECT_EQ(contact->businessPhone, "+49 30 23125 007");
    EXPECT_EQ(contact->homePhone + contact->mobilePhone, "");
    EXPECT_EQ(contact->businessFax, "+49 30 23125 008");
}

constexpr std::string_view brokenName = "Gr\u00FCn; M\u00FCller; Partner";

// ---- The demo's record ---------------------------------------------------------------------------------------------------

void replaceAll(std::string& text, std::string_view old, std::string_view with)
{
    for (std::size_t at = text.find(old); at != std::string::npos; at = text.find(old, at + with.size()))
        text.replace(at, old.size(), with);
}

struct Section
{
    std::string heading;
    std::vector<std::string> messages; // their texts
};

/// scripts/lib/demo-transcript.txt, as docs/testing.md describes it.
std::vector<Section> readTranscript()
{
    std::vector<Section> sections;
    std::istringstream lines(support::readBytes(source / "scripts" / "lib" / "demo-transcript.txt"));
    for (std::string line; std::getline(lines, line);)
    {
        std::size_t bytes = 0;
        if (line.starts_with("== "))
            sections.push_back({line, {}});
        else if (std::sscanf(line.c_str(), "message of %zu bytes", &bytes) == 1)
        {
            std::string text;
            do
            {
                std::getline(lines, line);
                text += line.substr(4);
            } while (text.ends_with("\u23CE"));
            replaceAll(text, "\u23CE", "\n");
            replaceAll(text, "\\u{d}", "\r");
            EXPECT_EQ(text.size(), bytes) << "the transcript is read as it was written";
            sections.back().messages.push_back(text);
        }
    }
    return sections;
}

TEST(DemoRecordTest, GivesAllItsContacts)
{
    linkwell::ContactStore store;
    bool folderIsGone = false;
    for (const Section& section : readTranscript())
    {
        SCOPED_TRACE(section.heading);
        if (section.heading.find("a folder is deleted") != std::string::npos)
        {
            folderIsGone = true;
            EXPECT_EQ(store.contacts().size(), 40U);
            expectBrokenContact(named(store, brokenName));
            EXPECT_EQ(named(store, "\u00C5sa \u00D6berg")->mobilePhone, "+46 70 174 06 99");
            EXPECT_EQ(named(store, "Only A. Name"), nullptr);
            EXPECT_NE(named(store, "Ana Ferreira"), nullptr);
        }
        for (const std::string& text : section.messages)
        {
            const linkwell::Change change = store.apply(linkwell::parseMessage(text));
            EXPECT_THAT(change.unknown, IsEmpty());
            EXPECT_THAT(change.unreadable, IsEmpty());
            EXPECT_FALSE(change.forgot);
        }
    }
    EXPECT_TRUE(folderIsGone);
    EXPECT_EQ(store.contacts().size(), 32U);
    EXPECT_EQ(named(store, "Ana Ferreira"), nullptr); // she went with her folder
}

// ---- The real agent ------------------------------------------------------------------------------------------------------

class AgentInCppTest : public endtoend::EndToEndTest
{
protected:
    /// Waits until the store has so many contacts; false after the deadline.
    [[nodiscard]] bool waitForContacts(std::size_t count)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, support::deadline, [&] { return m_store.contacts().size() == count; });
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    linkwell::ContactStore m_store;
    std::vector<std::string> m_errors;
    linkwell::Host m_agentsHost{[this](const linkwell::Message& message)
                                {
                                    const std::lock_guard lock(m_mutex);
                                    m_store.apply(message);
                                    m_changed.notify_all();
                                },
                                [this](const linkwell::Error& error)
                                {
                                    const std::lock_guard lock(m_mutex);
                                    m_errors.emplace_back(error.what());
                                }};
};

TEST_F(AgentInCppTest, HasTheSampleMailboxAndFollowsItsEdits)
{
    m_agentsHost.start();
    writeMailbox(support::readBytes(source / "sandbox" / "mailboxes" / "sample.json"));
    startAgent();
    ASSERT_TRUE(waitUntilSubscribed("Archive 2019"));
    EXPECT_TRUE(waitForContacts(37));
    expectBrokenContact(named(m_store, brokenName));

    const std::string contacts = "Mailbox - Mara Lindqvist/Contacts";
    ask({{"do", "addContact"}, {"folder", contacts}, {"contact", {{"displayName", "New"}}}});
    EXPECT_TRUE(waitForContacts(38));
    ask({{"do", "delete"}, {"object", contacts + '/' + std::string(brokenName)}});
    EXPECT_TRUE(waitForContacts(37));
    EXPECT_EQ(named(m_store, brokenName), nullptr);
    EXPECT_NE(named(m_store, "New"), nullptr);
    const auto inFolder = m_store.contactsIn(named(m_store, "Stand 12")->folderEntryId).size();
    ask({{"do", "delete"}, {"object", "Mailbox - Sales desk/Kontakte/Trade fair"}});
    EXPECT_TRUE(waitForContacts(37 - inFolder));

    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    EXPECT_EQ(finish().exitValue, 0U);
    EXPECT_TRUE(m_agentsHost.stop());
    EXPECT_THAT(m_errors, IsEmpty());
}

TEST_F(AgentInCppTest, EndsWhenTheHostRefusesItsFirstMessage)
{
    linkwell::Host host([](const linkwell::Message&) { throw std::runtime_error("no"); },
                        [](const linkwell::Error&) {});
    host.start();
    writeMailbox(support::readBytes(source / "sandbox" / "mailboxes" / "sample.json"));
    startAgent();
    EXPECT_THAT(finish().log, testing::Contains(testing::HasSubstr("Unable to send data through ipc channel")));
}
} // namespace
} // namespace hosts
