#include "agent/mapi/MapiSession.h"

#include <memory>
#include <type_traits>

#include <gmock/gmock.h>

#include "agent/mapi/MapiRuntime.h"
#include "tests/support/Failures.h"
#include "tests/support/ImportHook.h"
#include "tests/support/LineNumbers.h"
#include "tests/support/MapiMocks.h"
#include "tests/support/MapiTest.h"
#include "tests/support/RegistryOverride.h"

namespace
{
using mapi::Session;
using support::MockClientShutdown;
using support::Mocked;
using support::MockSession;
using support::thrownBy;
using support::withoutLineNumbers;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using Call = support::TestRuntime::Call;

static_assert(std::is_empty_v<Session>);
static_assert(!std::is_copy_constructible_v<Session>);

constexpr HRESULT warning = 0x00040203;
constexpr HRESULT logonFailed = static_cast<HRESULT>(0x80040111);

class MapiSessionTest : public support::MapiTest
{
protected:
    void useSession() { Session::s_session = m_session.pointer(); }

    /// The lines of the log, with N for the numbers of source lines.
    [[nodiscard]] std::vector<std::string> lines() const { return withoutLineNumbers(m_log.lines()); }

    Mocked<MockSession> m_session;
};

// ---- A thread's initialisation -------------------------------------------------------------------------------------

TEST_F(MapiSessionTest, InitialisesAndUninitialisesTheThread)
{
    {
        const Session guard;
        EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIInitialize null"));
    }
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIInitialize null", "MAPIUninitialize"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(MapiSessionTest, TakesAWarningForInitialised)
{
    m_runtime.plan(Call::Initialize, warning);
    {
        const Session guard;
    }
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIInitialize null", "MAPIUninitialize"));
}

TEST_F(MapiSessionTest, ThrowsAndUninitialisesNothingWhenInitialisingFails)
{
    m_runtime.plan(Call::Initialize, MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(withoutLineNumbers(thrownBy([] { const Session guard; })),
              L"mapi::Session::Session, line N: hr = 0x8007000e(Initialize MAPI)");
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIInitialize null"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

/// While it lives, the machine has no MAPI runtime.
class WithoutRuntime
{
public:
    WithoutRuntime() : m_module(mapi::mapiModule.exchange(nullptr)) {}
    ~WithoutRuntime() { mapi::mapiModule = m_module; }
    WithoutRuntime(const WithoutRuntime&) = delete;
    WithoutRuntime& operator=(const WithoutRuntime&) = delete;

private:
    HMODULE m_module;
    support::RegistryOverride m_registry;
    decltype(support::hookImport<"GetSystemDirectoryW">(GetSystemDirectoryW, nullptr)) m_hook =
        support::hookImport<"GetSystemDirectoryW">(GetSystemDirectoryW, [](auto, LPWSTR, UINT) { return 0u; });
};

TEST_F(MapiSessionTest, ThrowsWhenTheMachineHasNoRuntime)
{
    const WithoutRuntime none;
    EXPECT_EQ(withoutLineNumbers(thrownBy([] { const Session guard; })),
              L"mapi::Session::Session, line N: hr = 0x80004005(Initialize MAPI)");
    EXPECT_EQ(withoutLineNumbers(thrownBy([] { Session::open(); })),
              L"mapi::Session::open, line N: hr = 0x80004005(Logon to MAPI)");
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(MapiSessionTest, EndsSilentlyWhenUninitialisingCannotBeHad)
{
    auto session = std::make_unique<Session>();
    {
        const WithoutRuntime none;
        EXPECT_NO_THROW(session.reset());
    }
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIInitialize null"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

// ---- Logon ---------------------------------------------------------------------------------------------------------

TEST_F(MapiSessionTest, OpensTheDefaultProfileWithOneReference)
{
    m_runtime.setSession(m_session.get());
    Session::open();
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPILogonEx 0, null, null, 80000063"));
    EXPECT_EQ(Session::s_session.GetInterfacePtr(), m_session.get());
    EXPECT_EQ(m_session->references(), 2); // the test's and the agent's
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(MapiSessionTest, TakesAWarningForALogon)
{
    m_runtime.setSession(m_session.get());
    m_runtime.plan(Call::LogonEx, warning);
    Session::open();
    EXPECT_EQ(Session::s_session.GetInterfacePtr(), m_session.get());
}

TEST_F(MapiSessionTest, ThrowsAndHasNoSessionWhenTheLogonFails)
{
    m_runtime.plan(Call::LogonEx, logonFailed);
    EXPECT_EQ(withoutLineNumbers(thrownBy([] { Session::open(); })),
              L"mapi::Session::open, line N: hr = 0x80040111(Logon to MAPI)");
    EXPECT_TRUE(Session::s_session == nullptr);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(MapiSessionTest, ThrowsAndKeepsTheFirstSessionWhenOpenedTwice)
{
    m_runtime.setSession(m_session.get());
    Session::open();
    const Mocked<MockSession> other;
    m_runtime.setSession(other.get());
    EXPECT_EQ(withoutLineNumbers(thrownBy([] { Session::open(); })),
              L"MAPI session is already active (mapi::Session::open in MapiSession.cpp, line N)");
    EXPECT_EQ(Session::s_session.GetInterfacePtr(), m_session.get());
    EXPECT_EQ(m_session->references(), 2);
    EXPECT_THAT(m_runtime.calls(), testing::SizeIs(1)); // no second logon
}

TEST_F(MapiSessionTest, CanBeOpenedAgainWhenItWasReleased)
{
    m_runtime.setSession(m_session.get());
    Session::open();
    Session::s_session = nullptr;
    EXPECT_EQ(m_session->references(), 1);
    Session::open();
    EXPECT_EQ(Session::s_session.GetInterfacePtr(), m_session.get());
}

// ---- Logoff --------------------------------------------------------------------------------------------------------

TEST_F(MapiSessionTest, LogsOffAndKeepsTheSession)
{
    useSession();
    EXPECT_CALL(*m_session, Logoff(0, 0, 0)).WillOnce(Return(S_OK));
    Session::logoff();
    EXPECT_THAT(m_log.lines(), ElementsAre("Logoff..."));
    EXPECT_EQ(Session::s_session.GetInterfacePtr(), m_session.get());
}

TEST_F(MapiSessionTest, LogsAnyResultOfALogoffButZero)
{
    useSession();
    EXPECT_CALL(*m_session, Logoff(0, 0, 0)).WillOnce(Return(MAPI_E_CALL_FAILED)).WillOnce(Return(warning));
    EXPECT_NO_THROW(Session::logoff());
    EXPECT_NO_THROW(Session::logoff());
    EXPECT_THAT(lines(), ElementsAre("Logoff...", "HRESULT logged: mapi::Session::logoff, line N: hr = 0x80004005",
                                     "Logoff...", "HRESULT logged: mapi::Session::logoff, line N: hr = 0x40203"));
    EXPECT_EQ(Session::s_session.GetInterfacePtr(), m_session.get());
}

TEST_F(MapiSessionTest, DoesNothingAtAllWithoutASession)
{
    Session::logoff();
    EXPECT_EQ(Session::shutdown(), S_OK);
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

// ---- Fast shutdown -------------------------------------------------------------------------------------------------

class FastShutdownTest : public MapiSessionTest
{
protected:
    FastShutdownTest()
    {
        useSession();
        m_session->answerInterface(IID_IMAPIClientShutdown, S_OK, m_shutdown.get());
    }

    /// The log of a sequence that was ended by a step with this text.
    void expectEnd(const std::string& result, const std::string& text) const
    {
        EXPECT_THAT(lines(), ElementsAre("Try to shutdown MAPI fast (if we can do this, failed MAPI calls may be "
                                         "reported.)",
                                         "HRESULT logged: mapi::Session::shutdown, line N: hr = 0x" + result + "(" +
                                             text + ")"));
        EXPECT_EQ(m_shutdown->references(), 1); // released on every way out
        EXPECT_EQ(Session::s_session.GetInterfacePtr(), m_session.get());
    }

    Mocked<MockClientShutdown> m_shutdown;
    testing::InSequence m_inSequence;
};

TEST_F(FastShutdownTest, GoesThroughInOrder)
{
    EXPECT_CALL(*m_shutdown, QueryFastShutdown()).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_shutdown, NotifyProcessShutdown()).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_shutdown, DoFastShutdown()).WillOnce(Return(S_OK));
    EXPECT_EQ(Session::shutdown(), S_OK);
    EXPECT_THAT(m_log.lines(),
                ElementsAre("Try to shutdown MAPI fast (if we can do this, failed MAPI calls may be reported.)"));
    EXPECT_EQ(m_shutdown->references(), 1);
    EXPECT_EQ(Session::s_session.GetInterfacePtr(), m_session.get()); // neither logged off nor released
    EXPECT_EQ(m_session->references(), 2);
}

TEST_F(FastShutdownTest, EndsWhenTheProviderHasNone)
{
    m_session->answerInterface(IID_IMAPIClientShutdown, MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_EQ(Session::shutdown(), MAPI_E_INTERFACE_NOT_SUPPORTED);
    expectEnd("80004002", "Fast shutdown is not supported");
}

TEST_F(FastShutdownTest, EndsWhenTheInterfaceComesWithAWarning)
{
    m_session->answerInterface(IID_IMAPIClientShutdown, warning, m_shutdown.get());
    EXPECT_EQ(Session::shutdown(), warning);
    expectEnd("40203", "Fast shutdown is not supported");
}

TEST_F(FastShutdownTest, EndsWhenItIsDisabled)
{
    EXPECT_CALL(*m_shutdown, QueryFastShutdown()).WillOnce(Return(MAPI_E_NO_SUPPORT));
    EXPECT_EQ(Session::shutdown(), MAPI_E_NO_SUPPORT);
    expectEnd("80040102", "Fast shutdown is either not supported or disabled by system administrator");
}

TEST_F(FastShutdownTest, EndsWhenTheQueryGivesAWarning)
{
    EXPECT_CALL(*m_shutdown, QueryFastShutdown()).WillOnce(Return(warning));
    EXPECT_EQ(Session::shutdown(), warning);
    expectEnd("40203", "Fast shutdown is either not supported or disabled by system administrator");
}

TEST_F(FastShutdownTest, EndsWhenTheNotificationFails)
{
    EXPECT_CALL(*m_shutdown, QueryFastShutdown()).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_shutdown, NotifyProcessShutdown()).WillOnce(Return(S_FALSE));
    EXPECT_EQ(Session::shutdown(), S_FALSE);
    expectEnd("1", "Fast shutdown notification failed");
}

TEST_F(FastShutdownTest, TellsWhenTheShutdownItselfFails)
{
    EXPECT_CALL(*m_shutdown, QueryFastShutdown()).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_shutdown, NotifyProcessShutdown()).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_shutdown, DoFastShutdown()).WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_EQ(Session::shutdown(), MAPI_E_CALL_FAILED);
    expectEnd("80004005", "Fast shutdown failed");
}

TEST_F(FastShutdownTest, RaisesAComErrorWhenTheInterfaceIsNull)
{
    m_session->answerInterface(IID_IMAPIClientShutdown, S_OK, nullptr);
    try
    {
        Session::shutdown();
        ADD_FAILURE() << "nothing was raised";
    }
    catch (const _com_error& error)
    {
        EXPECT_EQ(error.Error(), E_POINTER);
    }
}
} // namespace
