// brokenhost.cpp: a host by the reference sequence that does one thing wrong, which docs/host-check.md names.
//
//   linkwell_brokenhost --list              prints what it can do wrong, a line each
//   linkwell_brokenhost WHAT PIPE [FILE]    serves this pipe until it is ended; FILE marks that it runs, if WHAT is that
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/pipe/SequenceHost.h"

namespace
{
using namespace std::chrono_literals;
using support::SequenceOptions;

/// Ends as a host does that does not expect what has happened.
void die()
{
    TerminateProcess(GetCurrentProcess(), 3);
}

[[nodiscard]] auto wait(std::chrono::milliseconds time)
{
    return [time](const std::string&)
    {
        std::this_thread::sleep_for(time);
        return true;
    };
}

/// Refuses each message whose text has this in it.
[[nodiscard]] auto refuse(std::string_view part)
{
    return [part](const std::string& text)
    {
        return text.find(part) == std::string::npos;
    };
}

/// A field for each semicolon, in each line.
[[nodiscard]] bool hasTwelveFieldsInEachLine(const std::string& text)
{
    if (text.starts_with("2;delete") || text.ends_with('\n'))
        return true;
    std::size_t semicolons = 11;
    for (std::size_t at = text.find('\n'); at < text.size(); ++at)
    {
        if (text[at] != '\n')
            semicolons += text[at] == ';' ? 1 : 0;
        else if (std::exchange(semicolons, 0) != 11)
            return false;
    }
    return semicolons == 11;
}

/// @param file  marks that the host runs.
[[nodiscard]] std::vector<std::pair<std::string_view, std::function<void(SequenceOptions&)>>> faults(const char* file)
{
    static std::atomic<int> messages{0};
    return {
        {"does nothing wrong", [](auto&) {}},
        {"never answers", [](auto& o) { o.takes = wait(24h); }},
        {"ends the connection in place of answering", [](auto& o) { o.takes = refuse(""); }},
        {"answers `ACK`", [](auto& o) { o.parts = {"ACK"}; }},
        {"answers with a line feed behind `ack`", [](auto& o) { o.parts = {"ack\n"}; }},
        {"answers by two writes", [](auto& o) { o.parts = {"a", "ck"}, o.pause = 100ms; }},
        {"has one instance", [](auto& o) { o.instances = 1, o.defaultTimeout = 2000; }}, // before it lets go of one that stays
        {"has two instances", [](auto& o) { o.instances = 2; }},
        {"lets clients wait for 50 ms", [](auto& o) { o.defaultTimeout = 50; }},
        {"lets others create instances", [](auto& o) { o.mostInstances = PIPE_UNLIMITED_INSTANCES; }},
        {"lets everybody write", [](auto& o) { o.accessList = L"D:P(A;;GA;;;WD)"; }},
        {"refuses deleted folders", [](auto& o) { o.takes = refuse(";folder;"); }},
        {"refuses empty items", [](auto& o)
         { o.takes = [](const std::string& text) { return !text.ends_with('\n') && !text.ends_with("\n;;;;;;;;;;;"); }; }},
        {"refuses lines without twelve fields", [](auto& o) { o.takes = hasTwelveFieldsInEachLine; }},
        {"refuses characters beyond 16 bits", [](auto& o) { o.takes = refuse("\xF0"); }},
        {"refuses versions that it does not know",
         [](auto& o) { o.takes = [](const std::string& text) { return text.starts_with("2;"); }; }},
        {"reads 64 KB at most", [](auto& o) { o.mostBytes = 65536; }},
        {"serves one client at a time", [](auto& o) { o.oneAtATime = true; }},
        {"disconnects at once", [](auto& o) { o.waitsForClient = false; }},
        {"ends when a client says nothing",
         [](auto& o) { o.whenBrokenOff = [](std::size_t bytes) { bytes == 0 ? die() : void(); }; }},
        {"ends when a message is cut",
         [](auto& o) { o.whenBrokenOff = [](std::size_t bytes) { bytes > 0 && bytes < 50 ? die() : void(); }; }},
        {"ends when its answer can't be written",
         [](auto& o)
         {
             o.takes = wait(100ms);
             o.whenBrokenOff = [](std::size_t bytes) { bytes > 50 ? die() : void(); };
         }},
        {"listens again after two seconds", [](auto& o) { o.pause = 2s, o.defaultTimeout = 600; }},
        {"answers sixty messages and no more",
         [](auto& o) { o.takes = [](const std::string&) { return ++messages <= 60; }; }},
        {"takes more than half a second to answer", [](auto& o) { o.takes = wait(550ms); }},
        {"does not start while its file of the last time is there",
         [file](auto&)
         {
             const HANDLE mark = CreateFileA(file, GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
             mark == INVALID_HANDLE_VALUE ? die() : void(CloseHandle(mark));
         }},
    };
}
} // namespace

int main(int count, char** arguments)
{
    const std::vector<std::string> words(arguments + 1, arguments + count);
    const auto all = faults(words.size() == 3 ? words[2].c_str() : "");
    if (words.size() == 1 && words[0] == "--list")
    {
        for (const auto& fault : all)
            std::cout << fault.first << '\n';
        return EXIT_SUCCESS;
    }
    const auto fault =
        std::ranges::find_if(all, [&](const auto& each) { return words.size() >= 2 && each.first == words[0]; });
    if (fault == all.end())
        return EXIT_FAILURE;
    SequenceOptions options;
    options.name = std::wstring(words[1].begin(), words[1].end());
    fault->second(options);
    const support::SequenceHost host(options);
    Sleep(INFINITE);
}
