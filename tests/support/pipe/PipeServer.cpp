#include "tests/support/pipe/PipeServer.h"

#include <algorithm>
#include <utility>

#include "tests/support/Platform.h"

namespace support
{
namespace
{
constexpr DWORD bufferSize = 4096;

std::size_t lengthOf(const std::string& header)
{
    std::size_t length = 0;
    for (const char byte : header)
        length = (length << 8) | static_cast<unsigned char>(byte);
    return length;
}
} // namespace

PipeServer::PipeServer(PipeServerOptions options) : m_options(std::move(options))
{
    if (m_options.name.empty())
        m_options.name = uniqueName(L"LinkwellTest");
    listen(m_instances[0]);
    if (m_options.spareInstance)
        listen(m_instances[1]);
    m_thread = std::thread([this] { serve(); });
}

PipeServer::~PipeServer()
{
    stop();
}

void PipeServer::stop()
{
    SetEvent(m_stop.get());
    if (m_thread.joinable())
        m_thread.join();
    for (Instance& instance : m_instances)
    {
        if (!instance.pipe)
            continue;
        DWORD ignored = 0;
        if (CancelIoEx(instance.pipe.get(), &instance.overlapped))
            GetOverlappedResult(instance.pipe.get(), &instance.overlapped, &ignored, TRUE);
        instance.pipe.reset();
    }
}

/// Makes a new instance of the pipe and has it wait for a client.
void PipeServer::listen(Instance& instance)
{
    const DWORD mode = m_options.messageMode ? PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE : PIPE_TYPE_BYTE;
    const DWORD instances = m_options.spareInstance ? PIPE_UNLIMITED_INSTANCES : 1;
    instance.pipe.reset(); // first: without a spare one the pipe has room for one instance only
    instance.pipe =
        checkedFile(CreateNamedPipeW(path().c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, mode | PIPE_WAIT,
                                     instances, bufferSize, bufferSize, m_options.defaultTimeout, nullptr),
                    "CreateNamedPipeW");
    instance.connected = makeEvent();
    instance.overlapped = {};
    instance.overlapped.hEvent = instance.connected.get();
    if (ConnectNamedPipe(instance.pipe.get(), &instance.overlapped))
        return;
    if (GetLastError() == ERROR_PIPE_CONNECTED) // a client was faster
        SetEvent(instance.connected.get());
    else if (GetLastError() != ERROR_IO_PENDING)
        throwLastError("ConnectNamedPipe");
}

void PipeServer::serve()
{
    while (true)
    {
        std::vector<HANDLE> events = {m_stop.get(), m_instances[0].connected.get()};
        if (m_options.spareInstance)
            events.push_back(m_instances[1].connected.get());
        const DWORD which = WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE, INFINITE);
        if (which == WAIT_OBJECT_0)
            return;
        Instance& instance = m_instances[which - WAIT_OBJECT_0 - 1];
        serveClient(instance.pipe.get());
        listen(instance);
        {
            const std::lock_guard lock(m_mutex);
            ++m_clients;
        }
        m_changed.notify_all();
    }
}

void PipeServer::serveClient(HANDLE pipe)
{
    std::string request;
    while (readRequest(pipe, request))
    {
        PipeReply reply;
        {
            const std::lock_guard lock(m_mutex);
            m_requests.push_back(std::move(request));
            ++m_requestCount;
            reply = m_options.replies[std::min(m_requestCount, m_options.replies.size()) - 1];
        }
        m_changed.notify_all();
        if (reply.release != nullptr && !waitForRelease(reply.release))
            return;
        if (reply.action == PipeReply::Action::Disconnect)
        {
            DisconnectNamedPipe(pipe);
            return;
        }
        for (const std::string& part : reply.parts)
        {
            if (!write(pipe, part))
                return;
        }
        request.clear();
    }
}

/// False when the server is to stop.
bool PipeServer::waitForRelease(HANDLE release) const
{
    const std::array<HANDLE, 2> events = {m_stop.get(), release};
    return WaitForMultipleObjects(2, events.data(), FALSE, INFINITE) == WAIT_OBJECT_0 + 1;
}

/// False when the client has gone, or the server is to stop.
bool PipeServer::readRequest(HANDLE pipe, std::string& request)
{
    std::array<char, bufferSize> buffer;
    std::size_t wanted = 4;
    while (true)
    {
        DWORD count = 0;
        bool moreFollows = false;
        const auto room = m_options.messageMode ? buffer.size() : std::min(buffer.size(), wanted - request.size());
        if (!read(pipe, buffer.data(), static_cast<DWORD>(room), count, moreFollows))
            return false;
        request.append(buffer.data(), count);
        if (m_options.messageMode)
        {
            if (!moreFollows)
                return true;
            continue;
        }
        if (wanted == 4 && request.size() == 4)
            wanted += lengthOf(request);
        if (request.size() == wanted)
            return true;
    }
}

bool PipeServer::read(HANDLE pipe, void* buffer, DWORD size, DWORD& count, bool& moreFollows)
{
    const Handle done = makeEvent();
    OVERLAPPED overlapped{};
    overlapped.hEvent = done.get();
    DWORD error = 0;
    const bool succeeded = finish(pipe, overlapped, ReadFile(pipe, buffer, size, nullptr, &overlapped), count, error);
    moreFollows = !succeeded && error == ERROR_MORE_DATA;
    return succeeded || moreFollows;
}

bool PipeServer::write(HANDLE pipe, const std::string& bytes)
{
    const Handle done = makeEvent();
    OVERLAPPED overlapped{};
    overlapped.hEvent = done.get();
    DWORD count = 0;
    DWORD error = 0;
    const BOOL started = WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped);
    return finish(pipe, overlapped, started, count, error);
}

/// Waits for the end of an operation, or for `stop`, which ends the operation. `started` is what its call returned.
bool PipeServer::finish(HANDLE pipe, OVERLAPPED& overlapped, BOOL started, DWORD& count, DWORD& error)
{
    error = started ? ERROR_SUCCESS : GetLastError();
    if (!started && error == ERROR_IO_PENDING)
    {
        const std::array<HANDLE, 2> events = {m_stop.get(), overlapped.hEvent};
        if (WaitForMultipleObjects(2, events.data(), FALSE, INFINITE) == WAIT_OBJECT_0)
            CancelIoEx(pipe, &overlapped);
    }
    else if (!started && error != ERROR_MORE_DATA)
        return false;
    const bool succeeded = GetOverlappedResult(pipe, &overlapped, &count, TRUE) != FALSE;
    error = succeeded ? ERROR_SUCCESS : GetLastError();
    return succeeded;
}

bool PipeServer::waitForClients(std::size_t count)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, deadline, [&] { return m_clients >= count; });
}

std::vector<std::string> PipeServer::requests() const
{
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

std::vector<std::string> PipeServer::takeRequests()
{
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_requests, {});
}

bool PipeServer::waitForRequests(std::size_t count)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, deadline, [&] { return m_requestCount >= count; });
}
} // namespace support
