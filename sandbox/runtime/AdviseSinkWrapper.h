// AdviseSinkWrapper.h: what HrThisThreadAdviseSink gives out in place of a client's sink.
#pragma once

#include "sandbox/runtime/ComObject.h"

namespace sandbox
{
/// Holds a reference on the client's sink for as long as it lives, and hands each notification on to it.
class AdviseSinkWrapper final : public ComObject<IMAPIAdviseSink>
{
public:
    /// @param sink  the client's; never null.
    explicit AdviseSinkWrapper(IMAPIAdviseSink* sink) noexcept;

    ULONG STDMETHODCALLTYPE OnNotify(ULONG count, NOTIFICATION* notifications) override;

protected:
    [[nodiscard]] void* interfaceFor(REFIID iid) noexcept override;

private:
    const Reference<IMAPIAdviseSink> m_sink;
};
} // namespace sandbox
