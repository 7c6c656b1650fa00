#include "sandbox/runtime/delivery/AdviseSinkWrapper.h"

#include <map>
#include <mutex>
#include <utility>

#include "sandbox/runtime/delivery/Notifications.h"

namespace sandbox
{
namespace
{
/// The wrappers that live. A sink is looked up here by its address, as a client's own sink need not know what to answer
/// when it is asked for an interface of ours.
struct Wrappers
{
    std::mutex mutex;
    std::map<const IMAPIAdviseSink*, std::shared_ptr<ThreadQueue>> queues;
};

[[nodiscard]] Wrappers& wrappers()
{
    static Wrappers& s_wrappers = *new Wrappers; // never destroyed: clients may release wrappers at any time
    return s_wrappers;
}
} // namespace

Reference<AdviseSinkWrapper> AdviseSinkWrapper::make(IMAPIAdviseSink* sink)
{
    return Reference<AdviseSinkWrapper>(new AdviseSinkWrapper(sink, ThreadQueue::ofThisThread()));
}

std::shared_ptr<ThreadQueue> AdviseSinkWrapper::queueOf(const IMAPIAdviseSink* sink)
{
    Wrappers& all = wrappers();
    const std::lock_guard lock(all.mutex);
    const auto place = all.queues.find(sink);
    return place != all.queues.end() ? place->second : nullptr;
}

AdviseSinkWrapper::AdviseSinkWrapper(IMAPIAdviseSink* sink, std::shared_ptr<ThreadQueue> queue)
    : ComObject("IMAPIAdviseSink"), m_gate(std::make_shared<SinkGate>(sink)), m_queue(std::move(queue))
{
    Wrappers& all = wrappers();
    const std::lock_guard lock(all.mutex);
    all.queues.emplace(this, m_queue);
    m_queue->attach();
}

AdviseSinkWrapper::~AdviseSinkWrapper()
{
    {
        Wrappers& all = wrappers();
        const std::lock_guard lock(all.mutex);
        all.queues.erase(this);
    }
    m_gate->close();
    m_queue->detach();
}

ULONG STDMETHODCALLTYPE AdviseSinkWrapper::OnNotify(ULONG count, NOTIFICATION* notifications)
{
    if (m_queue->isOfThisThread())
        return m_gate->notify(count, notifications);
    HRESULT result = S_OK;
    try
    {
        m_queue->post([gate = m_gate, events = eventsOf(count, notifications)] { notifySink(*gate, events); });
    }
    catch (const MapiFailure& failure)
    {
        result = failure.result();
    }
    catch (...)
    {
        result = MAPI_E_NOT_ENOUGH_MEMORY;
    }
    return static_cast<ULONG>(result);
}

void* AdviseSinkWrapper::interfaceFor(REFIID iid) noexcept
{
    return isOneOf(iid, IID_IUnknown, IID_IMAPIAdviseSink) ? static_cast<IMAPIAdviseSink*>(this) : nullptr;
}

void notifySink(SinkGate& gate, const EventBatch& events) noexcept
{
    try
    {
        const Call named("IMAPIAdviseSink::OnNotify"); // whose the memory is
        const NotificationArray array(events);
        gate.notify(array.count(), array.get());
    }
    catch (const std::bad_alloc&)
    {
    }
}
} // namespace sandbox
