#include "agent/AsyncMapiHelper.h"

#include <chrono>
#include <memory>
#include <new>
#include <thread>
#include <utility>

#include "agent/ContactWatcher.h"
#include "agent/SyncManager.h"
#include "agent/mapi/MapiSession.h"
#include "utilities/Failure.h"
#include "utilities/Logger.h"
#include "utilities/ScopeGuard.h"
#include "utilities/StopRequested.h"

using utilities::Logger;

namespace
{
constexpr std::chrono::milliseconds pumpPeriod{1};

void dispatchWaitingMessages()
{
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
    {
        if (message.message == WM_QUIT)
            return;
        DispatchMessageW(&message);
    }
}

/// Sleeps until the time has passed, also when the system wakes the thread early. In whole milliseconds, since the
/// system's sleep rounds down: what is left below one would be no sleep at all.
void sleepFor(std::chrono::milliseconds duration)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + duration;
    for (auto now = Clock::now(); now < deadline; now = Clock::now())
        std::this_thread::sleep_for(std::chrono::ceil<std::chrono::milliseconds>(deadline - now));
}

/// Memory that a worker which has run out of it gives back to have its last records composed.
class MemoryReserve
{
public:
    MemoryReserve() noexcept = default;
    MemoryReserve(const MemoryReserve&) = delete;
    MemoryReserve& operator=(const MemoryReserve&) = delete;
    ~MemoryReserve() { giveBack(); }

    void giveBack() noexcept { ::operator delete(std::exchange(m_block, nullptr)); }

private:
    void* m_block = ::operator new(0x10000, std::nothrow); // null: there is none even now
};

/// For what composes a record: without memory for it that record is lost, and nothing else.
template <class Action>
void logIfPossible(Action action) noexcept
{
    try
    {
        action();
    }
    catch (...)
    {
    }
}
} // namespace

void AsyncMapiHelper::run(DWORD mainThreadId) noexcept
{
    constexpr std::wstring_view function = L"AsyncMapiHelper::run";
    MemoryReserve reserve;
    try
    {
        syncThread();
    }
    catch (const utilities::exception& caught)
    {
        reserve.giveBack();
        logIfPossible([&] { utilities::reportException(caught, function); });
    }
    catch (...)
    {
        reserve.giveBack();
        logIfPossible([&] { utilities::logLine(function, L"Unknown exception"); });
    }
    utilities::requestStop();
    if (mainThreadId != 0)
        PostThreadMessageW(mainThreadId, WM_CLOSE, 0, 0);
    logIfPossible([] { Logger::instance().write(L"MAPI thread finished"); });
}

void AsyncMapiHelper::syncThread()
{
    Logger::instance().write(L"Start MAPI thread...");
    const mapi::Session mapiOfThisThread;
    const utilities::ScopeGuard stopAtTheEnd(utilities::requestStop);

    // All stores are read and sent before the first is subscribed, so no change is reported twice: settled behaviour
    // 32.
    SyncManager manager;
    manager.createWatchers();
    manager.createSnapshot();
    for (std::size_t index = 0; index < manager.watchers().size(); ++index)
    {
        const std::shared_ptr<ContactWatcher> watcher = manager.watchers()[index];
        watcher->subscribe([&manager](const Changes& changes) { manager.sendChanges(changes); });
    }

    pumpUntilStopped();
}

void pumpUntilStopped()
{
    while (!utilities::stopRequested)
    {
        dispatchWaitingMessages();
        sleepFor(pumpPeriod);
    }
}
