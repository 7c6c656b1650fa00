#include "agent/mapi/AdviseSinkImpl.h"

#include "utilities/Failure.h"

AdviseSinkImpl::AdviseSinkImpl(const NotificationHandler& handler) : m_handler(handler) {}

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
    if (m_references.fetch_sub(1) == 1)
    {
        delete this;
        return 0;
    }
    return m_references;
}

ULONG STDMETHODCALLTYPE AdviseSinkImpl::OnNotify(ULONG count, NOTIFICATION* notifications)
{
    constexpr std::wstring_view function = L"AdviseSinkImpl::OnNotify";
    if (!m_handler)
        return S_OK;
    try
    {
        m_handler(count, notifications);
    }
    catch (const utilities::exception& caught)
    {
        utilities::reportException(caught, function);
    }
    return S_OK;
}
