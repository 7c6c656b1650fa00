// Mailboxes with very many contacts.
#include <algorithm>
#include <array>
#include <chrono>

#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
namespace
{
constexpr std::array<const char*, 16> givenNames = {"Ada",     "Björn", "Chloé",   "Дарья", "Eleni",     "Farid",
                                                    "Γιώργος", "春子",  "İpek",    "João",  "Katarzyna", "Łukasz",
                                                    "Mei",     "Noor",  "Øystein", "소연"};
constexpr std::array<const char*, 16> surnames = {"Abara",  "Brandão", "Čapek",   "Díaz",     "Eriksen", "Fontaine",
                                                  "Grün",   "Horváth", "Ivanova", "김",       "Kovač",   "López",
                                                  "Müller", "Nguyễn",  "O'Shea",  "Papadakis"};

std::string digits(unsigned number, std::size_t width)
{
    const std::string text = std::to_string(number);
    return std::string(width - text.size(), '0') + text;
}
/// The line of contact `index`, counted from 0, of those that the sandbox makes by rule (docs/sandbox.md), in a folder that says
/// this seed. The folder has no messages of its own, and no folder in front of it has any.
std::string generatedLine(unsigned index, unsigned seed, unsigned store, unsigned folder)
{
    const std::string given = givenNames[(index + seed) % 16];
    const std::string surname = surnames[(index / 16 + seed) % 16];
    const std::string number = digits(index + 1, 6);
    std::string line = given + " " + surname + " " + number + ";" + given + ";";
    if (index % 5 == 4)
        line += "Q.";
    line += ";" + surname + ";Example Trading " + std::to_string(index % 97) + ";";
    if (index % 10 != 9)
        line += "contact-" + number + "-" + std::to_string(seed) + "@example.com";
    line += ";+44 1632 960" + digits(index % 1000, 3) + ";";
    if (index % 2 == 0)
        line += "+44 1632 960" + digits((index + 500) % 1000, 3);
    line += ";+44 7700 900" + digits((index + seed) % 1000, 3) + ";";
    if (index % 8 == 0)
        line += "+44 1632 960" + digits((index + 250) % 1000, 3);
    return line + ";" + messageId(store, folder, index + 1) + ";" + folderId(store, folder);
}
class AgentLargeMailboxTest : public EndToEndTest
{
protected:
    /// A failure would print megabytes without end, so texts of this size are looked at by themselves.
    static void expectSameText(const std::string& actual, const std::string& expected)
    {
        const auto [left, right] = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
        EXPECT_TRUE(actual == expected) << "from byte " << left - actual.begin() << " on: '"
                                        << std::string(left, actual.end()).substr(0, 100) << "' instead of '"
                                        << std::string(right, expected.end()).substr(0, 100) << "'";
    }

    /// These records with "<message>" in place of this text, and cut where they are long without it.
    static Records shortened(Records records, const std::string& message)
    {
        for (std::string& record : records)
        {
            if (const auto place = record.find(message); place != std::string::npos)
                record.replace(place, message.size(), "<message>");
            record.resize(std::min<std::size_t>(record.size(), 1000));
        }
        return records;
    }
};

TEST_F(AgentLargeMailboxTest, GivesOneMessageWithAllContactsInOrder)
{
    constexpr unsigned contacts = 100'000;
    constexpr unsigned seed = 7;
    std::string message = "2;snapshot;contact;0;1";
    for (unsigned index = 0; index < contacts; ++index)
        message.append(1, '\n').append(generatedLine(index, seed, 1, firstFolder));
    EXPECT_EQ((message.size() / 5 + 500'000) / 1'000'000, 7U); // "20,000 contacts are 7 MB", docs/wire-protocol.md

    const AgentRun run = runUntilSubscribed(R"({"stores": [{"name": "Mailbox", "default": true, "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "generate": {"contacts": 100000, "seed": 7}}]}]})",
                                            "Mailbox", std::chrono::minutes(10));
    ASSERT_EQ(run.messages.size(), 1U);
    expectSameText(run.messages[0], message);

    // The message is far beyond the size at which the log begins a new file.
    EXPECT_EQ(shortened(readLog(logFile() + L".bak"), message),
              wholeLog({storeFound("Mailbox", 1, true), "createSnapshot for \"Mailbox\" started",
                        "subfolder found: Contacts", "createSnapshot for \"Mailbox\": 100000 contact(s) found",
                        "Sending data:\n<message>(continue to the next log file)"}));
    EXPECT_EQ(run.log, joined({{"(continue logging)", "Subscribe to Mailbox", "WM_CLOSE received", "Shutdown...",
                                "Unadvise hr = 0", "MAPI thread finished"},
                               orderlyEnd}));
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentLargeMailboxTest, IsLeftBetweenTwoContactsWhenTheAgentIsClosed)
{
    // The contact that can't be opened is the first of its folder: its record says that the rows are being worked on.
    startAgentOn(R"({"stores": [{"name": "Mailbox", "default": true, "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "?"}],
         "generate": {"contacts": 100000}}]}, {"name": "Archive", "folders": [
        {"name": "Old", "class": "IPF.Contact", "messages": [{"displayName": "Bea"}]}]}], )" +
                 plansFor({{R"("opens": "Mailbox/Contacts/?")", "0x80070005"}}) + "}");
    ASSERT_TRUE(waitForLog("Cannot open contact: hr = 80070005"));
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    expectRun(finish(),
              wholeLog(joined({{storeFound("Mailbox", 1, true), storeFound("Archive", 2),
                                "createSnapshot for \"Mailbox\" started", "subfolder found: Contacts",
                                "Cannot open contact: hr = 80070005", "WM_CLOSE received", "Shutdown...",
                                workerFailed("mapi::Rowset::enumerate: cancelled by request"), "MAPI thread finished"},
                               orderlyEnd})));
}
} // namespace
} // namespace endtoend
