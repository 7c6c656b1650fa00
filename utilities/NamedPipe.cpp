#include "utilities/NamedPipe.h"

#include <array>

#include "utilities/Failure.h"
#include "utilities/Logger.h"

namespace utilities
{
namespace
{
constexpr DWORD busyWaitMilliseconds = 5000;
constexpr DWORD readBufferSize = 64;

[[nodiscard]] std::wstring pipePath(const std::wstring& name)
{
    return L"\\\\.\\pipe\\" + name;
}

[[nodiscard]] std::wstring errorCode(DWORD error)
{
    return L"error=0x" + toHexNumber(std::uint64_t{error});
}
} // namespace

NamedPipe::NamedPipe(const std::wstring& name)
{
    DWORD error = ERROR_SUCCESS;
    if (open(name, error))
        return;
    Logger::instance().write(L"NamedPipe::NamedPipe: cannot create or open pipe: pipeName=" + name +
                             L", createNew=0, " + errorCode(error));
}

NamedPipe::~NamedPipe()
{
    close();
}

bool NamedPipe::open(const std::wstring& name)
{
    DWORD error = ERROR_SUCCESS;
    return open(name, error);
}

bool NamedPipe::open(const std::wstring& name, DWORD& error)
{
    close();
    if (name.empty())
    {
        error = GetLastError();
        return false;
    }

    const std::wstring path = pipePath(name);
    for (;;)
    {
        const HANDLE handle =
            CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (handle != INVALID_HANDLE_VALUE)
        {
            m_handle = handle;
            m_name = name;
            return true;
        }
        error = GetLastError();
        if (error != ERROR_PIPE_BUSY)
            return false;
        // The bare name and not the path: settled behaviour 2.
        if (!WaitNamedPipeW(name.c_str(), busyWaitMilliseconds))
        {
            error = GetLastError();
            return false;
        }
    }
}

bool NamedPipe::isUsable() const noexcept
{
    return m_handle != INVALID_HANDLE_VALUE && !m_name.empty();
}

std::vector<BYTE> NamedPipe::send(const std::vector<BYTE>& request)
{
    const auto requested = narrow_cast<DWORD>(request.size());
    DWORD written = 0;
    const BOOL writeDone = WriteFile(m_handle, request.data(), requested, &written, nullptr);
    const DWORD writeError = GetLastError();
    if (!writeDone || written != requested)
    {
        Logger::instance().write(L"NamedPipe::send failed: cbRequestBytes=" + std::to_wstring(requested) +
                                 L", cbBytesWritten=" + std::to_wstring(written) + L", " + errorCode(writeError));
        return {};
    }

    // Another instance has to be free, or to become free within the pipe's default time-out: settled behaviour 1.
    if (!WaitNamedPipeW(pipePath(m_name).c_str(), NMPWAIT_USE_DEFAULT_WAIT))
        return {};

    std::vector<BYTE> reply;
    std::array<BYTE, readBufferSize> buffer;
    DWORD read = 0;
    for (;;)
    {
        const BOOL readDone = ReadFile(m_handle, buffer.data(), readBufferSize, &read, nullptr);
        const DWORD readError = GetLastError();
        if (!readDone && readError != ERROR_MORE_DATA)
        {
            Logger::instance().write(L"NamedPipe::send: ReadFile failed, " + errorCode(readError));
            return {};
        }
        reply.insert(reply.end(), buffer.begin(), buffer.begin() + read);
        if (readDone)
            return reply;
    }
}

void NamedPipe::close() noexcept
{
    if (m_handle != INVALID_HANDLE_VALUE)
        CloseHandle(m_handle);
    m_handle = INVALID_HANDLE_VALUE;
    m_name.clear();
}
} // namespace utilities
