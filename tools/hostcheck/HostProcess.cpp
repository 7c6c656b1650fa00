#include "tools/hostcheck/HostProcess.h"

#include "tools/hostcheck/Client.h"

namespace hostcheck
{
namespace
{
[[nodiscard]] Problem failed(const char* call)
{
    return Problem(std::string(call) + " failed, error " + std::to_string(GetLastError()));
}

[[nodiscard]] sandbox::KernelHandle makeJob()
{
    sandbox::KernelHandle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (!job || !SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits)))
        throw failed("CreateJobObjectW");
    return job;
}

[[nodiscard]] sandbox::KernelHandle openOutput(const std::wstring& file)
{
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    const HANDLE handle =
        CreateFileW(file.empty() ? L"NUL" : file.c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        throw failed("opening the file for the host's output");
    return sandbox::KernelHandle(handle);
}

/// By the rules of CommandLineToArgvW: backslashes count only in front of a quotation mark.
[[nodiscard]] std::wstring quoted(const std::wstring& word)
{
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t each : word)
    {
        if (each == L'"')
            text.append(backslashes + 1, L'\\');
        backslashes = each == L'\\' ? backslashes + 1 : 0;
        text += each;
    }
    return text.append(backslashes, L'\\') + L'"';
}
} // namespace

std::wstring commandLine(const std::vector<std::wstring>& words)
{
    std::wstring text;
    for (const std::wstring& word : words)
        text.append(text.empty() ? L"" : L" ").append(quoted(word));
    return text;
}

HostProcess::HostProcess(const std::vector<std::wstring>& words, const std::wstring& output) : m_job(makeJob())
{
    const sandbox::KernelHandle out = openOutput(output);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out.get();
    startup.hStdError = out.get();
    std::wstring line = commandLine(words); // CreateProcessW may write to it
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr, &startup,
                        &started))
        throw failed("CreateProcessW");
    m_process.reset(started.hProcess);
    const sandbox::KernelHandle thread(started.hThread);
    if (!AssignProcessToJobObject(m_job.get(), m_process.get()) || ResumeThread(thread.get()) == DWORD(-1))
    {
        const Problem problem = failed("AssignProcessToJobObject");
        TerminateProcess(m_process.get(), 1);
        throw problem;
    }
}

HostProcess::~HostProcess()
{
    TerminateJobObject(m_job.get(), 1);
    WaitForSingleObject(m_process.get(), INFINITE);
}
} // namespace hostcheck
