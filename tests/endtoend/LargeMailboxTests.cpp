// Mailboxes with very many contacts.
#include <algorithm>
#include <chrono>

#include "tests/endtoend/EndToEndTest.h"
#include "tests/endtoend/GeneratedContacts.h"
#include "tests/support/LogFile.h"

namespace endtoend
{
namespace
{
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

    const AgentRun run = runUntilSubscribed(R"({"stores": [{"name": "Mailbox", "default": true, "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "generate": {"contacts": 100000, "seed": 7}}]}]})",
                                            "Mailbox", std::chrono::minutes(2));
    EXPECT_EQ(run.exitValue, 0U);
    ASSERT_EQ(run.messages.size(), 1U);
    expectSameText(run.messages[0], message);

    // The message is far beyond the size at which the log begins a new file.
    EXPECT_EQ(shortened(readLog(logFile() + L".bak"), message),
              (Records{std::string(support::logHeader), startedRecord(), "Start MAPI thread...",
                       storeFound("Mailbox", 1, true), "createSnapshot for \"Mailbox\" started",
                       "subfolder found: Contacts", "createSnapshot for \"Mailbox\": 100000 contact(s) found",
                       "Sending data:\n<message>(continue to the next log file)"}));
    EXPECT_EQ(run.log, (Records{"(continue logging)", "Subscribe to Mailbox", "WM_CLOSE received", "Shutdown...",
                                "Unadvise hr = 0", "MAPI thread finished", "Closing MAPI session...", "Logoff...",
                                "MAPI session closed", "Done", std::string(support::logFooter)}));
    EXPECT_EQ(run.report, nothingHeld);
}

TEST_F(AgentLargeMailboxTest, IsLeftBetweenTwoContactsWhenTheAgentIsClosed)
{
    // The contact that can't be opened is the first of its folder: its record says that the rows are being worked on.
    writeMailbox(R"({"stores": [{"name": "Mailbox", "default": true, "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "?", "openError": "0x80070005"}],
         "generate": {"contacts": 100000}}]}, {"name": "Archive", "folders": [
        {"name": "Old", "class": "IPF.Contact", "messages": [{"displayName": "Bea"}]}]}]})");
    serveHost();
    startAgent();
    ASSERT_TRUE(waitForLog("Cannot open contact: hr = 80070005"));
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_THAT(run.messages, testing::ElementsAre());
    EXPECT_EQ(run.log, (Records{std::string(support::logHeader), startedRecord(), "Start MAPI thread...",
                                storeFound("Mailbox", 1, true), storeFound("Archive", 2),
                                "createSnapshot for \"Mailbox\" started", "subfolder found: Contacts",
                                "Cannot open contact: hr = 80070005", "WM_CLOSE received", "Shutdown...",
                                "An exception has been caught in AsyncMapiHelper::run : "
                                "mapi::Rowset::enumerate: cancelled by request",
                                "MAPI thread finished", "Closing MAPI session...", "Logoff...", "MAPI session closed",
                                "Done", std::string(support::logFooter)}));
    EXPECT_EQ(run.report, nothingHeld);
}
} // namespace
} // namespace endtoend
