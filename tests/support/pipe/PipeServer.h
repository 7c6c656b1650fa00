// PipeServer.h: the server end of a named pipe, as a host has it, with answers that a test decides.
#pragma once

#include <windows.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Handle.h"

namespace support
{
/// What the server does when it has read a request.
struct PipeReply
{
    enum class Action
    {
        Write,     // writes each of `parts` by a write of its own
        Stay,      // writes nothing, and keeps the connection until the client or the server goes
        Disconnect // ends the connection without an answer
    };

    Action action = Action::Write;
    std::vector<std::string> parts;
    HANDLE release = nullptr; // borrowed: when there is one, nothing is done before this event is set

    [[nodiscard]] static PipeReply text(std::string bytes) { return {Action::Write, {std::move(bytes)}}; }
    [[nodiscard]] static PipeReply heldText(std::string bytes, HANDLE release)
    {
        return {Action::Write, {std::move(bytes)}, release};
    }
    [[nodiscard]] static PipeReply silence() { return {Action::Stay, {}}; }
    [[nodiscard]] static PipeReply disconnect() { return {Action::Disconnect, {}}; }
};

struct PipeServerOptions
{
    std::wstring name{};       // without the prefix; empty: a unique one
    bool messageMode = true;   // else a byte pipe, where the first four bytes of a request give the length of the rest
    bool spareInstance = true; // a second instance waits for a client while the first one serves, as hosts have it
    DWORD defaultTimeout = 5000; // milliseconds that a client waits for a free instance if it asks for the default
    std::vector<PipeReply> replies = {PipeReply::text("ack")}; // one for each request; the last one stands for the rest
};

/// Serves from a thread of its own, one client after the other, from the constructor to the destructor.
class PipeServer
{
public:
    explicit PipeServer(PipeServerOptions options = {});
    ~PipeServer();
    PipeServer(const PipeServer&) = delete;
    PipeServer& operator=(const PipeServer&) = delete;

    /// Without the prefix.
    [[nodiscard]] const std::wstring& name() const noexcept { return m_options.name; }
    [[nodiscard]] std::wstring path() const { return L"\\\\.\\pipe\\" + m_options.name; }

    /// Waits until this many clients have come and gone, with or without a request; false after `deadline`.
    [[nodiscard]] bool waitForClients(std::size_t count);
    /// The requests read so far, in order, but for those that were taken. A client that writes nothing leaves none.
    [[nodiscard]] std::vector<std::string> requests() const;
    /// The same, and forgets them. For very many, which `requests` would copy again and again.
    [[nodiscard]] std::vector<std::string> takeRequests();
    /// Waits until this many requests have been read, with those that were taken; false after `deadline`.
    [[nodiscard]] bool waitForRequests(std::size_t count);

    /// Ends all connections and the service, as when the host goes. The destructor does the same.
    void stop();

private:
    struct Instance
    {
        Handle pipe;
        Handle connected;
        OVERLAPPED overlapped{};
    };

    void listen(Instance& instance);
    void serve();
    void serveClient(HANDLE pipe);
    [[nodiscard]] bool waitForRelease(HANDLE release) const;
    [[nodiscard]] bool readRequest(HANDLE pipe, std::string& request);
    [[nodiscard]] bool read(HANDLE pipe, void* buffer, DWORD size, DWORD& count, bool& moreFollows);
    [[nodiscard]] bool write(HANDLE pipe, const std::string& bytes);
    [[nodiscard]] bool finish(HANDLE pipe, OVERLAPPED& overlapped, BOOL started, DWORD& count, DWORD& error);

    PipeServerOptions m_options;
    Handle m_stop = makeEvent();
    std::array<Instance, 2> m_instances;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_requests; // without those that were taken
    std::size_t m_requestCount = 0;
    std::size_t m_clients = 0;
    std::thread m_thread;
};
} // namespace support
