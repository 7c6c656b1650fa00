// Many threads that call the MAPI runtime while none, or not each, has found it yet.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "agent/mapi/MapiRuntime.h"
#include "tests/mapi/FakeMachine.h"
#include "tests/support/Figures.h"
#include "tests/support/Platform.h"
#include "tests/support/fuzz/Choices.h"

namespace
{
using testing::IsEmpty;

constexpr std::size_t threadCount = 12;

// ---- A runtime of which each function says which one it is ------------------------------------------------------------

std::atomic<unsigned> s_calls{0}; // that have come to it

template <long result, class Result, class... Arguments>
Result STDAPICALLTYPE answer(Arguments...)
{
    ++s_calls;
    return static_cast<Result>(result);
}
template <long result, class Result, class... Arguments>
FARPROC entryPoint()
{
    Result(STDAPICALLTYPE * function)(Arguments...) = &answer<result, Result, Arguments...>;
    return support::FakeMachine::exported(function);
}

/// Calls one of the nine. Whether the runtime has answered, and as that function.
bool call(std::size_t which)
{
    void* block = nullptr;
    IMAPISession* session = nullptr;
    SPropValue* value = nullptr;
    IMAPIAdviseSink* sink = nullptr;
    switch (which)
    {
    case 0:
        return mapi::MAPIInitialize(nullptr) == 1;
    case 1:
        return mapi::MAPILogonEx(0, nullptr, nullptr, 0, &session) == 2;
    case 2:
        return mapi::MAPIAllocateBuffer(1, &block) == 3;
    case 3:
        return mapi::MAPIAllocateMore(1, nullptr, &block) == 4;
    case 4:
        return mapi::MAPIFreeBuffer(nullptr) == 5;
    case 5:
        return mapi::HrGetOneProp(nullptr, 0, &value) == 6;
    case 6:
        return mapi::HrThisThreadAdviseSink(nullptr, &sink) == 7;
    default: // no result: s_calls tells
        which == 7 ? mapi::MAPIUninitialize() : mapi::FreeProws(nullptr);
        return true;
    }
}
constexpr std::size_t functionCount = 9;

/// Where threads wait until all have come. Not std::barrier, which at times hangs in the mingw build of libstdc++ 12.
class Meeting
{
public:
    void arrive()
    {
        std::unique_lock lock(m_mutex);
        ++m_present;
        m_changed.notify_all();
        EXPECT_TRUE(m_changed.wait_for(lock, support::deadline, [this] { return m_present >= threadCount; }));
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_present = 0;
};

class RuntimeThreadTest : public testing::Test
{
protected:
    RuntimeThreadTest()
    {
        m_machine.systemDirectory.clear(); // a search finds what the client's key names, or nothing
        m_machine.loadable = {L"C:\\runtime.dll"};
        m_machine.functions = {
            {"MAPIInitialize", entryPoint<1, HRESULT, void*>()},
            {"MAPILogonEx", entryPoint<2, HRESULT, ULONG_PTR, void*, void*, ULONG, IMAPISession**>()},
            {"MAPIAllocateBuffer", entryPoint<3, SCODE, ULONG, void**>()},
            {"MAPIAllocateMore", entryPoint<4, SCODE, ULONG, void*, void**>()},
            {"MAPIFreeBuffer", entryPoint<5, ULONG, void*>()},
            {"HrGetOneProp", entryPoint<6, HRESULT, IMAPIProp*, ULONG, SPropValue**>()},
            {"HrThisThreadAdviseSink", entryPoint<7, HRESULT, IMAPIAdviseSink*, IMAPIAdviseSink**>()},
            {"MAPIUninitialize", entryPoint<0, void>()},
            {"FreeProws", entryPoint<0, void, SRowSet*>()},
        };
        forgetRuntime();
    }
    ~RuntimeThreadTest() override { forgetRuntime(); }

    /// As at the start of a process.
    static void forgetRuntime()
    {
        mapi::mapiModule = nullptr;
        ++mapi::mapiGeneration;
    }

    void registerRuntime()
    {
        m_machine.registry.setText(L"Software\\Clients\\Mail", L"", L"Client");
        m_machine.registry.setText(L"Software\\Clients\\Mail\\Client", L"DllPathEx", L"C:\\runtime.dll");
    }

    [[nodiscard]] std::size_t countCalls(const std::string& text) const
    {
        const std::vector<std::string> calls = m_machine.calls();
        return static_cast<std::size_t>(std::ranges::count(calls, text));
    }

    /// Rounds in which many threads call the runtime for the first time.
    /// @param meetInSearch  all of them are inside a search before any knows a module; otherwise they begin at one moment.
    void runRounds(const char* name, bool meetInSearch);

    support::FakeMachine m_machine;
};

void RuntimeThreadTest::runRounds(const char* name, bool meetInSearch)
{
    const auto seed = support::amountOf("LINKWELL_SEED", 1);
    const auto rounds = support::amountOf("LINKWELL_LOADER_ROUNDS", 15);
    constexpr std::size_t callsOfAThread = 50;
    registerRuntime();
    std::unique_ptr<Meeting> meeting;
    std::mutex keysMutex;
    std::vector<HKEY> keys; // searches leave them open: settled behaviour 43
    const auto open = support::hookImport<"RegOpenKeyExW">(
        RegOpenKeyExW,
        [&](auto original, HKEY key, LPCWSTR path, DWORD options, REGSAM access, PHKEY result)
        {
            if (key == HKEY_LOCAL_MACHINE && meetInSearch) // once in each
                meeting->arrive();
            const LSTATUS status = original(key, path, options, access, result);
            const std::lock_guard lock(keysMutex);
            keys.push_back(*result);
            return status;
        });
    std::size_t searchCount = 0;
    for (unsigned long long round = 0; round < rounds && !HasFailure(); ++round)
    {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        forgetRuntime();
        m_machine.clearCalls();
        s_calls = 0;
        meeting = std::make_unique<Meeting>();
        const ULONG generation = mapi::mapiGeneration;
        std::atomic<unsigned> wrong{0};
        {
            std::vector<std::jthread> threads;
            for (std::size_t thread = 0; thread < threadCount; ++thread)
                threads.emplace_back(
                    [&, thread]
                    {
                        support::Choices choices((seed * rounds + round) * threadCount + thread);
                        if (!meetInSearch)
                            meeting->arrive();
                        for (std::size_t count = 0; count < callsOfAThread; ++count)
                            wrong += !call(choices.below(functionCount));
                    });
        }
        const std::size_t found = countCalls("load C:\\runtime.dll");
        EXPECT_EQ(wrong, 0U);
        EXPECT_EQ(s_calls, threadCount * callsOfAThread);
        EXPECT_EQ(m_machine.nameOf(mapi::mapiModule), "C:\\runtime.dll");
        EXPECT_TRUE(meetInSearch ? found == threadCount : found >= 1) << found;
        EXPECT_EQ(countCalls("free C:\\runtime.dll"), found - 1); // the references of all that lost the race
        EXPECT_EQ(mapi::mapiGeneration, generation + found);
        searchCount += found;

        for (std::size_t which = 0; which < functionCount; ++which) // bound in the last generation now
            EXPECT_TRUE(call(which));
        m_machine.clearCalls();
        for (std::size_t which = 0; which < functionCount; ++which)
            EXPECT_TRUE(call(which));
        EXPECT_THAT(m_machine.calls(), IsEmpty());

        for (const HKEY key : keys)
            RegCloseKey(key);
        keys.clear();
    }
    std::printf("seed %llu: %llu rounds of %zu threads, %zu searches\n", seed, rounds, threadCount, searchCount);
    support::addFigures("runtime searched by many threads", {{"Threads begin", name},
                                                             {"Seed", seed},
                                                             {"Rounds", rounds},
                                                             {"Threads", threadCount},
                                                             {"Calls", rounds * threadCount * callsOfAThread},
                                                             {"Searches", searchCount},
                                                             {"References given back", searchCount - rounds}});
}

TEST_F(RuntimeThreadTest, KeepsOneModuleWhenAllThreadsSearchAtOnce)
{
    runRounds("in the search", true);
}

TEST_F(RuntimeThreadTest, AnswersEveryThreadThatCallsAtTheFirstMoment)
{
    runRounds("with a call", false);
}

TEST_F(RuntimeThreadTest, AnswersEachCallThatBeginsBehindTheFirstSuccess)
{
    constexpr unsigned callsBehind = 200;
    const auto seed = support::amountOf("LINKWELL_SEED", 1);
    std::atomic<unsigned> failed{0};
    std::atomic<unsigned> wrong{0};
    {
        std::vector<std::jthread> threads;
        for (std::size_t thread = 0; thread < threadCount; ++thread)
            threads.emplace_back(
                [&, thread]
                {
                    support::Choices choices(seed * threadCount + thread);
                    for (unsigned behind = 0; behind < callsBehind;)
                    {
                        const bool isKnown = mapi::mapiModule != nullptr;
                        const bool isAnswered = call(choices.below(7)); // those with a result
                        failed += !isAnswered;
                        wrong += isKnown && !isAnswered;
                        behind += isKnown ? 1 : 0;
                    }
                });
        while (failed < 10 * threadCount)
            std::this_thread::yield();
        registerRuntime(); // while all of them search
    }
    EXPECT_EQ(wrong, 0U) << "seed " << seed;
}

// A search that fails takes as long as one that succeeds, and may end behind it.
TEST_F(RuntimeThreadTest, KeepsWhatAnotherThreadHasBoundBehindASearchThatFailed)
{
    bool isFirst = true;
    m_machine.whenFinding = [&]
    {
        if (!std::exchange(isFirst, false))
            return;
        registerRuntime();
        std::thread([] { EXPECT_EQ(mapi::MAPIInitialize(nullptr), 1); }).join();
    };
    (void)mapi::MAPIInitialize(nullptr); // its own search had found nothing
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), 1);
}
} // namespace
