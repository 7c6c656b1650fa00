// MapiMemory.h: memory that MAPI can take over.
#pragma once

#include "mapiabi/MapiTypes.h"

#include <concepts>
#include <cstddef>
#include <source_location>

namespace mapi
{
namespace impl
{
/// Zeroed memory for `count` elements of `elementSize` bytes; never null but for a count of 0. When MAPI has none, the
/// failure is logged and the process ends.
[[nodiscard]] void* allocateElements(ULONG count, std::size_t elementSize, void* parent, std::source_location where);

template <class T, class... Ts>
concept OneOf = (std::same_as<T, Ts> || ...);
} // namespace impl

/// Zeroed memory for `count` elements, null for a count of 0. With a parent, which has to be the outermost block, it is
/// chained to it (MAPIAllocateMore) and freed with it; without, it is a block of its own (MAPIAllocateBuffer), which
/// the caller owns. No failure of MAPI reaches the caller: without memory the process ends with a line in the log
/// (settled behaviour 47). Throws for 4 GB and more.
template <impl::OneOf<wchar_t, BYTE, SPropValue, SRestriction> T>
[[nodiscard]] T* allocate(ULONG count, void* parent, std::source_location where = std::source_location::current())
{
    return static_cast<T*>(impl::allocateElements(count, sizeof(T), parent, where));
}

/// The same, as a block of its own. An array of n tags gets n whole structures: settled behaviour 48.
template <std::same_as<SPropTagArray> T>
[[nodiscard]] T* allocate(ULONG count, std::source_location where = std::source_location::current())
{
    return static_cast<T*>(impl::allocateElements(count, sizeof(T), nullptr, where));
}
} // namespace mapi
