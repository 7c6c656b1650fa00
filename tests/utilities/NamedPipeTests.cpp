#include "utilities/NamedPipe.h"

#include <deque>
#include <sstream>
#include <string_view>
#include <type_traits>

#include <gmock/gmock.h>

#include "tests/support/HeapWatch.h"
#include "tests/support/ImportHook.h"
#include "tests/support/LogFile.h"
#include "tests/support/pipe/PipeServer.h"

namespace
{
using support::Hook;
using support::hookImport;
using support::PipeReply;
using support::PipeServer;
using testing::ElementsAre;
using testing::IsEmpty;
using utilities::NamedPipe;

static_assert(std::is_base_of_v<utilities::noncopyable, NamedPipe>);
static_assert(std::has_virtual_destructor_v<NamedPipe>);

using Bytes = std::vector<BYTE>;

Bytes bytes(std::string_view text)
{
    return {text.begin(), text.end()};
}

std::string text(const Bytes& bytes)
{
    return {bytes.begin(), bytes.end()};
}

/// What the platform answers to the calls for a pipe, instead of a server. A call without an answer succeeds.
class ScriptedPlatform
{
public:
    std::deque<DWORD> openErrors;
    std::deque<DWORD> waitErrors;
    std::deque<std::pair<DWORD, std::string>> reads; // an error, or 0, and the bytes that the read gives
    DWORD writeError = 0;
    DWORD lost = 0; // so many bytes of a write

    /// The calls since the last time, with their arguments.
    [[nodiscard]] std::vector<std::string> takeCalls() { return std::exchange(m_calls, {}); }

private:
    static constexpr std::string_view pathStart = "\\\\.\\pipe\\";

    template <class... Parts>
    void note(const Parts&... parts)
    {
        std::ostringstream line;
        line << std::hex;
        ((line << parts << ' '), ...);
        m_calls.push_back(line.str());
        m_calls.back().pop_back();
    }
    /// The next answer as the result of a call.
    static BOOL answer(std::deque<DWORD>& errors)
    {
        if (errors.empty())
            return TRUE;
        const DWORD error = errors.front();
        errors.pop_front();
        SetLastError(error);
        return error == 0 ? TRUE : FALSE;
    }
    [[nodiscard]] static std::string narrow(std::wstring_view text) { return {text.begin(), text.end()}; }

    const HANDLE m_pipe = reinterpret_cast<HANDLE>(std::uintptr_t{0xF0000});
    std::vector<std::string> m_calls;
    Hook<"CreateFileW", decltype(CreateFileW)> m_open =
        hookImport<"CreateFileW">(CreateFileW,
                                  [this](auto original, LPCWSTR name, DWORD access, DWORD share,
                                         LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags, HANDLE other)
                                  {
                                      if (!narrow(name).starts_with(pathStart)) // the log's
                                          return original(name, access, share, security, disposition, flags, other);
                                      note("open", narrow(name), access, share, security, disposition, flags, other);
                                      return answer(openErrors) ? m_pipe : INVALID_HANDLE_VALUE;
                                  });
    Hook<"WaitNamedPipeW", decltype(WaitNamedPipeW)> m_wait =
        hookImport<"WaitNamedPipeW">(WaitNamedPipeW,
                                     [this](auto, LPCWSTR name, DWORD timeout)
                                     {
                                         note("wait", narrow(name), timeout);
                                         return answer(waitErrors);
                                     });
    Hook<"WriteFile", decltype(WriteFile)> m_write = hookImport<"WriteFile">(
        WriteFile,
        [this](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            if (file != m_pipe)
                return original(file, data, size, written, overlapped);
            note("write", std::string(static_cast<const char*>(data), size));
            *written = size - lost;
            SetLastError(writeError);
            return writeError == 0 || lost < size ? TRUE : FALSE;
        });
    Hook<"ReadFile", decltype(ReadFile)> m_read = hookImport<"ReadFile">(
        ReadFile,
        [this](auto original, HANDLE file, LPVOID buffer, DWORD size, LPDWORD count, LPOVERLAPPED overlapped)
        {
            if (file != m_pipe)
                return original(file, buffer, size, count, overlapped);
            note("read", size);
            const auto [error, given] = reads.at(0);
            reads.pop_front();
            *count = static_cast<DWORD>(given.copy(static_cast<char*>(buffer), size));
            SetLastError(error);
            return error == 0 ? TRUE : FALSE;
        });
    Hook<"CloseHandle", decltype(CloseHandle)> m_close = hookImport<"CloseHandle">(CloseHandle,
                                                                                   [this](auto original, HANDLE handle)
                                                                                   {
                                                                                       if (handle != m_pipe)
                                                                                           return original(handle);
                                                                                       note("close");
                                                                                       return TRUE;
                                                                                   });
};

const std::string openName = "open \\\\.\\pipe\\name c0000000 0 0 3 0 0";
const std::string openFailed = "NamedPipe::NamedPipe: cannot create or open pipe: pipeName=name, createNew=0, error=0x";

class NamedPipeTest : public testing::Test
{
protected:
    const support::ScopedLog m_log;
    ScriptedPlatform m_platform;
};

// ---- Opening -------------------------------------------------------------------------------------------------------

TEST_F(NamedPipeTest, OpensThePathForReadingAndWritingAndClosesItAtTheEnd)
{
    {
        const NamedPipe pipe(L"name");
        EXPECT_TRUE(pipe.isUsable());
        EXPECT_THAT(m_platform.takeCalls(), ElementsAre(openName));
    }
    EXPECT_THAT(m_platform.takeCalls(), ElementsAre("close"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(NamedPipeTest, WaitsByTheBareNameAgainAndAgainWhileThePipeIsBusy)
{
    m_platform.openErrors = {ERROR_PIPE_BUSY, ERROR_PIPE_BUSY};
    const NamedPipe pipe(L"name");
    EXPECT_TRUE(pipe.isUsable());
    EXPECT_THAT(m_platform.takeCalls(), ElementsAre(openName, "wait name 1388", openName, "wait name 1388", openName));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(NamedPipeTest, LogsTheErrorThatKeepsItFromOpeningAndClosesNothing)
{
    m_platform.openErrors = {ERROR_FILE_NOT_FOUND};
    EXPECT_FALSE(NamedPipe(L"name").isUsable());
    m_platform.openErrors = {ERROR_PIPE_BUSY, ERROR_ACCESS_DENIED};
    EXPECT_FALSE(NamedPipe(L"name").isUsable());
    m_platform.openErrors = {ERROR_PIPE_BUSY};
    m_platform.waitErrors = {ERROR_SEM_TIMEOUT};
    EXPECT_FALSE(NamedPipe(L"name").isUsable());
    EXPECT_THAT(m_log.lines(), ElementsAre(openFailed + "2", openFailed + "5", openFailed + "79"));
    EXPECT_THAT(m_platform.takeCalls(), testing::Not(testing::Contains("close")));
}

TEST_F(NamedPipeTest, LogsTheErrorThatItFailedWithWhateverFreeingMemoryLeavesBehind)
{
    support::HeapWatch heap;
    heap.onFree = []
    {
        SetLastError(ERROR_INVALID_ADDRESS);
    };
    m_platform.openErrors = {ERROR_FILE_NOT_FOUND};
    EXPECT_FALSE(NamedPipe(L"name").isUsable());
    m_platform.openErrors = {ERROR_PIPE_BUSY};
    m_platform.waitErrors = {ERROR_SEM_TIMEOUT};
    EXPECT_FALSE(NamedPipe(L"name").isUsable());
    EXPECT_THAT(m_log.lines(), ElementsAre(openFailed + "2", openFailed + "79"));
}

TEST_F(NamedPipeTest, CallsNothingWhenTheNameIsEmpty)
{
    SetLastError(0x4D2);
    EXPECT_FALSE(NamedPipe(L"").isUsable());
    EXPECT_THAT(m_platform.takeCalls(), IsEmpty());
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::NamedPipe: cannot create or open pipe: pipeName=, createNew=0, "
                                           "error=0x4d2"));
}

TEST_F(NamedPipeTest, ClosesTheFirstConnectionWhenOpenedAgainAndLogsNoFailureOfThat)
{
    NamedPipe pipe(L"name");
    EXPECT_TRUE(pipe.open(L"name"));
    EXPECT_THAT(m_platform.takeCalls(), ElementsAre(openName, "close", openName));
    EXPECT_TRUE(pipe.isUsable());
    m_platform.openErrors = {ERROR_FILE_NOT_FOUND};
    EXPECT_FALSE(pipe.open(L"name"));
    EXPECT_FALSE(pipe.isUsable());
    EXPECT_FALSE(pipe.open(L""));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

// ---- Sending -------------------------------------------------------------------------------------------------------

TEST_F(NamedPipeTest, WritesOnceThenWaitsByThePathForTheDefaultTimeThenReads)
{
    NamedPipe pipe(L"name");
    m_platform.reads = {{0, "one"}, {0, ""}};
    (void)m_platform.takeCalls();
    EXPECT_EQ(text(pipe.send(bytes("request"))), "one");
    EXPECT_THAT(m_platform.takeCalls(), ElementsAre("write request", "wait \\\\.\\pipe\\name 0", "read 40"));
    EXPECT_THAT(pipe.send(bytes("again")), IsEmpty());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(NamedPipeTest, LogsAWriteThatFailsOrIsShortAndStaysUsable)
{
    NamedPipe pipe(L"name");
    (void)m_platform.takeCalls();
    m_platform.writeError = ERROR_NO_DATA;
    m_platform.lost = 7;
    EXPECT_THAT(pipe.send(bytes("request")), IsEmpty());
    m_platform.writeError = 0xAB;
    m_platform.lost = 3; // a write that succeeds
    EXPECT_THAT(pipe.send(bytes("request")), IsEmpty());
    EXPECT_THAT(m_platform.takeCalls(), ElementsAre("write request", "write request"));
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::send failed: cbRequestBytes=7, cbBytesWritten=0, error=0xe8",
                                           "NamedPipe::send failed: cbRequestBytes=7, cbBytesWritten=4, error=0xab"));
    EXPECT_TRUE(pipe.isUsable());
}

TEST_F(NamedPipeTest, ReadsNothingWithoutALineWhenNoOtherInstanceGetsFree)
{
    NamedPipe pipe(L"name");
    (void)m_platform.takeCalls();
    m_platform.waitErrors = {ERROR_SEM_TIMEOUT};
    EXPECT_THAT(pipe.send(bytes("request")), IsEmpty());
    EXPECT_EQ(m_platform.takeCalls().size(), 2u);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(NamedPipeTest, JoinsThePiecesOfAMessage)
{
    NamedPipe pipe(L"name");
    m_platform.reads = {{ERROR_MORE_DATA, "one "}, {ERROR_MORE_DATA, std::string(64, '2')}, {0, " three"}};
    EXPECT_EQ(text(pipe.send(bytes("?"))), "one " + std::string(64, '2') + " three");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(NamedPipeTest, DropsWhatItHasReadWhenAReadFails)
{
    NamedPipe pipe(L"name");
    m_platform.reads = {{ERROR_MORE_DATA, "ack"}, {ERROR_BROKEN_PIPE, ""}};
    EXPECT_THAT(pipe.send(bytes("?")), IsEmpty());
    m_platform.reads = {{ERROR_OPERATION_ABORTED, "ack"}};
    EXPECT_THAT(pipe.send(bytes("?")), IsEmpty());
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::send: ReadFile failed, error=0x6d",
                                           "NamedPipe::send: ReadFile failed, error=0x3e3"));
}

// ---- A true server -------------------------------------------------------------------------------------------------

TEST(NamedPipeServerTest, GetsRequestsOfAnyBytesAndAnswersThem)
{
    const support::ScopedLog log;
    const std::string request = std::string("\0request\xFF", 9) + std::string(1 << 20, 'r');
    PipeServer server({.replies = {PipeReply::text(std::string("\0reply\xFF", 7)), PipeReply::disconnect()}});
    NamedPipe pipe(server.name());
    EXPECT_EQ(text(pipe.send(bytes(request))), std::string("\0reply\xFF", 7));
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(pipe.send(bytes("?")), IsEmpty());
    EXPECT_THAT(server.requests(), ElementsAre(request, "?"));
    EXPECT_THAT(log.lines(), ElementsAre(testing::StartsWith("NamedPipe::send: ReadFile failed, error=0x")));
}
} // namespace
