#include "agent/AsyncMapiHelper.h"

#include <chrono>
#include <functional>
#include <thread>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/Failures.h"
#include "tests/support/ImportHook.h"
#include "tests/support/LineNumbers.h"
#include "tests/support/MapiMocks.h"
#include "tests/support/MapiTest.h"
#include "utilities/StopRequested.h"
#include "utilities/WindowClass.h"

namespace
{
using support::countImport;
using support::hookImport;
using support::Mocked;
using support::MockSession;
using support::withoutLineNumbers;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using utilities::stopRequested;
using Call = support::TestRuntime::Call;
using Post = std::tuple<DWORD, UINT, WPARAM, LPARAM>;

constexpr DWORD mainThread = 4711;

// ---- The worker's life ---------------------------------------------------------------------------------------------

class AsyncMapiHelperTest : public support::MapiTest
{
protected:
    /// Has the worker come as far as the table of stores.
    void useSession(std::function<HRESULT()> getStores)
    {
        mapi::Session::s_session = m_session.pointer();
        EXPECT_CALL(*m_session, GetMsgStoresTable(_, _))
            .WillOnce([getStores](ULONG, IMAPITable**) { return getStores(); });
    }

    [[nodiscard]] std::vector<std::string> lines() const { return withoutLineNumbers(m_log.lines()); }

    Mocked<MockSession> m_session;
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

TEST_F(AsyncMapiHelperTest, ReportsAFailedInitialisationAndEndsTheProcess)
{
    m_runtime.plan(Call::Initialize, MAPI_E_CALL_FAILED);
    AsyncMapiHelper::run(mainThread);
    EXPECT_THAT(lines(), ElementsAre("Start MAPI thread...",
                                     "An exception has been caught in AsyncMapiHelper::run : mapi::Session::Session, "
                                     "line N: hr = 0x80004005(Initialize MAPI)",
                                     "MAPI thread finished"));
    EXPECT_TRUE(stopRequested);
    EXPECT_THAT(m_posts, ElementsAre(Post(mainThread, 16, 0, 0)));
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIInitialize null")); // and no MAPIUninitialize
}

TEST_F(AsyncMapiHelperTest, ReportsAMissingSessionAndReleasesMapi)
{
    AsyncMapiHelper::run(mainThread);
    EXPECT_THAT(lines(), ElementsAre("Start MAPI thread...",
                                     testing::StartsWith("An exception has been caught in AsyncMapiHelper::run : MAPI "
                                                         "session is not active (mapi::Session::enumerateStores in "),
                                     "MAPI thread finished"));
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIInitialize null", "MAPIUninitialize"));
}

TEST_F(AsyncMapiHelperTest, SetsTheFlagPostsAndLogsInThisOrder)
{
    m_whenPosting = [this]
    {
        EXPECT_TRUE(stopRequested);
        EXPECT_THAT(m_log.lines(), testing::SizeIs(2)); // not yet "MAPI thread finished"
    };
    AsyncMapiHelper::run(mainThread);
    EXPECT_THAT(m_posts, testing::SizeIs(1));
    EXPECT_EQ(m_log.lines().back(), "MAPI thread finished");
}

TEST_F(AsyncMapiHelperTest, PostsNothingWithoutAMainThread)
{
    AsyncMapiHelper::run(0);
    EXPECT_THAT(m_posts, IsEmpty());
    EXPECT_TRUE(stopRequested);
    EXPECT_EQ(m_log.lines().back(), "MAPI thread finished");
}

TEST_F(AsyncMapiHelperTest, TakesAnythingElseForAnUnknownException)
{
    useSession([]() -> HRESULT { throw 42; });
    EXPECT_NO_THROW(AsyncMapiHelper::run(mainThread));
    EXPECT_THAT(lines(),
                ElementsAre("Start MAPI thread...", "AsyncMapiHelper::run: Unknown exception", "MAPI thread finished"));
    EXPECT_TRUE(stopRequested);
    EXPECT_THAT(m_posts, testing::SizeIs(1));
    EXPECT_THAT(m_runtime.calls(), testing::Contains("MAPIUninitialize"));
}

TEST_F(AsyncMapiHelperTest, TakesAComErrorForAnUnknownException)
{
    useSession([]() -> HRESULT { throw _com_error(E_POINTER); });
    EXPECT_NO_THROW(AsyncMapiHelper::run(mainThread));
    EXPECT_EQ(lines()[1], "AsyncMapiHelper::run: Unknown exception");
}

TEST_F(AsyncMapiHelperTest, SetsTheFlagBeforeItReleasesMapiOnTheWayOfAnException)
{
    useSession([] { return MAPI_E_CALL_FAILED; });
    bool setBefore = false;
    m_runtime.whenCalled(Call::Uninitialize, [&] { setBefore = stopRequested; });
    const auto message = support::thrownBy([] { AsyncMapiHelper::syncThread(); });
    EXPECT_EQ(withoutLineNumbers(message),
              L"mapi::Session::enumerateStores, line N: hr = 0x80004005(MAPI call failed)");
    EXPECT_TRUE(setBefore);
    EXPECT_EQ(m_runtime.calls().back(), "MAPIUninitialize");
    EXPECT_THAT(m_log.lines(), ElementsAre("Start MAPI thread...")); // reporting is for its caller
}

TEST_F(AsyncMapiHelperTest, LeavesTheFlagAloneWhenInitialisingFails)
{
    m_runtime.plan(Call::Initialize, MAPI_E_CALL_FAILED);
    (void)support::thrownBy([] { AsyncMapiHelper::syncThread(); });
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
