#include <algorithm>
#include <utility>

#include "tools/hostcheck/Check.h"

namespace hostcheck
{
namespace
{
/// What a client has left behind when it went is given so long to show.
constexpr DWORD settleTime = 300;

/// Another client's message, which must be answered.
void exchangeWhile(Subject& subject, const char* what)
{
    try
    {
        subject.exchange();
    }
    catch (const Problem& problem)
    {
        throw Problem(std::string(what) + ", another one's message: " + problem.what());
    }
}

/// A client that writes this and goes; then the host must answer the next one.
Outcome goAfter(Subject& subject, const std::string& bytes)
{
    {
        const auto client = subject.connect();
        client->startWrite(bytes);
        if (!client->isWritten(subject.options().timeout))
            return {Result::Wrong, "the host does not read what is written"};
    }
    Sleep(settleTime);
    exchangeWhile(subject, "after such a client");
    return {};
}
} // namespace

Outcome checkServesOthers(Subject& subject)
{
    const auto silent = subject.connect();
    exchangeWhile(subject, "while a client has sent nothing");
    const std::string message = framed(oneContact);
    std::size_t sent = 0;
    for (const auto& [size, what] : {std::pair<std::size_t, const char*>{2, "while a client has sent half a length"},
                                     {20, "while a client has sent half a message"},
                                     {message.size(), "while a client has not read its answer"}})
    {
        silent->startWrite(message.substr(sent, size - sent));
        if (!silent->isWritten(subject.options().timeout))
            return {Result::Wrong, "the host does not read what is written"};
        sent = size;
        exchangeWhile(subject, what);
    }
    try
    {
        subject.takeAnswer(*silent);
    }
    catch (const Problem&) // a host may have given such a client up
    {
    }
    return {};
}

Outcome checkKeepsAnswer(Subject& subject)
{
    constexpr DWORD look = 10; // milliseconds
    constexpr DWORD late = 1000;
    const auto client = subject.connect();
    client->startWrite(framed(oneContact));
    const auto start = Clock::now();
    for (DWORD there = 0; there < subject.firstMessage().answer().size(); Sleep(look))
    {
        if (!PeekNamedPipe(client->handle(), nullptr, 0, nullptr, &there, nullptr))
            return {Result::Wrong,
                    "it was gone before it was looked for (error " + std::to_string(GetLastError()) + ")"};
        if (since(start) > subject.options().timeout)
            return {Result::Wrong, "no answer in " + std::to_string(subject.options().timeout.count()) + " ms"};
    }
    Sleep(late);
    subject.takeAnswer(*client);
    return {Result::Right, "read " + std::to_string(late) + " ms later"};
}

Outcome checkOpenAndClose(Subject& subject)
{
    for (int times = 0; times < 5; ++times)
        (void)subject.connect();
    Sleep(settleTime);
    exchangeWhile(subject, "after such clients");
    return {};
}

Outcome checkEndsInLength(Subject& subject)
{
    return goAfter(subject, framed(oneContact).substr(0, 2));
}

Outcome checkEndsInText(Subject& subject)
{
    return goAfter(subject, framed(oneContact).substr(0, 20));
}

Outcome checkEndsBeforeAnswer(Subject& subject)
{
    return goAfter(subject, framed(oneContact));
}

Outcome checkInARow(Subject& subject)
{
    const Row& row = subject.row();
    if (!row.problem.empty())
        return {Result::Wrong, "message " + std::to_string(row.times.size() + 1) + " was refused: " + row.problem};
    if (row.times.size() < Subject::rowLength)
        return {Result::Right, "after " + std::to_string(row.times.size()) + " the time was over"};
    return {};
}

Outcome checkTimeToAck(Subject& subject)
{
    constexpr Milliseconds slow{500};
    std::vector<Milliseconds> times = subject.row().times;
    if (times.empty())
        return {Result::Wrong, subject.row().problem};
    std::ranges::sort(times);
    const Milliseconds median = times[times.size() / 2];
    return {median > slow ? Result::Slow : Result::Right, "median " + std::to_string(median.count()) + " ms, maximum " +
                                                              std::to_string(times.back().count()) + " ms"};
}
} // namespace hostcheck
