// AgentProcess.h: LinkwellAgent.exe as a process, as whoever uses the agent starts it and ends it.
#pragma once

#include <windows.h>

#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "tests/support/Handle.h"

namespace endtoend
{
/// The folder of this test program, in which the build puts the agent and the sandbox too.
[[nodiscard]] std::filesystem::path programFolder();

/// The program that is tested: what LINKWELL_AGENT in the environment names, or LinkwellAgent.exe in that folder.
[[nodiscard]] std::filesystem::path agentProgram();

/// Starts the agent in the constructor, with this process's environment. The destructor ends a process that still runs, so
/// none outlives its test; nor does one outlive a test program that is itself ended, nor, by more than 5 s, its own main
/// thread: it is ended with exit value 3 then. A process that aborts under Wine now and then waits for ever for a lock of one
/// of its threads that has ended before.
class AgentProcess
{
public:
    /// @param arguments      what follows the program on the command line, as it stands there; may be empty.
    /// @param standardError  the file that receives what is written to the process's standard error.
    /// @param program        another program that is to live as the agent does.
    /// @param library        a DLL that the process loads before its first instruction; empty: none.
    AgentProcess(const std::wstring& arguments, const std::filesystem::path& standardError,
                 const std::filesystem::path& program = agentProgram(), const std::filesystem::path& library = {});
    ~AgentProcess();
    AgentProcess(const AgentProcess&) = delete;
    AgentProcess& operator=(const AgentProcess&) = delete;

    [[nodiscard]] const std::wstring& commandLine() const noexcept { return m_commandLine; }
    /// Signalled when the process has ended; borrowed.
    [[nodiscard]] HANDLE process() const noexcept { return m_process.get(); }

    /// Waits for the end of the process and gives its exit value; nothing after `support::deadline`.
    [[nodiscard]] std::optional<DWORD> waitForExit() const;

    /// The hidden window; null before it is made, and when it is gone.
    [[nodiscard]] HWND window() const;

    // Requests. Each says whether it could be posted; none waits.
    [[nodiscard]] bool postToWindow(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const;
    [[nodiscard]] bool postToMainThread(UINT message) const;
    /// Alt+F4 as the keyboard brings it to the window, with the state of the Alt key. The calling thread shares its
    /// input state with the agent until the agent ends.
    [[nodiscard]] bool pressAltF4() const;

private:
    /// Waits for the end of the main thread, and ends what of the process does not follow it.
    void endAfterMainThread() const;

    std::wstring m_commandLine;
    support::Handle m_job; // ends the process when its last handle goes
    support::Handle m_process;
    support::Handle m_mainThread;
    DWORD m_processId = 0;
    std::jthread m_follower; // ends with the process
};
} // namespace endtoend
