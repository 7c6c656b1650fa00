// A copy without what is personal.
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>

#include <gmock/gmock.h>

#include "tests/support/TempFolder.h"
#include "tests/tools/Samples.h"
#include "tools/support/Clean.h"

namespace diagnosis
{
namespace
{
using testing::HasSubstr;
using testing::Not;

constexpr std::string_view stamp = "05.03.2024 14:07:09.042  ";

std::string cleanedLine(Cleaner& cleaner, const std::string& text)
{
    return cleaner.clean({text});
}

std::string cleanedRecord(Cleaner& cleaner, std::string_view text)
{
    return cleanedLine(cleaner, std::string(stamp).append(text)).substr(stamp.size());
}

std::string cleanedText(const std::string& log)
{
    Cleaner cleaner;
    std::string text;
    for (const LinePart& part : partsOf(log))
        text += cleaner.clean(part) + "\r\n";
    return text;
}

TEST(CleanerTest, KeepsWordsAndNumbersAndReplacesNamesAndIdentifiers)
{
    Cleaner cleaner;
    EXPECT_EQ(cleanedRecord(cleaner, "Done"), "Done");
    EXPECT_THAT(cleanedRecord(cleaner, storeFound),
                testing::MatchesRegex("Message Store found: text-\\w+ \\(text-\\w+\\), Default: true, Public: false, "
                                      "EntryId: id-\\w+"));
    EXPECT_THAT(cleanedRecord(cleaner, "createSnapshot for \"Anna\": 12 contact\\(s\\) found"), HasSubstr("text-"));
    EXPECT_EQ(cleanedRecord(cleaner, noPipe), noPipe);
    EXPECT_EQ(cleanedRecord(cleaner, startRefused), startRefused);
    const std::string joined = std::string(startRefused).append(stamp).append("Shutdown...");
    EXPECT_EQ(cleanedRecord(cleaner, joined), joined);
    EXPECT_THAT(cleanedRecord(cleaner, "Notification 8 for (cannot resolve) of type 5, EntryId hash = 7f372 (00A1)"),
                testing::MatchesRegex(
                    "Notification 8 for \\(cannot resolve\\) of type 5, EntryId hash = id-\\w+ \\(id-\\w+\\)"));
}

TEST(CleanerTest, ReplacesWhatItDoesNotKnow)
{
    Cleaner cleaner;
    EXPECT_THAT(cleanedRecord(cleaner, "Anna Berg was here"), testing::MatchesRegex("text-\\w+"));
    EXPECT_THAT(cleanedLine(cleaner, "a line without a stamp"), testing::MatchesRegex("text-\\w+"));
    EXPECT_THAT(cleanedRecord(cleaner, "Cannot open contact: hr = Anna"), testing::MatchesRegex("text-\\w+"));
    EXPECT_THAT(cleanedRecord(cleaner, "An exception has been caught in main : Anna"),
                testing::MatchesRegex("An exception has been caught in main : text-\\w+"));
    // Begins as a line of the page that has no hole, and is another one.
    EXPECT_THAT(cleanedRecord(cleaner, "An exception has been caught in AdviseSinkImpl::OnNotify : "
                                       "Unable to send data through ipc channel Anna"),
                testing::MatchesRegex("An exception has been caught in AdviseSinkImpl::OnNotify : text-\\w+"));
    EXPECT_EQ(cleanedLine(cleaner, ""), "");
}

TEST(CleanerTest, KeepsTheFieldsOfContacts)
{
    Cleaner cleaner;
    EXPECT_EQ(cleanedRecord(cleaner, "Sending data:"), "Sending data:");
    EXPECT_EQ(cleanedLine(cleaner, "2;snapshot;contact;0;1"), "2;snapshot;contact;0;1");
    EXPECT_THAT(cleanedLine(cleaner, "Anna Berg;Anna;;Berg;;;+49 30 1;;;;00000000A1;00000000B1"),
                testing::MatchesRegex("text-\\w+;text-\\w+;;text-\\w+;;;text-\\w+;;;;id-\\w+;id-\\w+"));
    EXPECT_THAT(cleanedLine(cleaner, "Done"), testing::MatchesRegex("text-\\w+")) << "a contact's text, here";
    EXPECT_EQ(cleanedRecord(cleaner, "Sending data:"), "Sending data:");
    EXPECT_THAT(cleanedLine(cleaner, "2;snapshot;contact;0;4930123456"), HasSubstr("text-")) << "no header";
}

TEST(CleanerTest, KeepsOfPathsWhatEverybodyHas)
{
    Cleaner cleaner;
    const std::string cleaned = cleanedRecord(cleaner, started);
    EXPECT_THAT(cleaned, testing::StartsWith(
                             "Started \"C:\\Program Files\\Linkwell\\LinkwellAgent.exe\" /log=C:\\Users\\text-"));
    EXPECT_THAT(cleaned, testing::EndsWith("\\agent.log"));
    EXPECT_THAT(cleaned, Not(HasSubstr("Anna")));
    EXPECT_THAT(cleanedRecord(cleaner, "Started agent.exe --password=secret"), Not(HasSubstr("secret")));
}

// A name may have line feeds in it, and so what looks like lines of the log.
TEST(CleanerTest, KeepsNoNumbersOfFurtherLines)
{
    Cleaner cleaner;
    EXPECT_THAT(cleanedRecord(cleaner, "subfolder found: Kids"), HasSubstr("text-"));
    for (const std::string_view line :
         {"Unadvise hr = 416e6e61", "createSnapshot for \"x\": 4930123456 contact(s) found", "Started A n n a",
          "416E6E61", "2;add;contact;4930;1234", "NewValue: Anna"})
        EXPECT_THAT(cleanedLine(cleaner, std::string(line)), testing::MatchesRegex("text-\\w+")) << line;

    EXPECT_EQ(cleanedRecord(cleaner, "Sending data:"), "Sending data:");
    EXPECT_EQ(cleanedLine(cleaner, "2;add;contact;0;1"), "2;add;contact;0;1");
    EXPECT_THAT(cleanedLine(cleaner, "2;add;contact;4930;1234"), Not(HasSubstr("4930")))
        << "only the first is the header";
}

TEST(CleanerTest, KeepsNoLettersOfCommandLinesButThoseOfDrives)
{
    Cleaner cleaner;
    EXPECT_THAT(cleanedRecord(cleaner, "Started D:\\J\\agent.log 4 9 /x=B"),
                testing::MatchesRegex("Started D:\\\\text-\\w+\\\\agent.log text-\\w+ text-\\w+ /text-\\w+=text-\\w+"));
    EXPECT_THAT(cleanedRecord(cleaner, "Started \xDF:\\agent.log"),
                testing::MatchesRegex("Started text-\\w+:\\\\agent.log"));
}

TEST(CleanerTest, GivesTheSameForTheSameByAKeyOfItsOwn)
{
    Cleaner one;
    Cleaner other;
    const std::string token = cleanedRecord(one, "subfolder found: Anna");
    EXPECT_EQ(cleanedRecord(one, "subfolder found: Anna"), token);
    EXPECT_NE(cleanedRecord(one, "subfolder found: Anni"), token);
    EXPECT_NE(cleanedRecord(other, "subfolder found: Anna"), token);
}

TEST(CleanerTest, WritesTokensThatHoldNoDigitsAndNoHexadecimalText)
{
    const Tokens tokens;
    std::set<std::string> seen;
    for (int number = 0; number < 1000; ++number)
    {
        const std::string token = tokens.token("x", std::to_string(number));
        EXPECT_EQ(token.size(), 14U);
        EXPECT_EQ(token.find_first_of("0123456789abcdefiouyABCDEF", 2), std::string::npos) << token;
        seen.insert(token);
    }
    EXPECT_EQ(seen.size(), 1000U);
}

TEST(CleanerTest, KeepsTheWordsOfARotation)
{
    Cleaner cleaner;
    EXPECT_EQ(cleanedRecord(cleaner, "Done(continue to the next log file)"), "Done(continue to the next log file)");
    EXPECT_EQ(cleanedLine(cleaner, "(continue logging)"), "(continue logging)");
}

TEST(CleanerTest, LeavesALogThatTellsTheSame)
{
    const std::string log = logOf(
        {support::logHeader, started, "Start MAPI thread...", storeFound,
         "createSnapshot for \"Mailbox - Anna Berg\": 2 contact(s) found", "Sending data:", "| 2;snapshot;contact;0;1",
         "| Anna;;;;;;;;;;00000000A1;00000000B1", "Subscribe to Mailbox - Anna Berg",
         "Notification 10 for Anna of type 5, EntryId hash = 7f37237dc92f23b5 (00000000A1)",
         "ContactWatcher::onContactChanged: EntryId change detected for Contact. Old Value: 00A1", "| NewValue: 00A2",
         "Cannot open contact: hr = 80004005", "WM_CLOSE received", "Done", support::logFooter});
    const std::string cleaned = cleanedText(log);
    for (const std::string_view personal : {"Anna", "Berg", "7f37237dc92f23b5", "A1", "Example"})
        EXPECT_THAT(cleaned, Not(HasSubstr(std::string(personal))));

    const auto before = runsOf(log);
    const auto after = runsOf(cleaned);
    ASSERT_EQ(after.size(), before.size());
    EXPECT_EQ(after[0].contacts, before[0].contacts);
    EXPECT_EQ(after[0].stores.at(0).contacts, 2U);
    EXPECT_EQ(after[0].notifications, 1U);
    EXPECT_EQ(after[0].messages, before[0].messages);
    EXPECT_EQ(after[0].findings.size(), before[0].findings.size());
    EXPECT_EQ(after[0].how, End::Asked);
    EXPECT_EQ(after[0].end, before[0].end);
}

// ---- Files -------------------------------------------------------------------------------------------------------------------

TEST(CleanLogTest, WritesBackupAndLogIntoOneCopy)
{
    const support::TempFolder folder;
    support::writeBytes(folder.file(L"a.log.bak"),
                        std::string(stamp) + "subfolder found: Anna(continue to the next log file)");
    support::writeBytes(folder.file(L"a.log"), "(continue logging)\r\n" + std::string(stamp) + "subfolder found: Anna");
    cleanLog(folder.file(L"a.log"), folder.file(L"copy.log"));
    const std::string copy = support::readBytes(folder.file(L"copy.log"));
    EXPECT_THAT(copy, testing::MatchesRegex("05.03.2024 14:07:09.042  subfolder found: text-\\w+"
                                            "\\(continue to the next log file\\)\r\n\\(continue logging\\)\r\n"
                                            "05.03.2024 14:07:09.042  subfolder found: text-\\w+\r\n"));
    const auto first = copy.find("text-");
    EXPECT_EQ(copy.substr(first, 17), copy.substr(copy.find("text-", first + 1), 17));
}

TEST(CleanLogTest, OverwritesNothing)
{
    const support::TempFolder folder;
    support::writeBytes(folder.file(L"a.log"), "log");
    support::writeBytes(folder.file(L"copy.log"), "kept");
    EXPECT_THROW(cleanLog(folder.file(L"a.log"), folder.file(L"copy.log")), std::system_error);
    EXPECT_THROW(cleanLog(folder.file(L"a.log"), folder.file(L"a.log")), std::system_error);
    EXPECT_EQ(support::readBytes(folder.file(L"copy.log")), "kept");
    EXPECT_EQ(support::readBytes(folder.file(L"a.log")), "log");
}

TEST(CleanLogTest, LeavesNoCopyWhenItFails)
{
    const support::TempFolder folder;
    EXPECT_THROW(cleanLog(folder.file(L"absent.log"), folder.file(L"copy.log")), std::system_error);
    support::writeBytes(folder.file(L"b.log"), "log");
    std::filesystem::create_directory(folder.file(L"b.log.bak"));
    EXPECT_THROW(cleanLog(folder.file(L"b.log"), folder.file(L"copy.log")), std::system_error) << "half a log";
    EXPECT_FALSE(std::filesystem::exists(folder.file(L"copy.log")));
    support::writeBytes(folder.file(L"a.log"), "log");
    EXPECT_THROW(cleanLog(folder.file(L"a.log"), folder.file(L"no folder\\copy.log")), std::system_error);
}

TEST(CleanLogTest, LeavesNoCopyWhenReadingFailsOnTheWay)
{
    const support::TempFolder folder;
    const auto broken = [](char*, std::size_t) -> std::size_t
    {
        throw std::system_error(ERROR_READ_FAULT, std::system_category());
    };
    EXPECT_THROW(cleanSources({sourceOf("one\r\n"), broken}, folder.file(L"copy.log")), std::system_error);
    EXPECT_FALSE(std::filesystem::exists(folder.file(L"copy.log")));
}
} // namespace
} // namespace diagnosis
