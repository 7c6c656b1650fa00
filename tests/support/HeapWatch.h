// HeapWatch.h: what the code under test takes of the heap, and a heap that has no more.
#pragma once

#include <cstddef>
#include <functional>

namespace support
{
/// Watches what its thread takes by operator new for as long as it lives; one at a time. A program that uses it has its
/// own operator new and operator delete, in each of its threads.
class HeapWatch
{
public:
    HeapWatch() noexcept;
    ~HeapWatch();
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;

    /// Allocations so far, those that failed as well.
    [[nodiscard]] unsigned count() const noexcept { return m_count; }

    /// The most bytes that the thread has held at one time since then, beyond what it held before.
    [[nodiscard]] std::ptrdiff_t peak() const noexcept { return m_peak; }

    /// From now on no block can be had, but for what the thread itself gives back: of that, blocks from `smallestKept` bytes
    /// on stay free for it, and smaller ones are taken by others at once.
    void exhaust(std::size_t smallestKept) noexcept;
    /// There is memory again.
    void refill() noexcept { m_isLimited = false; }

    /// Called before each block is taken, and after each that is given back; take no memory themselves.
    std::function<void()> onAllocate;
    std::function<void()> onFree;

private:
    friend struct HeapHooks;

    unsigned m_count = 0;
    std::ptrdiff_t m_held = 0;
    std::ptrdiff_t m_peak = 0;
    bool m_isLimited = false;
    std::size_t m_smallestKept = 0;
    std::size_t m_left = 0;
};
} // namespace support
