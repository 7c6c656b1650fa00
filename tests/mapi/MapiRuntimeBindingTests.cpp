// The nine entry points of the MAPI runtime, bound by name.
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "agent/mapi/MapiRuntime.h"
#include "tests/mapi/FakeMachine.h"

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

constexpr HRESULT callFailed = static_cast<HRESULT>(0x80004005);

// ---- A runtime that notes its calls and does nothing ----------------------------------------------------------------

struct NotedCall
{
    std::string name;
    std::vector<std::uint64_t> arguments;
    std::uint32_t result = 0; // what the next call returns, where it returns anything
};
NotedCall s_call;

std::uint64_t numberOf(std::uint64_t number)
{
    return number;
}
std::uint64_t numberOf(const void* pointer)
{
    return reinterpret_cast<std::uintptr_t>(pointer);
}

/// An entry point of this name.
template <support::impl::FixedText name, class Result, class... Arguments>
Result STDAPICALLTYPE noteCall(Arguments... arguments)
{
    s_call.name = name.characters;
    s_call.arguments = {numberOf(arguments)...};
    return static_cast<Result>(s_call.result);
}
template <support::impl::FixedText name, class Result, class... Arguments>
std::pair<const std::string, FARPROC> entryPoint()
{
    Result(STDAPICALLTYPE * function)(Arguments...) = &noteCall<name, Result, Arguments...>;
    return {name.characters, support::FakeMachine::exported(function)};
}

class RuntimeBindingTest : public testing::Test
{
protected:
    RuntimeBindingTest()
    {
        s_call = {};
        mapi::mapiModule = nullptr;
        ++mapi::mapiGeneration;
        m_machine.systemDirectory.clear(); // a search finds nothing but what is loaded
    }
    ~RuntimeBindingTest() override
    {
        mapi::mapiModule = nullptr;
        ++mapi::mapiGeneration; // nothing bound to it may be used again
    }

    void loadRuntime()
    {
        m_machine.loaded = {L"olmapi32.dll"};
        m_machine.functions = {
            entryPoint<"MAPIInitialize", HRESULT, void*>(),
            entryPoint<"MAPIUninitialize", void>(),
            entryPoint<"MAPILogonEx", HRESULT, ULONG_PTR, void*, void*, ULONG, IMAPISession**>(),
            entryPoint<"MAPIAllocateBuffer", SCODE, ULONG, void**>(),
            entryPoint<"MAPIAllocateMore", SCODE, ULONG, void*, void**>(),
            entryPoint<"MAPIFreeBuffer", ULONG, void*>(),
            entryPoint<"FreeProws", void, SRowSet*>(),
            entryPoint<"HrGetOneProp", HRESULT, IMAPIProp*, ULONG, SPropValue**>(),
            entryPoint<"HrThisThreadAdviseSink", HRESULT, IMAPIAdviseSink*, IMAPIAdviseSink**>(),
        };
    }

    support::FakeMachine m_machine;
};

// ---- One thread -----------------------------------------------------------------------------------------------------

/// What each of the nine gives when it can't be called. Nothing may be written to the out arguments.
void expectFixedResults()
{
    void* block = nullptr;
    IMAPISession* session = nullptr;
    SPropValue* value = nullptr;
    IMAPIAdviseSink* wrapper = nullptr;
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), callFailed);
    EXPECT_EQ(mapi::MAPILogonEx(0, nullptr, nullptr, 0, &session), callFailed);
    EXPECT_EQ(mapi::MAPIAllocateBuffer(1, &block), callFailed);
    EXPECT_EQ(mapi::MAPIAllocateMore(1, nullptr, &block), callFailed);
    EXPECT_EQ(mapi::MAPIFreeBuffer(&block), 0u);
    EXPECT_NO_THROW(mapi::FreeProws(nullptr));
    EXPECT_EQ(mapi::HrGetOneProp(nullptr, 0, &value), callFailed);
    EXPECT_EQ(mapi::HrThisThreadAdviseSink(nullptr, &wrapper), callFailed);
    EXPECT_NO_THROW(mapi::MAPIUninitialize());
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(session, nullptr);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(wrapper, nullptr);
}
const auto nineLookUps = ElementsAre("find MAPIInitialize", "find MAPILogonEx", "find MAPIAllocateBuffer",
                                     "find MAPIAllocateMore", "find MAPIFreeBuffer", "find FreeProws",
                                     "find HrGetOneProp", "find HrThisThreadAdviseSink", "find MAPIUninitialize");

TEST_F(RuntimeBindingTest, GivesFixedResultsAndSearchesAgainWithoutARuntime)
{
    const auto searches = support::countImport<"RegOpenKeyExW">(RegOpenKeyExW);
    expectFixedResults();
    EXPECT_EQ(searches.count(), 9u);
    expectFixedResults();
    EXPECT_EQ(searches.count(), 18u);
}

TEST_F(RuntimeBindingTest, FindsARuntimeThatArrivesLater)
{
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), callFailed);
    loadRuntime();
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), 0);
}

TEST_F(RuntimeBindingTest, AsksForEachNameOncePerGenerationWhetherItIsThereOrNot)
{
    m_machine.loaded = {L"olmapi32.dll"};
    std::ignore = mapi::getMapiModule();
    for (int generation = 0; generation < 2; ++generation)
    {
        m_machine.clearCalls();
        expectFixedResults();
        EXPECT_THAT(m_machine.calls(), nineLookUps);
        m_machine.clearCalls();
        expectFixedResults();
        EXPECT_THAT(m_machine.calls(), IsEmpty());
        ++mapi::mapiGeneration;
    }
    loadRuntime(); // now they are there
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), 0);
    m_machine.clearCalls();
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), 0);
    EXPECT_THAT(m_machine.calls(), IsEmpty());
}

TEST_F(RuntimeBindingTest, PassesArgumentsAndResultsOn)
{
    loadRuntime();
    constexpr std::uintptr_t high = 0x100000000; // pointers and handles have 64 bits
    const auto pointer = []<class T>(std::uintptr_t value, T*)
    {
        return reinterpret_cast<T*>(high + value);
    };
    void** const block = nullptr;
    void* const any = nullptr;
    const auto expectCall = [](const std::string& name, const std::vector<std::uint64_t>& arguments)
    {
        EXPECT_EQ(s_call.name, name);
        EXPECT_EQ(s_call.arguments, arguments) << name;
    };

    s_call.result = 0x00040203;
    EXPECT_EQ(mapi::MAPIInitialize(pointer(1, any)), 0x00040203);
    expectCall("MAPIInitialize", {high + 1});
    s_call.result = 0x80040111;
    EXPECT_EQ(mapi::MAPILogonEx(high + 1, pointer(2, any), pointer(3, any), 0x80000063,
                                pointer(5, static_cast<IMAPISession**>(nullptr))),
              static_cast<HRESULT>(0x80040111));
    expectCall("MAPILogonEx", {high + 1, high + 2, high + 3, 0x80000063, high + 5});
    EXPECT_EQ(mapi::MAPIAllocateBuffer(0xFFFFFFFF, pointer(2, block)), static_cast<SCODE>(0x80040111));
    expectCall("MAPIAllocateBuffer", {0xFFFFFFFF, high + 2});
    EXPECT_EQ(mapi::MAPIAllocateMore(7, pointer(2, any), pointer(3, block)), static_cast<SCODE>(0x80040111));
    expectCall("MAPIAllocateMore", {7, high + 2, high + 3});
    s_call.result = 5;
    EXPECT_EQ(mapi::MAPIFreeBuffer(pointer(1, any)), 5u);
    expectCall("MAPIFreeBuffer", {high + 1});
    mapi::FreeProws(pointer(1, static_cast<SRowSet*>(nullptr)));
    expectCall("FreeProws", {high + 1});
    s_call.result = 0x8004010F;
    EXPECT_EQ(mapi::HrGetOneProp(pointer(1, static_cast<IMAPIProp*>(nullptr)), 0x0FFF0102,
                                 pointer(3, static_cast<SPropValue**>(nullptr))),
              static_cast<HRESULT>(0x8004010F));
    expectCall("HrGetOneProp", {high + 1, 0x0FFF0102, high + 3});
    EXPECT_EQ(mapi::HrThisThreadAdviseSink(pointer(1, static_cast<IMAPIAdviseSink*>(nullptr)),
                                           pointer(2, static_cast<IMAPIAdviseSink**>(nullptr))),
              static_cast<HRESULT>(0x8004010F));
    expectCall("HrThisThreadAdviseSink", {high + 1, high + 2});
    mapi::MAPIUninitialize();
    expectCall("MAPIUninitialize", {});
}

TEST_F(RuntimeBindingTest, UninitializingResetsNothing)
{
    loadRuntime();
    mapi::MAPIInitialize(nullptr);
    mapi::MAPIUninitialize();
    const ULONG generation = mapi::mapiGeneration;
    m_machine.clearCalls();
    std::thread([] { mapi::MAPIInitialize(nullptr); }).join();
    EXPECT_THAT(m_machine.calls(), IsEmpty());
    EXPECT_EQ(m_machine.nameOf(mapi::mapiModule), "olmapi32.dll");
    EXPECT_EQ(mapi::mapiGeneration, generation);
}
} // namespace
