// ValuePtr.h: the owner of a block of MAPI memory.
#pragma once

#include <utility>

#include "agent/mapi/MapiRuntime.h"

namespace mapi
{
/// Owns one block from MAPIAllocateBuffer exclusively, and with it whatever is chained to the block; frees it by
/// MAPIFreeBuffer. Belongs to one thread.
template <class T>
class ValuePtr
{
public:
    ValuePtr() = default;
    /// Takes the block over.
    explicit ValuePtr(T* value) noexcept : m_value(value) {}
    ValuePtr(ValuePtr&& other) noexcept : m_value(other.release()) {}
    ValuePtr& operator=(ValuePtr&& other) noexcept
    {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    virtual ~ValuePtr() { reset(); }

    [[nodiscard]] T* get() const noexcept { return m_value; }
    T* operator->() const noexcept { return m_value; }
    explicit operator bool() const noexcept { return m_value != nullptr; }

    /// Frees the block and takes over another one.
    void reset(T* value = nullptr) noexcept
    {
        T* const old = std::exchange(m_value, nullptr);
        if (old != nullptr)
            mapi::MAPIFreeBuffer(old);
        m_value = value;
    }

    /// Gives the block away.
    [[nodiscard]] T* release() noexcept { return std::exchange(m_value, nullptr); }

    /// Frees the block; gives the place for a MAPI call to put another one in.
    [[nodiscard]] T** put() noexcept
    {
        reset();
        return &m_value;
    }

private:
    T* m_value = nullptr;
};
} // namespace mapi
