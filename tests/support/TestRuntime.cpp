#include "tests/support/TestRuntime.h"

#include "agent/mapi/MapiRuntime.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

namespace support
{
namespace
{
std::atomic<TestRuntime*> s_current{nullptr};

constexpr unsigned char freshByte = 0xCD;
constexpr unsigned char freedByte = 0xDD;

std::string hex(unsigned long long number)
{
    std::ostringstream text;
    text << std::hex << number;
    return text.str();
}

std::string hexResult(HRESULT result)
{
    return hex(static_cast<ULONG>(result));
}

std::string nullOr(const void* pointer)
{
    return pointer == nullptr ? "null" : "not null";
}

std::string blockName(unsigned number)
{
    std::string text(1, '#');
    text += std::to_string(number);
    return text;
}

/// What a call's line ends in: the block that was made, or the result.
std::string outcome(HRESULT result, unsigned number)
{
    if (result < 0)
        return " -> " + hexResult(result);
    return " -> " + blockName(number) + (result != S_OK ? ", " + hexResult(result) : std::string());
}
} // namespace

TestRuntime::TestRuntime()
{
    TestRuntime* none = nullptr;
    if (!s_current.compare_exchange_strong(none, this))
        throw std::logic_error("there is a test runtime already");
    m_previousModule = mapi::mapiModule;
    show();
}

TestRuntime::~TestRuntime()
{
    for (const auto& [memory, block] : m_blocks)
        ADD_FAILURE() << "block #" << block.number << " of " << block.size << " bytes is still allocated";
    freeAll();
    mapi::mapiModule = m_previousModule;
    ++mapi::mapiGeneration;
    s_current = nullptr;
}

void TestRuntime::hide()
{
    mapi::mapiModule = GetModuleHandleW(L"kernel32.dll");
    ++mapi::mapiGeneration;
}

void TestRuntime::show()
{
    mapi::mapiModule = GetModuleHandleW(nullptr);
    ++mapi::mapiGeneration;
}

TestRuntime& TestRuntime::current()
{
    TestRuntime* const runtime = s_current;
    if (runtime == nullptr)
        throw std::logic_error("there is no test runtime");
    return *runtime;
}

std::vector<std::string> TestRuntime::calls() const
{
    const std::lock_guard lock(m_mutex);
    return m_calls;
}

void TestRuntime::clearCalls()
{
    const std::lock_guard lock(m_mutex);
    m_calls.clear();
}

void TestRuntime::note(std::string line)
{
    const std::lock_guard lock(m_mutex);
    m_calls.push_back(std::move(line));
}

void TestRuntime::plan(Call call, HRESULT result, unsigned skipped, bool onward)
{
    const std::lock_guard lock(m_mutex);
    m_plans.push_back({call, result, skipped, onward});
}

void TestRuntime::setSession(IMAPISession* session)
{
    m_session = session;
}

void TestRuntime::wrapSinksBy(std::function<IMAPIAdviseSink*(IMAPIAdviseSink*)> wrap)
{
    m_wrapSink = std::move(wrap);
}

HRESULT TestRuntime::plannedResult(Call call)
{
    const std::lock_guard lock(m_mutex);
    const auto plan = std::ranges::find(m_plans, call, &Plan::call);
    if (plan == m_plans.end())
        return S_OK;
    if (plan->skipped != 0)
    {
        --plan->skipped;
        return S_OK;
    }
    ++m_plansMet;
    const HRESULT result = plan->result;
    if (!plan->onward)
        m_plans.erase(plan);
    return result;
}

unsigned TestRuntime::plansMet() const
{
    const std::lock_guard lock(m_mutex);
    return m_plansMet;
}

void TestRuntime::clearPlans()
{
    const std::lock_guard lock(m_mutex);
    m_plans.clear();
    m_plansMet = 0;
}

void TestRuntime::whenCalled(Call call, std::function<void()> action)
{
    const std::lock_guard lock(m_mutex);
    m_actions[call] = std::move(action);
}

void TestRuntime::act(Call call)
{
    std::function<void()> action;
    {
        const std::lock_guard lock(m_mutex);
        action = m_actions[call];
    }
    if (action)
        action();
}

void* TestRuntime::allocate(ULONG size, void* parent)
{
    const std::lock_guard lock(m_mutex);
    // Never nothing, so that each block has an address of its own.
    auto memory = std::make_unique<unsigned char[]>(std::max<ULONG>(size, 1));
    std::memset(memory.get(), freshByte, std::max<ULONG>(size, 1));
    void* const address = memory.get();
    m_blocks.emplace(address, Block{++m_lastNumber, size, parent, std::move(memory)});
    return address;
}

std::vector<unsigned> TestRuntime::liveBlocks() const
{
    const std::lock_guard lock(m_mutex);
    std::vector<unsigned> numbers;
    for (const auto& [memory, block] : m_blocks)
        numbers.push_back(block.number);
    std::ranges::sort(numbers);
    return numbers;
}

unsigned TestRuntime::blockNumber(const void* block) const
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_blocks.find(block);
    return found != m_blocks.end() ? found->second.number : 0;
}

unsigned TestRuntime::parentNumber(const void* block) const
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_blocks.find(block);
    return found != m_blocks.end() ? blockNumber(found->second.parent) : 0;
}

ULONG TestRuntime::blockSize(const void* block) const
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_blocks.find(block);
    return found != m_blocks.end() ? found->second.size : 0;
}

std::size_t TestRuntime::freeLeftBlocks()
{
    const std::lock_guard lock(m_mutex);
    const std::size_t count = m_blocks.size();
    freeAll();
    return count;
}

void TestRuntime::freeLeftBlock(unsigned number)
{
    const std::lock_guard lock(m_mutex);
    const auto found =
        std::ranges::find_if(m_blocks, [number](const auto& entry) { return entry.second.number == number; });
    if (found == m_blocks.end() || !freeTree(const_cast<void*>(found->first)))
        ADD_FAILURE() << "no block #" << number << " is left";
}

void TestRuntime::freeAll()
{
    m_blocks.clear();
}

/// Frees a block that is no other block's child, with all its children.
bool TestRuntime::freeTree(void* root)
{
    const auto found = m_blocks.find(root);
    if (found == m_blocks.end() || found->second.parent != nullptr)
        return false;
    for (auto block = m_blocks.begin(); block != m_blocks.end();)
    {
        if (block->first != root && block->second.parent != root)
        {
            ++block;
            continue;
        }
        std::memset(block->second.memory.get(), freedByte, block->second.size);
        block = m_blocks.erase(block);
    }
    return true;
}

HRESULT TestRuntime::initialize(void* init)
{
    act(Call::Initialize);
    const HRESULT result = plannedResult(Call::Initialize);
    note("MAPIInitialize " + nullOr(init));
    return result;
}

void TestRuntime::uninitialize()
{
    act(Call::Uninitialize);
    note("MAPIUninitialize");
}

HRESULT TestRuntime::logonEx(ULONG_PTR window, void* profileName, void* password, ULONG flags, IMAPISession** session)
{
    act(Call::LogonEx);
    note("MAPILogonEx " + hex(window) + ", " + nullOr(profileName) + ", " + nullOr(password) + ", " + hex(flags));
    const HRESULT result = plannedResult(Call::LogonEx);
    if (result < 0)
        return result;
    if (m_session == nullptr)
        return MAPI_E_LOGON_FAILED;
    m_session->AddRef();
    *session = m_session;
    return result;
}

SCODE TestRuntime::allocateBuffer(ULONG size, void** buffer)
{
    act(Call::AllocateBuffer);
    const std::lock_guard lock(m_mutex);
    const HRESULT result = plannedResult(Call::AllocateBuffer);
    if (result >= 0)
        *buffer = allocate(size);
    note("MAPIAllocateBuffer " + std::to_string(size) + outcome(result, result >= 0 ? blockNumber(*buffer) : 0));
    return result;
}

SCODE TestRuntime::allocateMore(ULONG size, void* parent, void** buffer)
{
    act(Call::AllocateMore);
    const std::lock_guard lock(m_mutex);
    const auto found = m_blocks.find(parent);
    if (found == m_blocks.end() || found->second.parent != nullptr)
        ADD_FAILURE() << "MAPIAllocateMore for a parent that MAPIAllocateBuffer did not make";
    const HRESULT result = plannedResult(Call::AllocateMore);
    if (result >= 0)
        *buffer = allocate(size, parent);
    note("MAPIAllocateMore " + std::to_string(size) + ", " + blockName(blockNumber(parent)) +
         outcome(result, result >= 0 ? blockNumber(*buffer) : 0));
    return result;
}

ULONG TestRuntime::freeBuffer(void* buffer)
{
    act(Call::FreeBuffer);
    const std::lock_guard lock(m_mutex);
    note("MAPIFreeBuffer " + (buffer == nullptr ? "null" : blockName(blockNumber(buffer))));
    if (buffer != nullptr && !freeTree(buffer))
        ADD_FAILURE() << "MAPIFreeBuffer of what is no block of its own, or was freed before";
    return 0;
}

void TestRuntime::freeProws(SRowSet* rows)
{
    act(Call::FreeProws);
    const std::lock_guard lock(m_mutex);
    note("FreeProws " + (rows == nullptr ? "null" : blockName(blockNumber(rows))));
    if (rows == nullptr)
        return;
    if (m_blocks.find(rows) == m_blocks.end())
    {
        ADD_FAILURE() << "FreeProws of what is no block, or was freed before";
        return;
    }
    for (ULONG index = 0; index < rows->cRows; ++index)
        EXPECT_TRUE(rows->aRow[index].lpProps == nullptr || freeTree(rows->aRow[index].lpProps));
    EXPECT_TRUE(freeTree(rows));
}

HRESULT TestRuntime::getOneProp(IMAPIProp* object, ULONG tag, SPropValue** value)
{
    act(Call::GetOneProp);
    SPropTagArray tags{1, {tag}};
    ULONG count = 0;
    SPropValue* values = nullptr;
    HRESULT result = plannedResult(Call::GetOneProp);
    const HRESULT planned = result;
    if (result >= 0)
        result = object != nullptr ? object->GetProps(&tags, 0, &count, &values) : MAPI_E_INVALID_PARAMETER;

    const std::lock_guard lock(m_mutex);
    if (result >= 0 && values != nullptr && PROP_TYPE(values->ulPropTag) == PT_ERROR)
    {
        result = values->Value.err;
        freeTree(values);
    }
    else if (result >= 0)
    {
        result = planned;
        *value = values;
    }
    note("HrGetOneProp " + hex(tag) + outcome(result, result >= 0 ? blockNumber(values) : 0));
    return result;
}

HRESULT TestRuntime::thisThreadAdviseSink(IMAPIAdviseSink* sink, IMAPIAdviseSink** wrapper)
{
    act(Call::ThisThreadAdviseSink);
    note("HrThisThreadAdviseSink");
    const HRESULT result = plannedResult(Call::ThisThreadAdviseSink);
    if (result < 0)
        return result;
    if (m_wrapSink)
    {
        *wrapper = m_wrapSink(sink);
        return result;
    }
    sink->AddRef();
    *wrapper = sink;
    return result;
}
} // namespace support

using support::TestRuntime;

extern "C"
{
    __declspec(dllexport) HRESULT STDAPICALLTYPE MAPIInitialize(void* init)
    {
        return TestRuntime::current().initialize(init);
    }
    __declspec(dllexport) void STDAPICALLTYPE MAPIUninitialize()
    {
        TestRuntime::current().uninitialize();
    }
    __declspec(dllexport) HRESULT STDAPICALLTYPE
        MAPILogonEx(ULONG_PTR window, void* profileName, void* password, ULONG flags, IMAPISession** session)
    {
        return TestRuntime::current().logonEx(window, profileName, password, flags, session);
    }
    __declspec(dllexport) SCODE STDAPICALLTYPE MAPIAllocateBuffer(ULONG size, void** buffer)
    {
        return TestRuntime::current().allocateBuffer(size, buffer);
    }
    __declspec(dllexport) SCODE STDAPICALLTYPE MAPIAllocateMore(ULONG size, void* parent, void** buffer)
    {
        return TestRuntime::current().allocateMore(size, parent, buffer);
    }
    __declspec(dllexport) ULONG STDAPICALLTYPE MAPIFreeBuffer(void* buffer)
    {
        return TestRuntime::current().freeBuffer(buffer);
    }
    __declspec(dllexport) void STDAPICALLTYPE FreeProws(SRowSet* rows)
    {
        TestRuntime::current().freeProws(rows);
    }
    __declspec(dllexport) HRESULT STDAPICALLTYPE HrGetOneProp(IMAPIProp* object, ULONG tag, SPropValue** value)
    {
        return TestRuntime::current().getOneProp(object, tag, value);
    }
    __declspec(dllexport) HRESULT STDAPICALLTYPE
        HrThisThreadAdviseSink(IMAPIAdviseSink* sink, IMAPIAdviseSink** wrapper)
    {
        return TestRuntime::current().thisThreadAdviseSink(sink, wrapper);
    }
}
