// HostProcess.h: starts and ends the programs that a check needs, the host above all.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "sandbox/control/LinePipe.h"

namespace hostcheck
{
/// A command line of which a program's start makes these words again.
[[nodiscard]] std::wstring commandLine(const std::vector<std::wstring>& words);

/// A program that runs no longer than this object, nor do the programs that it starts.
class HostProcess
{
public:
    /// Starts it, with the environment of this process. Throws Problem.
    /// @param output  the file to which its output and its errors are added; empty: nowhere.
    HostProcess(const std::vector<std::wstring>& words, const std::wstring& output);
    /// Ends it, where it stands, and waits until it has gone.
    ~HostProcess();
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    [[nodiscard]] bool runs() const noexcept { return !ends(0); }
    /// Whether it ends in so many milliseconds.
    [[nodiscard]] bool ends(DWORD limit) const noexcept
    {
        return WaitForSingleObject(m_process.get(), limit) == WAIT_OBJECT_0;
    }
    [[nodiscard]] DWORD id() const noexcept { return GetProcessId(m_process.get()); }

private:
    sandbox::KernelHandle m_job; // ends its processes when its last handle goes
    sandbox::KernelHandle m_process;
};
} // namespace hostcheck
