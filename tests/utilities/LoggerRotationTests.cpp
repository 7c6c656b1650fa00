#include <filesystem>
#include <tuple>
#include <vector>

#include "tests/support/Handle.h"
#include "tests/utilities/LoggerFixture.h"
#include "utilities/Logger.h"

namespace
{
using support::hookImport;
using testing::ElementsAre;
using testing::EndsWith;

class LoggerRotationTest : public LoggerFixture
{
protected:
    const std::string m_end = "(continue to the next log file)";
    const std::string m_beginning = "(continue logging)\r\n";

    [[nodiscard]] support::Handle openReader(DWORD share) const
    {
        return support::checkedFile(
            CreateFileW(m_file.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr), "CreateFileW");
    }
};

TEST_F(LoggerRotationTest, MovesTheFileWhenARecordReachesTheLimitExactly)
{
    m_log.init(m_file);
    fillTo(limit, m_header.size());
    ASSERT_TRUE(hasBackup());
    EXPECT_EQ(backupBytes().size(), limit + m_end.size());
    EXPECT_THAT(backupBytes(), EndsWith("x" + m_end)); // directly behind the record
    EXPECT_EQ(bytes(), m_beginning);
}

TEST_F(LoggerRotationTest, GoesOnInTheNewFileWithoutAHeaderOrAnotherLineBreak)
{
    m_log.init(m_file);
    fillTo(limit, m_header.size());
    m_log.write(L"one");
    m_log.write(L"two");
    EXPECT_EQ(bytes(), m_beginning + m_stamp + "one\r\n" + m_stamp + "two");
}

TEST_F(LoggerRotationTest, ReplacesTheOldBackup)
{
    support::writeBytes(m_backup, "backup of long ago");
    m_log.init(m_file);
    fillTo(limit, m_header.size());
    EXPECT_EQ(backupBytes().size(), limit + m_end.size());
}

TEST_F(LoggerRotationTest, CountsWhatTheFileHeldBefore)
{
    support::writeBytes(m_file, std::string(limit - 4 - m_header.size() - 1, 'o')); // 4: the empty line
    m_log.init(m_file);
    EXPECT_FALSE(hasBackup());
    EXPECT_EQ(bytes().size(), limit - 1);
    m_log.write(L"x");
    EXPECT_THAT(backupBytes(), EndsWith(m_stamp + "x" + m_end));
}

TEST_F(LoggerRotationTest, RotatesOnTheHeaderWhenTheFileIsFull)
{
    support::writeBytes(m_file, std::string(limit, 'o'));
    m_log.init(m_file);
    EXPECT_EQ(backupBytes(), std::string(limit, 'o') + "\r\n\r\n" + m_header + m_end);
    EXPECT_EQ(bytes(), m_beginning);
}

TEST_F(LoggerRotationTest, CanRotateOnTheFooter)
{
    m_log.init(m_file);
    fillTo(limit - 1, m_header.size());
    m_log.finish();
    EXPECT_THAT(backupBytes(), EndsWith("\r\n" + m_footer + m_end));
    EXPECT_EQ(bytes(), m_beginning);
    m_log.write(L"record");
    EXPECT_EQ(bytes(), m_beginning); // closed
}

TEST_F(LoggerRotationTest, ClosesBeforeItMovesAndOpensAfterwards)
{
    m_log.init(m_file);
    std::vector<std::string> order;
    std::vector<std::tuple<std::wstring, std::wstring, DWORD>> moves;
    const auto close = hookImport<"CloseHandle">(CloseHandle,
                                                 [&](auto original, HANDLE handle)
                                                 {
                                                     order.emplace_back("close");
                                                     return original(handle);
                                                 });
    const auto move = hookImport<"MoveFileExW">(MoveFileExW,
                                                [&](auto original, LPCWSTR from, LPCWSTR to, DWORD flags)
                                                {
                                                    order.emplace_back("move");
                                                    moves.emplace_back(from, to, flags);
                                                    return original(from, to, flags);
                                                });
    const auto create =
        hookImport<"CreateFileW">(CreateFileW,
                                  [&](auto original, LPCWSTR name, DWORD access, DWORD share,
                                      LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags, HANDLE other)
                                  {
                                      order.emplace_back("open");
                                      return original(name, access, share, security, disposition, flags, other);
                                  });
    fillTo(limit, m_header.size());
    EXPECT_THAT(order, ElementsAre("close", "move", "open"));
    EXPECT_THAT(moves, ElementsAre(std::tuple(m_file, m_backup, 9u)));
}

// ---- Moves that fail -----------------------------------------------------------------------------------------------

TEST_F(LoggerRotationTest, GoesOnInTheSameFileWhenTheBackupIsAFolder)
{
    std::filesystem::create_directories(std::filesystem::path(m_backup) / L"content");
    m_log.init(m_file);
    fillTo(limit, m_header.size());
    m_log.write(L"one");
    m_log.write(L"two");
    const std::string text = bytes();
    ASSERT_GE(text.size(), limit);
    EXPECT_EQ(text.substr(limit),
              m_end + m_beginning + m_stamp + "one" + m_end + m_beginning + m_stamp + "two" + m_end + m_beginning);
}

TEST_F(LoggerRotationTest, GoesOnInTheSameFileWhileAReaderDoesNotShareItsDeletion)
{
    m_log.init(m_file);
    support::Handle reader = openReader(FILE_SHARE_READ | FILE_SHARE_WRITE);
    fillTo(limit, m_header.size());
    EXPECT_FALSE(hasBackup());
    reader.reset();
    m_log.write(L"one");
    EXPECT_THAT(backupBytes(), EndsWith(m_end + m_beginning + m_stamp + "one" + m_end));
}

TEST_F(LoggerRotationTest, LogsNothingWhenAReaderThatCameFirstDoesNotShareWriting)
{
    support::writeBytes(m_file, "before");
    support::Handle reader = openReader(FILE_SHARE_READ | FILE_SHARE_DELETE);
    m_log.init(m_file);
    reader.reset();
    m_log.write(L"one");
    EXPECT_EQ(bytes(), "before");
}

TEST_F(LoggerRotationTest, MovesTheFileUnderAReaderThatSharesItsDeletion)
{
    m_log.init(m_file);
    const support::Handle reader = openReader(FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    fillTo(limit, m_header.size());
    EXPECT_TRUE(hasBackup());
    EXPECT_EQ(bytes(), m_beginning);
}

TEST_F(LoggerRotationTest, DropsRecordsAndTriesNoMoreWhenTheFileCannotBeReopened)
{
    m_log.init(m_file);
    unsigned attempts = 0;
    {
        const auto hook =
            hookImport<"CreateFileW">(CreateFileW,
                                      [&](auto, LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
                                      {
                                          ++attempts;
                                          SetLastError(ERROR_ACCESS_DENIED);
                                          return INVALID_HANDLE_VALUE;
                                      });
        fillTo(limit, m_header.size());
        m_log.write(L"one");
    }
    m_log.write(std::wstring(limit, L'x'));
    EXPECT_EQ(attempts, 1u);
    EXPECT_TRUE(hasBackup());
    EXPECT_FALSE(std::filesystem::exists(m_file));
}

// ---- The count of bytes --------------------------------------------------------------------------------------------

TEST_F(LoggerRotationTest, CountsTheLineEndsThatItWrites)
{
    m_log.init(m_file);
    m_log.write(std::wstring(limit / 2, L'\n'));
    EXPECT_TRUE(hasBackup());
}

TEST_F(LoggerRotationTest, CountsWhatTheCallSaysEvenWhenItFails)
{
    m_log.init(m_file);
    {
        const auto hook = hookImport<"WriteFile">(WriteFile,
                                                  [](auto, HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED)
                                                  {
                                                      *written = limit / 2;
                                                      return FALSE;
                                                  });
        m_log.write(L"lost");
    }
    EXPECT_FALSE(hasBackup());
    m_log.write(std::wstring(limit / 2, L'x'));
    EXPECT_TRUE(hasBackup());
}

TEST_F(LoggerRotationTest, CountsFromOneBelowZeroWhenTheSizeCannotBeRead)
{
    {
        const auto hook = hookImport<"GetFileAttributesExW">(
            GetFileAttributesExW, [](auto, LPCWSTR, GET_FILEEX_INFO_LEVELS, LPVOID) { return FALSE; });
        m_log.init(m_file);
    }
    EXPECT_EQ(bytes(), m_header); // and no rotation, though the count was the largest of all before it
    fillTo(limit, m_header.size());
    EXPECT_FALSE(hasBackup());
    m_log.write(L"\n");
    EXPECT_TRUE(hasBackup());
}
} // namespace
