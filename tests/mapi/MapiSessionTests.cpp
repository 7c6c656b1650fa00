#include "agent/mapi/MapiSession.h"

#include <sstream>
#include <type_traits>

#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiMocks.h"

namespace
{
using namespace tests;
using mapi::Session;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

static_assert(std::is_empty_v<Session>);
static_assert(!std::is_copy_constructible_v<Session>);

class SessionTest : public MapiTest
{
};

// ---- A thread's initialisation, logon and logoff -------------------------------------------------------------------

TEST_F(SessionTest, InitializesAndUninitializesTheThreadAlsoWithAWarning)
{
    for (const HRESULT result : {S_OK, warning})
    {
        plan("MAPIInitialize", result);
        startJournal();
        {
            const Session guard;
            EXPECT_THAT(takeCalls(), ElementsAre("MAPIInitialize"));
        }
        EXPECT_THAT(takeCalls(), ElementsAre("MAPIUninitialize"));
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SessionTest, ThrowsAndUninitializesNothingWhenInitializingFails)
{
    plan("MAPIInitialize", MAPI_E_NOT_ENOUGH_MEMORY);
    startJournal();
    EXPECT_EQ(thrown([] { const Session guard; }), L"mapi::Session::Session, line N: hr = 0x8007000e(Initialize MAPI)");
    EXPECT_THAT(takeCalls(), ElementsAre("MAPIInitialize"));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SessionTest, ThrowsWhenTheMachineHasNoRuntime)
{
    hideRuntime();
    EXPECT_EQ(thrown([] { const Session guard; }), L"mapi::Session::Session, line N: hr = 0x80004005(Initialize MAPI)");
    EXPECT_EQ(thrown([] { Session::open(); }), L"mapi::Session::open, line N: hr = 0x80004005(Logon to MAPI)");
    showRuntime();
}

TEST_F(SessionTest, OpensTheDefaultProfileWithOneReferenceAlsoWithAWarning)
{
    for (const HRESULT result : {S_OK, warning})
    {
        plan("MAPILogonEx", result);
        startJournal();
        Session::open();
        EXPECT_THAT(takeCalls(), ElementsAre("MAPILogonEx null null 0x80000063 0x0"));
        EXPECT_EQ(sandbox().sandboxLiveReferences(), 1);
        Session::s_session = nullptr; // and it can be opened again
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SessionTest, ThrowsAndHasNoSessionWhenTheLogonFails)
{
    plan("MAPILogonEx", MAPI_E_LOGON_FAILED);
    EXPECT_EQ(thrown([] { Session::open(); }), L"mapi::Session::open, line N: hr = 0x80040111(Logon to MAPI)");
    EXPECT_TRUE(Session::s_session == nullptr);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SessionTest, ThrowsAndKeepsTheFirstSessionWhenOpenedTwice)
{
    Session::open();
    IMAPISession* const first = Session::s_session;
    startJournal();
    EXPECT_EQ(thrown([] { Session::open(); }),
              L"MAPI session is already active (mapi::Session::open in MapiSession.cpp, line N)");
    EXPECT_EQ(Session::s_session.GetInterfacePtr(), first);
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(SessionTest, DoesNothingAtAllAtTheEndWithoutASession)
{
    startJournal();
    Session::logoff();
    EXPECT_EQ(Session::shutdown(), S_OK);
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(SessionTest, LogsOffKeepsTheSessionAndLogsAnyResultButZero)
{
    const Mocked<MockSession> session;
    Session::s_session = session.pointer();
    EXPECT_CALL(*session, Logoff(0, 0, 0))
        .WillOnce(Return(S_OK))
        .WillOnce(Return(MAPI_E_CALL_FAILED))
        .WillOnce(Return(warning));
    for (int call = 0; call < 3; ++call)
        EXPECT_NO_THROW(Session::logoff());
    EXPECT_THAT(log(),
                ElementsAre("Logoff...", "Logoff...", "HRESULT logged: mapi::Session::logoff, line N: hr = 0x80004005",
                            "Logoff...", "HRESULT logged: mapi::Session::logoff, line N: hr = 0x40380"));
    EXPECT_EQ(Session::s_session.GetInterfacePtr(), session.get());
    Session::s_session = nullptr;
}

TEST_F(SessionTest, LogsOffASessionThatIsItsOwnMeanwhile)
{
    const Mocked<MockSession> session;
    Session::s_session = session.pointer();
    EXPECT_CALL(*session, Logoff(_, _, _))
        .WillOnce(
            [&session](auto...)
            {
                Session::s_session = nullptr;
                EXPECT_EQ(session->references(), 2);
                return S_OK;
            });
    Session::logoff();
}

// The other operations have no session then, and say so.
TEST_F(SessionTest, HasNoSessionWhenTheLogonGivesNone)
{
    const RuntimeFunction none(
        "MAPILogonEx",
        +[](ULONG_PTR, void*, void*, ULONG, IMAPISession** session) -> HRESULT
        {
            *session = nullptr;
            return S_OK;
        });
    Session::open();
    EXPECT_TRUE(Session::s_session == nullptr);
}

// ---- Fast shutdown -------------------------------------------------------------------------------------------------

class FastShutdownTest : public SessionTest
{
protected:
    FastShutdownTest()
    {
        Session::s_session = m_session.pointer();
        m_session->answerInterface(IID_IMAPIClientShutdown, S_OK, m_shutdown.get());
    }
    ~FastShutdownTest() override
    {
        EXPECT_EQ(Session::s_session.GetInterfacePtr(), m_session.get()); // neither logged off nor released
        Session::s_session = nullptr;
    }

    /// The sequence ends with this result and a line in the log.
    void expectEnd(HRESULT result, const std::string& text)
    {
        EXPECT_EQ(Session::shutdown(), result);
        std::ostringstream hex;
        hex << std::hex << static_cast<ULONG>(result);
        EXPECT_EQ(log().back(),
                  "HRESULT logged: mapi::Session::shutdown, line N: hr = 0x" + hex.str() + "(" + text + ")");
    }

    const Mocked<MockSession> m_session;
    const Mocked<MockClientShutdown> m_shutdown;
};

TEST_F(FastShutdownTest, GoesThroughWithOneLine)
{
    EXPECT_CALL(*m_shutdown, QueryFastShutdown());
    EXPECT_CALL(*m_shutdown, NotifyProcessShutdown());
    EXPECT_CALL(*m_shutdown, DoFastShutdown());
    EXPECT_EQ(Session::shutdown(), S_OK);
    EXPECT_THAT(log(),
                ElementsAre("Try to shutdown MAPI fast (if we can do this, failed MAPI calls may be reported.)"));
}

TEST_F(FastShutdownTest, EndsWithTheFirstStepThatGivesAnythingButZero)
{
    const std::string unsupported = "Fast shutdown is not supported";
    const std::string disabled = "Fast shutdown is either not supported or disabled by system administrator";
    EXPECT_CALL(*m_shutdown, DoFastShutdown()).WillOnce(Return(MAPI_E_CALL_FAILED));
    expectEnd(MAPI_E_CALL_FAILED, "Fast shutdown failed");
    EXPECT_CALL(*m_shutdown, NotifyProcessShutdown()).WillOnce(Return(S_FALSE));
    expectEnd(S_FALSE, "Fast shutdown notification failed");
    EXPECT_CALL(*m_shutdown, QueryFastShutdown()).WillOnce(Return(MAPI_E_NO_SUPPORT)).WillOnce(Return(warning));
    expectEnd(MAPI_E_NO_SUPPORT, disabled);
    expectEnd(warning, disabled);
    m_session->answerInterface(IID_IMAPIClientShutdown, MAPI_E_INTERFACE_NOT_SUPPORTED);
    expectEnd(MAPI_E_INTERFACE_NOT_SUPPORTED, unsupported);
    m_session->answerInterface(IID_IMAPIClientShutdown, warning, m_shutdown.get());
    expectEnd(warning, unsupported);
}

TEST_F(FastShutdownTest, HoldsTheSessionMeanwhile)
{
    EXPECT_CALL(*m_shutdown, QueryFastShutdown())
        .WillOnce(
            [this]
            {
                Session::s_session = nullptr;
                EXPECT_EQ(m_session->references(), 2);
                Session::s_session = m_session.pointer();
                return S_OK;
            });
    EXPECT_EQ(Session::shutdown(), S_OK);
}

TEST_F(FastShutdownTest, RaisesAComErrorWhenTheInterfaceIsNull)
{
    m_session->answerInterface(IID_IMAPIClientShutdown, S_OK, nullptr);
    EXPECT_THROW(Session::shutdown(), _com_error);
}
} // namespace
