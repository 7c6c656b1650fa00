#include "bench/floor/Output.h"

#include <cstdio>
#include <stdexcept>

namespace bench
{
namespace
{
constexpr std::size_t lengthSize = 4;

void appendText(std::string& record, std::string_view text)
{
    for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos; text.remove_prefix(end + 1))
        record.append(text, 0, end).append("\r\n");
    record.append(text);
}
} // namespace

BareLog::BareLog(const std::string& path)
{
    if (path.empty())
        return;
    m_file = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL | FILE_FLAG_WRITE_THROUGH, nullptr);
    if (m_file == INVALID_HANDLE_VALUE)
        throw std::runtime_error("the log can't be made");
}

BareLog::~BareLog()
{
    if (m_file != INVALID_HANDLE_VALUE)
        CloseHandle(m_file);
}

void BareLog::write(std::string_view text, std::string_view rest)
{
    SYSTEMTIME now{};
    GetLocalTime(&now);
    char stamp[40];
    const int size = std::snprintf(stamp, sizeof(stamp), "%02u.%02u.%u %02u:%02u:%02u.%03u  ", now.wDay, now.wMonth,
                                   now.wYear, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    if (m_file == INVALID_HANDLE_VALUE)
        return;
    m_record.reserve(static_cast<std::size_t>(size) + text.size() + rest.size() + rest.size() / 16);
    m_record.assign(stamp, static_cast<std::size_t>(size));
    appendText(m_record, text);
    appendText(m_record, rest);
    m_record += "\r\n";
    DWORD written = 0;
    if (!WriteFile(m_file, m_record.data(), static_cast<DWORD>(m_record.size()), &written, nullptr))
        throw std::runtime_error("the log can't be written");
}

void exchange(std::string_view message)
{
    constexpr const wchar_t* path = LR"(\\.\pipe\CorvenaLinkwell)";
    HANDLE pipe = INVALID_HANDLE_VALUE;
    do
        pipe = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    while (pipe == INVALID_HANDLE_VALUE && GetLastError() == ERROR_PIPE_BUSY &&
           WaitNamedPipeW(path, NMPWAIT_USE_DEFAULT_WAIT));
    char answer[4] = {};
    DWORD count = 0;
    if (!WriteFile(pipe, message.data(), static_cast<DWORD>(message.size()), &count, nullptr) ||
        !ReadFile(pipe, answer, 3, &count, nullptr) || std::string_view(answer) != "ack")
        throw std::runtime_error("the host has not taken the message");
    CloseHandle(pipe);
}

void setLength(std::string& message)
{
    const std::size_t size = message.size() - lengthSize;
    for (std::size_t at = 0; at < lengthSize; ++at)
        message[at] = static_cast<char>(size >> (8 * (lengthSize - 1 - at)));
}
} // namespace bench
