#include "agent/mapi/NotificationSink.h"

#include <utility>

#include "agent/mapi/MapiRuntime.h"
#include "utilities/Failure.h"
#include "utilities/Logger.h"

namespace mapi
{
using utilities::Logger;

/// A registration in place. The store goes before the sink.
struct NotificationSink::Connection
{
    IMAPIAdviseSinkPtr sink; // the wrapper, which MAPI calls on our thread
    IMsgStorePtr store;
    ULONG_PTR number = 0;
};

NotificationSink::NotificationSink() = default;

NotificationSink::~NotificationSink()
{
    unadvise();
}

bool NotificationSink::isAdvised() const noexcept
{
    return m_connection && m_connection->store && m_connection->number != 0;
}

bool NotificationSink::advise(IMsgStorePtr store, const NotificationHandler& handler)
{
    if (isAdvised())
    {
        Logger::instance().write(L"Cannot advise store = already advised");
        return false;
    }
    m_connection = adviseInternal(store, handler);
    return m_connection != nullptr;
}

void NotificationSink::unadvise()
{
    const std::unique_ptr<Connection> connection = std::move(m_connection);
    if (!connection)
        return;
    if (connection->store && connection->number != 0)
    {
        const HRESULT result = connection->store->Unadvise(connection->number);
        Logger::instance().write(L"Unadvise hr = " + utilities::toHexNumber(result));
    }
}

std::unique_ptr<NotificationSink::Connection> NotificationSink::adviseInternal(IMsgStorePtr store,
                                                                               const NotificationHandler& handler)
{
    constexpr std::wstring_view function = L"mapi::NotificationSink::adviseInternal";
    if (!store || !handler)
        return {};

    // Lives on by the reference that the wrapper takes. As its own interface, so that the pointer only counts it.
    const IMAPIAdviseSinkPtr sink(static_cast<IMAPIAdviseSink*>(new AdviseSinkImpl(handler)));
    IMAPIAdviseSinkPtr wrapper;
    HRESULT result = HrThisThreadAdviseSink(sink, &wrapper);
    if (FAILED(result))
    {
        utilities::logHresult(function, result, L"Marshall advise sink");
        return {};
    }
    ULONG_PTR number = 0;
    result = store->Advise(0, nullptr, eventMask, wrapper, &number);
    if (FAILED(result))
    {
        utilities::logHresult(function, result, L"Advise store notification");
        return {};
    }
    return std::make_unique<Connection>(Connection{wrapper, store, number});
}
} // namespace mapi
