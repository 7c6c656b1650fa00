// How the notifications of a store reach a sink: by which threads, when, in which order and in what memory. The test's own
// thread is the one that initialised MAPI first.
#include <atomic>
#include <optional>
#include <thread>

#include "tests/sandbox/NotifyTest.h"
#include "tests/support/Handle.h"

using namespace sandboxtest;
using testing::Each;
using testing::ElementsAre;

namespace
{
/// A thread with a wrapped sink that handles its messages until `end`.
class WatchingThread
{
public:
    /// Begins to watch before this returns, and to handle messages when it is asked to look for the first time, or to end.
    WatchingThread(SandboxDll& dll, IMsgStore* store, IMAPIAdviseSink* sink)
        : m_thread([this, &dll, store, sink] { run(dll, store, sink); })
    {
        EXPECT_EQ(WaitForSingleObject(m_ready.get(), INFINITE), WAIT_OBJECT_0);
    }
    WatchingThread(const WatchingThread&) = delete;
    WatchingThread& operator=(const WatchingThread&) = delete;
    ~WatchingThread() { end(); }

    /// Has it handle all messages that its queue has now, and from then on those that come.
    void look() const
    {
        EXPECT_TRUE(PostThreadMessageW(m_id, marker, 0, 0)); // behind what is there
        SetEvent(m_mayLook.get());
        EXPECT_EQ(WaitForSingleObject(m_looked.get(), INFINITE), WAIT_OBJECT_0);
    }
    /// Lets it end with its wrapper released.
    void end()
    {
        SetEvent(m_stop.get());
        if (m_thread.joinable())
            m_thread.join();
    }
    [[nodiscard]] DWORD id() const noexcept { return m_id; }

private:
    void run(SandboxDll& dll, IMsgStore* store, IMAPIAdviseSink* sink)
    {
        m_id = GetCurrentThreadId();
        IMAPIAdviseSinkPtr wrapper;
        EXPECT_EQ(dll.HrThisThreadAdviseSink(sink, &wrapper), S_OK);
        ULONG_PTR connection = 0;
        EXPECT_EQ(store->Advise(0, nullptr, allEvents, wrapper, &connection), S_OK);
        SetEvent(m_ready.get());
        const HANDLE stop = m_stop.get();
        const HANDLE begins[] = {m_mayLook.get(), stop};
        WaitForMultipleObjects(2, begins, FALSE, INFINITE);
        while (MsgWaitForMultipleObjects(1, &stop, FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0 + 1)
            handleMessages();
        (void)store->Unadvise(connection); // perhaps the test has
    }
    void handleMessages() const
    {
        MSG message = {};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE)
        {
            if (message.message == marker)
                SetEvent(m_looked.get());
            DispatchMessageW(&message);
        }
    }

    static constexpr UINT marker = WM_APP + 1;
    support::Handle m_ready = support::makeEvent();
    support::Handle m_mayLook = support::makeEvent();
    support::Handle m_looked = support::makeEvent();
    support::Handle m_stop = support::makeEvent();
    DWORD m_id = 0;
    std::thread m_thread;
};

class DeliveryTest : public NotifyTest
{
protected:
    DeliveryTest() { open(); }
    ~DeliveryTest() override { close(); }

    /// Whether everything is idle after a while in which this thread handles its messages, or doesn't.
    [[nodiscard]] bool isIdle() { return ask({{"do", "wait"}, {"for", "idle"}, {"timeout", 20}}).at("ok"); }
    [[nodiscard]] bool isIdleMeanwhile()
    {
        bool idle = false;
        pumpDuring([&] { idle = isIdle(); });
        return idle;
    }
    [[nodiscard]] ULONG_PTR onlyConnection()
    {
        const std::string connection =
            dll.request({{"do", "subscriptions"}}).at("subscriptions").at(0).at("connection").get<std::string>();
        return std::stoull(connection, nullptr, 16);
    }
};
} // namespace

TEST_F(DeliveryTest, CallsAWrappedSinkOnItsThreadWhenThatHandlesItsMessages)
{
    const RecordingSinkPtr sink = makeSink();
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    std::thread([&] { notify({fnevObjectCreated}); }).join();
    EXPECT_EQ(sink->count(), 0u);
    ASSERT_TRUE(pumpUntil([&] { return sink->count() == 1; }));
    EXPECT_EQ(sink->calls()[0].thread, GetCurrentThreadId());
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(DeliveryTest, CallsARawSinkOnTheFirstThreadWhenThatHandlesItsMessages)
{
    const RecordingSinkPtr sink = makeSink();
    ULONG_PTR connection = 0;
    std::thread(
        [&]
        {
            connection = advise(sink);
            notify({fnevObjectCreated});
        })
        .join();
    EXPECT_EQ(sink->count(), 0u);
    ASSERT_TRUE(pumpUntil([&] { return sink->count() == 1; }));
    EXPECT_EQ(sink->calls()[0].thread, GetCurrentThreadId());
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(DeliveryTest, DeliversNothingWhileTheFirstThreadHandlesNoMessages)
{
    const RecordingSinkPtr sink = makeSink();
    const WatchingThread watcher(dll, m_store, sink);
    notify({fnevObjectCreated});
    watcher.look();
    EXPECT_FALSE(isIdle());
    EXPECT_EQ(sink->count(), 0u);
    EXPECT_TRUE(pumpUntil([&] { return sink->count() == 1; }));
}

TEST_F(DeliveryTest, DeliversAllInOrderWhenBothThreadsHandleMessages)
{
    const RecordingSinkPtr sink = makeSink();
    const WatchingThread watcher(dll, m_store, sink);
    watcher.look();
    std::vector<ULONG> sent;
    for (int index = 0; index < 500; ++index)
    {
        const ULONG type = index % 3 == 0 ? fnevObjectCreated : index % 3 == 1 ? fnevObjectModified : fnevObjectDeleted;
        notify({type});
        sent.push_back(type);
        if (index % 7 == 0)
            pumpOnce();
    }
    dll.waitUntilIdle();
    EXPECT_EQ(sink->count(), sent.size());
    EXPECT_EQ(sink->types(), sent);
}

TEST_F(DeliveryTest, DeliversNothingThatIsBetweenTheThreadsAtUnadvise)
{
    const RecordingSinkPtr sink = makeSink();
    const WatchingThread watcher(dll, m_store, sink);
    notifyAndPump({fnevObjectCreated}); // waits for the second thread
    notify({fnevObjectDeleted});        // waits for the first
    EXPECT_EQ(m_store->Unadvise(onlyConnection()), S_OK);
    pumpOnce();
    watcher.look();
    EXPECT_EQ(sink->count(), 0u);
}

TEST_F(DeliveryTest, DeliversNothingThatIsBetweenTheThreadsAtLogoff)
{
    const RecordingSinkPtr sink = makeSink();
    const WatchingThread watcher(dll, m_store, sink);
    notifyAndPump({fnevObjectCreated});
    notify({fnevObjectDeleted});
    EXPECT_EQ(m_session->Logoff(0, 0, 0), S_OK);
    dll.waitUntilIdle();
    watcher.look();
    EXPECT_EQ(sink->count(), 0u);
}

TEST_F(DeliveryTest, KeepsBatchesAndTheirOrder)
{
    const RecordingSinkPtr sink = makeSink();
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    notify({fnevObjectCreated, fnevObjectModified});
    notify({fnevObjectDeleted});
    notify({fnevObjectMoved, fnevObjectCopied, fnevObjectCreated});
    EXPECT_EQ(sink->count(), 0u); // never before the store has done its work
    ASSERT_TRUE(pumpUntil([&] { return sink->count() == 3; }));
    EXPECT_THAT(sink->calls()[0].types, ElementsAre(fnevObjectCreated, fnevObjectModified));
    EXPECT_THAT(sink->calls()[1].types, ElementsAre(fnevObjectDeleted));
    EXPECT_THAT(sink->calls()[2].types, ElementsAre(fnevObjectMoved, fnevObjectCopied, fnevObjectCreated));
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(DeliveryTest, OverwritesTheMemoryWhenTheSinkHasReturned)
{
    const RecordingSinkPtr sink = makeSink();
    const unsigned char* kept = nullptr;
    const unsigned char* keptId = nullptr;
    sink->whenNotified = [&](ULONG, NOTIFICATION* notifications)
    {
        kept = reinterpret_cast<const unsigned char*>(notifications);
        keptId = reinterpret_cast<const unsigned char*>(notifications[0].info.obj.lpEntryID);
        EXPECT_GT(dll.sandboxLiveBlocks(), 0);
    };
    const ULONG_PTR connection = advise(sink);
    notifyAndPump({fnevObjectCreated, fnevObjectModified});
    EXPECT_THAT(std::vector<unsigned>(kept, kept + 2 * sizeof(NOTIFICATION)), Each(0xDDu));
    EXPECT_THAT(std::vector<unsigned>(keptId, keptId + 5), Each(0xDDu));
    EXPECT_EQ(dll.sandboxLiveBlocks(), 0);
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(DeliveryTest, NotesASinkThatWritesIntoMemoryOfAPastCall)
{
    const RecordingSinkPtr sink = makeSink();
    NOTIFICATION* kept = nullptr;
    sink->whenNotified = [&](ULONG, NOTIFICATION* notifications)
    {
        kept = notifications;
    };
    const ULONG_PTR connection = advise(sink);
    notifyAndPump({fnevObjectCreated});
    kept->ulEventType = 0;
    EXPECT_THAT(dll.report(),
                testing::HasSubstr("written to after it had been freed, IMAPIAdviseSink::OnNotify: 1 time(s)"));
    dll.sandboxReset();
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(DeliveryTest, CallsEachSinkOnItsOwnThread)
{
    const RecordingSinkPtr first = makeSink();
    const RecordingSinkPtr second = makeSink();
    {
        const WatchingThread one(dll, m_store, first);
        const WatchingThread other(dll, m_store, second);
        EXPECT_EQ(notifyWindows(), 3u);
        one.look();
        other.look();
        for (int index = 0; index < 50; ++index)
            notify({fnevObjectCreated});
        dll.waitUntilIdle();
        ASSERT_EQ(first->count(), 50u);
        ASSERT_EQ(second->count(), 50u);
        for (const RecordingSink::Call& call : first->calls())
            EXPECT_EQ(call.thread, one.id());
        for (const RecordingSink::Call& call : second->calls())
            EXPECT_EQ(call.thread, other.id());
    }
    EXPECT_EQ(notifyWindows(), 1u); // the first thread's
}

TEST_F(DeliveryTest, UsesOneWindowForAllSinksOfAThread)
{
    const RecordingSinkPtr sink = makeSink();
    std::thread(
        [&]
        {
            IMAPIAdviseSinkPtr first = wrap(sink);
            IMAPIAdviseSinkPtr second = wrap(sink);
            EXPECT_EQ(notifyWindows(), 2u);
            first = nullptr;
            EXPECT_EQ(notifyWindows(), 2u);
            second = nullptr;
            EXPECT_EQ(notifyWindows(), 1u); // the first thread's
            first = wrap(sink);
            EXPECT_EQ(notifyWindows(), 2u);
        })
        .join();
    const IMAPIAdviseSinkPtr here = wrap(sink);
    EXPECT_EQ(notifyWindows(), 1u);
}

TEST_F(DeliveryTest, EndsTheWindowLaterWhenAnotherThreadReleasesTheWrapper)
{
    const RecordingSinkPtr sink = makeSink();
    std::thread(
        [&]
        {
            IMAPIAdviseSinkPtr wrapper = wrap(sink);
            std::thread([&] { wrapper = nullptr; }).join();
            EXPECT_EQ(sink->references(), 1);
            EXPECT_EQ(notifyWindows(), 2u);
            pumpOnce();
            EXPECT_EQ(notifyWindows(), 1u);
        })
        .join();
}

TEST_F(DeliveryTest, KeepsAWindowThatIsWantedAgainBeforeItCouldEnd)
{
    const RecordingSinkPtr sink = makeSink();
    pumpDuring(
        [&]
        {
            IMAPIAdviseSinkPtr wrapper = wrap(sink);
            std::thread([&] { wrapper = nullptr; }).join();
            wrapper = wrap(sink);
            pumpOnce();
            EXPECT_EQ(notifyWindows(), 2u);
            const ULONG_PTR connection = advise(wrapper);
            notify({fnevObjectCreated});
            EXPECT_TRUE(pumpUntil([&] { return sink->count() == 1; }));
            EXPECT_EQ(m_store->Unadvise(connection), S_OK);
        });
}

TEST_F(DeliveryTest, DropsWhatComesForAThreadThatHasEnded)
{
    const RecordingSinkPtr sink = makeSink();
    IMAPIAdviseSinkPtr wrapper;
    ULONG_PTR connection = 0;
    std::thread(
        [&]
        {
            wrapper = wrap(sink);
            connection = advise(wrapper);
            notify({fnevObjectCreated}); // never looked at
            EXPECT_EQ(notifyWindows(), 2u);
        })
        .join();
    EXPECT_EQ(notifyWindows(), 1u);
    notify({fnevObjectCreated});
    dll.waitUntilIdle();
    EXPECT_EQ(sink->count(), 0u);
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
    wrapper = nullptr;
    EXPECT_EQ(sink->references(), 1);
}

TEST_F(DeliveryTest, DeliversFarMoreBatchesThanAMessageQueueHolds)
{
    const RecordingSinkPtr sink = makeSink();
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    std::vector<ULONG> sent;
    for (int index = 0; index < 10000; ++index)
    {
        notify({fnevObjectCreated});
        notify({fnevObjectDeleted});
        sent.insert(sent.end(), {fnevObjectCreated, fnevObjectDeleted});
    }
    ASSERT_TRUE(pumpUntil([&] { return sink->count() == sent.size(); }));
    EXPECT_EQ(sink->types(), sent);
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(DeliveryTest, LetsOtherMessagesThroughBetweenBatches)
{
    constexpr UINT marker = WM_APP + 1;
    const RecordingSinkPtr sink = makeSink();
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    for (int index = 0; index < 3; ++index)
        notify({fnevObjectCreated});
    ASSERT_TRUE(PostThreadMessageW(GetCurrentThreadId(), marker, 0, 0));
    std::optional<std::size_t> before;
    MSG message = {};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE)
    {
        if (message.message == marker)
            before = sink->count();
        DispatchMessageW(&message);
    }
    EXPECT_EQ(before, 1u);
    EXPECT_EQ(sink->count(), 3u);
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(DeliveryTest, DeliversTheNextBatchInsideAHandlerThatHandlesMessages)
{
    const RecordingSinkPtr sink = makeSink();
    std::size_t seenInside = 0;
    RecordingSink* observed = sink;
    sink->whenNotified = [&](ULONG, NOTIFICATION*)
    {
        if (observed->count() != 1)
            return;
        EXPECT_TRUE(pumpUntil([&] { return observed->count() == 2; }));
        seenInside = observed->count();
    };
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    notify({fnevObjectCreated});
    notify({fnevObjectDeleted});
    ASSERT_TRUE(pumpUntil([&] { return sink->count() == 2; }));
    EXPECT_EQ(seenInside, 2u);
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

// ---- Waiting -------------------------------------------------------------------------------------------------------

TEST_F(DeliveryTest, IsIdleOnceTheHandlerHasReturned)
{
    const RecordingSinkPtr sink = makeSink();
    const support::Handle entered = support::makeEvent();
    const support::Handle leave = support::makeEvent();
    std::atomic<bool> returned{false};
    sink->whenNotified = [&](ULONG, NOTIFICATION*)
    {
        SetEvent(entered.get());
        WaitForSingleObject(leave.get(), INFINITE);
        returned = true;
    };
    const WatchingThread watcher(dll, m_store, sink);
    watcher.look();
    notifyAndPump({fnevObjectCreated});
    ASSERT_EQ(WaitForSingleObject(entered.get(), INFINITE), WAIT_OBJECT_0);
    EXPECT_FALSE(isIdleMeanwhile());
    SetEvent(leave.get());
    dll.waitUntilIdle();
    EXPECT_TRUE(returned);
}

TEST_F(DeliveryTest, IsIdleOnlyOnceTheThreadHasLookedAtItsQueue)
{
    const RecordingSinkPtr sink = makeSink();
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    dll.waitUntilIdle(); // nobody watches
    const ULONG_PTR connection = advise(wrapper);
    EXPECT_FALSE(isIdle());
    std::atomic<bool> idle{false};
    std::thread waiter(
        [&]
        {
            dll.waitUntilIdle();
            idle = true;
        });
    EXPECT_TRUE(pumpUntil([&] { return idle.load(); }));
    waiter.join();
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(DeliveryTest, IsIdleOnlyOnceBothThreadsHaveLookedAtTheirQueues)
{
    const RecordingSinkPtr sink = makeSink();
    const WatchingThread watcher(dll, m_store, sink);
    notify({fnevObjectCreated});
    EXPECT_FALSE(isIdleMeanwhile());
    watcher.look();
    EXPECT_FALSE(isIdle());
    dll.waitUntilIdle();
    EXPECT_EQ(sink->count(), 1u);
}

TEST_F(DeliveryTest, IsIdleWhenTheOneThatDoesNotLookIsNoLongerAdvised)
{
    const RecordingSinkPtr sink = makeSink();
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    notify({fnevObjectCreated});
    std::thread waiter([&] { dll.waitUntilIdle(); });
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
    waiter.join();
}

TEST_F(DeliveryTest, WaitsUntilSomebodyWatches)
{
    const RecordingSinkPtr sink = makeSink();
    dll.waitUntilAdvised(0);
    std::thread waiter([&] { dll.waitUntilAdvised(2); });
    const ULONG_PTR first = advise(sink);
    const ULONG_PTR second = advise(sink);
    waiter.join();
    EXPECT_EQ(m_store->Unadvise(first), S_OK);
    EXPECT_EQ(m_store->Unadvise(second), S_OK);
    EXPECT_EQ(refused({{"do", "wait"}, {"for", "advised"}, {"count", 1}, {"timeout", 1}}),
              "after 1 ms there are fewer than 1 subscriptions");
}

// ---- Nothing is left -----------------------------------------------------------------------------------------------

TEST_F(DeliveryTest, LeavesNoWindowsAndHandlesBehind)
{
    const RecordingSinkPtr sink = makeSink();
    DWORD before = 0;
    for (int round = 0; round < 40; ++round)
    {
        const IMAPIAdviseSinkPtr wrapper = wrap(sink);
        const ULONG_PTR connection = advise(wrapper);
        for (int index = 0; index < 500; ++index)
            notify({fnevObjectCreated});
        ASSERT_TRUE(pumpUntil([&] { return sink->count() == std::size_t(round + 1) * 500; }));
        EXPECT_EQ(m_store->Unadvise(connection), S_OK);
        if (round == 0)
        {
            ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &before));
        }
    }
    DWORD after = 0;
    ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &after));
    EXPECT_LE(after, before + 5);
    EXPECT_EQ(notifyWindows(), 1u);
}

// ---- The first thread ----------------------------------------------------------------------------------------------

namespace
{
/// Threads that initialise MAPI when they want to.
class FirstThreadTest : public testing::Test
{
protected:
    void initialize()
    {
        ULONG withoutCom[] = {0, 0x8 /* MAPI_NO_COINIT */};
        EXPECT_EQ(m_dll.MAPIInitialize(withoutCom), S_OK);
    }
    void uninitialize() { m_dll.MAPIUninitialize(); }

    /// A session that watches the only store, on a mailbox of its own.
    void watch(IMAPIAdviseSink* sink)
    {
        m_dll.serve(R"({"stores":[{"name":"A","entryId":"00000000AA"}]})");
        EXPECT_EQ(m_dll.MAPILogonEx(0, nullptr, nullptr, MAPI_EXTENDED | MAPI_USE_DEFAULT, &m_session), S_OK);
        unsigned char id[] = {0, 0, 0, 0, 0xAA};
        EXPECT_EQ(m_session->OpenMsgStore(0, sizeof id, reinterpret_cast<ENTRYID*>(id), nullptr, 0, &m_store), S_OK);
        EXPECT_EQ(m_store->Advise(0, nullptr, allEvents, sink, &m_connection), S_OK);
    }
    void unwatch()
    {
        EXPECT_EQ(m_store->Unadvise(m_connection), S_OK);
        m_store = nullptr;
        m_session = nullptr;
    }
    void notify() const { m_dll.inject("A", {{"event", fnevObjectCreated}, {"objectType", MAPI_MESSAGE}}); }

    SandboxDll m_dll;
    const RecordingSinkPtr m_sink = makeSink();

private:
    IMAPISessionPtr m_session;
    IMsgStorePtr m_store;
    ULONG_PTR m_connection = 0;
};
} // namespace

TEST_F(FirstThreadTest, HasTheWindowUntilTheLastThreadHasUninitialised)
{
    initialize();
    EXPECT_EQ(notifyWindows(), 1u);
    std::thread(
        [this]
        {
            initialize();
            EXPECT_EQ(notifyWindows(), 1u);
        })
        .join();
    watch(m_sink);
    uninitialize(); // the other thread has not
    EXPECT_EQ(notifyWindows(), 1u);
    notify();
    pumpOnce();
    EXPECT_EQ(m_sink->count(), 1u);
    unwatch();
    uninitialize();
    EXPECT_EQ(notifyWindows(), 0u);
}

TEST_F(FirstThreadTest, LosesAllNotificationsWhenItEndsBeforeTheOthers)
{
    std::thread([this] { initialize(); }).join();
    EXPECT_EQ(notifyWindows(), 0u);
    initialize();
    EXPECT_EQ(notifyWindows(), 0u);
    watch(m_sink);
    notify();
    m_dll.waitUntilIdle();
    EXPECT_EQ(m_sink->count(), 0u);
    unwatch();
    uninitialize();
    uninitialize();
    initialize(); // the first again
    watch(m_sink);
    notify();
    m_dll.waitUntilIdle();
    EXPECT_EQ(m_sink->count(), 1u);
    unwatch();
    uninitialize();
}

TEST(DeliveryModuleTest, LeavesNoWindowThatCallsItWhenItIsUnloaded)
{
    HWND window = nullptr;
    {
        SandboxDll dll;
        ASSERT_EQ(dll.MAPIInitialize(nullptr), S_OK);
        window = FindWindowExW(HWND_MESSAGE, nullptr, L"LinkwellSandboxNotify", nullptr);
        EXPECT_NE(window, nullptr);
        std::thread([&] { dll.MAPIUninitialize(); }).join(); // the window's end waits for messages to be handled
    }
    pumpOnce();
    EXPECT_FALSE(IsWindow(window));
}
