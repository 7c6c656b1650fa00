// The worker's whole sequence, from the stores to the pump and the end, over a mailbox of mocks and the host's pipe.
#include "agent/AsyncMapiHelper.h"

#include <windows.h>

#include <chrono>
#include <optional>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "agent/MapiSide.h"
#include "tests/agent/HostPipe.h"
#include "tests/agent/LogWatch.h"
#include "tests/agent/MailboxMocks.h"
#include "tests/support/Handle.h"
#include "tests/support/ImportHook.h"
#include "tests/support/MapiTest.h"
#include "tests/support/Platform.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;
using testing::Return;

/// Two public stores with a contact each: those are read like all others and never advised.
class SyncSequenceTest : public MapiTest
{
protected:
    SyncSequenceTest()
    {
        MSG message{};
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE); // makes this thread's queue, for the worker to post to
    }
    ~SyncSequenceTest() override
    {
        MSG message{};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        {
        }
    }

    /// Runs the worker on this thread, with the session open as the main thread leaves it.
    void runWorker()
    {
        mapi::Session::s_session = m_session.session.pointer();
        AsyncMapiHelper::run(0);
    }

    /// The lines of the log from this one on.
    [[nodiscard]] std::vector<std::string> logFrom(const std::string& line) const
    {
        auto lines = log();
        lines.erase(lines.begin(), std::ranges::find(lines, line));
        return lines;
    }

    static void waitUntilStopIsRequested()
    {
        while (!utilities::stopRequested)
            std::this_thread::yield();
    }

    ContactMock m_anna{{0x0A}, L"Anna"};
    ContactMock m_ola{{0x0B}, L"Ola"};
    FolderMock m_firstRoot{{0x01}, contactFolder(), {&m_anna}};
    FolderMock m_secondRoot{{0x02}, contactFolder(), {&m_ola}};
    StoreMock m_first{{0xA0}, m_firstRoot, true};
    StoreMock m_second{{0xB0}, m_secondRoot, true};
    SessionMock m_session{{storeRow(m_second, L"second"), storeRow(m_first, L"first", true)}};
    HostPipe m_host;
};

const std::string firstMessage = request("2;snapshot;contact;0;2\nAnna;;;;;;;;;;0A;");
const std::string secondMessage = request("2;snapshot;contact;1;2\nOla;;;;;;;;;;0B;");

TEST_F(SyncSequenceTest, ReadsAndSendsAllStoresBeforeItSubscribesToTheFirst)
{
    const PipeServer& host = m_host.start();
    const auto hook = whenLogged("Subscribe to second",
                                 [&]
                                 {
                                     EXPECT_THAT(host.requests(), ElementsAre(firstMessage, secondMessage));
                                     utilities::requestStop();
                                 });
    runWorker();
    std::vector<std::string> lines = log();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("Event tracking"); });
    EXPECT_THAT(lines, ElementsAre("Start MAPI thread...", //
                                   "Message Store found: second (Provider), Default: false, Public: false, EntryId: B0",
                                   "Message Store found: first (Provider), Default: true, Public: false, EntryId: A0",
                                   "createSnapshot for \"first\" started",
                                   "createSnapshot for \"first\": 1 contact(s) found", //
                                   "Sending data:", "| 2;snapshot;contact;0;2", "| Anna;;;;;;;;;;0A;",
                                   "createSnapshot for \"second\" started",
                                   "createSnapshot for \"second\": 1 contact(s) found", //
                                   "Sending data:", "| 2;snapshot;contact;1;2", "| Ola;;;;;;;;;;0B;",
                                   "Subscribe to first", "Subscribe to second", //
                                   "MAPI thread finished"));
}

TEST_F(SyncSequenceTest, ReleasesTheStoresBeforeItReleasesMapi)
{
    m_host.start();
    long storeReferences = 0;
    m_runtime.whenCalled(TestRuntime::Call::Uninitialize,
                         [&] { storeReferences = m_first.store->references() + m_second.store->references(); });
    const auto hook = whenLogged("Subscribe to second", [] { utilities::requestStop(); });
    runWorker();
    EXPECT_EQ(storeReferences, 2); // those of the mocks' owners
    EXPECT_THAT(m_runtime.liveBlocks(), testing::IsEmpty());
}

TEST_F(SyncSequenceTest, PumpsItsQueueOnceAllStoresAreSubscribed)
{
    m_host.start();
    const auto subscribed =
        whenLogged("Subscribe to second", [] { ASSERT_TRUE(PostThreadMessageW(GetCurrentThreadId(), WM_APP, 0, 0)); });
    const auto dispatch = hookImport<"DispatchMessageW">(DispatchMessageW,
                                                         [&](auto, const MSG* message) -> LRESULT
                                                         {
                                                             EXPECT_EQ(message->message, UINT{WM_APP});
                                                             utilities::requestStop();
                                                             return 0;
                                                         });
    runWorker();
    EXPECT_EQ(dispatch.count(), 1u);
}

TEST_F(SyncSequenceTest, SendsFromItsPumpWhatChangesInAStoreThatItWatches)
{
    FolderMock root({0x03}, contactFolder());
    StoreMock own({0xC0}, root);
    const SessionMock session({storeRow(own, L"own", true)});
    giveComparisons(session.session);
    const PipeServer& host = m_host.start();
    IMAPIAdviseSinkPtr sink;
    EXPECT_CALL(*own.store, Advise(0, nullptr, 0xFC, _, _))
        .WillOnce(
            [&](ULONG, ENTRYID*, ULONG, IMAPIAdviseSink* advised, ULONG_PTR* connection)
            {
                sink = advised;
                *connection = 7;
                // A change before the walk is told once the pump runs.
                EXPECT_TRUE(PostThreadMessageW(GetCurrentThreadId(), WM_APP, 0, 0));
                return S_OK;
            });
    EXPECT_CALL(*own.store, Unadvise(7)).WillOnce(Return(S_OK));
    const auto dispatch = hookImport<"DispatchMessageW">(
        DispatchMessageW,
        [&](auto, const MSG*) -> LRESULT
        {
            const EntryId contact = {0x00, 0x01};
            NOTIFICATION notification{};
            notification.ulEventType = fnevObjectDeleted;
            notification.info.obj.ulObjType = MAPI_MESSAGE;
            notification.info.obj.cbEntryID = mapi::entryIdSize(contact);
            notification.info.obj.lpEntryID = mapi::entryIdBytes(contact);
            notification.info.obj.cbParentID = mapi::entryIdSize(root.id);
            notification.info.obj.lpParentID = mapi::entryIdBytes(root.id);
            EXPECT_EQ(sink->OnNotify(1, &notification), 0u);
            EXPECT_THAT(host.requests(), ElementsAre(request("2;delete;contact;0;1\n;;;;;;;;;;0001;")));
            sink = nullptr;
            utilities::requestStop();
            return 0;
        });
    mapi::Session::s_session = session.session.pointer();
    AsyncMapiHelper::run(0);
    mapi::Session::s_session = nullptr;
    EXPECT_EQ(dispatch.count(), 1u);
    EXPECT_THAT(logFrom("Subscribe to own"),
                ElementsAre("Subscribe to own",
                            "Maybe Contacts folder (cannot resolve) registered as known notification source",
                            "HRESULT logged: `anonymous-namespace'::logNotification, line N: hr = 0x8004010f",
                            testing::StartsWith("Notification 8 for (cannot resolve) of type 5, EntryId hash = "),
                            "Sending data:", "| 2;delete;contact;0;1", "| ;;;;;;;;;;0001;", "Unadvise hr = 0",
                            "MAPI thread finished"));
}

TEST_F(SyncSequenceTest, EndsTheWorkerWhenThereIsNoHost)
{
    runWorker();
    EXPECT_THAT(logFrom("Sending data:"),
                ElementsAre("Sending data:", "| 2;snapshot;contact;0;2", "| Anna;;;;;;;;;;0A;", noPipe,
                            "An exception has been caught in AsyncMapiHelper::run : Unable to send data through ipc "
                            "channel",
                            "MAPI thread finished"));
    EXPECT_TRUE(utilities::stopRequested);
}

TEST_F(SyncSequenceTest, SubscribesNothingWhenTheHostRefusesALaterStore)
{
    const PipeServer& host = m_host.start({PipeReply::text("ack"), PipeReply::text("nak")});
    runWorker();
    EXPECT_THAT(host.requests(), ElementsAre(firstMessage, secondMessage));
    EXPECT_THAT(log(), Not(Contains(testing::StartsWith("Subscribe to"))));
    EXPECT_THAT(log(), IsSupersetOf({"An exception has been caught in AsyncMapiHelper::run : Unable to send data "
                                     "through ipc channel",
                                     "MAPI thread finished"}));
}

TEST_F(SyncSequenceTest, EndsTheWorkerWhenNoStoreCanBeOpened)
{
    EXPECT_CALL(*m_session.session, OpenMsgStore(_, _, _, _, _, _)).WillRepeatedly(Return(MAPI_E_NO_ACCESS));
    runWorker();
    EXPECT_THAT(logFrom("Ignore message store \"first\" - cannot open."),
                ElementsAre("Ignore message store \"first\" - cannot open.",
                            "An exception has been caught in AsyncMapiHelper::run : SyncManager::createWatchers: "
                            "Cannot find message stores for synchronization",
                            "MAPI thread finished"));
}

TEST_F(SyncSequenceTest, ReportsACancelledSnapshotAndSendsNothingFurther)
{
    const PipeServer& host = m_host.start();
    EXPECT_CALL(*m_secondRoot.contents, SetColumns(_, _))
        .WillOnce(
            [](SPropTagArray*, ULONG)
            {
                utilities::requestStop();
                return S_OK;
            });
    EXPECT_CALL(*m_secondRoot.contents, QueryRows(_, _, _))
        .WillOnce(givesRows({{Property::bytes(PR_ENTRYID, m_ola.id)}}));
    runWorker();
    EXPECT_THAT(host.requests(), ElementsAre(firstMessage));
    EXPECT_THAT(logFrom("createSnapshot for \"second\" started"),
                ElementsAre("createSnapshot for \"second\" started",
                            "An exception has been caught in AsyncMapiHelper::run : mapi::Rowset::enumerate: cancelled "
                            "by request",
                            "MAPI thread finished"));
}

// ---- With the main thread ------------------------------------------------------------------------------------------

TEST_F(SyncSequenceTest, RunsOnAThreadOfItsOwnThatInitialisesMapiForItself)
{
    std::vector<DWORD> threads; // the main thread is done with its call before the worker starts
    m_runtime.setSession(m_session.session.get());
    m_runtime.whenCalled(TestRuntime::Call::Initialize, [&] { threads.push_back(GetCurrentThreadId()); });
    EXPECT_CALL(*m_session.session, GetMsgStoresTable(_, _))
        .WillOnce(
            [&](ULONG, IMAPITable**)
            {
                threads.push_back(GetCurrentThreadId());
                return MAPI_E_CALL_FAILED;
            });
    {
        MapiSide side;
        side.shutdown();
    }
    ASSERT_THAT(threads, testing::SizeIs(3));
    EXPECT_EQ(threads[0], GetCurrentThreadId());
    EXPECT_NE(threads[1], threads[0]);
    EXPECT_EQ(threads[2], threads[1]);
}

TEST_F(SyncSequenceTest, IsLoggedOffWhenThePumpEndsInTime)
{
    m_host.start();
    m_runtime.setSession(m_session.session.get());
    const Handle subscribed = makeEvent();
    const auto hook = whenLogged("Subscribe to second", [&] { SetEvent(subscribed.get()); });
    EXPECT_CALL(*m_session.session, Logoff(0, 0, 0)).WillOnce(Return(S_OK));
    {
        MapiSide side;
        ASSERT_EQ(WaitForSingleObject(subscribed.get(), INFINITE), WAIT_OBJECT_0);
        side.shutdown();
        EXPECT_EQ(m_session.session->references(), 1);
    }
    EXPECT_THAT(logFrom("MAPI thread finished"), ElementsAre("MAPI thread finished", "Closing MAPI session...",
                                                             "Logoff...", "MAPI session closed", "Done"));
}

TEST_F(SyncSequenceTest, IsLoggedOffWhenTheSnapshotIsCancelledInTime)
{
    m_runtime.setSession(m_session.session.get());
    const Handle reading = makeEvent();
    EXPECT_CALL(*m_firstRoot.contents, QueryRows(_, _, _))
        .WillOnce(
            [&](LONG count, ULONG flags, SRowSet** rows)
            {
                SetEvent(reading.get());
                waitUntilStopIsRequested();
                return givesRows({{Property::bytes(PR_ENTRYID, m_anna.id)}})(count, flags, rows);
            });
    EXPECT_CALL(*m_session.session, Logoff(0, 0, 0)).WillOnce(Return(S_OK));
    {
        MapiSide side;
        ASSERT_EQ(WaitForSingleObject(reading.get(), INFINITE), WAIT_OBJECT_0);
        side.shutdown();
    }
    EXPECT_THAT(logFrom("createSnapshot for \"first\" started"),
                ElementsAre("createSnapshot for \"first\" started",
                            "An exception has been caught in AsyncMapiHelper::run : mapi::Rowset::enumerate: cancelled "
                            "by request",
                            "MAPI thread finished", "Closing MAPI session...", "Logoff...", "MAPI session closed",
                            "Done"));
}

TEST_F(SyncSequenceTest, IsGivenTimeBeforeTheSessionIsClosedUnderIt)
{
    using Clock = std::chrono::steady_clock;
    m_runtime.setSession(m_session.session.get());
    const Handle closed = makeEvent();
    Clock::time_point closing;
    const auto hook = hookImport<"WriteFile">(
        WriteFile,
        [&](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            const std::string_view record(static_cast<const char*>(data), size);
            if (record.ends_with("Closing MAPI session..."))
                closing = Clock::now();
            const BOOL result = original(file, data, size, written, overlapped);
            if (record.ends_with("MAPI session closed"))
                SetEvent(closed.get());
            return result;
        });
    EXPECT_CALL(*m_session.session, GetMsgStoresTable(_, _))
        .WillOnce(
            [&](ULONG, IMAPITable**)
            {
                EXPECT_EQ(WaitForSingleObject(closed.get(), INFINITE), WAIT_OBJECT_0);
                return MAPI_E_CALL_FAILED;
            });
    MapiSide side;
    const auto asked = Clock::now();
    side.shutdown();
    EXPECT_GE(closing - asked, std::chrono::milliseconds(490)); // half a second, but for the clock's steps
    EXPECT_THAT(log(), ElementsAre("Start MAPI thread...", "Closing MAPI session...",
                                   "Try to shutdown MAPI fast (if we can do this, failed MAPI calls may be reported.)",
                                   "HRESULT logged: mapi::Session::shutdown, line N: hr = 0x80004002(Fast shutdown is "
                                   "not supported)",
                                   "Logoff...", "MAPI session closed",
                                   "An exception has been caught in AsyncMapiHelper::run : "
                                   "mapi::Session::enumerateStores, line N: hr = 0x80004005(MAPI call failed)",
                                   "MAPI thread finished", "Done"));
}

TEST_F(SyncSequenceTest, ClosesTheSessionAlsoWhenTheLogoffFails)
{
    m_runtime.setSession(m_session.session.get());
    EXPECT_CALL(*m_session.session, GetMsgStoresTable(_, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_CALL(*m_session.session, Logoff(0, 0, 0)).WillOnce(Return(S_FALSE));
    const Handle ended = makeEvent();
    const auto hook = whenLogged("MAPI thread finished", [&] { SetEvent(ended.get()); });
    MapiSide side;
    ASSERT_EQ(WaitForSingleObject(ended.get(), INFINITE), WAIT_OBJECT_0);
    side.shutdown();
    EXPECT_TRUE(mapi::Session::s_session == nullptr);
    EXPECT_THAT(logFrom("MAPI thread finished"),
                ElementsAre("MAPI thread finished", "Closing MAPI session...", "Logoff...",
                            "HRESULT logged: mapi::Session::logoff, line N: hr = 0x1", "MAPI session closed", "Done"));
}
} // namespace
