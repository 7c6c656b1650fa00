#include "sandbox/control/ControlServer.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace sandbox
{
namespace
{
constexpr DWORD bufferSize = 64 * 1024;

[[nodiscard]] KernelHandle makePipe(const std::wstring& path)
{
    const HANDLE pipe =
        CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                         PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, bufferSize,
                         bufferSize, 0, nullptr);
    if (pipe != INVALID_HANDLE_VALUE)
        return KernelHandle(pipe);
    const DWORD error = GetLastError();
    const bool isTaken = error == ERROR_ACCESS_DENIED || error == ERROR_PIPE_BUSY;
    throw std::runtime_error(isTaken ? "somebody else serves it"
                                     : "CreateNamedPipeW failed with error " + std::to_string(error));
}
} // namespace

ControlServer::ControlServer(const std::wstring& name, Handler handler)
    : m_handler(std::move(handler)),
      m_stop(makeEvent()),
      m_connected(makeEvent()),
      m_pipe(makePipe(pipePath(name))),
      m_thread([this] { serve(); })
{
}

ControlServer::~ControlServer()
{
    SetEvent(m_stop.get());
    m_thread.join();
}

void ControlServer::serve() noexcept
{
    while (waitForClient())
    {
        try
        {
            serveClient();
        }
        catch (...)
        {
            // No memory for a request or its answer, say. This client finds the connection cut; the next one may fare
            // better.
        }
        // Drops what a client has not read, so not when all of it ends: closing the pipe leaves that to be read.
        if (!stops())
            DisconnectNamedPipe(m_pipe.get());
    }
}

/// False when the server is to end, or can't go on.
bool ControlServer::waitForClient()
{
    while (!stops())
    {
        OVERLAPPED overlapped{};
        overlapped.hEvent = m_connected.get();
        if (ConnectNamedPipe(m_pipe.get(), &overlapped))
            return true;
        switch (GetLastError())
        {
        case ERROR_PIPE_CONNECTED: // a client was faster
            return true;
        case ERROR_NO_DATA: // and has gone again
            DisconnectNamedPipe(m_pipe.get());
            continue;
        case ERROR_IO_PENDING:
            break;
        default:
            return false;
        }
        const std::array<HANDLE, 2> events = {m_connected.get(), m_stop.get()};
        if (WaitForMultipleObjects(2, events.data(), FALSE, INFINITE) != WAIT_OBJECT_0)
            CancelIoEx(m_pipe.get(), &overlapped);
        DWORD none = 0;
        if (GetOverlappedResult(m_pipe.get(), &overlapped, &none, TRUE))
            return true;
        DisconnectNamedPipe(m_pipe.get());
    }
    return false;
}

void ControlServer::serveClient()
{
    LinePipe client(m_pipe.get(), m_stop.get(), longestRequest);
    std::string request;
    while (!stops())
    {
        const LinePipe::Outcome outcome = client.readLine(request);
        if (outcome == LinePipe::Outcome::Ended)
            return;
        const std::string answer = outcome == LinePipe::Outcome::Line
                                       ? m_handler(request, m_stop.get())
                                       : R"({"ok":false,"error":"the request is longer than 16 MiB"})";
        if (!client.writeLine(answer))
            return;
    }
}
} // namespace sandbox
