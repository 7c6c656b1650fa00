#include "utilities/Logger.h"

#include <cstdlib>
#include <filesystem>
#include <tuple>
#include <vector>

#include "tests/support/HeapWatch.h"
#include "tests/utilities/LoggerFixture.h"

namespace
{
using support::countImport;
using support::hookImport;
using testing::ElementsAre;
using utilities::Logger;

class LoggerTest : public LoggerFixture
{
};

// ---- Records -------------------------------------------------------------------------------------------------------

TEST_F(LoggerTest, EndsWithTheFooter)
{
    m_log.init(m_file);
    m_log.finish();
    EXPECT_EQ(bytes(), m_header + "\r\n05.03.2024 04:07:09.042  Logging finished  --------------------------------");
}

TEST_F(LoggerTest, KeepsWhatItOwesWhenATextIsEmpty)
{
    m_log.init(m_file);
    m_log.write(L"one\n");
    m_log.write(L"");
    m_log.write(L"two");
    m_log.write(L"");
    m_log.write(L"three");
    EXPECT_EQ(bytes(), m_header + "\r\n" + m_stamp + "one\r\n" + m_stamp + "two\r\n" + m_stamp + "three");
}

TEST_F(LoggerTest, WritesALineFeedAsCarriageReturnAndLineFeed)
{
    m_log.init(m_file);
    m_log.write(L"\none\n\ntwo\n");
    EXPECT_EQ(bytes(), m_header + "\r\n" + m_stamp + "\r\none\r\n\r\ntwo\r\n");
}

TEST_F(LoggerTest, KeepsCarriageReturnsAsTheyStand)
{
    m_log.init(m_file);
    m_log.write(L"one\r\ntwo\rthree\r");
    m_log.write(L"four");
    EXPECT_EQ(bytes(), m_header + "\r\n" + m_stamp + "one\r\r\ntwo\rthree\r\r\n" + m_stamp + "four");
}

TEST_F(LoggerTest, WritesUtf8WithoutAByteOrderMark)
{
    m_log.init(m_file);
    m_log.write(L"\u00c5sa \u20ac \xD83D\xDE00");
    EXPECT_EQ(bytes(), m_header + "\r\n" + m_stamp + "\xC3\x85sa \xE2\x82\xAC \xF0\x9F\x98\x80");
}

TEST_F(LoggerTest, WritesEachRecordByOneCall)
{
    m_log.init(m_file);
    const auto writes = countImport<"WriteFile">(WriteFile);
    m_log.write(L"one\ntwo\nthree");
    EXPECT_EQ(writes.count(), 1u);
    m_log.write(std::wstring(500000, L'\n'));
    EXPECT_EQ(writes.count(), 2u);
}

TEST_F(LoggerTest, WritesTheRestBehindTheText)
{
    m_log.init(m_file);
    m_log.write(L"one:\n", L"two\n\u20ac\n");
    m_log.write(L"three:", L"");
    EXPECT_EQ(bytes(), m_header + "\r\n" + m_stamp + "one:\r\ntwo\r\n\xE2\x82\xAC\r\n" + m_stamp + "three:");
}

TEST_F(LoggerTest, HoldsARecordOnceInUtf8AndNothingOfItWithoutAFile)
{
    std::wstring text;
    for (int line = 0; line < 10'000; ++line)
        text += L"a line of this text, of 50 bytes in UTF-8, so long\n";
    {
        const support::HeapWatch heap;
        m_log.write(text);
        EXPECT_LE(heap.peak(), 10'000);
    }
    m_log.init(m_file);
    const support::HeapWatch heap;
    m_log.write(text);
    const auto written = static_cast<std::ptrdiff_t>(text.size()) + 10'000; // and the carriage returns
    EXPECT_THAT(heap.peak(), testing::AllOf(testing::Ge(written), testing::Le(written + 10'000)));
}

// ---- Opening and closing -------------------------------------------------------------------------------------------

TEST_F(LoggerTest, AppendsANewRunToTheOneBefore)
{
    m_log.init(m_file);
    m_log.finish();
    m_log.init(m_file);
    m_log.write(L"record");
    EXPECT_EQ(bytes(), m_header + "\r\n" + m_footer + "\r\n\r\n" + m_header + "\r\n" + m_stamp + "record");
}

TEST_F(LoggerTest, ComplainsAndWritesASecondHeaderWhenOpenedTwice)
{
    m_log.init(m_file);
    m_log.init(m_file);
    m_log.write(L"record");
    EXPECT_EQ(bytes(), m_header + "\r\n" + m_stamp +
                           "Logger::init called for initialized log. Log file is already opened, ignore the call."
                           "\r\n\r\n" +
                           m_header + "\r\n" + m_stamp + "record");
}

TEST_F(LoggerTest, ClosesTheFirstFileWithoutAFooterWhenThePathChanges)
{
    const std::wstring other = m_folder.file(L"other.log");
    m_log.init(m_file);
    m_log.init(other);
    m_log.write(L"record");
    EXPECT_EQ(bytes(), m_header);
    EXPECT_EQ(support::readBytes(other), m_header + "\r\n" + m_stamp + "record");
}

TEST_F(LoggerTest, TakesAPathInAnotherCaseForAnotherPath)
{
    m_log.init(m_file);
    m_log.init(m_folder.file(L"AGENT.LOG"));
    EXPECT_EQ(bytes(), m_header + "\r\n\r\n" + m_header); // closed and opened again, so there is no complaint
}

TEST_F(LoggerTest, DropsRecordsWhenFinished)
{
    m_log.init(m_file);
    m_log.finish();
    const std::string finished = bytes();
    m_log.write(L"record");
    m_log.finish();
    EXPECT_EQ(bytes(), finished);
}

TEST_F(LoggerTest, TouchesNoFileWhenFinishedBeforeItWasOpened)
{
    m_log.init(L""); // as at the start of a process: no path, no file
    const auto opened = countImport<"CreateFileW">(CreateFileW);
    const auto written = countImport<"WriteFile">(WriteFile);
    m_log.finish();
    m_log.write(L"record");
    EXPECT_EQ(opened.count(), 0u);
    EXPECT_EQ(written.count(), 0u);
}

TEST_F(LoggerTest, RunsWithoutALogWhenTheFolderDoesNotExist)
{
    const std::wstring missing = m_folder.file(L"missing\\agent.log");
    const auto moved = countImport<"MoveFileExW">(MoveFileExW);
    m_log.init(missing);
    m_log.write(std::wstring(limit + 1, L'x'));
    m_log.finish();
    EXPECT_FALSE(std::filesystem::exists(m_folder.path() / L"missing"));
    EXPECT_EQ(moved.count(), 0u);

    m_log.init(m_file);
    EXPECT_EQ(bytes(), m_header);
}

TEST_F(LoggerTest, OpensTheFileForAppendingAndWritingThrough)
{
    using Opening = std::tuple<std::wstring, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE>;
    std::vector<Opening> openings;
    const auto create = hookImport<"CreateFileW">(
        CreateFileW,
        [&](auto original, LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
            DWORD flags, HANDLE templateFile)
        {
            openings.emplace_back(name, access, share, security, disposition, flags, templateFile);
            return original(name, access, share, security, disposition, flags, templateFile);
        });
    using Seek = std::tuple<LONG, PLONG, DWORD>;
    std::vector<Seek> seeks;
    const auto seek =
        hookImport<"SetFilePointer">(SetFilePointer,
                                     [&](auto original, HANDLE file, LONG distance, PLONG high, DWORD method)
                                     {
                                         seeks.emplace_back(distance, high, method);
                                         return original(file, distance, high, method);
                                     });
    m_log.init(m_file);
    EXPECT_THAT(openings, ElementsAre(Opening(m_file, 0x40000000, 1, nullptr, 4, 0x80000080, nullptr)));
    EXPECT_THAT(seeks, ElementsAre(Seek(0, nullptr, 2)));
}

TEST_F(LoggerTest, AddsNoEmptyLineWhenTheSizeCannotBeRead)
{
    support::writeBytes(m_file, "old");
    const auto hook = hookImport<"GetFileAttributesExW">(
        GetFileAttributesExW, [](auto, LPCWSTR, GET_FILEEX_INFO_LEVELS, LPVOID) { return FALSE; });
    m_log.init(m_file);
    EXPECT_EQ(bytes(), "old" + m_header);
}

TEST_F(LoggerTest, AddsNoEmptyLineWhenTheOpenFileIsAFolder)
{
    support::writeBytes(m_file, "old");
    const auto hook =
        hookImport<"GetFileAttributesExW">(GetFileAttributesExW,
                                           [](auto original, LPCWSTR name, GET_FILEEX_INFO_LEVELS level, LPVOID data)
                                           {
                                               const BOOL result = original(name, level, data);
                                               static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->dwFileAttributes |=
                                                   FILE_ATTRIBUTE_DIRECTORY;
                                               return result;
                                           });
    m_log.init(m_file);
    EXPECT_EQ(bytes(), "old" + m_header);
}

// ---- Writes that fail ----------------------------------------------------------------------------------------------

TEST_F(LoggerTest, BreaksTheLineForARecordThatWasLost)
{
    m_log.init(m_file);
    m_log.write(L"one\n"); // no line break is owed
    {
        const auto hook = hookImport<"WriteFile">(WriteFile,
                                                  [](auto, HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED)
                                                  {
                                                      *written = 0;
                                                      SetLastError(ERROR_DISK_FULL);
                                                      return FALSE;
                                                  });
        EXPECT_NO_THROW(m_log.write(L"lost"));
    }
    m_log.write(L"two");
    EXPECT_EQ(bytes(), m_header + "\r\n" + m_stamp + "one\r\n\r\n" + m_stamp + "two");
}

// ---- The end of the process ----------------------------------------------------------------------------------------

// The child process of such a test runs the test anew, so the file's name must be the same in both.
std::wstring exitFile(const wchar_t* name)
{
    return (std::filesystem::temp_directory_path() / name).wstring();
}

TEST(LoggerDeathTest, WritesTheFooterWhenTheProcessEnds)
{
    const std::wstring file = exitFile(L"linkwell-test-exit.log");
    std::filesystem::remove(file);
    EXPECT_EXIT((Logger::instance().init(file), std::exit(0)), testing::ExitedWithCode(0), "");
    EXPECT_THAT(support::readLogLines(file), ElementsAre(support::logHeader, support::logFooter));
    std::filesystem::remove(file);
}

TEST(LoggerDeathTest, StaysFinishedWhenTheProcessEnds)
{
    const std::wstring file = exitFile(L"linkwell-test-exit-finished.log");
    std::filesystem::remove(file);
    EXPECT_EXIT((Logger::instance().init(file), Logger::instance().finish(), std::exit(0)), testing::ExitedWithCode(0),
                "");
    EXPECT_THAT(support::readLogLines(file), ElementsAre(support::logHeader, support::logFooter));
    std::filesystem::remove(file);
}
} // namespace
