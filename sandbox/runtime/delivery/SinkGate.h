// SinkGate.h: the way to a sink that can be closed at any moment.
#pragma once

#include <mutex>

#include "mapiabi/MapiInterfaces.h"

namespace sandbox
{
/// Holds one reference on a sink until it is closed; while the sink is being called, until it has returned. Used by any
/// thread, with no lock held: it calls the client.
class SinkGate
{
public:
    /// @param sink  never null.
    explicit SinkGate(IMAPIAdviseSink* sink) noexcept;
    SinkGate(const SinkGate&) = delete;
    SinkGate& operator=(const SinkGate&) = delete;
    /// A gate that was never closed closes.
    ~SinkGate();

    /// Calls the sink, outside any call of its client, and gives its answer; 0 when closed.
    ULONG notify(ULONG count, NOTIFICATION* notifications) noexcept;
    /// No call of the sink begins from here on.
    void close() noexcept;

private:
    [[nodiscard]] IMAPIAdviseSink* enter() noexcept;
    void leave() noexcept;
    void releaseIfDone(std::unique_lock<std::mutex> lock) noexcept;

    std::mutex m_mutex;
    IMAPIAdviseSink* m_sink; // null once released
    unsigned m_running = 0;
    bool m_closed = false;
};
} // namespace sandbox
