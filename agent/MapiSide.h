// MapiSide.h: what the main thread does for MAPI, before its message loop and after it.
#pragma once

#include <future>
#include <thread>

#include "agent/mapi/MapiSession.h"

/// MAPI as the main thread sees it: its own initialisation, the session, and the worker. Lives on the stack of the main
/// thread. Its destructor waits for the worker, without limit, before it releases MAPI, and does not ask it to stop
/// (settled behaviour 57).
class MapiSide
{
public:
    /// Initialises MAPI for this thread, logs on, and starts the worker. Throws when MAPI can't be had.
    MapiSide();
    MapiSide(const MapiSide&) = delete;
    MapiSide& operator=(const MapiSide&) = delete;

    /// Asks the worker to stop and closes the session: by logoff when the worker has ended within half a second, by the
    /// fast shutdown when it still runs, by logoff again when that fails. Then waits for the worker without limit.
    void shutdown();

private:
    mapi::Session m_session;
    std::future<void> m_worker;
    std::jthread m_thread; // joined before all else goes, MAPI included
};
