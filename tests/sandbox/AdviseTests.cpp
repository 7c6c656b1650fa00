// IMsgStore::Advise and Unadvise: what they take, what is delivered to whom, and when that ends.
#include <thread>

#include "tests/sandbox/NotifyTest.h"

using namespace sandboxtest;
using testing::ElementsAre;

namespace
{
class AdviseTest : public NotifyTest
{
protected:
    AdviseTest() { open(); }
    ~AdviseTest() override { close(); }

    const RecordingSinkPtr m_sink = makeSink();
    ULONG_PTR m_connection = 0;
};
} // namespace

TEST_F(AdviseTest, GivesNumbersOfMoreThan32Bits)
{
    m_connection = advise(m_sink);
    const ULONG_PTR other = advise(m_sink);
    EXPECT_GT(m_connection, 0xFFFFFFFFu);
    EXPECT_NE(other, m_connection);
    EXPECT_EQ(m_store->Unadvise(static_cast<ULONG>(m_connection)), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_store->Unadvise(m_connection), S_OK);
    EXPECT_EQ(m_store->Unadvise(other), S_OK);
}

TEST_F(AdviseTest, HoldsTheSinkUntilUnadvise)
{
    m_connection = advise(m_sink);
    EXPECT_EQ(m_sink->references(), 2);
    EXPECT_EQ(m_store->Unadvise(m_connection), S_OK);
    EXPECT_EQ(m_sink->references(), 1);
    EXPECT_EQ(m_store->Unadvise(m_connection), MAPI_E_INVALID_PARAMETER);
    notifyAndPump({fnevObjectCreated});
    EXPECT_EQ(m_sink->count(), 0u);
}

TEST_F(AdviseTest, RefusesWhatIsMissingOrNotServed)
{
    m_connection = 7;
    EXPECT_EQ(m_store->Advise(0, nullptr, allEvents, nullptr, &m_connection), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_connection, 0u);
    EXPECT_EQ(m_store->Advise(0, nullptr, allEvents, m_sink, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_store->Unadvise(0), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_store->Advise(0, nullptr, 0, m_sink, &m_connection), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(m_store->Advise(0, nullptr, fnevTableModified, m_sink, &m_connection), MAPI_E_INVALID_PARAMETER);
    const sandbox::Bytes message = {0, 0, 0, 0, 0xA1};
    EXPECT_EQ(m_store->Advise(5, entryId(message), allEvents, m_sink, &m_connection), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(m_sink->references(), 1);
}

TEST_F(AdviseTest, DeliversARawNotificationWhateverTheMaskSays)
{
    m_connection = advise(m_sink, fnevObjectCreated);
    notifyAndPump({fnevObjectDeleted});
    EXPECT_THAT(m_sink->types(), ElementsAre(fnevObjectDeleted));
    EXPECT_EQ(m_store->Unadvise(m_connection), S_OK);
}

TEST_F(AdviseTest, DeliversWhatTheWatchedStoreSendsOnly)
{
    const IMsgStorePtr other = openStore(m_session, 1);
    m_connection = advise(other, m_sink);
    notifyAndPump({fnevObjectCreated});
    EXPECT_EQ(m_sink->count(), 0u);
    dll.inject("B", {{"event", fnevObjectDeleted}, {"objectType", MAPI_MESSAGE}});
    pumpOnce();
    EXPECT_EQ(m_sink->count(), 1u);
    EXPECT_EQ(m_store->Unadvise(m_connection), MAPI_E_INVALID_PARAMETER); // not of this store
    EXPECT_EQ(other->Unadvise(m_connection), S_OK);
}

TEST_F(AdviseTest, GoesOnWhenTheStoreIsReleased)
{
    m_connection = advise(m_sink);
    m_store = nullptr;
    notifyAndPump({fnevObjectCreated});
    EXPECT_EQ(m_sink->count(), 1u);
    m_store = openStore(m_session);
    EXPECT_EQ(m_store->Unadvise(m_connection), S_OK);
}

// ---- The end of a subscription -------------------------------------------------------------------------------------

TEST_F(AdviseTest, DeliversNothingThatWaitsAtUnadvise)
{
    const IMAPIAdviseSinkPtr wrapper = wrap(m_sink);
    m_connection = advise(wrapper);
    const RecordingSinkPtr witness = makeSink();
    const IMAPIAdviseSinkPtr witnessWrapper = wrap(witness);
    const ULONG_PTR witnessing = advise(witnessWrapper);
    notify({fnevObjectCreated});
    notify({fnevObjectDeleted});
    EXPECT_EQ(m_store->Unadvise(m_connection), S_OK);
    ASSERT_TRUE(pumpUntil([&] { return witness->count() == 2; })); // by the same queue, after each of the other's
    EXPECT_EQ(m_sink->count(), 0u);
    EXPECT_EQ(m_store->Unadvise(witnessing), S_OK);
}

TEST_F(AdviseTest, DeliversNothingMoreAfterUnadviseInsideOnNotify)
{
    IMAPIAdviseSinkPtr wrapper = wrap(m_sink);
    m_connection = advise(wrapper);
    wrapper = nullptr;
    long referencesInside = 0;
    m_sink->whenNotified = [&](ULONG, NOTIFICATION*)
    {
        EXPECT_EQ(m_store->Unadvise(m_connection), S_OK);
        referencesInside = m_sink->references();
    };
    notify({fnevObjectCreated});
    notify({fnevObjectDeleted});
    ASSERT_TRUE(pumpUntil([&] { return m_sink->count() != 0; }));
    pumpOnce();
    EXPECT_THAT(m_sink->types(), ElementsAre(fnevObjectCreated));
    EXPECT_EQ(referencesInside, 2); // it was still being called
    EXPECT_EQ(m_sink->references(), 1);
}

TEST_F(AdviseTest, ReleasesARawSinkOnlyWhenItHasReturned)
{
    m_connection = advise(m_sink);
    long referencesInside = 0;
    m_sink->whenNotified = [&](ULONG, NOTIFICATION*)
    {
        std::thread([&] { EXPECT_EQ(m_store->Unadvise(m_connection), S_OK); }).join();
        referencesInside = m_sink->references();
    };
    notifyAndPump({fnevObjectCreated});
    EXPECT_EQ(referencesInside, 2);
    EXPECT_EQ(m_sink->references(), 1);
}

TEST_F(AdviseTest, LetsTheSinkCallMapi)
{
    m_connection = advise(m_sink);
    ULONG_PTR second = 0;
    m_sink->whenNotified = [&](ULONG, NOTIFICATION*)
    {
        if (second == 0)
            second = advise(m_sink);
        EXPECT_EQ(textOf(m_store, PR_DISPLAY_NAME_W), L"A");
        void* block = nullptr;
        EXPECT_EQ(dll.MAPIAllocateBuffer(8, &block), S_OK);
        EXPECT_THAT(dll.report(), testing::HasSubstr("MAPIAllocateBuffer: 1 block(s), 8 bytes")); // not OnNotify's
        dll.MAPIFreeBuffer(block);
    };
    notifyAndPump({fnevObjectCreated});
    EXPECT_EQ(m_sink->count(), 1u);
    notifyAndPump({fnevObjectCreated});
    EXPECT_EQ(m_sink->count(), 3u);
    EXPECT_EQ(m_store->Unadvise(m_connection), S_OK);
    EXPECT_EQ(m_store->Unadvise(second), S_OK);
}

TEST_F(AdviseTest, DeliversNothingAfterLogoff)
{
    m_connection = advise(m_sink);
    EXPECT_EQ(m_session->Logoff(0, 0, 0), S_OK);
    notifyAndPump({fnevObjectCreated});
    EXPECT_EQ(m_sink->count(), 0u);
    EXPECT_EQ(m_sink->references(), 2); // nobody has said Unadvise
    EXPECT_EQ(m_store->Unadvise(m_connection), MAPI_E_END_OF_SESSION);
    EXPECT_EQ(m_sink->references(), 1); // too late, yet said
    EXPECT_EQ(m_store->Advise(0, nullptr, allEvents, m_sink, &m_connection), MAPI_E_END_OF_SESSION);
    EXPECT_EQ(dll.request({{"do", "subscriptions"}}).at("subscriptions"), sandbox::Json::array());
}

TEST_F(AdviseTest, DeliversNothingThatWaitsAtTheFastShutdown)
{
    m_connection = advise(wrap(m_sink));
    notify({fnevObjectCreated});
    {
        IMAPIClientShutdownPtr shutdown;
        checkOk(m_session->QueryInterface(IID_IMAPIClientShutdown, reinterpret_cast<void**>(&shutdown)));
        EXPECT_EQ(shutdown->DoFastShutdown(), S_OK);
    }
    dll.waitUntilIdle(); // though this thread looks no more
    pumpOnce();
    EXPECT_EQ(m_sink->count(), 0u);
    EXPECT_EQ(m_store->Unadvise(m_connection), MAPI_E_END_OF_SESSION);
    EXPECT_EQ(m_sink->references(), 1);
}

TEST_F(AdviseTest, ReportsAForgottenSubscriptionAtTheEnd)
{
    m_connection = advise(wrap(m_sink));
    close();
    EXPECT_EQ(dll.report(), "IMAPIAdviseSink from HrThisThreadAdviseSink: 1 object(s), 1 reference(s)\n"
                            "MAPIInitialize: 1 call(s) without MAPIUninitialize\n");
    m_session = logon();
    m_store = openStore(m_session);
    EXPECT_EQ(m_store->Unadvise(m_connection), S_OK); // any session may
}
