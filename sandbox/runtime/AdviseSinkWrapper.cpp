#include "sandbox/runtime/AdviseSinkWrapper.h"

namespace sandbox
{
AdviseSinkWrapper::AdviseSinkWrapper(IMAPIAdviseSink* sink) noexcept : ComObject("IMAPIAdviseSink"), m_sink(sink)
{
    m_sink->AddRef();
}

ULONG STDMETHODCALLTYPE AdviseSinkWrapper::OnNotify(ULONG count, NOTIFICATION* notifications)
{
    const ClientCall outside;
    return m_sink->OnNotify(count, notifications);
}

void* AdviseSinkWrapper::interfaceFor(REFIID iid) noexcept
{
    return isOneOf(iid, IID_IUnknown, IID_IMAPIAdviseSink) ? static_cast<IMAPIAdviseSink*>(this) : nullptr;
}
} // namespace sandbox
