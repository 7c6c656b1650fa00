#include "tools/hostcheck/Subject.h"

#include <algorithm>
#include <future>
#include <utility>

#include "utilities/NamedPipe.h"

namespace hostcheck
{
namespace
{
constexpr DWORD look = 20; // milliseconds
/// A host that has made its first instance may still be making the others.
constexpr DWORD startTime = 500;
/// So much longer than the agent a spare instance is waited for, in milliseconds.
constexpr DWORD lateLimit = 2000;
/// So long nothing more may come before an answer is taken to be whole: shorter when it looks so.
constexpr Milliseconds quietBehindAnswer{200};
constexpr Milliseconds quietInAnswer{1000};

/// The pieces in which an answer comes.
void readPieces(Client& client, Milliseconds timeout, FirstMessage& result)
{
    const auto start = Clock::now();
    try
    {
        for (auto limit = timeout; const auto piece = client.read(limit);)
        {
            if (result.pieces.empty())
                result.time = since(start);
            result.pieces.push_back(*piece);
            limit = result.answer() == "ack" ? quietBehindAnswer : quietInAnswer;
        }
        if (result.pieces.empty())
            result.problem = "no answer in " + std::to_string(timeout.count()) + " ms";
    }
    catch (const Problem& problem) // behind an answer that is how hosts end it
    {
        result.problem = problem.what();
    }
}

[[nodiscard]] FirstMessage sendFirst(const std::wstring& path, Milliseconds timeout)
{
    FirstMessage result;
    Client client(path, timeout);
    client.startRead(); // before anything is written, so that each write of the host brings a piece
    client.startWrite(framed(oneContact));
    // On a thread of its own, as the agent's wait must not keep from seeing the pieces apart.
    const auto start = Clock::now();
    auto spare = std::async(std::launch::async,
                            [&]
                            {
                                result.spareInTime = becomesFree(path, NMPWAIT_USE_DEFAULT_WAIT);
                                result.spareTime = since(start);
                                if (!result.spareInTime && becomesFree(path, lateLimit))
                                    result.lateTime = since(start);
                            });
    readPieces(client, timeout, result);
    spare.get();
    return result;
}

struct AgentCall
{
    const std::wstring& name;
    const std::vector<BYTE>& request;
    std::string problem;
};

/// What the agent does with a message, by its own code.
DWORD WINAPI sendAsAgent(void* parameter) noexcept
{
    auto& call = *static_cast<AgentCall*>(parameter);
    try
    {
        utilities::NamedPipe pipe(call.name); // what it logs is dropped, as no log has been begun
        if (!pipe.isUsable())
            call.problem = "no instance was free when it was opened, or there was no pipe";
        else if (const std::vector<BYTE> answer = pipe.send(call.request); answer.empty())
            call.problem = "no other instance got free in time, or the host ended the connection";
        else if (const std::string text(answer.begin(), answer.end()); text != "ack")
            call.problem = "the answer that was read was " + printable(text);
    }
    catch (...)
    {
        call.problem = "out of memory";
    }
    return 0;
}

/// Empty if the message was acknowledged. The agent's code has no time-outs, so it runs on a thread whose calls are
/// cancelled when the time is over.
[[nodiscard]] std::string problemOfAgent(const std::wstring& name, const std::vector<BYTE>& request,
                                         Milliseconds timeout)
{
    AgentCall call{name, request, {}};
    const sandbox::KernelHandle thread(CreateThread(nullptr, 0, sendAsAgent, &call, 0, nullptr));
    if (!thread)
        sandbox::throwLastError("CreateThread");
    if (WaitForSingleObject(thread.get(), count(timeout)) == WAIT_OBJECT_0)
        return call.problem;
    do
    {
        CancelSynchronousIo(thread.get());
    } while (WaitForSingleObject(thread.get(), look) != WAIT_OBJECT_0);
    return "no answer in " + std::to_string(timeout.count()) + " ms";
}
} // namespace

std::string FirstMessage::answer() const
{
    std::string all;
    for (const std::string& piece : pieces)
        all += piece;
    return all;
}

Subject::Subject(SubjectOptions options) : m_options(std::move(options)), m_path(sandbox::pipePath(m_options.pipeName))
{
}

void Subject::start()
{
    if (isStarted())
    {
        if (becomesFree(m_path, 1) || GetLastError() != ERROR_FILE_NOT_FOUND)
            throw Problem("another program serves the pipe already");
        m_process = std::make_unique<HostProcess>(m_options.command, m_options.output);
    }
    for (const auto begin = Clock::now(); !becomesFree(m_path, look);)
    {
        const bool isThere = GetLastError() != ERROR_FILE_NOT_FOUND;
        if (!isThere && !isStarted())
            throw Problem("there is no pipe of that name; start the host first, or name it behind --");
        if (m_process && !m_process->runs())
            throw Problem("the host that was started has ended without serving the pipe");
        if (since(begin) >= m_options.timeout)
            throw Problem(isThere ? "all instances of the pipe stay busy" : "the host that was started serves no pipe");
        Sleep(look);
    }
    if (isStarted())
        Sleep(startTime);
}

void Subject::renew()
{
    if (isStarted())
    {
        stop();
        start();
    }
    else if (m_firstMessage && !m_firstMessage->pieces.empty())
    {
        exchange();
    }
}

const FirstMessage& Subject::firstMessage()
{
    if (!m_firstMessage)
        m_firstMessage = sendFirst(m_path, m_options.timeout);
    return *m_firstMessage;
}

const Row& Subject::row()
{
    if (m_row)
        return *m_row;
    m_row.emplace();
    const std::string bytes = framed(oneContact);
    const std::vector<BYTE> request(bytes.begin(), bytes.end());
    for (const auto begin = Clock::now(); m_row->times.size() < rowLength && since(begin) < m_options.timeout;)
    {
        const auto start = Clock::now();
        m_row->problem = problemOfAgent(m_options.pipeName, request, m_options.timeout);
        if (!m_row->problem.empty())
            break;
        m_row->times.push_back(since(start));
    }
    return *m_row;
}

std::unique_ptr<Client> Subject::connect() const
{
    return std::make_unique<Client>(m_path, m_options.timeout);
}

void Subject::exchange(std::string_view text)
{
    const auto client = connect();
    client->startRead();
    client->startWrite(framed(text));
    takeAnswer(*client);
}

void Subject::takeAnswer(Client& client, std::string answer)
{
    const std::string usual = firstMessage().answer();
    if (usual.empty())
        throw Problem(firstMessage().problem);
    while (answer.size() < usual.size())
    {
        const auto piece = client.read(m_options.timeout);
        if (!piece)
            throw Problem("no answer in " + std::to_string(m_options.timeout.count()) + " ms");
        answer += *piece;
    }
    if (answer != usual)
        throw Problem("the answer is " + printable(answer) + ", that to the first message was " + printable(usual));
}

void Subject::leave(Client& client)
{
    if (firstMessage().pieces.empty())
        return;
    try
    {
        client.startWrite(framed(oneContact));
        takeAnswer(client);
    }
    catch (const Problem&)
    {
    }
}

std::string printable(std::string_view bytes)
{
    std::string text = "\"";
    for (const char each : bytes)
    {
        constexpr std::string_view digits = "0123456789ABCDEF";
        const auto value = static_cast<unsigned char>(each);
        if (value >= 0x20 && value < 0x7F)
            text += each;
        else
            text.append("\\x").append(1, digits[value >> 4]).append(1, digits[value & 15]);
    }
    return text + '"';
}
} // namespace hostcheck
