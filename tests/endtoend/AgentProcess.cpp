#include "tests/endtoend/AgentProcess.h"

#include <array>
#include <chrono>
#include <cwchar>
#include <iterator>
#include <memory>

#include "tests/support/ChildProcess.h"
#include "tests/support/Platform.h"

namespace endtoend
{
namespace
{
/// Environment variables differ by more than the case of their names.
struct NameLess
{
    bool operator()(const std::wstring& left, const std::wstring& right) const
    {
        return CompareStringOrdinal(left.c_str(), -1, right.c_str(), -1, TRUE) == CSTR_LESS_THAN;
    }
};

/// The block for CreateProcessW: this process's variables with the changes, each ended by a zero, and one more zero.
std::wstring environmentBlock(const Environment& changes)
{
    std::map<std::wstring, std::wstring, NameLess> variables;
    const std::unique_ptr<wchar_t, decltype(&FreeEnvironmentStringsW)> own(GetEnvironmentStringsW(),
                                                                           FreeEnvironmentStringsW);
    for (const wchar_t* entry = own.get(); *entry != L'\0'; entry += std::wcslen(entry) + 1)
    {
        const std::wstring text = entry;
        const auto separator = text.find(L'=', 1); // names of drives' current folders begin with one
        if (separator != std::wstring::npos)
            variables[text.substr(0, separator)] = text.substr(separator + 1);
    }
    for (const auto& [name, value] : changes)
    {
        if (value.empty())
            variables.erase(name);
        else
            variables[name] = value;
    }
    std::wstring block;
    for (const auto& [name, value] : variables)
        block.append(name).append(1, L'=').append(value).append(1, L'\0');
    return block.append(1, L'\0');
}

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
} // namespace

std::filesystem::path programFolder()
{
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

AgentProcess::AgentProcess(const std::wstring& arguments, const Environment& environment,
                           const std::filesystem::path& standardError)
    : m_commandLine(L'"' + (programFolder() / L"LinkwellAgent.exe").wstring() + L'"'), m_job(makeJob())
{
    if (!arguments.empty())
        m_commandLine += L' ' + arguments;
    std::wstring block = environmentBlock(environment);
    const support::Handle errors = openForChild(standardError);

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdError = errors.get();
    const PROCESS_INFORMATION information = support::startChild(
        nullptr, m_commandLine, CREATE_UNICODE_ENVIRONMENT | CREATE_SUSPENDED, block.data(), startup);
    m_process.reset(information.hProcess);
    const support::Handle mainThread(information.hThread);
    if (!AssignProcessToJobObject(m_job.get(), m_process.get()) || ResumeThread(mainThread.get()) == DWORD(-1))
    {
        TerminateProcess(m_process.get(), 0xDEAD);
        support::throwLastError("AssignProcessToJobObject");
    }
    m_processId = information.dwProcessId;
    m_mainThreadId = information.dwThreadId;
}

AgentProcess::~AgentProcess()
{
    // Waits for the end as well: until then the process may hold files of the test's folder.
    if (TerminateProcess(m_process.get(), 0xDEAD))
        WaitForSingleObject(m_process.get(), INFINITE);
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
    return PostThreadMessageW(m_mainThreadId, message, 0, 0) != FALSE;
}

bool AgentProcess::pressAltF4() const
{
    MSG none{};
    PeekMessageW(&none, nullptr, WM_USER, WM_USER, PM_NOREMOVE); // makes the message queue that the next call needs
    if (!AttachThreadInput(GetCurrentThreadId(), m_mainThreadId, TRUE))
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
