#include "sandbox/runtime/delivery/SinkGate.h"

#include <utility>

#include "sandbox/runtime/record/Call.h"

namespace sandbox
{
SinkGate::SinkGate(IMAPIAdviseSink* sink) noexcept : m_sink(sink)
{
    const ClientCall outside;
    m_sink->AddRef();
}

SinkGate::~SinkGate()
{
    close();
}

ULONG SinkGate::notify(ULONG count, NOTIFICATION* notifications) noexcept
{
    IMAPIAdviseSink* sink = enter();
    if (sink == nullptr)
        return 0;
    const ClientCall outside;
    const ULONG answer = sink->OnNotify(count, notifications);
    leave();
    return answer;
}

void SinkGate::close() noexcept
{
    std::unique_lock lock(m_mutex);
    m_closed = true;
    releaseIfDone(std::move(lock));
}

IMAPIAdviseSink* SinkGate::enter() noexcept
{
    const std::lock_guard lock(m_mutex);
    if (m_closed)
        return nullptr;
    ++m_running;
    return m_sink;
}

void SinkGate::leave() noexcept
{
    std::unique_lock lock(m_mutex);
    --m_running;
    releaseIfDone(std::move(lock));
}

void SinkGate::releaseIfDone(std::unique_lock<std::mutex> lock) noexcept
{
    if (!m_closed || m_running != 0)
        return;
    IMAPIAdviseSink* sink = std::exchange(m_sink, nullptr);
    lock.unlock();
    if (sink == nullptr)
        return;
    const ClientCall outside;
    sink->Release();
}
} // namespace sandbox
