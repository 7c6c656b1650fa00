// AdviseSinkImpl.h: the one MAPI interface that the agent implements itself.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "mapiabi/MapiInterfaces.h"

/// What becomes of a batch: how many notifications, and the first of them. They are borrowed, for the call only.
using NotificationHandler = std::function<void(ULONG, const NOTIFICATION*)>;

/// A sink that hands each batch to a function. It lives by its references and begins with none: whoever makes it takes
/// the first. The count may be changed by any thread; OnNotify runs on the thread that the wrapper is bound to.
class AdviseSinkImpl : public IMAPIAdviseSink
{
public:
    /// @param handler  copied; may be empty.
    explicit AdviseSinkImpl(const NotificationHandler& handler);
    AdviseSinkImpl(const AdviseSinkImpl&) = delete;
    AdviseSinkImpl& operator=(const AdviseSinkImpl&) = delete;

    /// IUnknown and IMAPIAdviseSink; E_NOINTERFACE for all else. A null `object`: settled behaviour 39.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    /// Calls the handler, if there is one. A `utilities::exception` that leaves it is logged and goes no further, so
    /// the sink is good for the next batch; another exception passes (settled behaviour 58). Always S_OK. The handler may
    /// release the sink's last reference: it lives until it has returned.
    ULONG STDMETHODCALLTYPE OnNotify(ULONG count, NOTIFICATION* notifications) override;

protected:
    virtual ~AdviseSinkImpl(); // by Release

private:
    std::atomic<ULONG> m_references{0};
    const std::shared_ptr<const NotificationHandler> m_handler; // never null; OnNotify holds it as well
};
