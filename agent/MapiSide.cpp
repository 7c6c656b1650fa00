#include "agent/MapiSide.h"

#include <windows.h>

#include <chrono>
#include <utility>

#include "agent/AsyncMapiHelper.h"
#include "utilities/Logger.h"
#include "utilities/StopRequested.h"

using utilities::Logger;

namespace
{
constexpr std::chrono::milliseconds gracePeriod{500}; // all that the worker gets for an orderly end

void closeSession(bool workerHasEnded)
{
    if (!mapi::Session::s_session)
        return;
    Logger::instance().write(L"Closing MAPI session...");
    // A worker that still runs may be inside a MAPI call, which a logoff would wait for: settled behaviour 56.
    if (workerHasEnded || mapi::Session::shutdown() != S_OK)
        mapi::Session::logoff();
    mapi::Session::s_session.Detach()->Release(); // null before the last reference goes, with every smart pointer
    Logger::instance().write(L"MAPI session closed");
}
} // namespace

MapiSide::MapiSide()
{
    mapi::Session::open();
    // Not by std::async, for which one library takes a thread of the system's pool: the worker's message queue and the
    // window that MAPI makes there would stay with that thread when the worker has ended.
    std::packaged_task<void(DWORD)> worker(AsyncMapiHelper::run);
    m_worker = worker.get_future();
    m_thread = std::jthread(std::move(worker), GetCurrentThreadId());
}

void MapiSide::shutdown()
{
    utilities::requestStop();
    const std::future_status status = m_worker.wait_for(gracePeriod);
    closeSession(status == std::future_status::ready);
    m_worker.wait();
    Logger::instance().write(L"Done");
}
