#include "tests/support/Pump.h"

#include <windows.h>

#include <chrono>
#include <future>

#include "tests/support/Platform.h"

namespace support
{
void pumpOnce()
{
    MSG message = {};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE)
        DispatchMessageW(&message);
}

bool pumpUntil(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        // Not all that the condition asks for comes as a message.
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
        pumpOnce();
    }
    return true;
}

void pumpDuring(const std::function<void()>& work)
{
    std::future<void> done = std::async(std::launch::async, work);
    (void)pumpUntil([&] { return done.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    done.get();
}
} // namespace support
