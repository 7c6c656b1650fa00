// main.cpp of linkwell-cpphost: a host that shows on the console what arrives. An example, and a host for tests.
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <io.h>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>

#include "../LinkwellHost.h"
#include "JsonLines.h"

namespace
{
constexpr std::string_view usage = R"(Usage: linkwell-cpphost [options]

Serves the pipe to which the Linkwell agent sends the contacts of an Outlook
profile, answers every message, and prints what it changes.

Options:
  --json           print one JSON object per event instead, a line each
  --record FILE    also append these JSON lines to FILE
  --count N        end after N messages
  --max-bytes N    refuse messages above N bytes
  --pipe PATH      serve another pipe
  --help           show this text

The first line, "Listening on ...", says that the agent can connect. Ctrl+C ends
the host. Exit status: 0; 1 when the pipe can't be served, or the record can't
be written; 2 for wrong options.
)";

struct UsageError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

struct Options
{
    bool help = false;
    bool json = false;
    std::wstring record;
    std::uint64_t count = UINT64_MAX;
    linkwell::HostOptions host;
};

std::string toUtf8(std::wstring_view text)
{
    const auto length = static_cast<int>(text.size());
    std::string bytes(text.size() * 3, '\0');
    bytes.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(),
                                                              static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

Options readOptions(int count, wchar_t** arguments)
{
    Options options;
    for (int at = 1; at < count; ++at)
    {
        const std::wstring_view name = arguments[at];
        const auto value = [&]
        {
            if (++at == count)
                throw UsageError(toUtf8(name) + " needs a value");
            return arguments[at];
        };
        const auto number = [&]
        {
            const std::wstring_view text = value();
            if (text.empty() || text.size() > 10 || text.find_first_not_of(L"0123456789") != text.npos ||
                text[0] == L'0')
                throw UsageError(toUtf8(name) + " needs a positive number, not \"" + toUtf8(text) + '"');
            return std::stoull(std::wstring(text));
        };
        if (name == L"--help")
            options.help = true;
        else if (name == L"--json")
            options.json = true;
        else if (name == L"--record")
            options.record = value();
        else if (name == L"--count")
            options.count = number();
        else if (name == L"--max-bytes")
            options.host.maxMessageBytes = static_cast<std::size_t>(number());
        else if (name == L"--pipe")
            options.host.pipe = value();
        else
            throw UsageError("unknown option \"" + toUtf8(name) + '"');
    }
    return options;
}

/// The text with "?" for each control character, as a console may act on it.
std::string printable(std::string text)
{
    for (std::size_t at = 0; at < text.size(); ++at)
    {
        const auto code = static_cast<unsigned char>(text[at]);
        if (code == 0xC2 && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xA0)
            text.replace(at, 2, "?"); // U+0080 to U+009F
        else if (code < 0x20 || code == 0x7F)
            text[at] = '?';
    }
    return text;
}

void print(const char* what, const linkwell::ContactPtr& contact)
{
    std::cout << "  " << what << ' ' << printable(contact->displayName) << '\n';
}

void print(const linkwell::Message& message, const linkwell::Change& change)
{
    std::cout << "=== " << nameOf(message.operation) << ' ' << nameOf(message.kind) << ", " << message.text.size()
              << " bytes\n";
    for (const auto& contact : change.removed)
        print("-", contact);
    for (const auto& contact : change.added)
        print("+", contact);
    for (const auto& edit : change.changed)
        print("*", edit.after);
    for (const auto& text : change.unreadable)
        std::cout << "  ? " << printable(text) << '\n';
    std::cout << std::flush;
}

/// Set by Ctrl+C, and after the last message.
HANDLE s_end = nullptr;

BOOL WINAPI end(DWORD)
{
    return SetEvent(s_end);
}

/// For one thread at a time.
class Output
{
public:
    explicit Output(const Options& options) : m_options(options)
    {
        if (!options.record.empty())
            m_record.open(std::filesystem::path(options.record), std::ios::binary | std::ios::app);
        check();
    }

    [[nodiscard]] bool isJson() const noexcept { return m_options.json; }

    /// The event is on file when this returns. Throws when it can't be: a handler of messages that throws refuses its message.
    void put(const std::string& line)
    {
        if (m_record.is_open())
            m_record << line << std::flush;
        check();
        if (m_options.json)
            std::cout << line << std::flush;
    }

    void countAnswered()
    {
        if (++m_answered == m_options.count)
            SetEvent(s_end);
    }
    [[nodiscard]] std::uint64_t answered() const noexcept { return m_answered; }

private:
    void check() const
    {
        if (!m_record)
            throw std::runtime_error("the record can't be written: " + toUtf8(m_options.record));
    }

    const Options& m_options;
    std::ofstream m_record;
    std::uint64_t m_answered = 0;
};

void run(const Options& options)
{
    const std::string pipe = toUtf8(options.host.pipe);
    Output output(options);
    linkwell::ContactStore store;
    std::mutex mutex; // the handlers wait until it is said that the host listens
    linkwell::Host host(
        [&](const linkwell::Message& message)
        {
            const std::lock_guard lock(mutex);
            output.put(messageLine(message));
            const linkwell::Change change = store.apply(message);
            if (!output.isJson())
                print(message, change);
            output.countAnswered();
        },
        [&](const linkwell::Error& error)
        {
            const std::lock_guard lock(mutex);
            if (!output.isJson())
                std::cout << "=== " << printable(error.what()) << std::endl;
            if (!error.message.empty()) // it was answered
                output.countAnswered();
            output.put(errorLine(error));
        },
        options.host);

    SetConsoleCtrlHandler(end, TRUE);
    std::unique_lock lock(mutex);
    host.start();
    output.put(listeningLine(pipe));
    if (!output.isJson())
        std::cout << "Listening on " << pipe << std::endl;
    lock.unlock();
    WaitForSingleObject(s_end, INFINITE);
    host.stop();
    output.put(closedLine(output.answered()));
}
} // namespace

int wmain(int count, wchar_t** arguments)
{
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY); // a line ends in a line feed, as in the record
    std::ios::sync_with_stdio(false);     // the C runtime's output has no buffer, and a large message has many lines
    s_end = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    try
    {
        const Options options = readOptions(count, arguments);
        if (options.help)
            std::cout << usage;
        else
            run(options);
        return 0;
    }
    catch (const UsageError& error)
    {
        std::cerr << "linkwell-cpphost: " << error.what() << "\nTry: linkwell-cpphost --help\n";
        return 2;
    }
    catch (const std::exception& error)
    {
        std::cerr << "linkwell-cpphost: " << error.what() << '\n';
        return 1;
    }
}
