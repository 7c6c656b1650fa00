#include "tests/support/pipe/SequenceHost.h"

#include <sddl.h>

#include <algorithm>
#include <array>
#include <utility>

namespace support
{
namespace
{
/// A security descriptor from its text.
class Access
{
public:
    explicit Access(const std::wstring& text)
    {
        if (!text.empty() && !ConvertStringSecurityDescriptorToSecurityDescriptorW(
                                 text.c_str(), SDDL_REVISION_1, &m_attributes.lpSecurityDescriptor, nullptr))
            throwLastError("ConvertStringSecurityDescriptorToSecurityDescriptorW");
    }
    ~Access() { LocalFree(m_attributes.lpSecurityDescriptor); }
    Access(const Access&) = delete;
    Access& operator=(const Access&) = delete;

    /// Null for the default.
    [[nodiscard]] SECURITY_ATTRIBUTES* get() noexcept
    {
        return m_attributes.lpSecurityDescriptor == nullptr ? nullptr : &m_attributes;
    }

private:
    SECURITY_ATTRIBUTES m_attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};
} // namespace

std::wstring SequenceOptions::ownUser()
{
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
        throwLastError("OpenProcessToken");
    const Handle owned(token);
    alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user;
    DWORD size = 0;
    if (!GetTokenInformation(token, TokenUser, user.data(), static_cast<DWORD>(user.size()), &size))
        throwLastError("GetTokenInformation");
    wchar_t* sid = nullptr;
    if (!ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid, &sid))
        throwLastError("ConvertSidToStringSidW");
    const std::wstring list = L"D:P(A;;GA;;;" + std::wstring(sid) + L")";
    LocalFree(sid);
    return list;
}

SequenceHost::SequenceHost(SequenceOptions options) : m_options(std::move(options))
{
    Access access(m_options.accessList);
    const auto made = static_cast<DWORD>(m_options.instances);
    for (DWORD number = 0; number < made; ++number)
    {
        const DWORD first = number == 0 ? FILE_FLAG_FIRST_PIPE_INSTANCE : 0;
        m_pipes.push_back(checkedFile(
            CreateNamedPipeW(
                (LR"(\\.\pipe\)" + m_options.name).c_str(),
                (m_options.isReadOnly ? PIPE_ACCESS_OUTBOUND : PIPE_ACCESS_DUPLEX) | FILE_FLAG_OVERLAPPED | first,
                PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, std::max(m_options.mostInstances, made), 4096,
                4096, m_options.defaultTimeout, access.get()),
            "CreateNamedPipeW"));
    }
    for (const Handle& pipe : m_pipes)
        m_threads.emplace_back([this, handle = pipe.get()] { serve(handle); });
}

SequenceHost::~SequenceHost()
{
    SetEvent(m_stop.get());
    for (std::thread& thread : m_threads)
        thread.join();
}

bool SequenceHost::isStopped(std::chrono::milliseconds limit) const
{
    return WaitForSingleObject(m_stop.get(), static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0;
}

/// Starts an operation and waits for its end, for `limit` at most, or for the end of the host. False when it fails.
bool SequenceHost::run(HANDLE pipe, const std::function<BOOL(OVERLAPPED*)>& start, DWORD& count, DWORD limit) const
{
    const Handle done = makeEvent();
    OVERLAPPED overlapped{};
    overlapped.hEvent = done.get();
    if (!start(&overlapped) && GetLastError() != ERROR_IO_PENDING)
        return GetLastError() == ERROR_PIPE_CONNECTED;
    const std::array<HANDLE, 2> events = {m_stop.get(), done.get()};
    if (WaitForMultipleObjects(2, events.data(), FALSE, limit) != WAIT_OBJECT_0 + 1)
        CancelIoEx(pipe, &overlapped);
    return GetOverlappedResult(pipe, &overlapped, &count, TRUE) != FALSE;
}

bool SequenceHost::read(HANDLE pipe, const SequenceOptions& options, std::size_t size, std::string& bytes) const
{
    for (std::size_t done = 0; done < size;)
    {
        const auto room = static_cast<DWORD>(std::min(options.mostBytesAtOnce, size - done));
        bytes.resize(done + room);
        DWORD count = 0;
        if (!run(pipe, [&](OVERLAPPED* o) { return ReadFile(pipe, bytes.data() + done, room, nullptr, o); }, count))
        {
            brokenOff(done);
            return false;
        }
        done += count;
    }
    bytes.resize(size);
    return true;
}

void SequenceHost::serve(HANDLE pipe)
{
    for (DWORD count = 0; !isStopped(std::chrono::milliseconds{0});
         DisconnectNamedPipe(pipe), (void)isStopped(m_options.pause))
    {
        if (!run(pipe, [&](OVERLAPPED* o) { return ConnectNamedPipe(pipe, o); }, count))
            continue;
        if (m_options.whenConnected)
            m_options.whenConnected();
        std::unique_lock turn(m_turn, std::defer_lock);
        if (m_options.oneAtATime)
            turn.lock();
        if (!m_options.adapt)
        {
            serveClient(pipe, m_options);
            continue;
        }
        SequenceOptions options = m_options;
        options.adapt(++m_clients, options);
        serveClient(pipe, options);
    }
}

void SequenceHost::serveClient(HANDLE pipe, const SequenceOptions& options)
{
    std::string bytes;
    if (!options.readsLength || !read(pipe, options, 4, bytes) || !options.readsText)
        return;
    std::size_t length = 0;
    for (const char byte : bytes)
        length = length << 8 | static_cast<unsigned char>(byte);
    if (!read(pipe, options, std::min(length, options.mostBytes), bytes) || (options.takes && !options.takes(bytes)))
        return;
    if (!answer(pipe, options))
    {
        brokenOff(bytes.size());
        return;
    }
    ++m_answered;
    DWORD count = 0;
    if (char nothing = 0; options.waitsForClient) // the read fails when the client closes
        run(pipe, [&](OVERLAPPED* o) { return ReadFile(pipe, &nothing, 1, nullptr, o); }, count, 5000);
}

bool SequenceHost::answer(HANDLE pipe, const SequenceOptions& options) const
{
    DWORD count = 0;
    for (const std::string& part : options.parts)
    {
        if (&part != &options.parts.front() && isStopped(options.pause))
            return false;
        const auto size = static_cast<DWORD>(part.size());
        if (!run(pipe, [&](OVERLAPPED* o) { return WriteFile(pipe, part.data(), size, nullptr, o); }, count))
            return false;
    }
    return true;
}

void SequenceHost::brokenOff(std::size_t bytes) const
{
    if (m_options.whenBrokenOff && !isStopped(std::chrono::milliseconds{0}))
        m_options.whenBrokenOff(bytes);
}
} // namespace support
