// The worker where no log shows it: its flags and their order, failures that end it, and the pump.
#include "agent/AsyncMapiHelper.h"

#include <chrono>
#include <functional>
#include <future>
#include <limits>
#include <new>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/agent/AgentTest.h"
#include "tests/support/HeapWatch.h"
#include "utilities/StopRequested.h"
#include "utilities/WindowClass.h"

namespace
{
using support::countImport;
using support::hookImport;
using testing::ElementsAre;
using testing::IsEmpty;
using utilities::stopRequested;
using Post = std::tuple<DWORD, UINT, WPARAM, LPARAM>;

constexpr DWORD mainThread = 4711;
constexpr const char* finished = "MAPI thread finished";
constexpr std::size_t noBlock = std::numeric_limits<std::size_t>::max();

// ---- The worker's life ---------------------------------------------------------------------------------------------

/// On a mailbox of one store without contacts.
class AsyncMapiHelperTest : public tests::AgentTest
{
protected:
    AsyncMapiHelperTest() { logon(R"({"stores": [{"name": "Mailbox"}]})"); }

    std::vector<Post> m_posts;
    std::function<void()> m_whenPosting = [] {
    };

private:
    decltype(hookImport<"PostThreadMessageW">(PostThreadMessageW, nullptr)) m_postHook =
        hookImport<"PostThreadMessageW">(PostThreadMessageW,
                                         [this](auto, DWORD thread, UINT message, WPARAM wParam, LPARAM lParam)
                                         {
                                             m_whenPosting();
                                             m_posts.emplace_back(thread, message, wParam, lParam);
                                             return FALSE; // the result does not matter
                                         });
};

TEST_F(AsyncMapiHelperTest, SetsTheFlagPostsAndLogsInThisOrder)
{
    planResult("MAPIInitialize", "0x80004005");
    m_whenPosting = [this]
    {
        EXPECT_TRUE(stopRequested);
        EXPECT_THAT(log(), testing::SizeIs(2));
    };
    AsyncMapiHelper::run(mainThread);
    EXPECT_THAT(m_posts, ElementsAre(Post(mainThread, 16, 0, 0)));
    EXPECT_THAT(log(), ElementsAre("Start MAPI thread...",
                                   "An exception has been caught in AsyncMapiHelper::run : mapi::Session::Session, "
                                   "line N: hr = 0x80004005(Initialize MAPI)",
                                   finished));
}

TEST_F(AsyncMapiHelperTest, PostsNothingWithoutAMainThread)
{
    planResult("MAPIInitialize", "0x80004005");
    AsyncMapiHelper::run(0);
    EXPECT_THAT(m_posts, IsEmpty());
    EXPECT_TRUE(stopRequested);
    EXPECT_EQ(log().back(), finished);
}

TEST_F(AsyncMapiHelperTest, TakesAnyOtherExceptionForAnUnknownOne)
{
    const auto look =
        hookImport<"PeekMessageW">(PeekMessageW, [](auto, LPMSG, HWND, UINT, UINT, UINT) -> BOOL { throw 42; });
    EXPECT_NO_THROW(AsyncMapiHelper::run(mainThread));
    auto lines = log();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2], "AsyncMapiHelper::run: Unknown exception");
    EXPECT_EQ(lines.back(), finished);
    EXPECT_TRUE(stopRequested);
    EXPECT_THAT(m_posts, testing::SizeIs(1));
}

TEST_F(AsyncMapiHelperTest, EndsInOrderWhenThereIsNoMemoryToReportWhy)
{
    support::HeapWatch heap;
    const auto hook = tests::whenLogged("Start MAPI thread...",
                                        [&]
                                        {
                                            heap.exhaust(noBlock);
                                            throw std::bad_alloc();
                                        });
    m_whenPosting = [&]
    {
        heap.refill();
        EXPECT_TRUE(stopRequested);
        EXPECT_NE(log().back(), finished);
    };
    AsyncMapiHelper::run(mainThread);
    EXPECT_THAT(m_posts, testing::SizeIs(1));
    EXPECT_EQ(log().back(), finished);
}

TEST_F(AsyncMapiHelperTest, ReportsItsEndWhenAllMemoryIsTaken)
{
    const auto lastLineButOne = [this](const std::function<void()>& fail)
    {
        support::HeapWatch heap;
        const auto hook = tests::whenLogged("Start MAPI thread...",
                                            [&]
                                            {
                                                heap.exhaust(4096);
                                                fail();
                                            });
        AsyncMapiHelper::run(mainThread);
        heap.refill();
        EXPECT_TRUE(stopRequested);
        auto lines = log();
        EXPECT_EQ(lines.back(), finished);
        return lines.size() < 2 ? std::string() : lines[lines.size() - 2];
    };
    EXPECT_EQ(lastLineButOne([] { throw std::bad_alloc(); }), "AsyncMapiHelper::run: Unknown exception");
    EXPECT_EQ(lastLineButOne([] { throw utilities::exception(L"reason"); }),
              "An exception has been caught in AsyncMapiHelper::run : reason");
    EXPECT_THAT(m_posts, testing::SizeIs(2));
}

TEST_F(AsyncMapiHelperTest, SetsTheFlagBeforeItReleasesMapi)
{
    planResult("IMAPISession::GetMsgStoresTable", "0x80004005");
    sandbox().plan({{"method", "MAPIUninitialize"}, {"hold", "release"}});
    auto failure = std::async(std::launch::async, [] { return thrown([] { AsyncMapiHelper::syncThread(); }); });
    sandbox().waitUntilHeld("release");
    EXPECT_TRUE(stopRequested);
    sandbox().release("release");
    EXPECT_EQ(failure.get(), L"mapi::Session::enumerateStores, line N: hr = 0x80004005(MAPI call failed)");
    EXPECT_THAT(log(), ElementsAre("Start MAPI thread...")); // reporting is for its caller
}

TEST_F(AsyncMapiHelperTest, LeavesTheFlagAloneWhenInitialisingFails)
{
    planResult("MAPIInitialize", "0x80004005");
    EXPECT_NE(thrown([] { AsyncMapiHelper::syncThread(); }), L"");
    EXPECT_FALSE(stopRequested);
}

// ---- The pump ------------------------------------------------------------------------------------------------------

/// A window on this thread, which does what the test wants with each message of WM_APP and above.
class PumpTest : public testing::Test
{
protected:
    using Handler = std::function<void(UINT)>;

    PumpTest()
    {
        WNDCLASSEXW record{};
        record.cbSize = sizeof record;
        record.lpfnWndProc = procedure;
        record.hInstance = GetModuleHandleW(nullptr);
        record.lpszClassName = m_class.className.c_str();
        m_class.atom = RegisterClassExW(&record);
        m_window = CreateWindowExW(0, MAKEINTATOM(m_class.atom), L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                   record.hInstance, nullptr);
        EXPECT_NE(m_window, nullptr);
        EXPECT_FALSE(stopRequested);
    }
    ~PumpTest() override
    {
        stopRequested = false;
        s_handler = nullptr;
        DestroyWindow(m_window);
        MSG message{};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        {
        }
    }

    void post(UINT message) const { ASSERT_TRUE(PostMessageW(m_window, message, 0, 0)); }
    static void handle(Handler handler) { s_handler = std::move(handler); }

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message < WM_APP || !s_handler)
            return DefWindowProcW(window, message, wParam, lParam);
        s_handler(message);
        return 0;
    }

    static inline Handler s_handler;
    utilities::WindowClass m_class{L"LinkwellPumpTest"};
    HWND m_window = nullptr;
};

TEST_F(PumpTest, ReturnsAtOnceWhenTheFlagIsSet)
{
    post(WM_APP);
    utilities::requestStop();
    const auto looks = countImport<"PeekMessageW">(PeekMessageW);
    pumpUntilStopped();
    EXPECT_EQ(looks.count(), 0u);
}

TEST_F(PumpTest, DispatchesOnItsOwnThreadUntilTheFlagIsSet)
{
    const DWORD thread = GetCurrentThreadId();
    std::vector<UINT> messages;
    handle(
        [&](UINT message)
        {
            EXPECT_EQ(GetCurrentThreadId(), thread);
            messages.push_back(message);
            if (message == WM_APP + 2)
                utilities::requestStop();
        });
    post(WM_APP);
    std::jthread other([this] { post(WM_APP + 1), post(WM_APP + 2); });
    pumpUntilStopped();
    EXPECT_THAT(messages, ElementsAre(WM_APP, WM_APP + 1, WM_APP + 2));
}

TEST_F(PumpTest, EmptiesTheQueueBeforeItLooksAtTheFlag)
{
    std::vector<UINT> messages;
    handle(
        [&](UINT message)
        {
            messages.push_back(message);
            utilities::requestStop();
        });
    post(WM_APP);
    post(WM_APP + 1);
    pumpUntilStopped();
    EXPECT_THAT(messages, ElementsAre(WM_APP, WM_APP + 1));
}

TEST_F(PumpTest, GoesOnAfterAQuitMessage)
{
    std::vector<UINT> dispatched;
    const auto dispatch = hookImport<"DispatchMessageW">(DispatchMessageW,
                                                         [&](auto original, const MSG* message)
                                                         {
                                                             dispatched.push_back(message->message);
                                                             return original(message);
                                                         });
    handle([](UINT) { utilities::requestStop(); });
    ASSERT_TRUE(PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 0, 0));
    post(WM_APP);
    pumpUntilStopped();
    EXPECT_THAT(dispatched, ElementsAre(WM_APP)); // WM_QUIT was removed and not dispatched
}

TEST_F(PumpTest, EndsOnlyTheInnerLoopByAQuitMessage)
{
    // The flag is set when WM_QUIT comes: so the message behind it is never looked at.
    bool quitSeen = false;
    const auto look =
        hookImport<"PeekMessageW">(PeekMessageW,
                                   [&](auto original, LPMSG message, HWND window, UINT first, UINT last, UINT remove)
                                   {
                                       const BOOL result = original(message, window, first, last, remove);
                                       if (result && message->message == WM_QUIT)
                                       {
                                           quitSeen = true;
                                           utilities::requestStop();
                                       }
                                       return result;
                                   });
    std::vector<UINT> messages;
    handle([&](UINT message) { messages.push_back(message); });
    ASSERT_TRUE(PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 0, 0));
    post(WM_APP);
    pumpUntilStopped();
    EXPECT_TRUE(quitSeen);
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(PumpTest, TakesAllMessagesAndTranslatesNone)
{
    std::vector<std::tuple<HWND, UINT, UINT, UINT>> looks;
    const auto look =
        hookImport<"PeekMessageW">(PeekMessageW,
                                   [&](auto original, LPMSG message, HWND window, UINT first, UINT last, UINT remove)
                                   {
                                       looks.emplace_back(window, first, last, remove);
                                       return original(message, window, first, last, remove);
                                   });
    const auto translated = countImport<"TranslateMessage">(TranslateMessage);
    handle([](UINT) { utilities::requestStop(); });
    post(WM_APP);
    pumpUntilStopped();
    const std::tuple everything(static_cast<HWND>(nullptr), 0u, 0u, UINT{PM_REMOVE});
    EXPECT_THAT(looks, testing::AllOf(testing::SizeIs(2), testing::Each(everything)));
    EXPECT_EQ(translated.count(), 0u);
}

TEST_F(PumpTest, RestsForAMillisecondBetweenLooks)
{
    using Clock = std::chrono::steady_clock;
    std::vector<Clock::time_point> looks;
    const auto look =
        hookImport<"PeekMessageW">(PeekMessageW,
                                   [&](auto original, LPMSG message, HWND window, UINT first, UINT last, UINT remove)
                                   {
                                       looks.push_back(Clock::now());
                                       if (looks.size() == 6)
                                           utilities::requestStop();
                                       return original(message, window, first, last, remove);
                                   });
    pumpUntilStopped();
    ASSERT_EQ(looks.size(), 6u);
    for (std::size_t i = 1; i < looks.size(); ++i)
        EXPECT_GE(looks[i] - looks[i - 1], std::chrono::milliseconds(1));
}

TEST_F(PumpTest, SleepsRatherThanAsksTheClockBetweenLooks)
{
    const auto clock = countImport<"QueryPerformanceCounter">(QueryPerformanceCounter);
    std::size_t looks = 0;
    const auto look =
        hookImport<"PeekMessageW">(PeekMessageW,
                                   [&](auto original, LPMSG message, HWND window, UINT first, UINT last, UINT remove)
                                   {
                                       if (++looks == 10)
                                           utilities::requestStop();
                                       return original(message, window, first, last, remove);
                                   });
    pumpUntilStopped();
    EXPECT_THAT(clock.count(), testing::AllOf(testing::Ge(2 * looks), testing::Lt(20 * looks)));
}
} // namespace
