#include "bench/floor/Output.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>
#include <vector>

namespace bench
{
namespace
{
constexpr std::size_t lengthSize = 4;
constexpr std::string_view lineEnd = "\r\n";

void appendPart(std::string& bytes, std::string_view part)
{
    bytes.append(part);
}

/// Of long texts, which are ASCII for the most part: that is taken as it is, by pieces of a size for which loops become vector
/// instructions.
void appendPart(std::string& bytes, std::wstring_view part)
{
    constexpr std::size_t size = 64;
    std::array<char, size> narrow{};
    std::size_t taken = 0;
    for (std::size_t at = 0; at + size <= part.size(); at += size)
    {
        wchar_t all = 0; // bits
        for (std::size_t index = 0; index < size; ++index)
        {
            all |= part[at + index];
            narrow[index] = static_cast<char>(part[at + index]);
        }
        if (all >= 0x80)
            continue;
        appendUtf8(bytes, part.substr(taken, at - taken)); // so parts no surrogate pair
        bytes.append(narrow.data(), size);
        taken = at + size;
    }
    appendUtf8(bytes, part.substr(taken));
}

template <class Character>
void appendLines(std::string& record, std::basic_string_view<Character> text)
{
    for (std::size_t end = 0; (end = text.find(Character{'\n'})) != text.npos; text.remove_prefix(end + 1))
    {
        appendPart(record, text.substr(0, end));
        record += lineEnd;
    }
    appendPart(record, text);
}
} // namespace

void appendUtf8(std::string& bytes, std::wstring_view text)
{
    if (text.empty())
        return;
    static std::vector<char> s_utf8;                         // keeps its memory
    s_utf8.resize(std::max(s_utf8.size(), text.size() * 3)); // no UTF-16 unit takes more
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), s_utf8.data(),
                                         static_cast<int>(s_utf8.size()), nullptr, nullptr);
    bytes.append(s_utf8.data(), static_cast<std::size_t>(size));
}

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
    writeRecord(text, rest);
}

void BareLog::write(std::string_view text, std::wstring_view rest)
{
    writeRecord(text, rest);
}

template <class Rest>
void BareLog::writeRecord(std::string_view text, Rest rest)
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
    appendLines(m_record, text);
    appendLines(m_record, rest);
    m_record += lineEnd;
    DWORD written = 0;
    if (!WriteFile(m_file, m_record.data(), static_cast<DWORD>(m_record.size()), &written, nullptr))
        throw std::runtime_error("the log can't be written");
}

HANDLE connect()
{
    constexpr const wchar_t* path = LR"(\\.\pipe\CorvenaLinkwell)";
    HANDLE pipe = INVALID_HANDLE_VALUE;
    do
        pipe = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    while (pipe == INVALID_HANDLE_VALUE && GetLastError() == ERROR_PIPE_BUSY &&
           WaitNamedPipeW(path, NMPWAIT_USE_DEFAULT_WAIT));
    return pipe;
}

void exchange(HANDLE pipe, std::string_view message)
{
    char answer[4] = {};
    DWORD count = 0;
    if (!WriteFile(pipe, message.data(), static_cast<DWORD>(message.size()), &count, nullptr) ||
        !ReadFile(pipe, answer, 3, &count, nullptr) || std::string_view(answer) != "ack")
        throw std::runtime_error("the host has not taken the message");
    CloseHandle(pipe);
}

std::string messageOf(std::wstring_view text)
{
    std::string message;
    message.reserve(lengthSize + text.size() + text.size() / 16);
    message.resize(lengthSize);
    appendPart(message, text);
    setLength(message);
    return message;
}

void setLength(std::string& message)
{
    const std::size_t size = message.size() - lengthSize;
    for (std::size_t at = 0; at < lengthSize; ++at)
        message[at] = static_cast<char>(size >> (8 * (lengthSize - 1 - at)));
}
} // namespace bench
