#include "agent/mapi/AdviseSinkImpl.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "agent/mapi/MapiPointers.h"
#include "tests/support/LogFile.h"
#include "utilities/Exception.h"

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

using Batch = std::pair<ULONG, const NOTIFICATION*>;

class AdviseSinkImplTest : public testing::Test
{
protected:
    ~AdviseSinkImplTest() override { EXPECT_EQ(handlers(), 0); }

    [[nodiscard]] static IMAPIAdviseSinkPtr makeSink(const NotificationHandler& handler)
    {
        return IMAPIAdviseSinkPtr(static_cast<IMAPIAdviseSink*>(new AdviseSinkImpl(handler)));
    }
    /// A sink whose handler keeps what it is called with.
    [[nodiscard]] IMAPIAdviseSinkPtr makeSink()
    {
        return makeSink([this, counted = m_counted](ULONG count, const NOTIFICATION* notifications)
                        { m_batches.emplace_back(count, notifications); });
    }
    /// How many copies of that handler there are: one for each sink.
    [[nodiscard]] long handlers() const { return m_counted.use_count() - 1; }

    const support::ScopedLog m_log;
    std::shared_ptr<int> m_counted = std::make_shared<int>();
    std::vector<Batch> m_batches;
};

TEST_F(AdviseSinkImplTest, BeginsWithoutAReferenceAndEndsWithTheLast)
{
    IMAPIAdviseSink* const sink = new AdviseSinkImpl([counted = m_counted](ULONG, const NOTIFICATION*) {});
    EXPECT_EQ(sink->AddRef(), 1u);
    EXPECT_EQ(sink->AddRef(), 2u);
    EXPECT_EQ(sink->Release(), 1u);
    EXPECT_EQ(handlers(), 1); // a copy; what it was copied from is gone
    EXPECT_EQ(sink->Release(), 0u);
    EXPECT_EQ(handlers(), 0);
}

// Each count from the first to the last is given once, also where two threads release at one moment.
TEST_F(AdviseSinkImplTest, GivesEachReleaseTheCountThatItHasLeft)
{
    constexpr std::uint64_t releasesOfAThread = 1'000'000;
    const IMAPIAdviseSinkPtr sink = makeSink();
    for (std::uint64_t taken = 0; taken < 2 * releasesOfAThread; ++taken)
        sink->AddRef();
    std::uint64_t sums[2] = {};
    std::vector<std::thread> threads;
    for (std::uint64_t& sum : sums)
    {
        threads.emplace_back(
            [&]
            {
                for (std::uint64_t released = 0; released < releasesOfAThread; ++released)
                    sum += sink->Release();
            });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(sums[0] + sums[1], releasesOfAThread * (2 * releasesOfAThread + 1)); // 1 + 2 + ... + all of them
}

TEST_F(AdviseSinkImplTest, IsIUnknownAndIMAPIAdviseSinkAndTakesAReference)
{
    const IMAPIAdviseSinkPtr sink = makeSink();
    for (const IID& iid : {IID_IUnknown, IID_IMAPIAdviseSink})
    {
        void* object = nullptr;
        EXPECT_EQ(sink->QueryInterface(iid, &object), S_OK);
        EXPECT_EQ(object, sink.GetInterfacePtr());
        EXPECT_EQ(sink->Release(), 1u);
        EXPECT_EQ(sink->QueryInterface(iid, nullptr), S_OK); // also without an out pointer
        EXPECT_EQ(sink->Release(), 1u);
    }
}

TEST_F(AdviseSinkImplTest, IsNoOtherInterfaceAndClearsTheOutPointer)
{
    const IMAPIAdviseSinkPtr sink = makeSink();
    for (const IID& iid : {IID_IMAPIProp, IID_IDispatch})
    {
        void* object = this;
        EXPECT_EQ(sink->QueryInterface(iid, &object), static_cast<HRESULT>(0x80004002));
        EXPECT_EQ(object, nullptr);
        EXPECT_EQ(sink->QueryInterface(iid, nullptr), E_NOINTERFACE);
    }
    EXPECT_EQ(sink->AddRef(), 2u); // none was taken
    sink->Release();
}

TEST_F(AdviseSinkImplTest, HandsTheBatchOnAsItIs)
{
    const IMAPIAdviseSinkPtr sink = makeSink();
    NOTIFICATION notifications[3] = {};
    EXPECT_EQ(sink->OnNotify(3, notifications), 0u);
    EXPECT_EQ(sink->OnNotify(0, nullptr), 0u);
    EXPECT_THAT(m_batches, ElementsAre(Batch(3, notifications), Batch(0, nullptr)));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AdviseSinkImplTest, TouchesNothingWithoutAHandler)
{
    const IMAPIAdviseSinkPtr sink = makeSink(NotificationHandler());
    EXPECT_EQ(sink->OnNotify(2, reinterpret_cast<NOTIFICATION*>(sizeof(NOTIFICATION))), 0u); // no such memory
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AdviseSinkImplTest, LogsWhatTheHandlerThrowsAndGoesOn)
{
    unsigned calls = 0;
    const IMAPIAdviseSinkPtr sink = makeSink(
        [&calls](ULONG, const NOTIFICATION*)
        {
            if (++calls == 1)
                throw utilities::exception(L"the host is away");
        });
    EXPECT_EQ(sink->OnNotify(0, nullptr), 0u);
    EXPECT_EQ(sink->OnNotify(0, nullptr), 0u);
    EXPECT_EQ(calls, 2u);
    EXPECT_THAT(m_log.lines(),
                ElementsAre("An exception has been caught in AdviseSinkImpl::OnNotify : the host is away"));
}

TEST_F(AdviseSinkImplTest, KeepsTheHandlerThatReleasesTheSinkUntilItReturns)
{
    for (const bool countedBefore : {true, false})
    {
        IMAPIAdviseSink* sink = nullptr;
        long whileItRuns = 0;
        const auto releaseSink = [&]
        {
            if (!countedBefore)
                sink->AddRef();
            EXPECT_EQ(sink->Release(), 0u);
            whileItRuns = handlers();
        };
        sink = new AdviseSinkImpl([&releaseSink, counted = m_counted](ULONG, const NOTIFICATION*) { releaseSink(); });
        if (countedBefore)
            sink->AddRef();
        EXPECT_EQ(sink->OnNotify(1, nullptr), 0u);
        EXPECT_EQ(whileItRuns, 1);
        EXPECT_EQ(handlers(), 0);
    }
}

TEST_F(AdviseSinkImplTest, PassesAnyOtherException)
{
    const IMAPIAdviseSinkPtr sink =
        makeSink([](ULONG count, const NOTIFICATION*)
                 { count == 0 ? throw std::runtime_error("standard") : throw _com_error(E_FAIL); });
    EXPECT_THROW(sink->OnNotify(0, nullptr), std::runtime_error);
    EXPECT_THROW(sink->OnNotify(1, nullptr), _com_error);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}
} // namespace
