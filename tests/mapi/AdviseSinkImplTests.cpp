#include "agent/mapi/AdviseSinkImpl.h"

#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "agent/mapi/MapiPointers.h"
#include "tests/support/MapiTest.h"

namespace
{
using namespace support;
using testing::ElementsAre;
using testing::IsEmpty;

using Batch = std::pair<ULONG, const NOTIFICATION*>;

class AdviseSinkImplTest : public MapiTest
{
protected:
    ~AdviseSinkImplTest() override { EXPECT_EQ(handlers(), 0); }

    /// A sink without a reference, whose handler keeps what it is called with.
    [[nodiscard]] IMAPIAdviseSink* makeSink()
    {
        return new AdviseSinkImpl([this, counted = m_counted](ULONG count, const NOTIFICATION* notifications)
                                  { m_batches.emplace_back(count, notifications); });
    }

    /// How many copies of the handler of `makeSink` there are: one for each sink.
    [[nodiscard]] long handlers() const { return m_counted.use_count() - 1; }

    std::shared_ptr<int> m_counted = std::make_shared<int>();
    std::vector<Batch> m_batches;
};

// ---- Life ----------------------------------------------------------------------------------------------------------

TEST_F(AdviseSinkImplTest, BeginsWithoutAReferenceAndTellsEachNewCount)
{
    IMAPIAdviseSink* const sink = makeSink();
    EXPECT_EQ(sink->AddRef(), 1u);
    EXPECT_EQ(sink->AddRef(), 2u);
    EXPECT_EQ(sink->AddRef(), 3u);
    EXPECT_EQ(sink->Release(), 2u);
    EXPECT_EQ(sink->Release(), 1u);
    EXPECT_EQ(handlers(), 1);
    EXPECT_EQ(sink->Release(), 0u);
}

TEST_F(AdviseSinkImplTest, DestroysItselfAndItsHandlerWithTheLastReference)
{
    {
        const IMAPIAdviseSinkPtr sink(makeSink());
        EXPECT_EQ(handlers(), 1); // a copy; what it was copied from is gone
    }
    EXPECT_EQ(handlers(), 0);
}

TEST_F(AdviseSinkImplTest, CopiesItsHandler)
{
    NotificationHandler handler = [this](ULONG count, const NOTIFICATION* notifications)
    {
        m_batches.emplace_back(count, notifications);
    };
    const IMAPIAdviseSinkPtr sink(static_cast<IMAPIAdviseSink*>(new AdviseSinkImpl(handler)));
    handler = nullptr;
    sink->OnNotify(0, nullptr);
    EXPECT_THAT(m_batches, ElementsAre(Batch(0, nullptr)));
}

// ---- QueryInterface ------------------------------------------------------------------------------------------------

TEST_F(AdviseSinkImplTest, IsIUnknownAndIMAPIAdviseSink)
{
    const IMAPIAdviseSinkPtr sink(makeSink());
    for (const IID& iid : {IID_IUnknown, IID_IMAPIAdviseSink})
    {
        void* object = nullptr;
        EXPECT_EQ(sink->QueryInterface(iid, &object), S_OK);
        EXPECT_EQ(object, sink.GetInterfacePtr());
        EXPECT_EQ(sink->Release(), 1u); // the reference that it took
    }
}

TEST_F(AdviseSinkImplTest, KnowsIMAPIAdviseSinkByAllBytesOfItsIdentifier)
{
    const IID published = {0x00020302, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    const IMAPIAdviseSinkPtr sink(makeSink());
    EXPECT_EQ(sink->QueryInterface(published, nullptr), S_OK);
    EXPECT_EQ(sink->Release(), 1u);
    for (std::size_t index = 0; index < sizeof(IID); ++index)
    {
        IID other = published;
        reinterpret_cast<BYTE*>(&other)[index] ^= 0x80;
        EXPECT_EQ(sink->QueryInterface(other, nullptr), E_NOINTERFACE) << index;
    }
}

TEST_F(AdviseSinkImplTest, ClearsTheOutPointerForAnyOtherInterface)
{
    const IMAPIAdviseSinkPtr sink(makeSink());
    for (const IID& iid : {IID_IMAPIProp, IID_IDispatch})
    {
        void* object = this;
        EXPECT_EQ(sink->QueryInterface(iid, &object), static_cast<HRESULT>(0x80004002));
        EXPECT_EQ(object, nullptr);
    }
    EXPECT_EQ(sink->AddRef(), 2u); // none was taken
    sink->Release();
}

TEST_F(AdviseSinkImplTest, TakesAReferenceAlsoWithoutAnOutPointer)
{
    const IMAPIAdviseSinkPtr sink(makeSink());
    EXPECT_EQ(sink->QueryInterface(IID_IMAPIAdviseSink, nullptr), S_OK);
    EXPECT_EQ(sink->AddRef(), 3u);
    EXPECT_EQ(sink->Release(), 2u);
    EXPECT_EQ(sink->Release(), 1u);
    EXPECT_EQ(sink->QueryInterface(IID_IMAPIProp, nullptr), E_NOINTERFACE);
    EXPECT_EQ(sink->AddRef(), 2u);
    EXPECT_EQ(sink->Release(), 1u);
}

TEST_F(AdviseSinkImplTest, TakesTheReferenceByItsOwnAddRef)
{
    class Derived : public AdviseSinkImpl
    {
    public:
        using AdviseSinkImpl::AdviseSinkImpl;
        ULONG STDMETHODCALLTYPE AddRef() override
        {
            ++m_calls;
            return AdviseSinkImpl::AddRef();
        }
        unsigned m_calls = 0;
    };
    const auto sink = new Derived(NotificationHandler());
    EXPECT_EQ(sink->QueryInterface(IID_IUnknown, nullptr), S_OK);
    EXPECT_EQ(sink->m_calls, 1u);
    EXPECT_EQ(sink->Release(), 0u);
}

// ---- OnNotify ------------------------------------------------------------------------------------------------------

TEST_F(AdviseSinkImplTest, HandsEachBatchOnAsItIs)
{
    const IMAPIAdviseSinkPtr sink(makeSink());
    NOTIFICATION notifications[3] = {};
    EXPECT_EQ(sink->OnNotify(3, notifications), 0u);
    EXPECT_EQ(sink->OnNotify(1, notifications + 1), 0u);
    EXPECT_EQ(sink->OnNotify(0, nullptr), 0u);
    EXPECT_THAT(m_batches, ElementsAre(Batch(3, notifications), Batch(1, notifications + 1), Batch(0, nullptr)));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AdviseSinkImplTest, TouchesNothingWithoutAHandler)
{
    const IMAPIAdviseSinkPtr sink(static_cast<IMAPIAdviseSink*>(new AdviseSinkImpl(NotificationHandler())));
    EXPECT_EQ(sink->OnNotify(2, reinterpret_cast<NOTIFICATION*>(sizeof(NOTIFICATION))), 0u); // no such memory
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AdviseSinkImplTest, LogsWhatTheHandlerThrowsAndGoesOn)
{
    unsigned calls = 0;
    const IMAPIAdviseSinkPtr sink(static_cast<IMAPIAdviseSink*>(new AdviseSinkImpl(
        [&calls](ULONG, const NOTIFICATION*)
        {
            if (++calls != 2)
                throw utilities::exception(L"the host is away");
        })));
    NOTIFICATION notification{};
    EXPECT_EQ(sink->OnNotify(1, &notification), 0u);
    EXPECT_EQ(sink->OnNotify(1, &notification), 0u);
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in AdviseSinkImpl::OnNotify : the host is away"));
    EXPECT_EQ(sink->OnNotify(1, &notification), 0u);
    EXPECT_EQ(calls, 3u);
    EXPECT_THAT(log(), testing::SizeIs(2));
}

TEST_F(AdviseSinkImplTest, PassesAnyOtherException)
{
    const IMAPIAdviseSinkPtr sink(static_cast<IMAPIAdviseSink*>(
        new AdviseSinkImpl([](ULONG count, const NOTIFICATION*)
                           { count == 0 ? throw std::runtime_error("standard") : throw _com_error(E_FAIL); })));
    EXPECT_THROW(sink->OnNotify(0, nullptr), std::runtime_error);
    EXPECT_THROW(sink->OnNotify(1, nullptr), _com_error);
    EXPECT_THAT(log(), IsEmpty());
}
} // namespace
