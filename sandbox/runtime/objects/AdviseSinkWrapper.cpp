#include "sandbox/runtime/objects/AdviseSinkWrapper.h"

#include <map>
#include <mutex>
#include <utility>

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
    : ComObject("IMAPIAdviseSink"), m_gate(sink), m_queue(std::move(queue))
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
    m_gate.close();
    m_queue->detach();
}

ULONG STDMETHODCALLTYPE AdviseSinkWrapper::OnNotify(ULONG count, NOTIFICATION* notifications)
{
    return m_queue->isOfThisThread() ? m_gate.notify(count, notifications) : static_cast<ULONG>(MAPI_E_NO_SUPPORT);
}

Json sinkText(const IMAPIAdviseSink* sink)
{
    if (sink == nullptr)
        return nullptr;
    return AdviseSinkWrapper::queueOf(sink) != nullptr ? "wrapped" : "unwrapped";
}

void* AdviseSinkWrapper::interfaceFor(REFIID iid) noexcept
{
    return isOneOf(iid, IID_IUnknown, IID_IMAPIAdviseSink) ? static_cast<IMAPIAdviseSink*>(this) : nullptr;
}
} // namespace sandbox
