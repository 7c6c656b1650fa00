#include "agent/mapi/NotificationSink.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "tests/mapi/MapiTest.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/mapi/MapiMocks.h"

namespace
{
using namespace tests;
using mapi::NotificationSink;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

static_assert(!std::is_copy_constructible_v<NotificationSink>);
static_assert(std::has_virtual_destructor_v<NotificationSink>);

const std::string adviseInternal = "HRESULT logged: mapi::NotificationSink::adviseInternal, line N: hr = 0x";

/// Calls a function at the end of its life.
class EndingStore : public MockMsgStore
{
public:
    std::function<void()> whenGone;

protected:
    ~EndingStore() override { whenGone(); }
};

/// Takes a registration when there is no more memory.
class LastMemoryStore : public MockMsgStore
{
public:
    support::HeapWatch heap;

    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR* connection) override
    {
        heap.exhaust(static_cast<std::size_t>(-1));
        *connection = 7;
        return S_OK;
    }
};

class NotificationSinkTest : public MapiTest
{
protected:
    ~NotificationSinkTest() override
    {
        m_sink.unadvise();
        EXPECT_EQ(handlers(), 0) << "a sink is still there";
    }

    [[nodiscard]] NotificationHandler handler()
    {
        return [this, counted = m_counted](ULONG count, const NOTIFICATION*)
        {
            m_batches.push_back(count);
        };
    }
    /// How many copies of the handler there are.
    [[nodiscard]] long handlers() const { return m_counted.use_count() - 1; }

    /// Has the store answer Advise with this connection; keeps the wrapper that it gets, and no reference.
    void giveConnection(ULONG_PTR connection, HRESULT result = S_OK)
    {
        ON_CALL(*m_store, Advise(_, _, _, _, _))
            .WillByDefault(
                [=, this](ULONG, ENTRYID*, ULONG, IMAPIAdviseSink* sink, ULONG_PTR* number)
                {
                    m_wrapper = sink;
                    *number = connection;
                    return result;
                });
    }
    bool advise() { return m_sink.advise(m_store.pointer(), handler()); }

    std::shared_ptr<int> m_counted = std::make_shared<int>();
    std::vector<ULONG> m_batches;
    IMAPIAdviseSink* m_wrapper = nullptr; // borrowed; the last that was made
    const Mocked<MockMsgStore> m_store;
    NotificationSink m_sink;
};

TEST_F(NotificationSinkTest, AdvisesTheWholeStoreAndHandsBatchesToTheHandler)
{
    EXPECT_FALSE(m_sink.isAdvised());
    giveConnection(7);
    EXPECT_CALL(*m_store, Advise(0, nullptr, 0xFC, _, _));
    startJournal();
    EXPECT_TRUE(advise());
    EXPECT_TRUE(m_sink.isAdvised());
    EXPECT_THAT(takeCalls(), ElementsAre("HrThisThreadAdviseSink unwrapped"));
    EXPECT_EQ(m_store->references(), 2);
    EXPECT_EQ(handlers(), 1);

    NOTIFICATION notifications[2] = {};
    m_wrapper->OnNotify(2, notifications);
    m_wrapper->OnNotify(1, notifications);
    EXPECT_THAT(m_batches, ElementsAre(2, 1));
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(S_OK));
}

TEST_F(NotificationSinkTest, TakesWarningsForSuccess)
{
    plan("HrThisThreadAdviseSink", warning);
    giveConnection(7, warning);
    EXPECT_TRUE(advise());
    EXPECT_TRUE(m_sink.isAdvised());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(NotificationSinkTest, SaysNothingAndCallsNothingWithoutAStoreOrAHandler)
{
    EXPECT_CALL(*m_store, Advise(_, _, _, _, _)).Times(0);
    startJournal();
    EXPECT_FALSE(m_sink.advise({}, handler()));
    EXPECT_FALSE(m_sink.advise(m_store.pointer(), NotificationHandler()));
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_THAT(takeCalls(), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(NotificationSinkTest, KeepsItsRegistrationWhenItIsAdvisedAgain)
{
    giveConnection(7);
    EXPECT_CALL(*m_store, Advise(_, _, _, _, _)).Times(1);
    EXPECT_TRUE(advise());
    bool called = false;
    EXPECT_FALSE(m_sink.advise(m_store.pointer(), [&called](ULONG, const NOTIFICATION*) { called = true; }));
    EXPECT_FALSE(m_sink.advise({}, NotificationHandler())); // this goes before all other reasons
    EXPECT_THAT(log(), ElementsAre("Cannot advise store = already advised", "Cannot advise store = already advised"));
    m_wrapper->OnNotify(5, nullptr);
    EXPECT_THAT(m_batches, ElementsAre(5));
    EXPECT_FALSE(called);
}

TEST_F(NotificationSinkTest, IsNotAdvisedWhenMapiRefusesAndCanBeAdvisedLater)
{
    hideRuntime();
    EXPECT_FALSE(advise());
    showRuntime();
    plan("HrThisThreadAdviseSink", MAPI_E_NOT_INITIALIZED);
    EXPECT_FALSE(advise());
    giveConnection(7, MAPI_E_NO_SUPPORT);
    EXPECT_FALSE(advise());
    EXPECT_THAT(log(), ElementsAre(adviseInternal + "80004005(Marshall advise sink)",
                                   adviseInternal + "80040605(Marshall advise sink)",
                                   adviseInternal + "80040102(Advise store notification)"));
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_EQ(handlers(), 0);
    EXPECT_EQ(m_store->references(), 1);
    m_sink.unadvise(); // calls nothing
    EXPECT_EQ(log().size(), 3u);
    giveConnection(7);
    EXPECT_TRUE(advise());
}

TEST_F(NotificationSinkTest, IsNotAdvisedWhenNoWrapperComes)
{
    EXPECT_CALL(*m_store, Advise(_, _, _, _, _)).Times(0);
    const RuntimeFunction none(
        "HrThisThreadAdviseSink",
        +[](IMAPIAdviseSink*, IMAPIAdviseSink** wrapper) -> HRESULT
        {
            *wrapper = nullptr;
            return S_OK;
        });
    EXPECT_FALSE(advise());
    EXPECT_THAT(log(), ElementsAre(adviseInternal + "80004005(Marshall advise sink)"));
}

TEST_F(NotificationSinkTest, HasItsRecordBeforeItRegisters)
{
    const IMsgStorePtr store(new testing::NiceMock<LastMemoryStore>, false);
    auto& mock = static_cast<LastMemoryStore&>(*store);
    EXPECT_CALL(mock, Unadvise(7));
    try
    {
        m_sink.advise(store, handler());
    }
    catch (const std::bad_alloc&)
    {
        // The registration would never end.
    }
    mock.heap.refill();
    EXPECT_TRUE(m_sink.isAdvised());
    m_sink.unadvise();
}

TEST_F(NotificationSinkTest, UnadvisesOnceByTheNumberInItsWholeWidth)
{
    for (const ULONG_PTR number : {ULONG_PTR{0x123456789ABCDEF0}, ULONG_PTR{0x100000000}})
    {
        giveConnection(number);
        advise();
        EXPECT_TRUE(m_sink.isAdvised());
        EXPECT_CALL(*m_store, Unadvise(number))
            .WillOnce(
                [this](ULONG_PTR)
                {
                    EXPECT_FALSE(m_sink.isAdvised()); // from the start of unadvise
                    EXPECT_EQ(handlers(), 1);
                    return S_OK;
                });
        m_sink.unadvise();
        m_sink.unadvise();
        EXPECT_FALSE(m_sink.isAdvised());
        EXPECT_EQ(handlers(), 0);
    }
    EXPECT_THAT(log(), ElementsAre("Unadvise hr = 0", "Unadvise hr = 0"));
}

TEST_F(NotificationSinkTest, UnadvisesAtTheEndOfItsLifeAndLogsAFailure)
{
    giveConnection(7);
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(MAPI_E_NOT_FOUND));
    {
        NotificationSink sink;
        EXPECT_TRUE(sink.advise(m_store.pointer(), handler()));
    }
    EXPECT_THAT(log(), ElementsAre("Unadvise hr = 8004010f"));
    EXPECT_EQ(m_store->references(), 1); // let go all the same
}

TEST_F(NotificationSinkTest, LetsTheStoreGoBeforeTheWrapper)
{
    const auto store = new testing::NiceMock<EndingStore>;
    long handlersAtEnd = 0;
    store->whenGone = [&]
    {
        handlersAtEnd = handlers();
    };
    EXPECT_CALL(*store, Advise(_, _, _, _, _)).WillOnce(testing::DoAll(testing::SetArgPointee<4>(7), Return(S_OK)));
    m_sink.advise(IMsgStorePtr(store, false), handler()); // the record has the last reference
    m_sink.unadvise();
    EXPECT_EQ(handlersAtEnd, 1);
}

TEST_F(NotificationSinkTest, LeavesTheHandlerToMapiAsLongAsThatHoldsTheWrapper)
{
    giveConnection(7);
    advise();
    const IMAPIAdviseSinkPtr heldByMapi(m_wrapper);
    m_sink.unadvise();
    EXPECT_EQ(handlers(), 1);
}

// ---- Batches while a registration ends, and later ------------------------------------------------------------------

TEST_F(NotificationSinkTest, HandsOnABatchInsideItsOwnUnadviseAndDropsOneInsideAReleaseBehindIt)
{
    const auto store = new testing::NiceMock<EndingStore>;
    IMAPIAdviseSinkPtr kept;
    EXPECT_CALL(*store, Advise(_, _, _, _, _))
        .WillOnce(
            [&kept](ULONG, ENTRYID*, ULONG, IMAPIAdviseSink* sink, ULONG_PTR* number)
            {
                kept = sink;
                *number = 7;
                return S_OK;
            });
    EXPECT_CALL(*store, Unadvise(7)).WillOnce([&kept](ULONG_PTR) { return kept->OnNotify(1, nullptr), S_OK; });
    store->whenGone = [&kept]
    {
        kept->OnNotify(2, nullptr);
    };
    m_sink.advise(IMsgStorePtr(store, false), handler());
    m_sink.unadvise();
    EXPECT_THAT(m_batches, ElementsAre(1));
    EXPECT_THAT(log(), ElementsAre("Unadvise hr = 0"));
}

TEST_F(NotificationSinkTest, DropsABatchWithoutAWordInWhateverWayTheRegistrationHasEnded)
{
    std::vector<IMAPIAdviseSinkPtr> kept; // by a runtime that lets no sink go
    const auto adviseWith = [&](NotificationSink& sink, ULONG_PTR connection, HRESULT result = S_OK)
    {
        ON_CALL(*m_store, Advise(_, _, _, _, _))
            .WillByDefault(
                [=, &kept](ULONG, ENTRYID*, ULONG, IMAPIAdviseSink* wrapper, ULONG_PTR* number)
                {
                    kept.emplace_back(wrapper);
                    *number = connection;
                    return result;
                });
        sink.advise(m_store.pointer(), handler());
    };
    adviseWith(m_sink, 0);
    adviseWith(m_sink, 7); // replaces it
    m_sink.unadvise();
    adviseWith(m_sink, 0);
    m_sink.unadvise(); // calls nothing
    adviseWith(m_sink, 0);
    adviseWith(m_sink, 0, MAPI_E_NO_SUPPORT); // loses the one before as well
    {
        NotificationSink sink;
        adviseWith(sink, 8);
    }
    EXPECT_EQ(handlers(), 6);
    const auto lines = log();
    for (const IMAPIAdviseSinkPtr& sink : kept)
        EXPECT_EQ(sink->OnNotify(1, nullptr), 0u);
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_EQ(log(), lines);
}

TEST_F(NotificationSinkTest, KeepsTheHandlerThatEndsTheRegistrationUntilItReturns)
{
    const RuntimeFunction wrapsNothing(
        "HrThisThreadAdviseSink",
        +[](IMAPIAdviseSink* sink, IMAPIAdviseSink** wrapper) -> HRESULT
        {
            sink->AddRef();
            *wrapper = sink;
            return S_OK;
        });
    giveConnection(7);
    long whileItRuns = 0;
    const auto end = [&]
    {
        m_sink.unadvise();
        whileItRuns = handlers();
    };
    m_sink.advise(m_store.pointer(), [&end, counted = m_counted](ULONG, const NOTIFICATION*) { end(); });
    m_wrapper->OnNotify(1, nullptr);
    EXPECT_EQ(whileItRuns, 1);
    EXPECT_EQ(handlers(), 0);
    EXPECT_FALSE(m_sink.isAdvised());
}

// ---- A registration without a number -------------------------------------------------------------------------------

TEST_F(NotificationSinkTest, IsNotAdvisedByTheNumberZero)
{
    giveConnection(0);
    EXPECT_CALL(*m_store, Unadvise(_)).Times(0);
    EXPECT_TRUE(advise()); // it has put a registration in place
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_EQ(handlers(), 1);
    m_sink.unadvise();
    EXPECT_EQ(m_store->references(), 1);
    EXPECT_EQ(handlers(), 0);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(NotificationSinkTest, ReplacesARegistrationWithTheNumberZeroOrLosesItToAFailure)
{
    giveConnection(0);
    advise();
    EXPECT_TRUE(advise());
    EXPECT_EQ(m_store->references(), 2);
    EXPECT_EQ(handlers(), 1);
    giveConnection(8, MAPI_E_CALL_FAILED);
    EXPECT_FALSE(advise());
    EXPECT_EQ(m_store->references(), 1);
    EXPECT_EQ(handlers(), 0);
    EXPECT_THAT(log(), ElementsAre(adviseInternal + "80004005(Advise store notification)"));
}
} // namespace
