#include "agent/mapi/AdviseSinkImpl.h"

#include "utilities/Failure.h"

AdviseSinkImpl::AdviseSinkImpl(const NotificationHandler& handler)
    : m_handler(std::make_shared<const NotificationHandler>(handler))
{
}

AdviseSinkImpl::~AdviseSinkImpl() = default;

HRESULT STDMETHODCALLTYPE AdviseSinkImpl::QueryInterface(REFIID iid, void** object)
{
    IMAPIAdviseSink* result = nullptr;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IMAPIAdviseSink))
    {
        AddRef();
        result = this;
    }
    if (object)
        *object = result;
    return result ? S_OK : E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE AdviseSinkImpl::AddRef()
{
    return ++m_references;
}

ULONG STDMETHODCALLTYPE AdviseSinkImpl::Release()
{
    const ULONG left = --m_references;
    if (left == 0)
        delete this;
    return left; // not read anew: another thread may have released the last one since
}

ULONG STDMETHODCALLTYPE AdviseSinkImpl::OnNotify(ULONG count, NOTIFICATION* notifications)
{
    constexpr std::wstring_view function = L"AdviseSinkImpl::OnNotify";
    const auto handler = m_handler; // what it does may end the sink, which nothing below touches
    if (!*handler)
        return S_OK;
    try
    {
        (*handler)(count, notifications);
    }
    catch (const utilities::exception& caught)
    {
        utilities::reportException(caught, function);
    }
    return S_OK;
}
