#include "utilities/NamedPipe.h"

#include <atomic>
#include <future>
#include <sstream>
#include <string_view>
#include <tuple>
#include <type_traits>

#include <gmock/gmock.h>

#include "tests/support/ImportHook.h"
#include "tests/support/LogFile.h"
#include "tests/support/PipeServer.h"
#include "tests/support/Platform.h"

namespace
{
using support::countImport;
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

std::string hexadecimal(DWORD number)
{
    std::ostringstream stream;
    stream << std::hex << number;
    return stream.str();
}

using Wait = std::tuple<std::wstring, DWORD>;

/// Records what WaitNamedPipeW is asked, lets it wait, and keeps the last error that it leaves.
struct Waits
{
    std::vector<Wait> calls;
    std::atomic<DWORD> error{0};

    [[nodiscard]] auto hook()
    {
        return hookImport<"WaitNamedPipeW">(WaitNamedPipeW,
                                            [this](auto original, LPCWSTR name, DWORD timeout)
                                            {
                                                calls.emplace_back(name, timeout);
                                                const BOOL result = original(name, timeout);
                                                error = GetLastError();
                                                return result;
                                            });
    }
};

class NamedPipeTest : public testing::Test
{
protected:
    const support::ScopedLog m_log;
};

// ---- Opening -------------------------------------------------------------------------------------------------------

TEST_F(NamedPipeTest, IsUsableWhenTheServerListens)
{
    const PipeServer server;
    const NamedPipe pipe(server.name());
    EXPECT_TRUE(pipe.isUsable());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(NamedPipeTest, OpensThePathForReadingAndWriting)
{
    using Opening = std::tuple<std::wstring, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE>;
    std::vector<Opening> openings;
    const PipeServer server;
    const auto hook = hookImport<"CreateFileW">(
        CreateFileW,
        [&](auto original, LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
            DWORD flags, HANDLE templateFile)
        {
            openings.emplace_back(name, access, share, security, disposition, flags, templateFile);
            return original(name, access, share, security, disposition, flags, templateFile);
        });
    const NamedPipe pipe(server.name());
    EXPECT_THAT(openings,
                ElementsAre(Opening(L"\\\\.\\pipe\\" + server.name(), 0xC0000000, 0, nullptr, 3, 0, nullptr)));
}

TEST_F(NamedPipeTest, LogsWhenNoServerIsThere)
{
    const NamedPipe pipe(L"LinkwellNoSuchPipe");
    EXPECT_FALSE(pipe.isUsable());
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::NamedPipe: cannot create or open pipe: "
                                           "pipeName=LinkwellNoSuchPipe, createNew=0, error=0x2"));
}

TEST_F(NamedPipeTest, TouchesNoPipeWhenTheNameIsEmpty)
{
    const auto opened = countImport<"CreateFileW">(CreateFileW);
    const auto waited = countImport<"WaitNamedPipeW">(WaitNamedPipeW);
    SetLastError(0x4D2);
    const NamedPipe pipe(L"");
    EXPECT_FALSE(pipe.isUsable());
    EXPECT_EQ(opened.count(), 0u);
    EXPECT_EQ(waited.count(), 0u);
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::NamedPipe: cannot create or open pipe: pipeName=, createNew=0, "
                                           "error=0x4d2"));
}

TEST_F(NamedPipeTest, PassesAnyNameOnUnchanged)
{
    const std::wstring name = L" \\\\.\\pipe\\a/b\\..\\%s;\u00fc" + std::wstring(400, L'n');
    std::wstring opened;
    const auto hook =
        hookImport<"CreateFileW">(CreateFileW,
                                  [&](auto, LPCWSTR path, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
                                  {
                                      opened = path;
                                      SetLastError(ERROR_INVALID_NAME);
                                      return INVALID_HANDLE_VALUE;
                                  });
    const NamedPipe pipe(name);
    EXPECT_EQ(opened, L"\\\\.\\pipe\\" + name);
    ASSERT_THAT(m_log.lines(), testing::SizeIs(1));
    EXPECT_THAT(m_log.lines().front(), testing::EndsWith("nnn, createNew=0, error=0x7b"));
}

TEST_F(NamedPipeTest, WaitsByTheBareNameAgainAndAgainWhileThePipeIsBusy)
{
    const PipeServer server;
    unsigned busy = 3;
    const auto create = hookImport<"CreateFileW">(
        CreateFileW,
        [&](auto original, LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
            DWORD flags, HANDLE templateFile)
        {
            if (busy > 0)
            {
                --busy;
                SetLastError(ERROR_PIPE_BUSY);
                return INVALID_HANDLE_VALUE;
            }
            return original(name, access, share, security, disposition, flags, templateFile);
        });
    std::vector<Wait> waits;
    const auto wait = hookImport<"WaitNamedPipeW">(WaitNamedPipeW,
                                                   [&](auto, LPCWSTR name, DWORD timeout)
                                                   {
                                                       waits.emplace_back(name, timeout);
                                                       return TRUE;
                                                   });
    const NamedPipe pipe(server.name());
    EXPECT_TRUE(pipe.isUsable());
    EXPECT_EQ(create.count(), 4u);
    const Wait bareName(server.name(), 5000);
    EXPECT_THAT(waits, ElementsAre(bareName, bareName, bareName));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(NamedPipeTest, LogsTheErrorOfTheWaitWhenThePipeIsAndStaysBusy)
{
    const PipeServer server({.spareInstance = false});
    const NamedPipe first(server.name());
    ASSERT_TRUE(first.isUsable());
    Waits waits;
    const auto hook = waits.hook();
    const NamedPipe second(server.name());
    EXPECT_FALSE(second.isUsable());
    EXPECT_THAT(waits.calls, ElementsAre(Wait(server.name(), 5000)));
    const std::string name(server.name().begin(), server.name().end());
    EXPECT_NE(waits.error, DWORD{ERROR_PIPE_BUSY});
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::NamedPipe: cannot create or open pipe: pipeName=" + name +
                                           ", createNew=0, error=0x" + hexadecimal(waits.error)));
}

TEST_F(NamedPipeTest, GivesUpWhenAnotherErrorFollowsABusyPipe)
{
    const auto wait = hookImport<"WaitNamedPipeW">(WaitNamedPipeW, [](auto, LPCWSTR, DWORD) { return TRUE; });
    std::vector<DWORD> errors = {ERROR_ACCESS_DENIED, ERROR_PIPE_BUSY};
    const auto create =
        hookImport<"CreateFileW">(CreateFileW,
                                  [&](auto, LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
                                  {
                                      SetLastError(errors.back());
                                      errors.pop_back();
                                      return INVALID_HANDLE_VALUE;
                                  });
    const NamedPipe pipe(L"name");
    EXPECT_FALSE(pipe.isUsable());
    EXPECT_EQ(create.count(), 2u);
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::NamedPipe: cannot create or open pipe: pipeName=name, "
                                           "createNew=0, error=0x5"));
}

TEST_F(NamedPipeTest, ClosesTheFirstConnectionWhenOpenedAgain)
{
    PipeServer first;
    const PipeServer second;
    NamedPipe pipe(first.name());
    EXPECT_TRUE(pipe.open(second.name()));
    EXPECT_TRUE(pipe.isUsable());
    EXPECT_TRUE(first.waitForClients(1));
}

TEST_F(NamedPipeTest, IsUnusableWhenOpeningAgainFails)
{
    PipeServer server;
    NamedPipe pipe(server.name());
    EXPECT_FALSE(pipe.open(L"LinkwellNoSuchPipe"));
    EXPECT_FALSE(pipe.isUsable());
    EXPECT_TRUE(server.waitForClients(1));
    EXPECT_FALSE(pipe.open(L""));
    EXPECT_THAT(m_log.lines(), IsEmpty()); // only the constructor logs
}

TEST_F(NamedPipeTest, ClosesTheConnectionWhenDestroyed)
{
    PipeServer server;
    {
        const NamedPipe pipe(server.name());
    }
    EXPECT_TRUE(server.waitForClients(1));
}

TEST_F(NamedPipeTest, ClosesNothingWhenItNeverOpened)
{
    const auto closed = countImport<"CloseHandle">(CloseHandle);
    {
        const NamedPipe pipe(L"LinkwellNoSuchPipe");
    }
    EXPECT_EQ(closed.count(), 0u);
}

// ---- Sending -------------------------------------------------------------------------------------------------------

TEST_F(NamedPipeTest, SendsTheRequestAndGivesTheReply)
{
    PipeServer server({.replies = {PipeReply::text(std::string("\0reply\xFF", 7))}});
    NamedPipe pipe(server.name());
    EXPECT_EQ(text(pipe.send(bytes(std::string_view("\0request\xFF", 9)))), std::string("\0reply\xFF", 7));
    EXPECT_THAT(server.requests(), ElementsAre(std::string("\0request\xFF", 9)));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(NamedPipeTest, SendsALargeRequestInOneWrite)
{
    PipeServer server;
    NamedPipe pipe(server.name());
    const auto writes = countImport<"WriteFile">(WriteFile);
    const std::string request(1 << 20, 'r');
    EXPECT_EQ(text(pipe.send(bytes(request))), "ack");
    EXPECT_EQ(server.requests().front(), request);
    EXPECT_EQ(writes.count(), 2u); // ours and the server's
}

TEST_F(NamedPipeTest, ServesAByteStreamPipeAsWell)
{
    PipeServer server({.messageMode = false});
    NamedPipe pipe(server.name());
    EXPECT_EQ(text(pipe.send(bytes(std::string_view("\0\0\0\1x", 5)))), "ack");
}

TEST_F(NamedPipeTest, CanSendAgain)
{
    PipeServer server({.replies = {PipeReply::text("one"), PipeReply::text("two")}});
    NamedPipe pipe(server.name());
    EXPECT_EQ(text(pipe.send(bytes("1"))), "one");
    EXPECT_EQ(text(pipe.send(bytes("2"))), "two");
    EXPECT_THAT(server.requests(), ElementsAre("1", "2"));
}

/// The client's calls on its pipe, in order. The server in this process reads and writes with OVERLAPPED, the client
/// does not.
struct ClientCalls
{
    std::vector<std::string> order;
    std::vector<std::tuple<DWORD, DWORD>> reads; // asked for; the count before the call

    [[nodiscard]] auto writeHook()
    {
        return hookImport<"WriteFile">(
            WriteFile,
            [this](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
            {
                if (overlapped == nullptr)
                    order.emplace_back("write");
                return original(file, data, size, written, overlapped);
            });
    }
    [[nodiscard]] auto waitHook()
    {
        return hookImport<"WaitNamedPipeW">(WaitNamedPipeW,
                                            [this](auto original, LPCWSTR name, DWORD timeout)
                                            {
                                                order.emplace_back("wait");
                                                return original(name, timeout);
                                            });
    }
    [[nodiscard]] auto readHook()
    {
        return hookImport<"ReadFile">(
            ReadFile,
            [this](auto original, HANDLE file, LPVOID buffer, DWORD size, LPDWORD count, LPOVERLAPPED overlapped)
            {
                if (overlapped == nullptr)
                {
                    order.emplace_back("read");
                    reads.emplace_back(size, *count);
                }
                return original(file, buffer, size, count, overlapped);
            });
    }
};

TEST_F(NamedPipeTest, WritesThenWaitsThenReads)
{
    PipeServer server;
    NamedPipe pipe(server.name());
    ClientCalls calls;
    const auto write = calls.writeHook();
    const auto wait = calls.waitHook();
    const auto read = calls.readHook();
    pipe.send(bytes("request"));
    EXPECT_THAT(calls.order, ElementsAre("write", "wait", "read"));
    EXPECT_THAT(calls.reads, ElementsAre(std::tuple(64u, 0u)));
}

TEST_F(NamedPipeTest, WaitsByThePathForTheDefaultTimeBeforeItReads)
{
    PipeServer server;
    NamedPipe pipe(server.name());
    Waits waits;
    const auto hook = waits.hook();
    pipe.send(bytes("request"));
    EXPECT_THAT(waits.calls, ElementsAre(Wait(server.path(), 0)));
}

TEST_F(NamedPipeTest, ReadsNothingWhenNoOtherInstanceGetsFree)
{
    PipeServer server({.spareInstance = false, .defaultTimeout = 20});
    NamedPipe pipe(server.name());
    ClientCalls calls;
    const auto read = calls.readHook();
    EXPECT_THAT(pipe.send(bytes("request")), IsEmpty());
    EXPECT_THAT(calls.order, IsEmpty());
    EXPECT_TRUE(server.waitForRequests(1)); // the request has gone out all the same
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_TRUE(pipe.isUsable());
}

TEST_F(NamedPipeTest, LogsAWriteThatFails)
{
    PipeServer server;
    NamedPipe pipe(server.name());
    server.stop();
    DWORD error = 0;
    const auto write = hookImport<"WriteFile">(
        WriteFile,
        [&](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            const BOOL result = original(file, data, size, written, overlapped);
            if (size == 7) // the request, and not the log's record
                error = GetLastError();
            return result;
        });
    const auto waited = countImport<"WaitNamedPipeW">(WaitNamedPipeW);
    EXPECT_THAT(pipe.send(bytes("request")), IsEmpty());
    EXPECT_NE(error, 0u);
    EXPECT_EQ(waited.count(), 0u);
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::send failed: cbRequestBytes=7, cbBytesWritten=0, error=0x" +
                                           hexadecimal(error)));
    EXPECT_TRUE(pipe.isUsable()); // sending never changes that
}

TEST_F(NamedPipeTest, DoesNotContinueAShortWrite)
{
    PipeServer server;
    NamedPipe pipe(server.name());
    unsigned writes = 0;
    const auto write = hookImport<"WriteFile">(
        WriteFile,
        [&](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            if (size != 7)
                return original(file, data, size, written, overlapped);
            ++writes;
            *written = 4;
            SetLastError(0xAB);
            return TRUE;
        });
    const auto waited = countImport<"WaitNamedPipeW">(WaitNamedPipeW);
    EXPECT_THAT(pipe.send(bytes("request")), IsEmpty());
    EXPECT_EQ(writes, 1u);
    EXPECT_EQ(waited.count(), 0u);
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::send failed: cbRequestBytes=7, cbBytesWritten=4, error=0xab"));
}

TEST_F(NamedPipeTest, LogsWhenItSendsWithoutAConnection)
{
    NamedPipe pipe(L"LinkwellNoSuchPipe");
    EXPECT_THAT(pipe.send(bytes("request")), IsEmpty());
    ASSERT_THAT(m_log.lines(), testing::SizeIs(2));
    EXPECT_EQ(m_log.lines()[1], "NamedPipe::send failed: cbRequestBytes=7, cbBytesWritten=0, error=0x6");
}

// ---- Reading -------------------------------------------------------------------------------------------------------

TEST_F(NamedPipeTest, ReadsAReplyThatFillsTheBufferByOneCall)
{
    const std::string reply(64, 'r');
    PipeServer server({.replies = {PipeReply::text(reply)}});
    NamedPipe pipe(server.name());
    ClientCalls calls;
    const auto hook = calls.readHook();
    EXPECT_EQ(text(pipe.send(bytes("?"))), reply);
    EXPECT_THAT(calls.order, ElementsAre("read"));
}

// The client's end stays in the mode in which it was opened, where a read never has more of a message to come.
TEST_F(NamedPipeTest, EndsTheReplyWithTheFirstReadThatSucceeds)
{
    PipeServer server({.replies = {PipeReply::text(std::string(64, 'r') + "more")}});
    NamedPipe pipe(server.name());
    EXPECT_EQ(text(pipe.send(bytes("?"))), std::string(64, 'r'));
}

TEST_F(NamedPipeTest, EndsTheReplyWithTheFirstMessage)
{
    PipeServer server({.replies = {{PipeReply::Action::Write, {"ac", "k"}}}});
    NamedPipe pipe(server.name());
    const auto wait = hookImport<"WaitNamedPipeW">(WaitNamedPipeW, [](auto, LPCWSTR, DWORD) { return TRUE; });
    // Which of the two arrive with the first read is the platform's business; no second one may follow.
    ClientCalls calls;
    const auto hook = calls.readHook();
    EXPECT_THAT(text(pipe.send(bytes("?"))), testing::StartsWith("ac"));
    EXPECT_THAT(calls.order, ElementsAre("read"));
}

/// Has the pipes that the client opens read whole messages, so that long ones end a read with ERROR_MORE_DATA.
auto readMessages()
{
    return hookImport<"CreateFileW">(
        CreateFileW,
        [](auto original, LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
           DWORD flags, HANDLE templateFile)
        {
            const HANDLE pipe = original(name, access, share, security, disposition, flags, templateFile);
            DWORD mode = PIPE_READMODE_MESSAGE;
            SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
            return pipe;
        });
}

TEST_F(NamedPipeTest, JoinsThePiecesWhenAMessageGoesOn)
{
    std::string reply;
    for (int i = 0; i < 150; ++i)
        reply += static_cast<char>(i);
    PipeServer server({.replies = {PipeReply::text(reply)}});
    const auto mode = readMessages();
    NamedPipe pipe(server.name());
    ClientCalls calls;
    const auto hook = calls.readHook();
    EXPECT_EQ(text(pipe.send(bytes("?"))), reply);
    EXPECT_THAT(calls.order, ElementsAre("read", "read", "read"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

/// Results of the client's reads in order: an error, or ERROR_SUCCESS, and the bytes that it gives.
auto scriptReads(std::vector<std::pair<DWORD, std::string>> script)
{
    return hookImport<"ReadFile">(ReadFile,
                                  [script, next = std::size_t{0}](auto original, HANDLE file, LPVOID buffer, DWORD size,
                                                                  LPDWORD count, LPOVERLAPPED overlapped) mutable
                                  {
                                      if (overlapped != nullptr) // the server's
                                          return original(file, buffer, size, count, overlapped);
                                      const auto& [error, bytes] = script.at(next++);
                                      *count = static_cast<DWORD>(bytes.copy(static_cast<char*>(buffer), size));
                                      SetLastError(error);
                                      return error == ERROR_SUCCESS ? TRUE : FALSE;
                                  });
}

TEST_F(NamedPipeTest, JoinsPiecesOfAnyLengthInOrder)
{
    const PipeServer server;
    NamedPipe pipe(server.name());
    const auto hook = scriptReads({{ERROR_MORE_DATA, "one "}, {ERROR_MORE_DATA, std::string(64, '2')}, {0, " three"}});
    EXPECT_EQ(text(pipe.send(bytes("?"))), "one " + std::string(64, '2') + " three");
}

TEST_F(NamedPipeTest, DropsWhatItHasReadWhenALaterReadFails)
{
    const PipeServer server;
    NamedPipe pipe(server.name());
    const auto hook = scriptReads({{ERROR_MORE_DATA, "ack"}, {ERROR_BROKEN_PIPE, ""}});
    EXPECT_THAT(pipe.send(bytes("?")), IsEmpty());
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::send: ReadFile failed, error=0x6d"));
}

TEST_F(NamedPipeTest, DropsWhatAFailedReadHasGiven)
{
    const PipeServer server;
    NamedPipe pipe(server.name());
    const auto hook = scriptReads({{ERROR_OPERATION_ABORTED, "ack"}});
    EXPECT_THAT(pipe.send(bytes("?")), IsEmpty());
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::send: ReadFile failed, error=0x3e3"));
}

TEST_F(NamedPipeTest, GivesAnEmptyReplyWithoutALineForAnEmptyMessage)
{
    const PipeServer server;
    NamedPipe pipe(server.name());
    const auto hook = scriptReads({{ERROR_SUCCESS, ""}});
    EXPECT_THAT(pipe.send(bytes("?")), IsEmpty());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(NamedPipeTest, LogsAReadThatFailsBecauseTheServerEndsTheConnection)
{
    PipeServer server({.replies = {PipeReply::disconnect()}});
    NamedPipe pipe(server.name());
    DWORD error = 0;
    const auto hook = hookImport<"ReadFile">(
        ReadFile,
        [&](auto original, HANDLE file, LPVOID buffer, DWORD size, LPDWORD count, LPOVERLAPPED overlapped)
        {
            const BOOL result = original(file, buffer, size, count, overlapped);
            if (overlapped == nullptr)
                error = GetLastError();
            return result;
        });
    EXPECT_THAT(pipe.send(bytes("?")), IsEmpty());
    EXPECT_NE(error, 0u);
    EXPECT_THAT(m_log.lines(), ElementsAre("NamedPipe::send: ReadFile failed, error=0x" + hexadecimal(error)));
}

TEST_F(NamedPipeTest, WaitsForTheReplyUntilTheServerEnds)
{
    PipeServer server({.replies = {PipeReply::silence()}});
    NamedPipe pipe(server.name());
    auto reply = std::async(std::launch::async, [&] { return pipe.send(bytes("?")); });
    ASSERT_TRUE(server.waitForRequests(1));
    EXPECT_EQ(reply.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    server.stop();
    EXPECT_THAT(reply.get(), IsEmpty());
}
} // namespace
