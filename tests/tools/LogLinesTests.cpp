// A log as bytes: encodings, long and torn lines, files that the agent writes meanwhile.
#include <string>
#include <system_error>

#include <gmock/gmock.h>

#include "tests/support/Platform.h"
#include "tests/support/TempFolder.h"
#include "tests/tools/Samples.h"
#include "utilities/Logger.h"

namespace diagnosis
{
namespace
{
using testing::ElementsAre;

std::vector<std::string> linesOf(const std::string& bytes, std::size_t pieces = 1000)
{
    std::vector<std::string> lines;
    for (const LinePart& part : partsOf(bytes, pieces))
        lines.push_back(part.text);
    return lines;
}

std::string utf16(std::u16string_view text, bool bigEnd)
{
    std::string bytes;
    for (const char16_t unit : text)
    {
        const char low = static_cast<char>(unit & 0xFF);
        const char high = static_cast<char>(unit >> 8);
        bytes += bigEnd ? high : low;
        bytes += bigEnd ? low : high;
    }
    return bytes;
}

TEST(LineReaderTest, GivesLinesWithoutTheirEnds)
{
    EXPECT_THAT(linesOf("one\r\ntwo\n\nthree"), ElementsAre("one", "two", "", "three"));
    EXPECT_THAT(linesOf(""), ElementsAre());
    EXPECT_THAT(linesOf("one\r\n"), ElementsAre("one"));
}

TEST(LineReaderTest, ReadsEveryEncodingInPiecesOfAnySize)
{
    const std::string expected = "\xC3\x84pfel \xE2\x82\xAC";
    const std::u16string text = u"\u00C4pfel \u20AC\r\n\U0001F600";
    for (const std::size_t pieces : {std::size_t{1}, std::size_t{3}, std::size_t{1000}})
    {
        EXPECT_THAT(linesOf("\xEF\xBB\xBF" + expected + "\r\n\xF0\x9F\x98\x80", pieces < 3 ? 3 : pieces),
                    ElementsAre(expected, "\xF0\x9F\x98\x80"));
        EXPECT_THAT(linesOf(utf16(u"\uFEFF" + text, false), pieces < 3 ? 2 : pieces),
                    ElementsAre(expected, "\xF0\x9F\x98\x80"));
        EXPECT_THAT(linesOf(utf16(u"\uFEFF" + text, true), pieces < 3 ? 2 : pieces),
                    ElementsAre(expected, "\xF0\x9F\x98\x80"));
    }
    EXPECT_THAT(linesOf(utf16(u"one\ntwo", false)), ElementsAre("one", "two")) << "without a mark";
    EXPECT_THAT(linesOf("\xC4pfel\n"), ElementsAre("\xC4pfel")) << "no UTF-8: as it is";
}

TEST(LineReaderTest, CutsALineThatIsTooLongForMemory)
{
    const auto parts = partsOf(std::string(100'000, 'x') + "\nend");
    std::string whole;
    for (const LinePart& part : parts)
    {
        EXPECT_LE(part.text.size(), 16U * 1024);
        EXPECT_EQ(part.begins, whole.empty() || part.text == "end");
        whole += part.text;
    }
    EXPECT_EQ(whole, std::string(100'000, 'x') + "end");
}

TEST(LogLinesTest, FindsStampsAndTheWordsOfARotation)
{
    const std::string_view line = "05.03.2024 14:07:09.042  Done";
    EXPECT_EQ(stampOf(line), "05.03.2024 14:07:09.042");
    EXPECT_EQ(withoutStamp(line), "Done");
    EXPECT_EQ(stampOf("05.03.2024 14:07:09,042  Done"), "");
    EXPECT_EQ(stampOf("05.03.2024 14:07:09.042"), "");
    std::string_view two = "05.03.2024 14:07:09.042  Shutdown...05.03.2024 14:07:09.043  Done";
    EXPECT_EQ(takeRecord(two), "05.03.2024 14:07:09.042  Shutdown...");
    EXPECT_EQ(takeRecord(two), "05.03.2024 14:07:09.043  Done");
    EXPECT_EQ(two, "");
    std::string_view rotated = "Done(continue to the next log file)(continue logging)";
    EXPECT_EQ(takeRotation(rotated), "(continue to the next log file)(continue logging)");
    EXPECT_EQ(rotated, "Done");
}

TEST(LogLinesTest, ReadsTheBackupFirst)
{
    const support::TempFolder folder;
    support::writeBytes(folder.file(L"a.log"), "new");
    support::writeBytes(folder.file(L"a.log.bak"), "old");
    std::string text;
    for (const ByteSource& source : openLog(folder.file(L"a.log")))
    {
        char bytes[10] = {};
        text.append(bytes, source(bytes, sizeof(bytes)));
    }
    EXPECT_EQ(text, "oldnew");
    EXPECT_THROW(static_cast<void>(openLog(folder.file(L"b.log"))), std::system_error);
}

TEST(LogLinesTest, OpensALogThatCannotBeToldFromItsBackup)
{
    const support::TempFolder folder;
    support::writeBytes(folder.file(L"a.log"), "line");
    std::filesystem::create_hard_link(folder.file(L"a.log"), folder.file(L"a.log.bak"));
    EXPECT_EQ(openLog(folder.file(L"a.log")).size(), 2U);
}

TEST(LogLinesTest, LetsTheAgentWriteAndRotateMeanwhile)
{
    const support::TempFolder folder;
    const std::wstring file = folder.file(L"agent.log");
    utilities::Logger::instance().init(file);
    utilities::Logger::instance().write(L"first");
    const auto sources = openLog(file);
    ASSERT_EQ(sources.size(), 1U);
    utilities::Logger::instance().write(std::wstring(1'100'000, L'x'));
    utilities::Logger::instance().write(L"behind");
    utilities::Logger::instance().finish();

    EXPECT_TRUE(std::filesystem::exists(file + L".bak"));
    EXPECT_LT(std::filesystem::file_size(file), 1000U);
    LineReader reader(sources.front());
    std::uint64_t size = 0;
    for (LinePart part; reader.next(part);)
        size += part.text.size();
    EXPECT_GT(size, 1'100'000U) << "what was opened is read to its end, wherever it lies now";
}
} // namespace
} // namespace diagnosis
