#include "tests/endtoend/AgentProcess.h"

#include <array>
#include <chrono>
#include <iostream>

#include "tests/support/Platform.h"
#include "tests/support/ProgramRun.h"

namespace endtoend
{
namespace
{
support::Handle openForChild(const std::filesystem::path& file)
{
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return support::checkedFile(CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                            &inheritable, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr),
                                "CreateFileW");
}

/// A job whose processes end with its last handle.
support::Handle makeJob()
{
    support::Handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (!job || !SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits)))
        support::throwLastError("CreateJobObjectW");
    return job;
}

/// Has a process that has not begun yet load a DLL before anything else, on its main thread. A DLL that can't be loaded is
/// passed over.
void loadFirst(const PROCESS_INFORMATION& process, const std::filesystem::path& library)
{
    const std::wstring path = library.wstring();
    const std::size_t size = (path.size() + 1) * sizeof(wchar_t);
    void* const remote = VirtualAllocEx(process.hProcess, nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    // kernel32.dll lies at one address in all processes.
    const auto load = reinterpret_cast<PAPCFUNC>(
        reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "LoadLibraryW")));
    if (remote == nullptr || !WriteProcessMemory(process.hProcess, remote, path.c_str(), size, nullptr) ||
        QueueUserAPC(load, process.hThread, reinterpret_cast<ULONG_PTR>(remote)) == 0)
        support::throwLastError("QueueUserAPC");
}
} // namespace

std::filesystem::path programFolder()
{
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

std::filesystem::path agentProgram()
{
    const std::wstring named = support::environmentValue(L"LINKWELL_AGENT");
    return named.empty() ? programFolder() / L"LinkwellAgent.exe" : std::filesystem::path(named);
}

AgentProcess::AgentProcess(const std::wstring& arguments, const std::filesystem::path& standardError,
                           const std::filesystem::path& program, const std::filesystem::path& library)
    : m_commandLine(L'"' + program.wstring() + L'"'), m_job(makeJob())
{
    if (!arguments.empty())
        m_commandLine += L' ' + arguments;
    const support::Handle errors = openForChild(standardError);

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdError = errors.get();
    const PROCESS_INFORMATION information = support::startChild(nullptr, m_commandLine, CREATE_SUSPENDED, startup);
    m_process.reset(information.hProcess);
    m_mainThread.reset(information.hThread);
    if (!AssignProcessToJobObject(m_job.get(), m_process.get()))
    {
        TerminateProcess(m_process.get(), 0xDEAD);
        support::throwLastError("AssignProcessToJobObject");
    }
    if (!library.empty())
        loadFirst(information, library);
    if (ResumeThread(m_mainThread.get()) == DWORD(-1))
        support::throwLastError("ResumeThread");
    m_processId = information.dwProcessId;
    m_follower = std::jthread([this] { endAfterMainThread(); });
}

AgentProcess::~AgentProcess()
{
    // Waits for the end as well: until then the process may hold files of the test's folder.
    if (TerminateProcess(m_process.get(), 0xDEAD))
        WaitForSingleObject(m_process.get(), INFINITE);
}

void AgentProcess::endAfterMainThread() const
{
    constexpr DWORD patience = 5'000;
    constexpr UINT aborted = 3; // what it would have come to
    WaitForSingleObject(m_mainThread.get(), INFINITE);
    if (WaitForSingleObject(m_process.get(), patience) == WAIT_OBJECT_0)
        return;
    std::cout << "The main thread of process " << m_processId << " has ended without the process, which is ended now\n";
    TerminateProcess(m_process.get(), aborted);
}

std::optional<DWORD> AgentProcess::waitForExit() const
{
    const auto limit = std::chrono::milliseconds(support::deadline).count();
    if (WaitForSingleObject(m_process.get(), static_cast<DWORD>(limit)) != WAIT_OBJECT_0)
        return std::nullopt;
    DWORD value = 0;
    if (!GetExitCodeProcess(m_process.get(), &value))
        support::throwLastError("GetExitCodeProcess");
    return value;
}

HWND AgentProcess::window() const
{
    HWND candidate = nullptr;
    while ((candidate = FindWindowExW(nullptr, candidate, L"CorvenaLinkwellWindow", nullptr)) != nullptr)
    {
        DWORD processId = 0;
        GetWindowThreadProcessId(candidate, &processId);
        if (processId == m_processId)
            return candidate;
    }
    return nullptr;
}

bool AgentProcess::postToWindow(UINT message, WPARAM wParam, LPARAM lParam) const
{
    const HWND target = window(); // a null one would stand for this test's own thread
    return target != nullptr && PostMessageW(target, message, wParam, lParam) != FALSE;
}

bool AgentProcess::postToMainThread(UINT message) const
{
    return PostThreadMessageW(GetThreadId(m_mainThread.get()), message, 0, 0) != FALSE;
}

bool AgentProcess::pressAltF4() const
{
    MSG none{};
    PeekMessageW(&none, nullptr, WM_USER, WM_USER, PM_NOREMOVE); // makes the message queue that the next call needs
    if (!AttachThreadInput(GetCurrentThreadId(), GetThreadId(m_mainThread.get()), TRUE))
        return false;
    std::array<BYTE, 256> keys{};
    keys[VK_MENU] = 0x80; // down
    if (!SetKeyboardState(keys.data()))
        return false;
    constexpr LPARAM withAlt = 1 << 29;
    constexpr LPARAM once = 1;
    return postToWindow(WM_SYSKEYDOWN, VK_F4, withAlt | once);
}
} // namespace endtoend
