// SequenceHost.h: a host by the reference sequence of docs/wire-protocol.md, and what hosts may do otherwise.
#pragma once

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Handle.h"

namespace support
{
struct SequenceOptions
{
    std::wstring name = L"CorvenaLinkwell"; // of the pipe, without the prefix
    std::size_t instances = 4;
    DWORD mostInstances = 0;               // how many there may be; 0: those that are made
    DWORD defaultTimeout = 5000;           // milliseconds
    bool isReadOnly = false;               // whoever opens it for writing is denied access
    std::wstring accessList = ownUser();   // as a security descriptor's text; empty: the default one
    std::vector<std::string> parts{"ack"}; // of the answer, each by a write of its own
    std::chrono::milliseconds pause{0};    // between two parts, and before an instance listens again
    std::size_t mostBytes = std::numeric_limits<std::size_t>::max(); // of a text; what is behind them is not read
    std::size_t mostBytesAtOnce = 1 << 20; // of one read; a length that is none must not take the memory
    bool readsLength = true;               // else the connection is ended as soon as it is made
    bool readsText = true;                 // else the connection is ended behind the length
    bool waitsForClient = true;            // else the connection is ended as soon as the answer is written
    bool oneAtATime = false;               // a client is served to its end before another one is
    /// A client has connected. Called on the thread of the instance.
    std::function<void()> whenConnected{};
    /// Changes how the client with this number, from 1 on, is served. Called on the thread of the instance.
    std::function<void(std::size_t number, SequenceOptions& options)> adapt{};
    /// Whether this message is answered; else the connection is ended. Called on the thread of the instance, at any time.
    std::function<bool(const std::string& text)> takes{};
    /// A client has gone before all was read of what it began to send, so many bytes of a length or a text; or its answer
    /// could not be written (all of its bytes). Called on the thread of the instance.
    std::function<void(std::size_t bytes)> whenBrokenOff{};

    /// The access list of the page: all for the user of this process, and nothing for anybody else.
    [[nodiscard]] static std::wstring ownUser();
};

/// Serves clients by the steps of the page, with a thread for each instance, from the constructor to the destructor.
class SequenceHost
{
public:
    explicit SequenceHost(SequenceOptions options);
    ~SequenceHost();
    SequenceHost(const SequenceHost&) = delete;
    SequenceHost& operator=(const SequenceHost&) = delete;

    /// How many messages have been answered so far.
    [[nodiscard]] std::size_t answered() const noexcept { return m_answered; }

private:
    [[nodiscard]] bool isStopped(std::chrono::milliseconds limit) const;
    bool run(HANDLE pipe, const std::function<BOOL(OVERLAPPED*)>& start, DWORD& count, DWORD limit = INFINITE) const;
    [[nodiscard]] bool read(HANDLE pipe, const SequenceOptions& options, std::size_t size, std::string& bytes) const;
    void serve(HANDLE pipe);
    void serveClient(HANDLE pipe, const SequenceOptions& options);
    [[nodiscard]] bool answer(HANDLE pipe, const SequenceOptions& options) const;
    void brokenOff(std::size_t bytes) const;

    const SequenceOptions m_options;
    const Handle m_stop = makeEvent();
    std::vector<Handle> m_pipes;
    std::atomic<std::size_t> m_clients{0};
    std::atomic<std::size_t> m_answered{0};
    std::mutex m_turn; // with `oneAtATime`
    std::vector<std::thread> m_threads;
};
} // namespace support
