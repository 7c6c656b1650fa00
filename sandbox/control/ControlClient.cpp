#include "sandbox/control/ControlClient.h"

#include <windows.h>

#include <algorithm>

namespace sandbox
{
namespace
{
using Clock = std::chrono::steady_clock;

/// How often it is looked whether a pipe is there: nothing reports that.
constexpr DWORD pollMilliseconds = 10;

[[nodiscard]] std::string reasonOf(DWORD error)
{
    switch (error)
    {
    case ERROR_FILE_NOT_FOUND:
        return "there is no such pipe";
    case ERROR_PIPE_BUSY:
        return "the pipe serves somebody else";
    default:
        return "CreateFileW failed with error " + std::to_string(error);
    }
}

[[nodiscard]] KernelHandle connect(const std::wstring& name, std::chrono::milliseconds patience)
{
    const std::wstring path = pipePath(name);
    const Clock::time_point end = Clock::now() + patience;
    while (true)
    {
        // Who serves the pipe learns who we are, and can't act in our name.
        const HANDLE pipe =
            CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                        FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
        if (pipe != INVALID_HANDLE_VALUE)
            return KernelHandle(pipe);
        const DWORD error = GetLastError();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if ((error != ERROR_FILE_NOT_FOUND && error != ERROR_PIPE_BUSY) || left.count() <= 0)
            throw NoAnswer(reasonOf(error));
        if (error == ERROR_FILE_NOT_FOUND)
            Sleep(pollMilliseconds);
        else // a time of 0 would stand for the pipe's own, and the largest one for no limit
            WaitNamedPipeW(path.c_str(), static_cast<DWORD>(std::min<long long>(left.count(), 60'000)));
    }
}
} // namespace

ControlClient::ControlClient(const std::wstring& name, std::chrono::milliseconds patience)
    : m_pipe(connect(name, patience)), m_lines(m_pipe.get())
{
}

nlohmann::json ControlClient::request(const nlohmann::json& request)
{
    return readAnswer(exchange(request.dump()));
}

std::string ControlClient::exchange(std::string_view request)
{
    std::string answer;
    if (!m_lines.writeLine(request) || m_lines.readLine(answer) != LinePipe::Outcome::Line)
        throw NoAnswer("the sandbox has gone before it answered");
    return answer;
}

nlohmann::json readAnswer(const std::string& line)
{
    nlohmann::json answer = nlohmann::json::parse(line, nullptr, false);
    const auto done = answer.is_object() ? answer.find("ok") : answer.end();
    if (!answer.is_object() || done == answer.end() || !done->is_boolean())
        throw NoAnswer("this is no answer of a sandbox: " + line);
    if (done->get<bool>())
        return answer;
    const auto error = answer.find("error");
    throw Refusal(error != answer.end() && error->is_string() ? error->get<std::string>()
                                                              : "the sandbox gives no reason");
}
} // namespace sandbox
