#include "agent/mapi/NotificationSink.h"

#include <utility>

#include "agent/mapi/MapiRuntime.h"
#include "utilities/Failure.h"
#include "utilities/Logger.h"

namespace mapi
{
using utilities::Logger;

/// A registration, in place or on its way. The token goes first, and the store before the sink.
struct NotificationSink::Connection
{
    IMAPIAdviseSinkPtr sink; // the wrapper, which MAPI calls on our thread
    IMsgStorePtr store;
    ULONG_PTR number = 0;
    std::shared_ptr<void> token = std::make_shared<char>(); // while there is one, the handler is called
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
        connection->token.reset(); // what comes late, in a release below for one, is dropped
        Logger::instance().write(L"Unadvise hr = " + utilities::toHexNumber(result));
    }
}

std::unique_ptr<NotificationSink::Connection> NotificationSink::adviseInternal(IMsgStorePtr store,
                                                                               const NotificationHandler& handler)
{
    constexpr std::wstring_view function = L"mapi::NotificationSink::adviseInternal";
    if (!store || !handler)
        return {};

    // All that may fail comes before Advise: a registration without a record would never end.
    auto connection = std::make_unique<Connection>();
    const auto whileRegistered =
        [handler, token = std::weak_ptr(connection->token)](ULONG count, const NOTIFICATION* notifications)
    {
        if (!token.expired())
            handler(count, notifications);
    };
    // Lives on by the reference that the wrapper takes. As its own interface, so that the pointer only counts it.
    const IMAPIAdviseSinkPtr sink(static_cast<IMAPIAdviseSink*>(new AdviseSinkImpl(whileRegistered)));
    IMAPIAdviseSinkPtr wrapper;
    HRESULT result = HrThisThreadAdviseSink(sink, &wrapper);
    if (SUCCEEDED(result) && !wrapper)
        result = MAPI_E_CALL_FAILED;
    if (FAILED(result))
    {
        utilities::logHresult(function, result, L"Marshall advise sink");
        return {};
    }
    result = store->Advise(0, nullptr, eventMask, wrapper, &connection->number);
    if (FAILED(result))
    {
        utilities::logHresult(function, result, L"Advise store notification");
        return {};
    }
    connection->sink = wrapper;
    connection->store = store;
    return connection;
}
} // namespace mapi
