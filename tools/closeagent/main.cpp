// main.cpp of linkwell-closeagent: asks all agents of the user's session to close, by WM_CLOSE to their hidden windows, and
// waits for the end of their processes, for a minute unless told otherwise. Exit value: 0 when all have ended, 1 when none
// runs, 2 when one could not be asked or the command line is wrong, 3 when all could be asked and one still runs.
#include <windows.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iostream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "tools/Handle.h"

namespace
{
enum ExitValue
{
    AllEnded = 0,
    NoneRuns = 1,
    NotAsked = 2,
    StillRuns = 3
};

std::ostream& complain()
{
    return std::cerr << "linkwell-closeagent: ";
}

void sayFailed(const char* call)
{
    const DWORD error = GetLastError();
    complain() << call << " failed, error " << error << '\n';
}

BOOL CALLBACK addAgent(HWND window, LPARAM windows)
{
    wchar_t name[32] = {};
    GetClassNameW(window, name, 32);
    if (std::wstring_view(name) == L"CorvenaLinkwellWindow")
        reinterpret_cast<std::vector<HWND>*>(windows)->push_back(window);
    return TRUE;
}

/// Asks the agent of this window to close. Its process; null, and said why, when it can't be asked.
tools::OwnedHandle ask(HWND window)
{
    // Opened before the window is asked to go: afterwards its process identifier may stand for nothing, or for another.
    DWORD processId = 0;
    GetWindowThreadProcessId(window, &processId);
    tools::OwnedHandle process(OpenProcess(SYNCHRONIZE, FALSE, processId));
    if (!process)
    {
        sayFailed("OpenProcess");
    }
    else if (!PostMessageW(window, WM_CLOSE, 0, 0))
    {
        sayFailed("PostMessageW");
        process.reset();
    }
    return process;
}

ExitValue closeAgents(DWORD timeoutMilliseconds)
{
    std::vector<HWND> windows;
    EnumWindows(addAgent, reinterpret_cast<LPARAM>(&windows));
    if (windows.empty())
    {
        complain() << "no agent runs\n";
        return NoneRuns;
    }

    std::vector<tools::OwnedHandle> asked;
    for (const HWND window : windows)
    {
        if (tools::OwnedHandle process = ask(window))
            asked.push_back(std::move(process));
    }

    const ULONGLONG end = GetTickCount64() + timeoutMilliseconds;
    const auto ended = std::ranges::count_if(
        asked,
        [end](const tools::OwnedHandle& process)
        {
            const ULONGLONG now = GetTickCount64();
            return WaitForSingleObject(process.get(), now < end ? static_cast<DWORD>(end - now) : 0) == WAIT_OBJECT_0;
        });
    if (const auto left = static_cast<std::ptrdiff_t>(windows.size()) - ended)
        complain() << "left " << left << " of " << windows.size() << " agents running\n";
    if (asked.size() < windows.size())
        return NotAsked;
    return ended == static_cast<std::ptrdiff_t>(asked.size()) ? AllEnded : StillRuns;
}
} // namespace

int main(int count, char** arguments)
{
    const std::vector<std::string_view> words(arguments + 1, arguments + count);
    if (words.empty())
        return closeAgents(60'000);
    if (words.size() == 1 && words[0] == "--version")
    {
        std::cout << "linkwell-closeagent " LINKWELL_VERSION "\n";
        return AllEnded;
    }
    if (words.size() == 2 && words[0] == "--timeout")
    {
        WORD seconds = 0;
        const char* const end = words[1].data() + words[1].size();
        if (const auto read = std::from_chars(words[1].data(), end, seconds); read.ec == std::errc() && read.ptr == end)
            return closeAgents(seconds * DWORD{1000});
    }
    complain() << "usage: linkwell-closeagent [--timeout SECONDS | --version]\n";
    return NotAsked;
}
