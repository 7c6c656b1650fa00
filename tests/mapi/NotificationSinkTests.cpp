#include "agent/mapi/NotificationSink.h"

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/MapiMocks.h"
#include "tests/support/MapiTest.h"

namespace
{
using namespace support;
using mapi::NotificationSink;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using testing::Return;
using Call = TestRuntime::Call;

constexpr HRESULT warning = MAPI_W_ERRORS_RETURNED;
const std::string adviseInternal = "HRESULT logged: mapi::NotificationSink::adviseInternal, line N: hr = 0x";

/// What MAPI makes of a sink: holds it, and passes on what it is notified of. Notes in the journal when it goes.
class Wrapper : public FakeCom<IMAPIAdviseSink, &IID_IMAPIAdviseSink>
{
public:
    explicit Wrapper(IMAPIAdviseSink* sink) : m_sink(sink) {}

    ULONG STDMETHODCALLTYPE OnNotify(ULONG count, NOTIFICATION* notifications) override
    {
        return m_sink->OnNotify(count, notifications);
    }

protected:
    ~Wrapper() override { TestRuntime::current().note("wrapper gone"); }

private:
    const IMAPIAdviseSinkPtr m_sink;
};

class NotingStore : public MockMsgStore
{
protected:
    ~NotingStore() override { TestRuntime::current().note("store gone"); }
};

class NotificationSinkTest : public MapiTest
{
protected:
    NotificationSinkTest()
    {
        m_runtime.wrapSinksBy(
            [this](IMAPIAdviseSink* sink)
            {
                m_inner = sink;
                EXPECT_EQ(innerReferences(), 1u);
                m_wrapper = new Wrapper(sink);
                return m_wrapper;
            });
    }
    ~NotificationSinkTest() override
    {
        EXPECT_EQ(handlers(), 0) << "a sink is still there";
        EXPECT_EQ(m_store->references(), 1);
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
    /// The count of the agent's own sink.
    [[nodiscard]] ULONG innerReferences() const
    {
        m_inner->AddRef();
        return m_inner->Release();
    }

    /// Expects one Advise; what it gets is the wrapper.
    void expectAdvise(ULONG_PTR connection, HRESULT result = S_OK)
    {
        EXPECT_CALL(*m_store, Advise(0, nullptr, 0xFC, NotNull(), NotNull()))
            .WillOnce(
                [this, connection, result](ULONG, ENTRYID*, ULONG, IMAPIAdviseSink* sink, ULONG_PTR* number)
                {
                    EXPECT_EQ(sink, m_wrapper);
                    EXPECT_EQ(innerReferences(), 2u); // adviseInternal's and the wrapper's
                    *number = connection;
                    return result;
                })
            .RetiresOnSaturation();
    }

    std::shared_ptr<int> m_counted = std::make_shared<int>();
    std::vector<ULONG> m_batches;
    IMAPIAdviseSink* m_inner = nullptr; // borrowed
    Wrapper* m_wrapper = nullptr;       // borrowed; the last that was made
    const Mocked<MockMsgStore> m_store;
    NotificationSink m_sink;
};

static_assert(!std::is_copy_constructible_v<NotificationSink>);
static_assert(std::has_virtual_destructor_v<NotificationSink>);

// ---- advise --------------------------------------------------------------------------------------------------------

TEST_F(NotificationSinkTest, IsNotAdvisedAtFirst)
{
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(NotificationSinkTest, AdvisesTheWholeStoreWithTheWrapper)
{
    expectAdvise(7);
    EXPECT_TRUE(m_sink.advise(m_store.pointer(), handler()));
    EXPECT_TRUE(m_sink.isAdvised());
    EXPECT_THAT(m_runtime.calls(), ElementsAre("HrThisThreadAdviseSink"));
    EXPECT_THAT(log(), IsEmpty());

    EXPECT_EQ(m_store->references(), 2);
    EXPECT_EQ(m_wrapper->references(), 1);
    EXPECT_EQ(innerReferences(), 1u);
    EXPECT_EQ(handlers(), 1);
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(S_OK));
    m_sink.unadvise();
}

TEST_F(NotificationSinkTest, HandsBatchesToTheHandler)
{
    expectAdvise(7);
    m_sink.advise(m_store.pointer(), handler());
    NOTIFICATION notifications[2] = {};
    EXPECT_EQ(m_wrapper->OnNotify(2, notifications), 0u);
    EXPECT_EQ(m_wrapper->OnNotify(1, notifications), 0u);
    EXPECT_THAT(m_batches, ElementsAre(2, 1));
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(S_OK));
    m_sink.unadvise();
}

TEST_F(NotificationSinkTest, TakesWarningsForSuccess)
{
    m_runtime.plan(Call::ThisThreadAdviseSink, warning);
    expectAdvise(7, warning);
    EXPECT_TRUE(m_sink.advise(m_store.pointer(), handler()));
    EXPECT_TRUE(m_sink.isAdvised());
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(S_OK));
    m_sink.unadvise();
}

TEST_F(NotificationSinkTest, SaysNothingAndCallsNothingWithoutAStoreOrAHandler)
{
    EXPECT_FALSE(m_sink.advise({}, handler()));
    EXPECT_FALSE(m_sink.advise(m_store.pointer(), NotificationHandler()));
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(NotificationSinkTest, KeepsItsRegistrationWhenItIsAdvisedAgain)
{
    expectAdvise(7);
    EXPECT_TRUE(m_sink.advise(m_store.pointer(), handler()));
    bool called = false;
    EXPECT_FALSE(m_sink.advise(m_store.pointer(), [&called](ULONG, const NOTIFICATION*) { called = true; }));
    EXPECT_THAT(log(), ElementsAre("Cannot advise store = already advised"));
    EXPECT_THAT(m_runtime.calls(), ElementsAre("HrThisThreadAdviseSink"));
    EXPECT_TRUE(m_sink.isAdvised());
    EXPECT_EQ(m_store->references(), 2);
    m_wrapper->OnNotify(5, nullptr);
    EXPECT_THAT(m_batches, ElementsAre(5));
    EXPECT_FALSE(called);

    // Already advised goes before all other reasons.
    EXPECT_FALSE(m_sink.advise({}, NotificationHandler()));
    EXPECT_THAT(log(), testing::SizeIs(2));
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(S_OK));
    m_sink.unadvise();
}

TEST_F(NotificationSinkTest, IsNotAdvisedWhenMapiHasNoSuchEntryPoint)
{
    m_runtime.hide();
    EXPECT_FALSE(m_sink.advise(m_store.pointer(), handler()));
    m_runtime.show();
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_THAT(log(), ElementsAre(adviseInternal + "80004005(Marshall advise sink)"));
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
    EXPECT_EQ(handlers(), 0);
}

TEST_F(NotificationSinkTest, IsNotAdvisedWhenTheSinkCannotBeWrapped)
{
    m_runtime.plan(Call::ThisThreadAdviseSink, MAPI_E_NOT_INITIALIZED);
    EXPECT_FALSE(m_sink.advise(m_store.pointer(), handler()));
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_THAT(log(), ElementsAre(adviseInternal + "80040605(Marshall advise sink)"));
    EXPECT_EQ(handlers(), 0);

    expectAdvise(7); // and can be advised later
    EXPECT_TRUE(m_sink.advise(m_store.pointer(), handler()));
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(S_OK));
    m_sink.unadvise();
}

TEST_F(NotificationSinkTest, IsNotAdvisedWhenTheStoreRefuses)
{
    expectAdvise(7, MAPI_E_NO_SUPPORT);
    EXPECT_FALSE(m_sink.advise(m_store.pointer(), handler()));
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_THAT(log(), ElementsAre(adviseInternal + "80040102(Advise store notification)"));
    EXPECT_EQ(handlers(), 0);
    EXPECT_EQ(m_store->references(), 1);
    m_sink.unadvise(); // calls nothing
    EXPECT_THAT(log(), testing::SizeIs(1));
}

// ---- unadvise ------------------------------------------------------------------------------------------------------

TEST_F(NotificationSinkTest, UnadvisesByTheNumberInItsWholeWidth)
{
    constexpr ULONG_PTR wide = 0x123456789ABCDEF0;
    expectAdvise(wide);
    m_sink.advise(m_store.pointer(), handler());
    EXPECT_CALL(*m_store, Unadvise(wide))
        .WillOnce(
            [this](ULONG_PTR)
            {
                EXPECT_FALSE(m_sink.isAdvised()); // from the start of unadvise
                EXPECT_EQ(m_wrapper->references(), 1);
                return S_OK;
            });
    m_sink.unadvise();
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_THAT(log(), ElementsAre("Unadvise hr = 0"));
    EXPECT_EQ(handlers(), 0);
}

TEST_F(NotificationSinkTest, IsAdvisedByANumberOfWhichOnlyTheUpperHalfIsSet)
{
    constexpr ULONG_PTR upper = 0x100000000;
    expectAdvise(upper);
    m_sink.advise(m_store.pointer(), handler());
    EXPECT_TRUE(m_sink.isAdvised());
    EXPECT_CALL(*m_store, Unadvise(upper)).WillOnce(Return(S_OK));
    m_sink.unadvise();
}

TEST_F(NotificationSinkTest, LogsAFailureToUnadviseAndLetsGoAllTheSame)
{
    expectAdvise(7);
    m_sink.advise(m_store.pointer(), handler());
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(static_cast<HRESULT>(0x8004010F)));
    m_sink.unadvise();
    EXPECT_THAT(log(), ElementsAre("Unadvise hr = 8004010f"));
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_EQ(m_store->references(), 1);
    EXPECT_EQ(handlers(), 0);
}

TEST_F(NotificationSinkTest, DoesNothingWhenItIsUnadvisedAgain)
{
    m_sink.unadvise();
    EXPECT_THAT(log(), IsEmpty());
    expectAdvise(7);
    m_sink.advise(m_store.pointer(), handler());
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(S_OK));
    m_sink.unadvise();
    m_sink.unadvise();
    EXPECT_THAT(log(), ElementsAre("Unadvise hr = 0"));
}

TEST_F(NotificationSinkTest, CanBeAdvisedAnew)
{
    expectAdvise(7);
    m_sink.advise(m_store.pointer(), handler());
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(S_OK));
    m_sink.unadvise();
    expectAdvise(8);
    EXPECT_TRUE(m_sink.advise(m_store.pointer(), handler()));
    EXPECT_CALL(*m_store, Unadvise(8)).WillOnce(Return(S_OK));
    m_sink.unadvise();
}

TEST_F(NotificationSinkTest, UnadvisesAtTheEndOfItsLife)
{
    expectAdvise(7);
    {
        NotificationSink sink;
        sink.advise(m_store.pointer(), handler());
        EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(MAPI_E_CALL_FAILED));
    }
    EXPECT_THAT(log(), ElementsAre("Unadvise hr = 80004005"));
}

TEST_F(NotificationSinkTest, LetsTheStoreGoBeforeTheWrapper)
{
    {
        std::optional<Mocked<NotingStore>> store(std::in_place);
        EXPECT_CALL(**store, Advise(_, _, _, _, _))
            .WillOnce(
                [](ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR* number)
                {
                    *number = 7;
                    return S_OK;
                });
        EXPECT_CALL(**store, Unadvise(7))
            .WillOnce(
                [](ULONG_PTR)
                {
                    TestRuntime::current().note("Unadvise");
                    return S_OK;
                });
        m_sink.advise(store->pointer(), handler());
    } // now the record has the last reference
    m_runtime.clearCalls();
    m_sink.unadvise();
    EXPECT_THAT(m_runtime.calls(), ElementsAre("Unadvise", "store gone", "wrapper gone"));
}

TEST_F(NotificationSinkTest, LeavesTheHandlerToMapiAsLongAsThatHoldsTheWrapper)
{
    expectAdvise(7);
    m_sink.advise(m_store.pointer(), handler());
    const IMAPIAdviseSinkPtr heldByMapi(static_cast<IMAPIAdviseSink*>(m_wrapper));
    EXPECT_CALL(*m_store, Unadvise(7)).WillOnce(Return(S_OK));
    m_sink.unadvise();
    EXPECT_EQ(m_wrapper->references(), 1);
    EXPECT_EQ(handlers(), 1);
    m_wrapper->OnNotify(3, nullptr);
    EXPECT_THAT(m_batches, ElementsAre(3));
}

// ---- A registration without a number -------------------------------------------------------------------------------

TEST_F(NotificationSinkTest, IsNotAdvisedByTheNumberZero)
{
    expectAdvise(0);
    EXPECT_TRUE(m_sink.advise(m_store.pointer(), handler())); // it has put a registration in place
    EXPECT_FALSE(m_sink.isAdvised());
    EXPECT_EQ(m_store->references(), 2);
    EXPECT_EQ(handlers(), 1);

    m_sink.unadvise(); // without a call and without a line
    EXPECT_EQ(m_store->references(), 1);
    EXPECT_EQ(handlers(), 0);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(NotificationSinkTest, ReplacesARegistrationWithTheNumberZero)
{
    expectAdvise(0);
    m_sink.advise(m_store.pointer(), handler());
    m_runtime.clearCalls();
    expectAdvise(8);
    EXPECT_TRUE(m_sink.advise(m_store.pointer(), handler()));
    EXPECT_TRUE(m_sink.isAdvised());
    EXPECT_THAT(m_runtime.calls(), ElementsAre("HrThisThreadAdviseSink", "wrapper gone")); // the new one is there first
    EXPECT_EQ(m_store->references(), 2);
    EXPECT_EQ(handlers(), 1);
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_CALL(*m_store, Unadvise(8)).WillOnce(Return(S_OK));
    m_sink.unadvise();
}

TEST_F(NotificationSinkTest, LosesARegistrationWithTheNumberZeroToAFailure)
{
    expectAdvise(0);
    m_sink.advise(m_store.pointer(), handler());
    expectAdvise(8, MAPI_E_CALL_FAILED);
    EXPECT_FALSE(m_sink.advise(m_store.pointer(), handler()));
    EXPECT_EQ(m_store->references(), 1);
    EXPECT_EQ(handlers(), 0);
    EXPECT_THAT(log(), ElementsAre(adviseInternal + "80004005(Advise store notification)"));
}
} // namespace
