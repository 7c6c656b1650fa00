// AdviseSinkWrapper.h: what HrThisThreadAdviseSink gives out in place of a client's sink.
#pragma once

#include <memory>

#include "sandbox/mailbox/model/StoreEvent.h"
#include "sandbox/runtime/delivery/SinkGate.h"
#include "sandbox/runtime/delivery/ThreadQueue.h"
#include "sandbox/runtime/objects/ComObject.h"

namespace sandbox
{
/// Holds a reference on the client's sink for as long as it lives, and hands notifications on to it on the thread that
/// made the wrapper.
class AdviseSinkWrapper final : public ComObject<IMAPIAdviseSink>
{
public:
    /// By the thread that is to get the notifications. Throws MapiFailure or std::bad_alloc.
    /// @param sink  the client's; never null.
    [[nodiscard]] static Reference<AdviseSinkWrapper> make(IMAPIAdviseSink* sink);

    /// The queue by which a wrapper's thread is reached; null for a sink that is no wrapper of this module.
    [[nodiscard]] static std::shared_ptr<ThreadQueue> queueOf(const IMAPIAdviseSink* sink);

    /// Hands on at once, with the sink's answer. To be called on its own thread, as Delivery does; any other is refused.
    ULONG STDMETHODCALLTYPE OnNotify(ULONG count, NOTIFICATION* notifications) override;

protected:
    [[nodiscard]] void* interfaceFor(REFIID iid) noexcept override;

private:
    AdviseSinkWrapper(IMAPIAdviseSink* sink, std::shared_ptr<ThreadQueue> queue);
    ~AdviseSinkWrapper() override;

    SinkGate m_gate;
    const std::shared_ptr<ThreadQueue> m_queue;
};

/// A sink as the journal has it: "wrapped" or "unwrapped"; null for a null pointer.
[[nodiscard]] Json sinkText(const IMAPIAdviseSink* sink);
} // namespace sandbox
