#include "sandbox/runtime/record/Memory.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <mutex>
#include <new>
#include <unordered_set>

#include "sandbox/runtime/record/Call.h"
#include "sandbox/runtime/record/Ledger.h"
#include "sandbox/runtime/record/MapiFailure.h"

namespace sandbox::memory
{
namespace
{
constexpr int freshFill = 0xCD;
constexpr int freedFill = 0xDD;
constexpr int guardFill = 0xFD;
constexpr std::size_t guardSize = 16;
constexpr std::size_t mostKept = 1024;                      // freed blocks
constexpr std::size_t largestKept = std::size_t(64) * 1024; // bytes of one

/// What stands before each block's own bytes; behind them stands the guard.
struct alignas(16) Header
{
    std::size_t size;
    BlockAccount* account;
    Header* root; // null for a root block
    Header* next; // the next block that hangs on the same root
};

[[nodiscard]] unsigned char* bytesOf(Header* header) noexcept
{
    return reinterpret_cast<unsigned char*>(header + 1);
}

[[nodiscard]] bool allBytesAre(const unsigned char* bytes, std::size_t size, int value) noexcept
{
    return std::all_of(bytes, bytes + size, [value](unsigned char octet) { return octet == value; });
}

class Heap
{
public:
    void* allocate(std::size_t size, Header* root)
    {
        if (size > SIZE_MAX - sizeof(Header) - guardSize)
            throw std::bad_alloc();
        void* memory = m_blocks != nullptr ? HeapAlloc(m_blocks, 0, sizeof(Header) + size + guardSize) : nullptr;
        if (memory == nullptr)
            throw std::bad_alloc();
        BlockAccount& account = ledger::blocksOf(Call::current());
        auto* header = new (memory) Header{size, &account, root, nullptr};
        std::memset(bytesOf(header), freshFill, size);
        std::memset(bytesOf(header) + size, guardFill, guardSize);
        try
        {
            m_live.insert(bytesOf(header));
        }
        catch (...)
        {
            HeapFree(m_blocks, 0, memory);
            throw;
        }
        if (root != nullptr)
        {
            header->next = root->next;
            root->next = header;
        }
        ++account.blocks;
        account.bytes += static_cast<std::int64_t>(size);
        return bytesOf(header);
    }

    /// The header of a block in use; null for anything else.
    [[nodiscard]] Header* find(const void* block) const noexcept
    {
        const auto place = m_live.find(static_cast<const unsigned char*>(block));
        return place != m_live.end() ? reinterpret_cast<Header*>(const_cast<unsigned char*>(*place)) - 1 : nullptr;
    }

    [[nodiscard]] bool wasFreed(const void* block) const noexcept
    {
        return std::ranges::any_of(m_kept, [block](Header* header) { return bytesOf(header) == block; });
    }

    void free(Header* root) noexcept
    {
        for (Header* header = root; header != nullptr;)
        {
            Header* next = header->next;
            freeOne(header);
            header = next;
        }
    }

    void flush() noexcept
    {
        while (!m_kept.empty())
            giveBackOldest();
    }

    void inspect() const noexcept
    {
        for (Header* kept : m_kept)
            inspectFreed(kept);
    }

    std::mutex mutex; // guards all of it

private:
    void freeOne(Header* header) noexcept
    {
        if (!allBytesAre(bytesOf(header) + header->size, guardSize, guardFill))
            ledger::noteMisuse("a block was written beyond its end", header->account->call.load());
        --header->account->blocks;
        header->account->bytes -= static_cast<std::int64_t>(header->size);
        m_live.erase(bytesOf(header));
        std::memset(bytesOf(header), freedFill, header->size);
        if (header->size > largestKept || !keep(header))
            HeapFree(m_blocks, 0, header);
        while (m_kept.size() > mostKept)
            giveBackOldest();
    }

    [[nodiscard]] bool keep(Header* header) noexcept
    {
        try
        {
            m_kept.push_back(header);
            return true;
        }
        catch (const std::bad_alloc&)
        {
            return false;
        }
    }

    void giveBackOldest() noexcept
    {
        Header* oldest = m_kept.front();
        m_kept.pop_front();
        inspectFreed(oldest);
        HeapFree(m_blocks, 0, oldest);
    }

    static void inspectFreed(Header* header) noexcept
    {
        if (!allBytesAre(bytesOf(header), header->size, freedFill))
            ledger::noteMisuse("a block was written to after it had been freed", header->account->call.load());
    }

    // Apart from the client's own heap: blocks that are freed there between what the client keeps leave gaps that fit
    // nothing else, and a heap that looks through its gaps takes longer and longer.
    const HANDLE m_blocks = HeapCreate(0, 0, 0);
    std::unordered_set<const unsigned char*> m_live;
    std::deque<Header*> m_kept; // freed, the oldest first
};

constinit std::atomic<Heap*> s_made{nullptr};

[[nodiscard]] Heap& makeHeap() noexcept
{
    s_made = new Heap;
    return *s_made;
}

/// Never destroyed: clients may free blocks as long as the process lives.
[[nodiscard]] Heap& heap() noexcept
{
    static Heap& s_heap = makeHeap();
    return s_heap;
}
} // namespace

void* allocate(std::size_t size)
{
    const std::lock_guard lock(heap().mutex);
    return heap().allocate(size, nullptr);
}

void* allocateMore(std::size_t size, void* root)
{
    const std::lock_guard lock(heap().mutex);
    Header* header = heap().find(root);
    if (header == nullptr || header->root != nullptr)
    {
        ledger::noteMisuse("a block was to hang on what is no root block", Call::current());
        throw MapiFailure(MAPI_E_INVALID_PARAMETER);
    }
    return heap().allocate(size, header);
}

HRESULT free(void* block) noexcept
{
    if (block == nullptr)
        return S_OK;
    const std::lock_guard lock(heap().mutex);
    Header* header = heap().find(block);
    if (header != nullptr && header->root == nullptr)
    {
        heap().free(header);
        return S_OK;
    }
    if (header != nullptr)
        ledger::noteMisuse("a chained block was to be freed alone", header->account->call.load());
    else if (heap().wasFreed(block))
        ledger::noteMisuse("a block was to be freed twice", Call::current());
    else
        ledger::noteMisuse("something that is no block was to be freed", Call::current());
    return MAPI_E_INVALID_PARAMETER;
}

bool isRoot(const void* block, std::size_t size) noexcept
{
    const std::lock_guard lock(heap().mutex);
    const Header* header = heap().find(block);
    return header != nullptr && header->root == nullptr && header->size >= size;
}

void flush() noexcept
{
    const std::lock_guard lock(heap().mutex);
    heap().flush();
}

void inspect() noexcept
{
    Heap* made = s_made;
    if (made == nullptr)
        return;
    const std::unique_lock lock(made->mutex, std::try_to_lock);
    if (lock.owns_lock()) // otherwise a thread that is gone was in the middle of a change
        made->inspect();
}
} // namespace sandbox::memory
