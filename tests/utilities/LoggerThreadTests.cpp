// Two threads write the log, without a lock, while full files are moved away: what is lost and torn is what
// docs/settled-behaviour.md 59 says, and nothing else.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/support/Figures.h"
#include "tests/support/fuzz/Choices.h"
#include "tests/utilities/LoggerFixture.h"

namespace
{
using support::hookImport;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string endOfFile = "(continue to the next log file)";
const std::string beginningOfFile = "(continue logging)\r\n";

// ---- One moment each -------------------------------------------------------------------------------------------------

class LoggerMomentTest : public LoggerFixture
{
protected:
    /// Has the other thread write a record, and waits until it has.
    void writeMeanwhile()
    {
        std::thread([this] { m_log.write(L"meanwhile"); }).join();
    }
};

TEST_F(LoggerMomentTest, LeavesTheMoveToTheThreadThatHasBegunIt)
{
    m_log.init(m_file);
    unsigned moves = 0;
    {
        const auto move = hookImport<"MoveFileExW">(MoveFileExW,
                                                    [&](auto original, LPCWSTR from, LPCWSTR to, DWORD flags)
                                                    {
                                                        if (++moves == 1)
                                                            writeMeanwhile();
                                                        return original(from, to, flags);
                                                    });
        fillTo(limit, m_header.size());
    }
    m_log.write(L"after");
    EXPECT_EQ(moves, 1U);
    EXPECT_THAT(backupBytes(), EndsWith("x" + endOfFile));
    EXPECT_EQ(bytes(), beginningOfFile + m_stamp + "after");
}

TEST_F(LoggerMomentTest, WritesNothingToTheHandleThatIsClosed)
{
    m_log.init(m_file);
    unsigned closes = 0;
    bool isWritten = false;
    {
        const auto write = hookImport<"WriteFile">(
            WriteFile,
            [&](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
            {
                isWritten = isWritten || std::string_view(static_cast<const char*>(data), size).ends_with("meanwhile");
                return original(file, data, size, written, overlapped);
            });
        const auto close = hookImport<"CloseHandle">(CloseHandle,
                                                     [&](auto original, HANDLE handle)
                                                     {
                                                         const BOOL result = original(handle);
                                                         if (++closes == 1)
                                                             writeMeanwhile();
                                                         return result;
                                                     });
        fillTo(limit, m_header.size());
    }
    EXPECT_FALSE(isWritten);
    EXPECT_EQ(bytes(), beginningOfFile);
}

TEST_F(LoggerMomentTest, WritesNothingOverTheBeginningOfAFileThatIsOpenedAgain)
{
    std::filesystem::create_directories(std::filesystem::path(m_backup) / L"content"); // so that it can't be moved
    m_log.init(m_file);
    {
        const auto seek =
            hookImport<"SetFilePointer">(SetFilePointer,
                                         [&](auto original, HANDLE file, LONG distance, PLONG high, DWORD method)
                                         {
                                             writeMeanwhile();
                                             return original(file, distance, high, method);
                                         });
        fillTo(limit, m_header.size());
    }
    EXPECT_THAT(bytes(), StartsWith(m_header + "\r\n" + m_stamp + "x"));
    EXPECT_THAT(bytes(), Not(HasSubstr("meanwhile")));
}

// ---- Very many moments -----------------------------------------------------------------------------------------------

constexpr std::size_t threadCount = 2;
constexpr std::size_t longest = 60'000; // characters of a record

/// What has become of a record, as the platform's calls say.
enum class Fate
{
    Written,
    Refused, // by the handle, which the other thread has just closed
    Dropped, // there was no open file
};

/// What stands in the files.
struct Found
{
    std::array<std::vector<unsigned>, threadCount> records; // the numbers of each thread's, in order
    unsigned missingBreaks = 0;
    unsigned emptyLines = 0;
    unsigned lateRecords = 0;  // behind the last words of a file
    unsigned earlyRecords = 0; // in front of the first words of a file
};

std::string textOf(std::size_t thread, unsigned number, std::size_t length)
{
    std::string text = "<" + std::to_string(thread) + " " + std::to_string(number) + " " + std::to_string(length) + ">";
    text.resize(std::max(text.size(), length), static_cast<char>('a' + number % 26));
    return text;
}

/// Reads a file token by token, and throws at the first thing that no log may have.
class FileReader
{
public:
    FileReader(std::string bytes, std::string stamp, Found& found)
        : m_bytes(std::move(bytes)), m_rest(m_bytes), m_stamp(std::move(stamp)), m_found(found)
    {
    }

    /// @param isFirst  the file that begins with the header.
    /// @param isLast   the file that is still there at the end.
    void read(bool isFirst, bool isLast)
    {
        unsigned beginnings = 0;
        unsigned ends = 0;
        enum
        {
            Start,
            Break,
            Record,
            End
        } before = Start;
        while (!m_rest.empty())
        {
            if (take("\r\n"))
            {
                if (before != Record && before != End)
                    ++m_found.emptyLines;
                before = Break;
            }
            else if (take(endOfFile))
            {
                ++ends;
                before = End;
            }
            else if (take(beginningOfFile))
            {
                ++beginnings;
                before = Break;
            }
            else
            {
                takeRecord();
                if (before == Record)
                    ++m_found.missingBreaks;
                if (ends > 0)
                    ++m_found.lateRecords;
                if (!isFirst && beginnings == 0)
                    ++m_found.earlyRecords;
                before = Record;
            }
        }
        require(beginnings == (isFirst ? 0U : 1U), "first words of a file");
        require(ends == (isLast ? 0U : 1U), "last words of a file");
    }

private:
    void require(bool condition, const char* what) const
    {
        if (!condition)
            throw std::runtime_error(std::string("wrong: ") + what + "; byte " +
                                     std::to_string(m_bytes.size() - m_rest.size()) + " of " +
                                     std::to_string(m_bytes.size()) + ": " + std::string(m_rest.substr(0, 200)));
    }

    bool take(std::string_view token)
    {
        const bool isThere = m_rest.starts_with(token);
        m_rest.remove_prefix(isThere ? token.size() : 0);
        return isThere;
    }

    void takeRecord()
    {
        require(take(m_stamp), "neither a record nor what stands between them");
        if (take(support::logHeader) || take(support::logFooter))
            return;
        std::size_t thread = 0;
        std::size_t length = 0;
        unsigned number = 0;
        const std::string head(m_rest.substr(0, m_rest.find('>')));
        require(std::sscanf(head.c_str(), "<%zu %u %zu", &thread, &number, &length) == 3 && thread < threadCount,
                "no record of the test");
        require(take(textOf(thread, number, length)), "a record that isn't whole");
        std::vector<unsigned>& records = m_found.records[thread];
        require(records.empty() || records.back() < number, "the order of a thread's records");
        records.push_back(number);
    }

    const std::string m_bytes;
    std::string_view m_rest;
    const std::string m_stamp;
    Found& m_found;
};

class LoggerThreadTest : public LoggerFixture
{
protected:
    void run(std::uint64_t seed, unsigned recordCount);

    [[nodiscard]] std::wstring kept(unsigned number) const { return m_folder.file(L"kept" + std::to_wstring(number)); }

    unsigned m_moves = 0;
    /// Even as long as the log has its file; odd from the last words of a full one to the first of the new one.
    std::atomic<unsigned> m_phase{0};
    std::array<std::vector<Fate>, threadCount> m_fates; // of the records from number 1 on
    /// Of how many records that came to no file the platform's calls don't say that one was being moved meanwhile.
    std::atomic<unsigned> m_lostWithoutMove{0};
};

void LoggerThreadTest::run(std::uint64_t seed, unsigned recordCount)
{
    static thread_local bool s_isCalled; // this thread's present record has come to WriteFile
    static thread_local bool s_isWritten;
    static thread_local unsigned s_phaseBehind;
    const auto move =
        hookImport<"MoveFileExW">(MoveFileExW,
                                  [&](auto original, LPCWSTR from, LPCWSTR to, DWORD flags)
                                  {
                                      const BOOL result = original(from, to, flags);
                                      if (result) // out of the way of the next one
                                          original(to, kept(++m_moves).c_str(), MOVEFILE_REPLACE_EXISTING);
                                      return result;
                                  });
    const auto write = hookImport<"WriteFile">(
        WriteFile,
        [&](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            const std::string_view text(static_cast<const char*>(data), size);
            if (text == endOfFile || text == beginningOfFile)
                ++m_phase;
            const BOOL result = original(file, data, size, written, overlapped);
            if (!s_isCalled) // the record; what follows are the words of a move
            {
                s_isCalled = true;
                s_isWritten = result && *written == size;
                s_phaseBehind = m_phase;
            }
            return result;
        });

    const auto writeRecords = [&](std::size_t thread)
    {
        support::Choices choices(seed * threadCount + thread);
        for (unsigned number = 1; number <= recordCount; ++number)
        {
            const std::size_t length = choices.below(choices.chance(25) ? longest : 200);
            const std::string text = textOf(thread, number, length);
            s_isCalled = false;
            s_isWritten = false;
            const unsigned phaseBefore = m_phase;
            m_log.write(std::wstring(text.begin(), text.end()));
            if (!s_isCalled)
                s_phaseBehind = m_phase;
            m_fates[thread].push_back(s_isWritten ? Fate::Written : s_isCalled ? Fate::Refused : Fate::Dropped);
            if (!s_isWritten && phaseBefore % 2 == 0 && phaseBefore == s_phaseBehind)
                ++m_lostWithoutMove;
        }
    };
    m_log.init(m_file);
    {
        const std::jthread one(writeRecords, 0);
        const std::jthread other(writeRecords, 1);
    }
}

TEST_F(LoggerThreadTest, LosesAndTearsNothingButWhatIsWrittenWhileAFileIsMoved)
{
    const auto seed = support::amountOf("LINKWELL_SEED", 1);
    const auto recordCount = static_cast<unsigned>(support::amountOf("LINKWELL_LOG_RECORDS", 2'000));
    run(seed, recordCount);
    m_log.finish();

    Found found;
    std::size_t smallest = ~std::size_t{0};
    std::size_t largest = 0;
    for (unsigned number = 1; number <= m_moves; ++number)
    {
        const std::string file = support::readBytes(kept(number));
        smallest = std::min(smallest, file.size());
        largest = std::max(largest, file.size());
        ASSERT_NO_THROW(FileReader(file, m_stamp, found).read(number == 1, false))
            << "seed " << seed << ", file " << number;
    }
    ASSERT_NO_THROW(FileReader(bytes(), m_stamp, found).read(m_moves == 0, true)) << "seed " << seed;

    unsigned refused = 0;
    unsigned dropped = 0;
    for (std::size_t thread = 0; thread < threadCount; ++thread)
    {
        std::vector<unsigned> written;
        for (unsigned number = 1; number <= recordCount; ++number)
        {
            const Fate fate = m_fates[thread][number - 1];
            if (fate == Fate::Written)
                written.push_back(number);
            refused += fate == Fate::Refused;
            dropped += fate == Fate::Dropped;
        }
        EXPECT_TRUE(found.records[thread] == written) << "seed " << seed << ", thread " << thread;
    }
    EXPECT_EQ(m_lostWithoutMove, 0U) << "seed " << seed;
    EXPECT_EQ(m_phase, 2 * m_moves) << "seed " << seed;
    EXPECT_GT(m_moves, 0U);
    EXPECT_GE(smallest + longest + 200, limit) << "seed " << seed; // the count may be one record too large

    std::printf(
        "seed %llu: %u records of each of %zu threads, %u files moved away, of %zu to %zu bytes; lost while one was "
        "moved: %u for want of a file, %u in a closed one; %u line breaks missing, %u empty lines, %u records behind "
        "a file's last words, %u in front of its first\n",
        seed, recordCount, threadCount, m_moves, smallest, largest, dropped, refused, found.missingBreaks,
        found.emptyLines, found.lateRecords, found.earlyRecords);
    support::addFigures("log of two threads", {{"Seed", seed},
                                               {"Records", threadCount * recordCount},
                                               {"Files moved away", m_moves},
                                               {"Lost, no file", dropped},
                                               {"Lost, closed file", refused},
                                               {"Line breaks missing", found.missingBreaks},
                                               {"Empty lines", found.emptyLines},
                                               {"Behind the last words", found.lateRecords},
                                               {"In front of the first", found.earlyRecords},
                                               {"Else", 0ULL}});
}
} // namespace
