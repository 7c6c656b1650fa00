#include "tools/hostcheck/Client.h"

#include <array>
#include <utility>

namespace hostcheck
{
namespace
{
constexpr Milliseconds absencePatience{2000};
constexpr DWORD absenceLook = 20;          // milliseconds
constexpr std::size_t readBufferSize = 64; // as the agent's

[[nodiscard]] sandbox::KernelHandle open(const std::wstring& path, Milliseconds patience)
{
    for (const auto start = Clock::now();;)
    {
        const HANDLE pipe = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_OVERLAPPED, nullptr);
        if (pipe != INVALID_HANDLE_VALUE)
            return sandbox::KernelHandle(pipe);
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_NOT_FOUND && since(start) < absencePatience)
            Sleep(absenceLook);
        else if (error == ERROR_FILE_NOT_FOUND)
            throw Problem("there is no pipe of that name");
        else if (error != ERROR_PIPE_BUSY)
            throw Problem("the pipe can't be opened (error " + std::to_string(error) + ")", error);
        else if (since(start) >= patience)
            throw Problem("all instances were busy for " + std::to_string(patience.count()) + " ms");
        else
            (void)becomesFree(path, count(patience - since(start)) + 1); // what comes of it, the next open shows
    }
}
} // namespace

Milliseconds since(Clock::time_point start)
{
    return std::chrono::duration_cast<Milliseconds>(Clock::now() - start);
}

DWORD count(Milliseconds time)
{
    return time.count() > 0 ? static_cast<DWORD>(time.count()) : 0;
}

std::string framed(std::string_view text)
{
    std::string bytes;
    bytes.reserve(4 + text.size());
    for (const int shift : {24, 16, 8, 0})
        bytes += static_cast<char>((text.size() >> shift) & 0xFF);
    return bytes.append(text);
}

bool becomesFree(const std::wstring& path, DWORD time)
{
    return WaitNamedPipeW(path.c_str(), time) != FALSE;
}

Client::Client(const std::wstring& path, Milliseconds patience) : m_pipe(open(path, patience)) {}

Client::~Client()
{
    for (Operation* operation : {&m_write, &m_read})
    {
        DWORD ignored = 0;
        if (operation->waits)
        {
            CancelIoEx(m_pipe.get(), &operation->overlapped);
            GetOverlappedResult(m_pipe.get(), &operation->overlapped, &ignored, TRUE);
        }
    }
}

void Client::startWrite(std::string bytes)
{
    m_write.bytes = std::move(bytes);
    m_write.overlapped = {};
    m_write.overlapped.hEvent = m_write.done.get();
    begin(m_write, WriteFile(m_pipe.get(), m_write.bytes.data(), static_cast<DWORD>(m_write.bytes.size()), nullptr,
                             &m_write.overlapped));
}

bool Client::isWritten(Milliseconds limit)
{
    return finish(m_write, limit).has_value();
}

void Client::startRead()
{
    if (m_read.waits)
        return;
    m_read.bytes.resize(readBufferSize);
    m_read.overlapped = {};
    m_read.overlapped.hEvent = m_read.done.get();
    begin(m_read,
          ReadFile(m_pipe.get(), m_read.bytes.data(), static_cast<DWORD>(readBufferSize), nullptr, &m_read.overlapped));
}

std::optional<std::string> Client::read(Milliseconds limit)
{
    startRead();
    const std::optional<DWORD> size = finish(m_read, limit);
    if (!size)
        return std::nullopt;
    return m_read.bytes.substr(0, *size);
}

void Client::begin(Operation& operation, BOOL started)
{
    const DWORD error = started ? ERROR_SUCCESS : GetLastError();
    operation.waits = error == ERROR_SUCCESS || error == ERROR_IO_PENDING;
    if (!operation.waits)
        throw Problem("the host has ended the connection (error " + std::to_string(error) + ")");
}

std::optional<DWORD> Client::finish(Operation& operation, Milliseconds limit)
{
    if (WaitForSingleObject(operation.done.get(), count(limit)) != WAIT_OBJECT_0)
        return std::nullopt;
    operation.waits = false;
    DWORD size = 0;
    if (!GetOverlappedResult(m_pipe.get(), &operation.overlapped, &size, FALSE))
        throw Problem("the host has ended the connection (error " + std::to_string(GetLastError()) + ")");
    return size;
}
} // namespace hostcheck
