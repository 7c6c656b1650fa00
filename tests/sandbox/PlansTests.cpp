// Plans: what calls to come answer, how slowly, what they deliver on their way, and which calls count.
#include <chrono>
#include <future>
#include <thread>

#include "tests/sandbox/NotifyTest.h"

using namespace sandboxtest;
using sandbox::Bytes;
using sandbox::Json;

namespace
{
constexpr HRESULT busy = mapiResult(0x8004010B);

class PlansTest : public NotifyTest
{
protected:
    PlansTest()
    {
        openOn(R"({"stores":[{"name":"A","entryId":"00000000AA","folders":[
            {"name":"F","entryId":"00000000F0","messages":[{}]}]}]})");
    }
    ~PlansTest() override { dll.clearPlans(); }

    /// Plans MAPI_E_BUSY, with these further keys.
    void planBusy(const char* method, const Json& keys = Json::object())
    {
        Json plan{{"method", method}, {"result", "MAPI_E_BUSY"}};
        plan.update(keys);
        dll.plan(plan);
    }
    std::future<HRESULT> getPropsMeanwhile()
    {
        return std::async(std::launch::async, [this] { return getProps(); });
    }
    [[nodiscard]] HRESULT getPropsOf(IMAPIProp* object)
    {
        ULONG count = 0;
        SPropValue* values = nullptr;
        const HRESULT result = object->GetProps(Tags{PR_ENTRYID}, 0, &count, &values);
        dll.MAPIFreeBuffer(values);
        return result;
    }
    [[nodiscard]] HRESULT getProps() { return getPropsOf(m_store); }
};
} // namespace

TEST_F(PlansTest, AnswersTheNextCallAndNoOther)
{
    planBusy("IMAPIProp::GetProps");
    const IMAPITablePtr table = storesTable(m_session); // another method
    EXPECT_EQ(getProps(), busy);
    EXPECT_EQ(getProps(), S_OK);
}

TEST_F(PlansTest, AnswersFromACallOnForSoManyTimes)
{
    planBusy("IMAPIProp::GetProps", {{"call", 2}, {"times", 2}});
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_EQ(getProps(), busy);
    EXPECT_EQ(getProps(), busy);
    EXPECT_EQ(getProps(), S_OK);
    planBusy("IMAPIProp::GetProps", {{"times", 0}});
    for (int index = 0; index < 10; ++index)
        EXPECT_EQ(getProps(), busy);
    dll.clearPlans();
    EXPECT_EQ(getProps(), S_OK);
}

TEST_F(PlansTest, CountsTheCallsToOneObjectOnly)
{
    const IMAPIFolderPtr folder(openEntry(m_store.GetInterfacePtr(), Bytes{0, 0, 0, 0, 0xF0}));
    planBusy("IMAPIProp::GetProps", {{"on", "A/F"}, {"call", 2}});
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_EQ(getPropsOf(folder), S_OK);
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_EQ(getPropsOf(folder), busy);
    planBusy("IMAPITable::GetRowCount", {{"on", "A/F"}}); // a table is meant by its folder
    ULONG count = 0;
    EXPECT_EQ(storesTable(m_session)->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(contentsTable(folder)->GetRowCount(0, &count), busy);
}

TEST_F(PlansTest, CountsNoCallThatTheRuntimeMakesOnItsWay)
{
    planBusy("IMAPIProp::GetProps");
    planBusy("IUnknown::QueryInterface");
    SPropValue* value = nullptr;
    EXPECT_EQ(dll.HrGetOneProp(m_store, PR_DISPLAY_NAME_W, &value), S_OK); // by GetProps
    dll.MAPIFreeBuffer(value);
    const IMsgStorePtr again = openStore(m_session); // by QueryInterface
    EXPECT_EQ(getProps(), busy);
    IUnknown* unknown = nullptr;
    EXPECT_EQ(m_store->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), busy);
}

TEST_F(PlansTest, AnswersAFailureWithoutDoingTheWork)
{
    planBusy("IMAPISession::Logoff");
    EXPECT_EQ(m_session->Logoff(0, 0, 0), busy);
    EXPECT_EQ(getProps(), S_OK); // the session goes on
    planBusy("MAPIAllocateBuffer");
    void* block = nullptr;
    EXPECT_EQ(dll.MAPIAllocateBuffer(8, &block), busy);
    EXPECT_EQ(block, nullptr);
}

TEST_F(PlansTest, AnswersAnotherSuccessAfterTheWorkAndLeavesItsFailures)
{
    constexpr HRESULT approximateCount = mapiResult(0x00040482);
    const IMAPITablePtr table = storesTable(m_session);
    dll.plan({{"method", "IMAPITable::GetRowCount"}, {"times", 2}, {"result", "0x00040482"}});
    ULONG count = 0;
    EXPECT_EQ(table->GetRowCount(0, &count), approximateCount);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(table->GetRowCount(0, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(PlansTest, AnswersForRefusedMethodsAndFunctionsBeforeAnythingElse)
{
    planBusy("IMAPISession::QueryIdentity");
    EXPECT_EQ(m_session->QueryIdentity(nullptr, nullptr), busy);
    planBusy("MAPIInitialize");
    EXPECT_EQ(dll.MAPIInitialize(nullptr), busy);
    planBusy("IMAPISession::GetMsgStoresTable");
    EXPECT_EQ(m_session->Logoff(0, 0, 0), S_OK);
    IMAPITablePtr table;
    EXPECT_EQ(m_session->GetMsgStoresTable(0, &table), busy);
    EXPECT_EQ(m_session->GetMsgStoresTable(0, &table), MAPI_E_END_OF_SESSION);
}

TEST_F(PlansTest, LetsTheLatestOfSeveralPlansAnswer)
{
    planBusy("IMAPIProp::GetProps", {{"times", 0}});
    dll.plan({{"method", "IMAPIProp::GetProps"}, {"call", 2}, {"result", "MAPI_E_NO_ACCESS"}});
    dll.plan({{"method", "IMAPIProp::GetProps"}, {"delay", 1}});
    EXPECT_EQ(getProps(), busy);
    EXPECT_EQ(getProps(), MAPI_E_NO_ACCESS);
    EXPECT_EQ(getProps(), busy);
}

// ---- Time ----------------------------------------------------------------------------------------------------------

TEST_F(PlansTest, DelaysACall)
{
    dll.plan({{"method", "IMAPIProp::GetProps"}, {"delay", 50}});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
}

TEST_F(PlansTest, HoldsACallUntilItIsReleasedAndNobodyElse)
{
    planBusy("IMAPIProp::GetProps", {{"hold", "gate"}});
    const auto waitFor = [this](const char* hold)
    {
        return refused({{"do", "wait"}, {"for", "held"}, {"hold", hold}, {"timeout", 1}});
    };
    EXPECT_EQ(waitFor("gate"), "after 1 ms no call waits at 'gate'");
    std::future<HRESULT> held = getPropsMeanwhile();
    dll.waitUntilHeld("gate");
    EXPECT_EQ(waitFor("other"), "after 1 ms no call waits at 'other'");
    EXPECT_EQ(getProps(), S_OK); // the same object, with no lock in the way
    const IMAPISessionPtr another = logon();
    EXPECT_EQ(refused({{"do", "release"}, {"hold", "other"}}), "/hold: no plan has the hold 'other'");
    EXPECT_EQ(held.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    dll.release("gate");
    EXPECT_EQ(held.get(), busy);
    EXPECT_EQ(waitFor("gate"), "after 1 ms no call waits at 'gate'");
}

TEST_F(PlansTest, HoldsACallBeforeItLooksAtAnything)
{
    dll.plan({{"method", "IMAPIProp::GetProps"}, {"hold", "gate"}});
    std::future<HRESULT> held = getPropsMeanwhile();
    dll.waitUntilHeld("gate");
    EXPECT_EQ(m_session->Logoff(0, 0, 0), S_OK);
    dll.release("gate");
    EXPECT_EQ(held.get(), MAPI_E_END_OF_SESSION);
}

TEST_F(PlansTest, HoldsNoCallThatComesAfterTheRelease)
{
    planBusy("IMAPIProp::GetProps", {{"hold", "gate"}, {"times", 0}});
    dll.release("gate");
    EXPECT_EQ(getProps(), busy);
    EXPECT_EQ(getProps(), busy);
}

TEST_F(PlansTest, LetsGoWhatItHoldsWhenPlansAreForgotten)
{
    planBusy("IMAPIProp::GetProps", {{"hold", "gate"}, {"delay", 3'600'000}});
    std::future<HRESULT> held = getPropsMeanwhile();
    dll.waitUntilHeld("gate");
    dll.clearPlans();
    EXPECT_EQ(held.get(), S_OK);
    EXPECT_THROW(dll.release("gate"), std::runtime_error);
}

TEST_F(PlansTest, CountsTheCallsOfASinkAsThoseOfAClient)
{
    const RecordingSinkPtr sink = makeSink();
    HRESULT inside = E_PENDING;
    sink->whenNotified = [&](ULONG, NOTIFICATION*)
    {
        inside = getProps();
    };
    const ULONG_PTR connection = advise(sink);
    planBusy("IMAPIProp::GetProps");
    notifyAndPump({fnevObjectCreated});
    EXPECT_EQ(inside, busy);
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

// ---- Delivering ----------------------------------------------------------------------------------------------------

TEST_F(PlansTest, DeliversWhatWaitsForTheThreadBeforeItsWork)
{
    const RecordingSinkPtr sink = makeSink();
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    planBusy("IMAPIProp::GetProps", {{"deliver", true}});
    notify({fnevObjectCreated, fnevObjectModified});
    notify({fnevObjectDeleted});
    EXPECT_EQ(sink->count(), 0u);
    EXPECT_EQ(getProps(), busy);
    EXPECT_THAT(sink->types(), testing::ElementsAre(fnevObjectCreated, fnevObjectModified, fnevObjectDeleted));
    EXPECT_EQ(sink->count(), 2u);
    notify({fnevObjectMoved});
    EXPECT_EQ(getProps(), S_OK); // no longer planned
    pumpOnce();
    EXPECT_EQ(sink->count(), 3u);
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(PlansTest, DeliversWhatCameWhileTheCallWasHeld)
{
    const RecordingSinkPtr sink = makeSink();
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    dll.plan({{"method", "IMAPIProp::GetProps"}, {"hold", "gate"}, {"deliver", true}});
    std::thread editor(
        [this]
        {
            dll.waitUntilHeld("gate");
            notify({fnevObjectCreated});
            dll.release("gate");
        });
    EXPECT_EQ(getProps(), S_OK);
    editor.join();
    ASSERT_EQ(sink->count(), 1u);
    EXPECT_EQ(sink->calls()[0].thread, GetCurrentThreadId());
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(PlansTest, WaitsForTheFirstThreadToPassOnWhatItIsToDeliver)
{
    const RecordingSinkPtr sink = makeSink();
    dll.plan({{"method", "IMAPIProp::GetProps"}, {"hold", "gate"}, {"deliver", true}});
    std::thread caller(
        [&]
        {
            const IMAPIAdviseSinkPtr wrapper = wrap(sink);
            const ULONG_PTR connection = advise(wrapper);
            EXPECT_EQ(getProps(), S_OK);
            EXPECT_EQ(sink->types(), (std::vector<ULONG>{fnevObjectCreated, fnevObjectDeleted}));
            EXPECT_EQ(m_store->Unadvise(connection), S_OK);
        });
    dll.waitUntilHeld("gate");
    notify({fnevObjectCreated});
    notify({fnevObjectDeleted});
    dll.release("gate");
    pumpDuring([&] { caller.join(); });
}

TEST_F(PlansTest, DeliversInsideADelivery)
{
    const RecordingSinkPtr sink = makeSink();
    RecordingSink* observed = sink;
    std::vector<std::size_t> afterCall; // how many batches there had been when the call inside each handler was over
    sink->whenNotified = [&](ULONG, NOTIFICATION*)
    {
        EXPECT_EQ(getProps(), S_OK);
        afterCall.push_back(observed->count());
    };
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    dll.plan({{"method", "IMAPIProp::GetProps"}, {"times", 2}, {"deliver", true}});
    notify({fnevObjectCreated});
    notify({fnevObjectModified});
    notify({fnevObjectDeleted});
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_THAT(sink->types(), testing::ElementsAre(fnevObjectCreated, fnevObjectModified, fnevObjectDeleted));
    EXPECT_THAT(afterCall, testing::ElementsAre(2u, 3u, 3u))
        << "the second call in the first handler delivers the rest";
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(PlansTest, DeliversNothingForOtherThreadsNorWhenForgotten)
{
    const RecordingSinkPtr sink = makeSink();
    const IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    notify({fnevObjectCreated});
    dll.plan({{"method", "IMAPIProp::GetProps"}, {"deliver", true}});
    EXPECT_EQ(getPropsMeanwhile().get(), S_OK);
    dll.plan({{"method", "IMAPIProp::GetProps"}, {"hold", "gate"}, {"deliver", true}});
    std::thread editor(
        [this]
        {
            dll.waitUntilHeld("gate");
            dll.clearPlans();
        });
    EXPECT_EQ(getProps(), S_OK);
    editor.join();
    EXPECT_EQ(sink->count(), 0u);
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}

TEST_F(PlansTest, DeliversALateBatchAfterAFailedUnadvise)
{
    const RecordingSinkPtr sink = makeSink();
    IMAPIAdviseSinkPtr wrapper = wrap(sink);
    const ULONG_PTR connection = advise(wrapper);
    wrapper = nullptr;
    planBusy("IMsgStore::Unadvise");
    dll.plan({{"method", "IMAPIProp::GetProps"}, {"deliver", true}});
    notify({fnevObjectCreated});
    EXPECT_EQ(m_store->Unadvise(connection), busy);
    EXPECT_EQ(sink->count(), 0u);
    EXPECT_EQ(sink->references(), 2); // the wrapper's
    EXPECT_THAT(dll.report(),
                testing::HasSubstr("IMAPIAdviseSink from HrThisThreadAdviseSink: 1 object(s), 1 reference(s)\n"));
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_EQ(sink->count(), 1u);
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
    EXPECT_EQ(sink->references(), 1);
}
