// MAPIAllocateBuffer, MAPIAllocateMore, MAPIFreeBuffer and FreeProws.
#include "tests/sandbox/SandboxTest.h"

#include <algorithm>
#include <cstring>
#include <thread>

using namespace sandboxtest;
using testing::HasSubstr;

namespace
{
class MemoryTest : public SandboxTest
{
protected:
    unsigned char* allocate(ULONG size)
    {
        void* block = nullptr;
        checkOk(dll.MAPIAllocateBuffer(size, &block));
        return static_cast<unsigned char*>(block);
    }

    unsigned char* allocateMore(ULONG size, void* root)
    {
        void* block = nullptr;
        checkOk(dll.MAPIAllocateMore(size, root, &block));
        return static_cast<unsigned char*>(block);
    }

    /// Looks whether the report has a misuse, and forgets it.
    void expectMisuse(const std::string& line)
    {
        EXPECT_THAT(dll.report(), HasSubstr("Misuse: " + line + "\n"));
        dll.sandboxReset();
    }
};
} // namespace

TEST_F(MemoryTest, GivesAlignedBlocksOfAnySize)
{
    for (const ULONG size : {0u, 1u, 7u, 8u, 100u, 1'000'000u})
    {
        unsigned char* root = allocate(size);
        unsigned char* more = allocateMore(size, root);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(root) % 16, 0u) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(more) % 16, 0u) << size;
        std::memset(root, 0, size);
        std::memset(more, 0, size);
        EXPECT_EQ(dll.sandboxLiveBlocks(), 2);
        EXPECT_EQ(dll.MAPIFreeBuffer(root), 0u);
    }
}

TEST_F(MemoryTest, TakesNoBlockFromTheHeapOfTheProcess)
{
    unsigned char* block = allocate(100);
    std::size_t entries = 0;
    for (PROCESS_HEAP_ENTRY entry{}; HeapWalk(GetProcessHeap(), &entry) != FALSE; ++entries)
    {
        const auto* begin = static_cast<const unsigned char*>(entry.lpData);
        const bool isBlock = (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0;
        EXPECT_FALSE(isBlock && begin <= block && block < begin + entry.cbData);
    }
    EXPECT_GT(entries, 1U);
    EXPECT_EQ(dll.MAPIFreeBuffer(block), 0u);
}

TEST_F(MemoryTest, FillsFreshBlocksAndFreedOnesWithAllThatHangsOnThem)
{
    unsigned char* root = allocate(50);
    unsigned char* more = allocateMore(30, root);
    EXPECT_TRUE(std::all_of(root, root + 50, [](unsigned char filled) { return filled == 0xCD; }));
    EXPECT_EQ(dll.MAPIFreeBuffer(root), 0u);
    // The sandbox keeps freed blocks a while, so looking at them is possible here, as a client's mistake would.
    EXPECT_TRUE(std::all_of(root, root + 50, [](unsigned char filled) { return filled == 0xDD; }));
    EXPECT_TRUE(std::all_of(more, more + 30, [](unsigned char filled) { return filled == 0xDD; }));
    EXPECT_EQ(dll.sandboxLiveBlocks(), 0);
}

TEST_F(MemoryTest, RefusesToFreeAChainedBlockAlone)
{
    unsigned char* root = allocate(8);
    unsigned char* more = allocateMore(8, root);
    EXPECT_EQ(dll.MAPIFreeBuffer(more), static_cast<ULONG>(MAPI_E_INVALID_PARAMETER));
    EXPECT_EQ(dll.sandboxLiveBlocks(), 2);
    EXPECT_EQ(dll.MAPIFreeBuffer(root), 0u);
    expectMisuse("a chained block was to be freed alone, MAPIAllocateMore: 1 time(s)");
}

TEST_F(MemoryTest, RefusesToFreeTwice)
{
    unsigned char* root = allocate(8);
    unsigned char* more = allocateMore(8, root);
    EXPECT_EQ(dll.MAPIFreeBuffer(root), 0u);
    EXPECT_EQ(dll.MAPIFreeBuffer(root), static_cast<ULONG>(MAPI_E_INVALID_PARAMETER));
    EXPECT_EQ(dll.MAPIFreeBuffer(more), static_cast<ULONG>(MAPI_E_INVALID_PARAMETER));
    expectMisuse("a block was to be freed twice, MAPIFreeBuffer: 2 time(s)");
}

TEST_F(MemoryTest, RefusesToFreeWhatIsNoBlock)
{
    int here = 0;
    EXPECT_EQ(dll.MAPIFreeBuffer(&here), static_cast<ULONG>(MAPI_E_INVALID_PARAMETER));
    expectMisuse("something that is no block was to be freed, MAPIFreeBuffer: 1 time(s)");
}

TEST_F(MemoryTest, RefusesToChainToWhatIsNoRoot)
{
    unsigned char* root = allocate(8);
    unsigned char* more = allocateMore(8, root);
    void* block = nullptr;
    EXPECT_EQ(dll.MAPIAllocateMore(8, more, &block), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(dll.MAPIAllocateMore(8, nullptr, &block), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(dll.MAPIAllocateMore(8, root, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(dll.MAPIAllocateBuffer(8, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(block, nullptr);
    dll.MAPIFreeBuffer(root);
    EXPECT_EQ(dll.MAPIAllocateMore(8, root, &block), MAPI_E_INVALID_PARAMETER);
    expectMisuse("a block was to hang on what is no root block, MAPIAllocateMore: 3 time(s)");
}

TEST_F(MemoryTest, NoticesAWriteBeyondTheEnd)
{
    unsigned char* block = allocate(10);
    block[10] = 1;
    dll.MAPIFreeBuffer(block);
    expectMisuse("a block was written beyond its end, MAPIAllocateBuffer: 1 time(s)");
}

TEST_F(MemoryTest, NoticesAWriteIntoAFreedBlock)
{
    unsigned char* block = allocate(10);
    dll.MAPIFreeBuffer(block);
    block[3] = 1;
    expectMisuse("a block was written to after it had been freed, MAPIAllocateBuffer: 1 time(s)");
}

TEST_F(MemoryTest, ReportsBlocksByTheCallThatGaveThemOut)
{
    const IMAPISessionPtr session = logonTo(R"({"stores":[{"name":"Four"}]})");
    const IMsgStorePtr store = openStore(session);
    unsigned char* own = allocate(100);
    unsigned char* more = allocateMore(11, own);
    SPropValue* value = nullptr;
    ASSERT_EQ(dll.HrGetOneProp(store, PR_DISPLAY_NAME_W, &value), S_OK);
    const std::string report = dll.report();
    EXPECT_THAT(report, HasSubstr("MAPIAllocateBuffer: 1 block(s), 100 bytes\n"));
    EXPECT_THAT(report, HasSubstr("MAPIAllocateMore: 1 block(s), 11 bytes\n"));
    EXPECT_THAT(report, HasSubstr("HrGetOneProp: 1 block(s), 34 bytes\n")); // one value, four letters and their end
    EXPECT_THAT(report, testing::Not(HasSubstr("GetProps")));
    dll.MAPIFreeBuffer(value);
    dll.MAPIFreeBuffer(own);
    (void)more;
}

TEST_F(MemoryTest, FreesRowsOneByOneAndTogether)
{
    const IMAPISessionPtr session = logonTo(R"({"stores":[{"name":"A"},{"name":"B"}]})");
    const IMAPITablePtr table = storesTable(session);
    SRowSet* rows = nullptr;
    ASSERT_EQ(table->QueryRows(10, TBL_NOADVANCE, &rows), S_OK);
    ASSERT_EQ(rows->cRows, 2u);
    EXPECT_EQ(dll.sandboxLiveBlocks(), 3); // each row, and the set
    EXPECT_EQ(dll.MAPIFreeBuffer(rows->aRow[0].lpProps), 0u);
    rows->aRow[0].lpProps = nullptr;
    EXPECT_EQ(dll.sandboxLiveBlocks(), 2);
    dll.FreeProws(rows);
    dll.FreeProws(nullptr);
    EXPECT_EQ(dll.MAPIFreeBuffer(nullptr), 0u);
    EXPECT_EQ(dll.sandboxLiveBlocks(), 0);
}

TEST_F(MemoryTest, ServesSeveralThreadsOnOneRoot)
{
    unsigned char* root = allocate(8);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back(
            [&]
            {
                for (int count = 0; count < 500; ++count)
                {
                    (void)allocateMore(16, root);
                    dll.MAPIFreeBuffer(allocate(16));
                }
            });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(dll.sandboxLiveBlocks(), 1 + 4 * 500);
    EXPECT_EQ(dll.MAPIFreeBuffer(root), 0u);
    EXPECT_EQ(dll.sandboxLiveBlocks(), 0);
}
