// TestRuntime.h: a MAPI runtime inside the test program.
//
// The test program exports the nine entry points under their plain names, and is itself the module that the agent's
// binders ask. Memory is tracked block by block, each call stands in a journal, and each can be made to fail.
#pragma once

#include "mapiabi/MapiInterfaces.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace support
{
class TestRuntime
{
public:
    enum class Call
    {
        Initialize,
        Uninitialize,
        LogonEx,
        AllocateBuffer,
        AllocateMore,
        FreeBuffer,
        FreeProws,
        GetOneProp,
        ThisThreadAdviseSink,
        Interface // a method of a fake that is answered by the functions of MapiValues.h
    };

    /// Becomes mapi::mapiModule, for the life of this object. One at a time.
    TestRuntime();
    /// Fails the test for each block that is still allocated, and frees it.
    ~TestRuntime();
    TestRuntime(const TestRuntime&) = delete;
    TestRuntime& operator=(const TestRuntime&) = delete;

    /// From now on the binders find a runtime that has none of the nine names, and then this one again.
    void hide();
    void show();

    /// The one that is alive.
    static TestRuntime& current();

    // ---- Journal

    /// The calls of the entry points so far, one line each, in order. Blocks are numbered from 1 as they are made:
    ///   MAPIAllocateBuffer 24 -> #1          MAPIAllocateMore 8, #1 -> #2      MAPIFreeBuffer #1
    ///   HrGetOneProp fff0102 -> #3           FreeProws #4                      MAPIInitialize null
    ///   MAPILogonEx 0, null, null, 80000063  MAPIUninitialize                  HrThisThreadAdviseSink
    /// A call that fails ends in its result: "MAPIAllocateBuffer 24 -> 8007000e".
    [[nodiscard]] std::vector<std::string> calls() const;
    void clearCalls();
    /// Adds a line of the test's own, to see its order among the calls.
    void note(std::string line);

    // ---- Results

    /// Gives the result in place of the call's own: for the call after the next `skipped` ones, or from it on. A call
    /// with a negative result does nothing; with a warning it does its work.
    void plan(Call call, HRESULT result, unsigned skipped = 0, bool onward = false);

    /// The result planned for a call that happens now; S_OK when there is none.
    [[nodiscard]] HRESULT plannedResult(Call call);
    /// How many calls have got a planned result since the plans were last cleared.
    [[nodiscard]] unsigned plansMet() const;
    /// Drops all plans.
    void clearPlans();

    /// Has `action` run at the start of each such call, on the thread of the call; empty for nothing.
    void whenCalled(Call call, std::function<void()> action);

    /// What MAPILogonEx gives a reference on; borrowed. Without it a logon fails with MAPI_E_LOGON_FAILED.
    void setSession(IMAPISession* session);

    /// What HrThisThreadAdviseSink makes of a sink: a wrapper with one reference, for the caller. Without it the wrapper
    /// is the sink itself.
    void wrapSinksBy(std::function<IMAPIAdviseSink*(IMAPIAdviseSink*)> wrap);

    // ---- Memory

    /// A block as a provider gives it to a client: tracked, not in the journal, and never failing. With a parent it is
    /// chained to it.
    [[nodiscard]] void* allocate(ULONG size, void* parent = nullptr);
    template <class T>
    [[nodiscard]] T* allocate(ULONG count = 1, void* parent = nullptr)
    {
        return static_cast<T*>(allocate(static_cast<ULONG>(count * sizeof(T)), parent));
    }

    /// The numbers of the blocks that are allocated now.
    [[nodiscard]] std::vector<unsigned> liveBlocks() const;
    /// The number of the block that begins here; 0 when there is none.
    [[nodiscard]] unsigned blockNumber(const void* block) const;
    /// The number of the block that this one is chained to; 0 for a block of its own, and for none.
    [[nodiscard]] unsigned parentNumber(const void* block) const;
    /// The bytes asked for; 0 for no block.
    [[nodiscard]] ULONG blockSize(const void* block) const;
    /// Frees what is allocated now, where a test has found that it is left on purpose; gives the number of blocks.
    std::size_t freeLeftBlocks();
    /// Frees one of them, which must be there, with all that is chained to it.
    void freeLeftBlock(unsigned number);

    // ---- The entry points' work

    HRESULT initialize(void* init);
    void uninitialize();
    HRESULT logonEx(ULONG_PTR window, void* profileName, void* password, ULONG flags, IMAPISession** session);
    SCODE allocateBuffer(ULONG size, void** buffer);
    SCODE allocateMore(ULONG size, void* parent, void** buffer);
    ULONG freeBuffer(void* buffer);
    void freeProws(SRowSet* rows);
    HRESULT getOneProp(IMAPIProp* object, ULONG tag, SPropValue** value);
    HRESULT thisThreadAdviseSink(IMAPIAdviseSink* sink, IMAPIAdviseSink** wrapper);

private:
    struct Block
    {
        unsigned number;
        ULONG size;
        void* parent;
        std::unique_ptr<unsigned char[]> memory;
    };
    struct Plan
    {
        Call call;
        HRESULT result;
        unsigned skipped;
        bool onward;
    };

    void act(Call call);
    bool freeTree(void* root);
    void freeAll();

    mutable std::recursive_mutex m_mutex;
    HMODULE m_previousModule = nullptr;
    IMAPISession* m_session = nullptr;
    std::function<IMAPIAdviseSink*(IMAPIAdviseSink*)> m_wrapSink;
    std::vector<std::string> m_calls;
    std::vector<Plan> m_plans;
    unsigned m_plansMet = 0;
    std::map<Call, std::function<void()>> m_actions;
    std::map<const void*, Block> m_blocks;
    unsigned m_lastNumber = 0;
};
} // namespace support
