#include "tests/support/HeapWatch.h"

#include <algorithm>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace support
{
namespace
{
thread_local HeapWatch* s_watch = nullptr;
} // namespace

HeapWatch::HeapWatch() noexcept
{
    s_watch = this;
}

HeapWatch::~HeapWatch()
{
    s_watch = nullptr;
}

void HeapWatch::exhaust(std::size_t smallestKept) noexcept
{
    m_smallestKept = smallestKept;
    m_left = 0;
    m_isLimited = true;
}

/// What the program's operators do.
struct HeapHooks
{
    static void* allocate(std::size_t size)
    {
        if (HeapWatch* const watch = s_watch)
        {
            ++watch->m_count;
            if (watch->onAllocate)
                watch->onAllocate();
            if (watch->m_isLimited)
            {
                if (size > watch->m_left)
                    throw std::bad_alloc();
                watch->m_left -= size;
            }
        }
        void* const block = std::malloc(size != 0 ? size : 1);
        if (block == nullptr)
            throw std::bad_alloc();
        if (HeapWatch* const watch = s_watch)
        {
            watch->m_held += static_cast<std::ptrdiff_t>(_msize(block));
            watch->m_peak = std::max(watch->m_peak, watch->m_held);
        }
        return block;
    }

    static void free(void* block) noexcept
    {
        if (block == nullptr)
            return;
        HeapWatch* const watch = s_watch;
        const std::size_t size = _msize(block);
        std::free(block);
        if (watch == nullptr)
            return;
        watch->m_held -= static_cast<std::ptrdiff_t>(size);
        if (size >= watch->m_smallestKept)
            watch->m_left += size;
        if (watch->onFree)
            watch->onFree();
    }
};
} // namespace support

void* operator new(std::size_t size)
{
    return support::HeapHooks::allocate(size);
}

void operator delete(void* block) noexcept
{
    support::HeapHooks::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    support::HeapHooks::free(block);
}
