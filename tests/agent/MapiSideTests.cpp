#include "agent/MapiSide.h"

#include <windows.h>

#include <algorithm>
#include <future>
#include <memory>
#include <string_view>

#include <gmock/gmock.h>

#include "tests/support/Failures.h"
#include "tests/support/Handle.h"
#include "tests/support/ImportHook.h"
#include "tests/support/LineNumbers.h"
#include "tests/support/MapiMocks.h"
#include "tests/support/MapiTest.h"
#include "tests/support/Platform.h"

namespace
{
using support::MockClientShutdown;
using support::Mocked;
using support::MockSession;
using support::withoutLineNumbers;
using testing::_;
using testing::ElementsAre;
using testing::Return;
using Call = support::TestRuntime::Call;

constexpr const char* tryFastShutdown =
    "Try to shutdown MAPI fast (if we can do this, failed MAPI calls may be reported.)";

/// The worker comes as far as the table of the stores, which it can't get: it stays there until `m_release` is set.
class MapiSideTest : public support::MapiTest
{
protected:
    MapiSideTest() { m_runtime.setSession(m_session.get()); }
    ~MapiSideTest() override
    {
        // Each worker posts its end to this thread, awaited or not.
        MSG message{};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        {
        }
    }

    void expectWorker()
    {
        EXPECT_CALL(*m_session, GetMsgStoresTable(_, _))
            .WillOnce(
                [this](ULONG, IMAPITable**)
                {
                    WaitForSingleObject(m_release.get(), INFINITE);
                    return MAPI_E_CALL_FAILED;
                });
    }
    void release() const { SetEvent(m_release.get()); }

    /// Waits for what the worker sends to this thread at its end.
    static void awaitThreadClose()
    {
        MSG message{};
        ASSERT_GT(GetMessageW(&message, reinterpret_cast<HWND>(-1), WM_CLOSE, WM_CLOSE), 0); // -1: to the thread
        EXPECT_EQ(message.hwnd, nullptr);
        EXPECT_EQ(message.wParam, 0u);
        EXPECT_EQ(message.lParam, 0);
    }

    /// Releases the worker when this record is written.
    [[nodiscard]] auto releaseAt(std::string_view record)
    {
        return support::hookImport<"WriteFile">(
            WriteFile,
            [this, record](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written,
                           LPOVERLAPPED overlapped)
            {
                const BOOL result = original(file, data, size, written, overlapped);
                if (std::string_view(static_cast<const char*>(data), size).ends_with(record))
                    release();
                return result;
            });
    }

    /// The lines of the log but those of the worker.
    [[nodiscard]] std::vector<std::string> mainThreadLines() const
    {
        auto lines = m_log.lines();
        std::erase_if(lines,
                      [](const std::string& line)
                      {
                          return line == "Start MAPI thread..." || line == "MAPI thread finished" ||
                                 line.starts_with("An exception has been caught in AsyncMapiHelper::run");
                      });
        return lines;
    }

    Mocked<MockSession> m_session;
    Mocked<MockClientShutdown> m_shutdown;
    support::Handle m_release = support::makeEvent();
};

TEST_F(MapiSideTest, LogsOnBeforeItStartsTheWorker)
{
    expectWorker();
    release();
    EXPECT_CALL(*m_session, Logoff(0, 0, 0)).WillOnce(Return(S_OK));
    MapiSide side;
    EXPECT_EQ(mapi::Session::s_session.GetInterfacePtr(), m_session.get());
    awaitThreadClose();
    side.shutdown();
    const auto calls = m_runtime.calls();
    ASSERT_GE(calls.size(), 3u);
    EXPECT_EQ(calls[0], "MAPIInitialize null");
    EXPECT_EQ(calls[1], "MAPILogonEx 0, null, null, 80000063");
    EXPECT_EQ(calls[2], "MAPIInitialize null"); // the worker's
}

TEST_F(MapiSideTest, StartsNoWorkerWhenMapiCannotBeInitialised)
{
    m_runtime.plan(Call::Initialize, MAPI_E_CALL_FAILED);
    EXPECT_EQ(withoutLineNumbers(support::thrownBy([] { MapiSide side; })),
              L"mapi::Session::Session, line N: hr = 0x80004005(Initialize MAPI)");
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIInitialize null"));
    EXPECT_THAT(m_log.lines(), testing::IsEmpty());
}

TEST_F(MapiSideTest, StartsNoWorkerWhenTheLogonFails)
{
    m_runtime.plan(Call::LogonEx, MAPI_E_LOGON_FAILED);
    EXPECT_EQ(withoutLineNumbers(support::thrownBy([] { MapiSide side; })),
              L"mapi::Session::open, line N: hr = 0x80040111(Logon to MAPI)");
    EXPECT_THAT(m_runtime.calls(),
                ElementsAre("MAPIInitialize null", "MAPILogonEx 0, null, null, 80000063", "MAPIUninitialize"));
    EXPECT_THAT(m_log.lines(), testing::IsEmpty());
}

TEST_F(MapiSideTest, LogsOffWhenTheWorkerHasEnded)
{
    expectWorker();
    release();
    EXPECT_CALL(*m_session, Logoff(0, 0, 0)).WillOnce(Return(S_OK));
    {
        MapiSide side;
        awaitThreadClose(); // the worker may still have its last line to write
        side.shutdown();
        EXPECT_TRUE(mapi::Session::s_session == nullptr);
        EXPECT_EQ(m_session->references(), 1);
        EXPECT_EQ(std::ranges::count(m_runtime.calls(), "MAPIUninitialize"), 1); // the worker's
    }
    EXPECT_EQ(std::ranges::count(m_runtime.calls(), "MAPIUninitialize"), 2);
    EXPECT_THAT(mainThreadLines(), ElementsAre("Closing MAPI session...", "Logoff...", "MAPI session closed", "Done"));
    EXPECT_TRUE(utilities::stopRequested);
}

TEST_F(MapiSideTest, ShutsDownFastWhenTheWorkerStillRuns)
{
    expectWorker();
    m_session->answerInterface(IID_IMAPIClientShutdown, S_OK, m_shutdown.get());
    EXPECT_CALL(*m_shutdown, QueryFastShutdown())
        .WillOnce(
            []
            {
                EXPECT_TRUE(utilities::stopRequested); // the worker was asked first
                return S_OK;
            });
    EXPECT_CALL(*m_shutdown, NotifyProcessShutdown()).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_shutdown, DoFastShutdown()).WillOnce(Return(S_OK));
    const auto hook = releaseAt("MAPI session closed");
    MapiSide side;
    side.shutdown();
    EXPECT_THAT(mainThreadLines(),
                ElementsAre("Closing MAPI session...", tryFastShutdown, "MAPI session closed", "Done"));
    EXPECT_TRUE(mapi::Session::s_session == nullptr);
}

TEST_F(MapiSideTest, JoinsTheWorkerAfterTheSessionIsClosedAndBeforeItIsDone)
{
    expectWorker();
    m_session->answerInterface(IID_IMAPIClientShutdown, S_OK, m_shutdown.get());
    EXPECT_CALL(*m_shutdown, QueryFastShutdown()).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_shutdown, NotifyProcessShutdown()).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_shutdown, DoFastShutdown()).WillOnce(Return(S_OK));
    const auto hook = releaseAt("MAPI session closed");
    MapiSide side;
    side.shutdown();
    EXPECT_THAT(withoutLineNumbers(m_log.lines()),
                ElementsAre("Start MAPI thread...", "Closing MAPI session...", tryFastShutdown, "MAPI session closed",
                            "An exception has been caught in AsyncMapiHelper::run : mapi::Session::enumerateStores, "
                            "line N: hr = 0x80004005(MAPI call failed)",
                            "MAPI thread finished", "Done"));
}

TEST_F(MapiSideTest, LogsOffWhenTheFastShutdownFails)
{
    expectWorker();
    m_session->answerInterface(IID_IMAPIClientShutdown, S_OK, m_shutdown.get());
    EXPECT_CALL(*m_shutdown, QueryFastShutdown()).WillOnce(Return(S_FALSE)); // a warning is a failure here
    EXPECT_CALL(*m_session, Logoff(0, 0, 0)).WillOnce(Return(S_OK));
    const auto hook = releaseAt("MAPI session closed");
    MapiSide side;
    side.shutdown();
    EXPECT_THAT(withoutLineNumbers(mainThreadLines()),
                ElementsAre("Closing MAPI session...", tryFastShutdown,
                            "HRESULT logged: mapi::Session::shutdown, line N: hr = 0x1(Fast shutdown is either not "
                            "supported or disabled by system administrator)",
                            "Logoff...", "MAPI session closed", "Done"));
}

TEST_F(MapiSideTest, ClosesNothingWithoutASession)
{
    expectWorker();
    release();
    MapiSide side;
    awaitThreadClose();
    mapi::Session::s_session = nullptr;
    side.shutdown();
    EXPECT_THAT(mainThreadLines(), ElementsAre("Done"));
}

TEST_F(MapiSideTest, WaitsForTheWorkerWithoutStoppingItWhenItIsUnwound)
{
    expectWorker();
    auto side = std::make_unique<MapiSide>();
    auto unwound = std::async(std::launch::async, [&] { side.reset(); });
    EXPECT_EQ(unwound.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_FALSE(utilities::stopRequested);
    release();
    EXPECT_EQ(unwound.wait_for(support::deadline), std::future_status::ready);
    EXPECT_EQ(m_log.lines().back(), "MAPI thread finished");
    EXPECT_EQ(m_runtime.calls().back(), "MAPIUninitialize");
    awaitThreadClose();
}
} // namespace
