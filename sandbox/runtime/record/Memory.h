// Memory.h: the memory that the runtime and its clients hand to each other.
//
// Fresh memory is filled with CD and freed memory with DD, so that a client which reads what nobody wrote, or what it has
// freed, sees it. Freed blocks are kept a while before the heap gets them back, which shows writes to them, and a second
// freeing.
#pragma once

#include <cstddef>

#include "mapiabi/MapiTypes.h"

namespace sandbox::memory
{
/// A root block, aligned for any type. Throws std::bad_alloc.
[[nodiscard]] void* allocate(std::size_t size);

/// A block that hangs on `root` and is freed with it. Throws MapiFailure if `root` is no root block that is in use.
[[nodiscard]] void* allocateMore(std::size_t size, void* root);

/// Frees a root block and all that hangs on it; null is fine. Answers MAPI_E_INVALID_PARAMETER, notes the misuse and
/// frees nothing for a chained block, a block that is freed already, and what is no block.
[[nodiscard]] HRESULT free(void* block) noexcept;

/// Whether it is a root block in use, of at least this size.
[[nodiscard]] bool isRoot(const void* block, std::size_t size) noexcept;

/// Looks through the blocks that are freed but kept, and gives them back to the heap.
void flush() noexcept;

/// Looks through the blocks that are freed but kept, and leaves them. Never waits, and takes no memory: for the time when
/// the process goes down.
void inspect() noexcept;

/// Frees its block unless that is given away.
class Owner
{
public:
    explicit Owner(void* block) noexcept : m_block(block) {}
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    ~Owner()
    {
        if (m_block != nullptr)
            (void)memory::free(m_block);
    }
    /// Gives the block to the caller.
    void* release() noexcept
    {
        void* block = m_block;
        m_block = nullptr;
        return block;
    }

private:
    void* m_block;
};
} // namespace sandbox::memory
