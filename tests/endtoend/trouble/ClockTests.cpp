// A clock of the machine that is set forward and back: stamps follow it, and nothing else does.
#include <windows.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "tests/endtoend/trouble/TroubleTest.h"
#include "tests/support/Handle.h"
#include "tests/support/Platform.h"

namespace endtoend::trouble
{
namespace
{
using namespace std::chrono_literals;

constexpr std::chrono::seconds back = -1h;
constexpr std::chrono::seconds forward = 72h;

/// The clock of all programs of the test, as a file sets it; the monotonic clock goes on as it is.
class Clock
{
public:
    Clock() : m_file(support::environmentValue(L"LINKWELL_CLOCK_FILE"))
    {
        if (m_file.empty())
            throw std::runtime_error("LINKWELL_CLOCK_FILE names no file that sets the clock; "
                                     "tests/endtoend/trouble/troubled-machine makes one");
    }
    ~Clock() { set(0s); }
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    /// So far from the true time.
    void set(std::chrono::seconds offset) const
    {
        const std::filesystem::path next = std::filesystem::path(m_file).concat(L".new");
        char text[32];
        std::snprintf(text, sizeof(text), "%+lld\n", static_cast<long long>(offset.count()));
        support::writeBytes(next, text);
        std::filesystem::rename(next, m_file); // at no moment is there half of it
    }

private:
    const std::filesystem::path m_file;
};

/// A stamp's time, as a number of milliseconds; so times can be compared and subtracted.
std::chrono::milliseconds timeOf(const SYSTEMTIME& time)
{
    FILETIME file{};
    if (!SystemTimeToFileTime(&time, &file))
        support::throwLastError("SystemTimeToFileTime");
    return std::chrono::milliseconds(((std::uint64_t{file.dwHighDateTime} << 32) | file.dwLowDateTime) / 10'000);
}

std::chrono::milliseconds now()
{
    SYSTEMTIME time{};
    GetLocalTime(&time);
    return timeOf(time);
}

/// The last stamp in the log.
std::chrono::milliseconds lastStamp(const std::string& bytes)
{
    for (std::size_t place = bytes.rfind("  "); place != std::string::npos && place > 22;
         place = bytes.rfind("  ", place - 1))
    {
        const std::string_view stamp = std::string_view(bytes).substr(place - 23, 25);
        SYSTEMTIME time{};
        if (support::hasLogStamp(stamp) &&
            std::sscanf(std::string(stamp).c_str(), "%hu.%hu.%hu %hu:%hu:%hu.%hu", &time.wDay, &time.wMonth,
                        &time.wYear, &time.wHour, &time.wMinute, &time.wSecond, &time.wMilliseconds) == 7)
            return timeOf(time);
    }
    throw std::runtime_error("the log has no stamp");
}

class ClockTest : public TroubleTest
{
protected:
    const Clock m_clock;
};

TEST_F(ClockTest, IsFollowedByStampsAlone)
{
    start(file(L"agent.log"));
    const auto trueStart = std::chrono::steady_clock::now();
    const auto clockStart = now();
    for (const auto offset : {0s, back, forward, back, 0s})
    {
        m_clock.set(offset);
        const auto early = now();
        const auto passed = std::chrono::steady_clock::now() - trueStart;
        ASSERT_LT(std::chrono::abs(early - clockStart - offset - passed), 60s) << "the clock can't be set";
        edit(1, 100);
        const auto stamp = lastStamp(support::readBytes(logFile()));
        EXPECT_GE(stamp, early);
        EXPECT_LE(stamp, now());
    }
    expectLogOfModel();
    close("clock set 1 h back and 72 h forward", "stamps follow the clock; no record missing");
}

TEST_F(ClockTest, ChangesNoWaitOfTheAgentsWhenItJumpsAllTheTime)
{
    start(file(L"agent.log"));
    std::atomic<unsigned> jumps{0};
    std::jthread restless(
        [&](const std::stop_token& stop)
        {
            while (!stop.stop_requested())
            {
                m_clock.set(++jumps % 2 == 0 ? back : forward);
                std::this_thread::sleep_for(10ms);
            }
        });
    edit(20, 100); // the pump sleeps between any two
    expectLogOfModel();

    // The worker is in a call of MAPI for longer than it gets for an orderly end.
    ask({{"do", "plan"}, {"method", "IMAPIProp::GetProps"}, {"hold", "call"}});
    ask({{"do", "editContact"}, {"contact", "Mailbox/Contacts/Ada"}, {"set", {{"company", "last"}}}});
    ask({{"do", "wait"}, {"for", "held"}, {"hold", "call"}});
    const unsigned jumpsBefore = jumps;
    const auto closed = std::chrono::steady_clock::now();
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    ASSERT_TRUE(waitForLog("Closing MAPI session..."));
    const auto waited = std::chrono::steady_clock::now() - closed;
    EXPECT_GE(waited, 500ms);
    EXPECT_GE(jumps, jumpsBefore + 10);
    ASSERT_TRUE(waitForLog("MAPI session closed"));
    ask({{"do", "release"}, {"hold", "call"}});
    finishAndReport("clock jumps every 10 ms",
                    std::to_string(jumps) + " jumps; the worker got " +
                        std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(waited).count()) +
                        " ms for its end, at least 500");
}
} // namespace
} // namespace endtoend::trouble
