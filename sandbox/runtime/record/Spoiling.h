// Spoiling.h: what a call has made, spoiled as its plan says before the client gets it.
#pragma once

#include "mapiabi/MapiInterfaces.h"
#include "sandbox/runtime/record/Call.h"

namespace sandbox
{
// Each is called at the end of the work of a method, for what that gives to the client, and does nothing without a plan, or
// below another call. What the client no longer gets is given back here. Which method knows which of `Gives` is said by
// the reader of plans.

/// Nothing.
template <class Interface>
void spoilObject(Interface** object) noexcept
{
    if (Call::gives() == Gives::Nothing && *object != nullptr)
        std::exchange(*object, nullptr)->Release();
}
/// Nothing.
void spoilBlock(void** block) noexcept;
/// Empty, Fewer, Huge.
void spoilNumber(ULONG& number) noexcept;
/// Empty.
inline void spoilConnection(ULONG_PTR& number) noexcept
{
    if (Call::gives() == Gives::Empty)
        number = 0;
}
/// Nothing, Empty, Fewer, OtherTypes.
void spoilTags(SPropTagArray** tags) noexcept;
/// All but Huge. The count stays where there is no array for it any more.
void spoilValues(SPropValue** values, ULONG& count) noexcept;
/// All but Huge. Fewer are the columns.
void spoilRows(SRowSet** rows) noexcept;
} // namespace sandbox
