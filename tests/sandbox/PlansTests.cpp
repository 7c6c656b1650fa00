// Plans: what calls to come answer, how slowly, and which calls count.
#include <atomic>
#include <chrono>
#include <thread>

#include "tests/sandbox/NotifyTest.h"
#include "tests/support/Handle.h"

using namespace sandboxtest;
using sandbox::Bytes;

namespace
{
constexpr HRESULT s_busy = mapiResult(0x8004010B);
constexpr HRESULT s_networkError = mapiResult(0x80040115);
constexpr HRESULT s_approximateCount = mapiResult(0x00040482);

const unsigned s_deadline = static_cast<unsigned>(std::chrono::milliseconds(support::deadline).count());

class PlansTest : public SandboxTest
{
protected:
    PlansTest() : m_session(logonTo(s_mailbox)), m_store(openStore(m_session)) {}

    static SandboxPlan plan(const char* method) { return {method, nullptr, 0, 1, 1, nullptr, 0, nullptr}; }
    static SandboxPlan failing(const char* method, const HRESULT& result = s_busy)
    {
        SandboxPlan made = plan(method);
        made.result = &result;
        return made;
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

    static constexpr const char* s_mailbox =
        R"({"stores":[{"name":"A","entryId":"00000000AA","folders":[{"name":"F","entryId":"00000000F0","messages":[{}]}],
            "results":{"GetPropList":"MAPI_E_NO_ACCESS"}}]})";
    IMAPISessionPtr m_session;
    IMsgStorePtr m_store;
};
} // namespace

TEST_F(PlansTest, AnswersTheNextCallAndNoOther)
{
    const SandboxPlan made = failing("IMAPIProp::GetProps");
    dll.sandboxAddPlan(&made);
    const IMAPITablePtr table = storesTable(m_session); // another method
    EXPECT_EQ(getProps(), s_busy);
    EXPECT_EQ(getProps(), S_OK);
}

TEST_F(PlansTest, AnswersFromACallOnForSoManyTimes)
{
    SandboxPlan made = failing("IMAPIProp::GetProps");
    made.call = 2;
    made.times = 2;
    dll.sandboxAddPlan(&made);
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_EQ(getProps(), s_busy);
    EXPECT_EQ(getProps(), s_busy);
    EXPECT_EQ(getProps(), S_OK);
}

TEST_F(PlansTest, AnswersAlwaysWithoutANumberOfTimes)
{
    SandboxPlan made = failing("IMAPIProp::GetProps");
    made.call = 3;
    made.times = 0;
    dll.sandboxAddPlan(&made);
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_EQ(getProps(), S_OK);
    for (int index = 0; index < 10; ++index)
        EXPECT_EQ(getProps(), s_busy);
    dll.sandboxClearPlans();
    EXPECT_EQ(getProps(), S_OK);
}

TEST_F(PlansTest, CountsTheCallsToOneObjectOnly)
{
    const Bytes folderId = {0, 0, 0, 0, 0xF0};
    const IMAPIFolderPtr folder(openEntry(m_store.GetInterfacePtr(), folderId));
    SandboxPlan made = failing("IMAPIProp::GetProps");
    made.on = folderId.data();
    made.onSize = folderId.size();
    made.call = 2;
    dll.sandboxAddPlan(&made);
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_EQ(getPropsOf(folder), S_OK);
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_EQ(getPropsOf(folder), s_busy);
}

TEST_F(PlansTest, MeansTheTablesOfAFolderByTheFolder)
{
    const Bytes folderId = {0, 0, 0, 0, 0xF0};
    const IMAPIFolderPtr folder(openEntry(m_store.GetInterfacePtr(), folderId));
    SandboxPlan made = failing("IMAPITable::GetRowCount");
    made.on = folderId.data();
    made.onSize = folderId.size();
    dll.sandboxAddPlan(&made);
    const IMAPITablePtr stores = storesTable(m_session);
    const IMAPITablePtr contents = contentsTable(folder);
    ULONG count = 0;
    EXPECT_EQ(stores->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(contents->GetRowCount(0, &count), s_busy);
}

TEST_F(PlansTest, CountsNoCallThatTheRuntimeMakesOnItsWay)
{
    const SandboxPlan made = failing("IMAPIProp::GetProps");
    dll.sandboxAddPlan(&made);
    const SandboxPlan opening = failing("IUnknown::QueryInterface");
    dll.sandboxAddPlan(&opening);
    SPropValue* value = nullptr;
    EXPECT_EQ(dll.HrGetOneProp(m_store, PR_DISPLAY_NAME_W, &value), S_OK); // by GetProps
    dll.MAPIFreeBuffer(value);
    const IMsgStorePtr again = openStore(m_session); // by QueryInterface
    EXPECT_EQ(getProps(), s_busy);
    IUnknown* unknown = nullptr;
    EXPECT_EQ(m_store->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), s_busy);
}

TEST_F(PlansTest, AnswersAFailureWithoutDoingTheWork)
{
    const SandboxPlan made = failing("IMAPISession::Logoff");
    dll.sandboxAddPlan(&made);
    EXPECT_EQ(m_session->Logoff(0, 0, 0), s_busy);
    EXPECT_EQ(getProps(), S_OK); // the session goes on
    const SandboxPlan allocating = failing("MAPIAllocateBuffer", MAPI_E_NOT_ENOUGH_MEMORY);
    dll.sandboxAddPlan(&allocating);
    void* block = nullptr;
    EXPECT_EQ(dll.MAPIAllocateBuffer(8, &block), MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(block, nullptr);
}

TEST_F(PlansTest, AnswersAnotherSuccessAfterTheWorkAndLeavesItsFailures)
{
    const IMAPITablePtr table = storesTable(m_session);
    SandboxPlan made = failing("IMAPITable::GetRowCount", s_approximateCount);
    made.times = 2;
    dll.sandboxAddPlan(&made);
    ULONG count = 0;
    EXPECT_EQ(table->GetRowCount(0, &count), s_approximateCount);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(table->GetRowCount(0, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(PlansTest, LeavesWhatTheMailboxPlans)
{
    SPropTagArray* tags = nullptr;
    const SandboxPlan made = failing("IMAPIProp::GetPropList");
    dll.sandboxAddPlan(&made);
    EXPECT_EQ(m_store->GetPropList(0, &tags), s_busy);
    EXPECT_EQ(m_store->GetPropList(0, &tags), MAPI_E_NO_ACCESS);
}

TEST_F(PlansTest, AnswersForRefusedMethodsAndFunctionsBeforeAnythingElse)
{
    const SandboxPlan refused = failing("IMAPISession::QueryIdentity");
    dll.sandboxAddPlan(&refused);
    EXPECT_EQ(m_session->QueryIdentity(nullptr, nullptr), s_busy);
    const SandboxPlan initializing = failing("MAPIInitialize");
    dll.sandboxAddPlan(&initializing);
    EXPECT_EQ(dll.MAPIInitialize(nullptr), s_busy);
    const SandboxPlan ended = failing("IMAPISession::GetMsgStoresTable");
    dll.sandboxAddPlan(&ended);
    EXPECT_EQ(m_session->Logoff(0, 0, 0), S_OK);
    IMAPITablePtr table;
    EXPECT_EQ(m_session->GetMsgStoresTable(0, &table), s_busy);
    EXPECT_EQ(m_session->GetMsgStoresTable(0, &table), MAPI_E_END_OF_SESSION);
}

TEST_F(PlansTest, LetsTheLatestOfSeveralPlansAnswer)
{
    SandboxPlan first = failing("IMAPIProp::GetProps");
    first.times = 0;
    dll.sandboxAddPlan(&first);
    SandboxPlan second = failing("IMAPIProp::GetProps", s_networkError);
    second.call = 2;
    dll.sandboxAddPlan(&second);
    const SandboxPlan without = plan("IMAPIProp::GetProps");
    dll.sandboxAddPlan(&without);
    EXPECT_EQ(getProps(), s_busy);
    EXPECT_EQ(getProps(), s_networkError);
    EXPECT_EQ(getProps(), s_busy);
}

// ---- Time ----------------------------------------------------------------------------------------------------------

TEST_F(PlansTest, DelaysACall)
{
    SandboxPlan made = plan("IMAPIProp::GetProps");
    made.delay = 50;
    dll.sandboxAddPlan(&made);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(getProps(), S_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
}

TEST_F(PlansTest, HoldsACallUntilItIsReleasedAndNobodyElse)
{
    SandboxPlan made = failing("IMAPIProp::GetProps");
    made.hold = "gate";
    dll.sandboxAddPlan(&made);
    EXPECT_EQ(dll.sandboxWaitUntilHeld("gate", 1, nullptr), 0);
    std::atomic<HRESULT> result{E_PENDING};
    std::thread caller([&] { result = getProps(); });
    EXPECT_EQ(dll.sandboxWaitUntilHeld("gate", s_deadline, nullptr), 1);
    EXPECT_EQ(dll.sandboxWaitUntilHeld("other", 1, nullptr), 0);
    EXPECT_EQ(getProps(), S_OK); // the same object, with no lock in the way
    const IMAPISessionPtr another = logon();
    EXPECT_EQ(result, E_PENDING);
    EXPECT_EQ(dll.sandboxReleaseHold("other"), 0);
    EXPECT_EQ(dll.sandboxReleaseHold("gate"), 1);
    caller.join();
    EXPECT_EQ(result, s_busy);
    EXPECT_EQ(dll.sandboxWaitUntilHeld("gate", 1, nullptr), 0);
}

TEST_F(PlansTest, HoldsACallBeforeItLooksAtAnything)
{
    SandboxPlan made = plan("IMAPIProp::GetProps");
    made.hold = "gate";
    dll.sandboxAddPlan(&made);
    std::atomic<HRESULT> result{E_PENDING};
    std::thread caller([&] { result = getProps(); });
    EXPECT_EQ(dll.sandboxWaitUntilHeld("gate", s_deadline, nullptr), 1);
    EXPECT_EQ(m_session->Logoff(0, 0, 0), S_OK);
    EXPECT_EQ(dll.sandboxReleaseHold("gate"), 1);
    caller.join();
    EXPECT_EQ(result, MAPI_E_END_OF_SESSION);
}

TEST_F(PlansTest, HoldsFlatFunctionsBeforeTheyLookAtAnything)
{
    SandboxPlan made = plan("MAPIAllocateBuffer");
    made.hold = "gate";
    dll.sandboxAddPlan(&made);
    std::atomic<HRESULT> result{E_PENDING};
    void* block = nullptr;
    std::thread caller([&] { result = dll.MAPIAllocateBuffer(8, &block); });
    EXPECT_EQ(dll.sandboxWaitUntilHeld("gate", s_deadline, nullptr), 1);
    dll.MAPIUninitialize();
    EXPECT_EQ(dll.sandboxReleaseHold("gate"), 1);
    caller.join();
    EXPECT_EQ(result, MAPI_E_NOT_INITIALIZED);
    EXPECT_EQ(dll.MAPIInitialize(nullptr), S_OK);
}

TEST_F(PlansTest, HoldsNoCallThatComesAfterTheRelease)
{
    SandboxPlan made = failing("IMAPIProp::GetProps");
    made.hold = "gate";
    made.times = 0;
    dll.sandboxAddPlan(&made);
    EXPECT_EQ(dll.sandboxReleaseHold("gate"), 1);
    EXPECT_EQ(getProps(), s_busy);
    EXPECT_EQ(getProps(), s_busy);
}

TEST_F(PlansTest, LetsGoWhatItHoldsWhenPlansAreForgotten)
{
    SandboxPlan held = failing("IMAPIProp::GetProps");
    held.hold = "gate";
    held.delay = INFINITE;
    dll.sandboxAddPlan(&held);
    std::atomic<HRESULT> result{E_PENDING};
    std::thread caller([&] { result = getProps(); });
    EXPECT_EQ(dll.sandboxWaitUntilHeld("gate", s_deadline, nullptr), 1);
    dll.sandboxClearPlans();
    caller.join();
    EXPECT_EQ(result, S_OK);
    EXPECT_EQ(dll.sandboxReleaseHold("gate"), 0);
}

TEST_F(PlansTest, EndsTheWaitForAHoldWhenToldToStop)
{
    const support::Handle stop = support::makeEvent();
    std::atomic<int> held{-1};
    std::thread waiter([&] { held = dll.sandboxWaitUntilHeld("gate", INFINITE, stop.get()); });
    SetEvent(stop.get());
    waiter.join();
    EXPECT_EQ(held, 0);
}

TEST_F(PlansTest, CountsTheCallsOfASinkAsThoseOfAClient)
{
    const RecordingSinkPtr sink = makeSink();
    HRESULT inside = E_PENDING;
    sink->whenNotified = [&](ULONG, NOTIFICATION*)
    {
        inside = getProps();
    };
    ULONG_PTR connection = 0;
    checkOk(m_store->Advise(0, nullptr, s_allEvents, sink, &connection));
    const SandboxPlan made = failing("IMAPIProp::GetProps");
    dll.sandboxAddPlan(&made);
    const NOTIFICATION told = makeNotification(fnevObjectCreated);
    EXPECT_EQ(dll.sandboxNotify(0, 1, &told, 1), 1);
    EXPECT_EQ(inside, s_busy);
    EXPECT_EQ(m_store->Unadvise(connection), S_OK);
}
