// linkwell_floor [/log=FILE] /times=FILE [/texts]: the work of the agent's first snapshot in the barest way, without any code of
// the agent: the same MAPI calls, the text made once and as UTF-8, one write to the log, one exchange with the host. With /texts
// it has the texts that the agent has to, in UTF-16: of each property, until the contact's line is written; of each contact, also
// when all are joined into one of the final size; and this one is converted for the log, and again for the host. Writes what it took
// as a line of JSON. Exit status: 0 when the host has answered "ack".
#include <windows.h>

#include <psapi.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include "bench/floor/Output.h"
#include "bench/floor/Reading.h"

namespace
{
/// As a log stamps its records: in whole milliseconds, since 1601.
[[nodiscard]] std::uint64_t now()
{
    FILETIME time{};
    GetSystemTimeAsFileTime(&time);
    return (std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) / 10'000;
}

[[nodiscard]] PROCESS_MEMORY_COUNTERS memory()
{
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters;
}

/// What stands behind "/<name>=" in an argument; empty when there is none.
[[nodiscard]] std::string option(int count, char** arguments, const std::string& name)
{
    for (int index = 1; index < count; ++index)
    {
        const std::string argument = arguments[index];
        if (argument.starts_with("/" + name + "="))
            return argument.substr(name.size() + 2);
    }
    return {};
}

/// All of the message, in memory that is taken once.
[[nodiscard]] std::wstring joinTexts(const bench::Message& message)
{
    const std::string_view firstLine = std::string_view(message.bytes).substr(4);
    std::size_t size = firstLine.size();
    for (const std::wstring& text : message.texts)
        size += 1 + text.size();
    std::wstring joined;
    joined.reserve(size);
    joined.assign(firstLine.begin(), firstLine.end());
    for (const std::wstring& text : message.texts)
    {
        joined += L'\n';
        joined += text;
    }
    return joined;
}

void run(const std::string& log, const std::string& times, bool keepsTexts)
{
    const bench::Runtime runtime = bench::Runtime::load();
    bench::Reader reader(runtime, keepsTexts);
    const std::uint64_t begin = now();
    const bench::Message message = reader.snapshot();
    const std::wstring text = keepsTexts ? joinTexts(message) : std::wstring();
    const std::uint64_t sending = now();
    const std::size_t mailbox = memory().WorkingSetSize - message.bytes.size(); // as a snapshot leaves it
    if (!log.empty())
    {
        constexpr std::string_view head = "Sending data:\n";
        bench::BareLog file(log);
        if (keepsTexts)
            file.write(head, text);
        else
            file.write(head, std::string_view(message.bytes).substr(4));
    }
    const HANDLE pipe = bench::connect();
    if (keepsTexts)
        bench::exchange(pipe, bench::messageOf(text));
    else
        bench::exchange(pipe, message.bytes);

    std::FILE* const file = std::fopen(times.c_str(), "w");
    if (file == nullptr)
        throw std::runtime_error("the times can't be written");
    std::fprintf(file, R"({"begin": %llu, "sending": %llu, "composing": %.6f, "mailbox": %zu, "peak": %zu})",
                 static_cast<unsigned long long>(begin), static_cast<unsigned long long>(sending),
                 std::chrono::duration<double, std::milli>(message.composing).count(), mailbox,
                 static_cast<std::size_t>(memory().PeakWorkingSetSize));
    std::fclose(file);
}
} // namespace

int main(int argumentCount, char** arguments)
{
    try
    {
        const bool keepsTexts = std::string_view(arguments[argumentCount - 1]) == "/texts";
        run(option(argumentCount, arguments, "log"), option(argumentCount, arguments, "times"), keepsTexts);
        return 0;
    }
    catch (const std::exception& failure)
    {
        std::fprintf(stderr, "linkwell_floor: %s\n", failure.what());
        return 1;
    }
}
