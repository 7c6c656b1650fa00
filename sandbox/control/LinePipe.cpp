#include "sandbox/control/LinePipe.h"

#include <algorithm>
#include <array>
#include <system_error>

namespace sandbox
{
namespace
{
constexpr std::size_t chunkSize = 64 * 1024;
}

KernelHandle makeEvent()
{
    KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!event)
        throwLastError("CreateEventW");
    return event;
}

void throwLastError(const char* call)
{
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), call);
}

std::wstring pipePath(const std::wstring& name)
{
    return name.find(L'\\') == std::wstring::npos ? L"\\\\.\\pipe\\" + name : name;
}

std::optional<std::wstring> controlPipeName()
{
    const wchar_t* const variable = L"LINKWELL_SANDBOX_CONTROL";
    const DWORD needed = GetEnvironmentVariableW(variable, nullptr, 0); // with the terminating zero
    if (needed <= 1)
        return std::nullopt;
    std::wstring value(needed - 1, L'\0');
    GetEnvironmentVariableW(variable, value.data(), needed);
    return value;
}

LinePipe::LinePipe(HANDLE pipe, HANDLE stop, std::size_t longest)
    : m_pipe(pipe), m_stop(stop), m_longest(longest), m_done(makeEvent()), m_chunk(chunkSize)
{
}

LinePipe::Outcome LinePipe::readLine(std::string& line)
{
    while (true)
    {
        const std::size_t end = m_received.find('\n', m_searched);
        m_searched = std::min(end, m_received.size());
        const bool tooLong = m_drops || m_searched > m_longest;
        if (end != std::string::npos)
        {
            if (!tooLong)
                line.assign(m_received, 0, end);
            m_received.erase(0, end + 1);
            m_searched = 0;
            m_drops = false;
            return tooLong ? Outcome::TooLong : Outcome::Line;
        }
        if (tooLong)
        {
            m_drops = true;
            m_received.clear();
            m_searched = 0;
        }
        if (!receive())
            return Outcome::Ended;
    }
}

bool LinePipe::writeLine(std::string_view text)
{
    while (text.size() > chunkSize)
    {
        if (!write(text.substr(0, chunkSize)))
            return false;
        text.remove_prefix(chunkSize);
    }
    return write(std::string(text) + '\n');
}

/// Waits for more bytes.
bool LinePipe::receive()
{
    m_overlapped = {};
    m_overlapped.hEvent = m_done.get();
    const std::optional<DWORD> count =
        finish(ReadFile(m_pipe, m_chunk.data(), static_cast<DWORD>(m_chunk.size()), nullptr, &m_overlapped));
    if (count)
        m_received.append(m_chunk.data(), *count);
    return count.has_value();
}

bool LinePipe::write(std::string_view bytes)
{
    m_overlapped = {};
    m_overlapped.hEvent = m_done.get();
    const std::optional<DWORD> count =
        finish(WriteFile(m_pipe, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &m_overlapped));
    return count == bytes.size();
}

/// Waits for the end of the operation that was begun, or for `stop`, which ends it; in either case the operation no longer
/// uses its buffer afterwards. Gives the number of bytes that went over; none for a failure.
/// @param started  what the operation's own call returned.
std::optional<DWORD> LinePipe::finish(BOOL started)
{
    if (!started && GetLastError() != ERROR_IO_PENDING)
        return std::nullopt;
    // In this order: an operation that has ended counts, also when `stop` is set.
    const std::array<HANDLE, 2> events = {m_done.get(), m_stop};
    if (WaitForMultipleObjects(m_stop == nullptr ? 1 : 2, events.data(), FALSE, INFINITE) != WAIT_OBJECT_0)
        CancelIoEx(m_pipe, &m_overlapped);
    DWORD count = 0;
    if (!GetOverlappedResult(m_pipe, &m_overlapped, &count, TRUE))
        return std::nullopt;
    return count;
}
} // namespace sandbox
