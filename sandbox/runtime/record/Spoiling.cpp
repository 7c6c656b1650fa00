#include "sandbox/runtime/record/Spoiling.h"

#include <algorithm>
#include <limits>
#include <span>

#include "sandbox/runtime/record/Memory.h"
#include "sandbox/runtime/record/PropertyMemory.h"

namespace sandbox
{
namespace
{
/// Whether a value of this type points to what it says.
[[nodiscard]] bool isPointer(ULONG type) noexcept
{
    return type == PT_UNICODE || type == PT_STRING8 || type == PT_BINARY;
}

/// A type that nobody takes for this one. An error stays one.
[[nodiscard]] ULONG otherType(ULONG type) noexcept
{
    if (type == PT_ERROR)
        return type;
    return isPointer(type) ? PT_LONG : PT_UNICODE;
}

void giveOtherType(SPropValue& value) noexcept
{
    static wchar_t s_text[] = L"a text";
    const ULONG type = otherType(PROP_TYPE(value.ulPropTag));
    value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, type);
    if (type == PT_UNICODE)
        value.Value.lpszW = s_text; // lives as long as the block that seems to have it
    else if (type == PT_LONG)
        value.Value.l = 1;
}

void takePointer(SPropValue& value) noexcept
{
    const ULONG type = PROP_TYPE(value.ulPropTag);
    if (type == PT_BINARY)
        value.Value.bin.lpb = nullptr; // the count stays
    else if (isPointer(type))
        value.Value.lpszW = nullptr;
}

/// Spoils the values of a block without taking the block away.
void spoilElements(SPropValue* values, ULONG& count) noexcept
{
    const std::span all(values, count);
    switch (Call::gives())
    {
    case Gives::Fewer:
        std::shift_left(all.begin(), all.end(), 1);
        count -= all.empty() ? 0 : 1;
        break;
    case Gives::OtherTypes:
        std::ranges::for_each(all, giveOtherType);
        break;
    case Gives::NullValues:
        std::ranges::for_each(all, takePointer);
        break;
    default:
        break;
    }
}
} // namespace

void spoilBlock(void** block) noexcept
{
    if (Call::gives() == Gives::Nothing)
        (void)memory::free(std::exchange(*block, nullptr));
}

void spoilNumber(ULONG& number) noexcept
{
    switch (Call::gives())
    {
    case Gives::Empty:
        number = 0;
        break;
    case Gives::Fewer:
        number -= number == 0 ? 0 : 1;
        break;
    case Gives::Huge:
        number = std::numeric_limits<ULONG>::max();
        break;
    default:
        break;
    }
}

void spoilTags(SPropTagArray** tags) noexcept
{
    const std::span all((*tags)->aulPropTag, (*tags)->cValues);
    switch (Call::gives())
    {
    case Gives::Nothing:
        (void)memory::free(std::exchange(*tags, nullptr));
        break;
    case Gives::Empty:
        (*tags)->cValues = 0;
        break;
    case Gives::Fewer:
        std::shift_left(all.begin(), all.end(), 1);
        (*tags)->cValues -= all.empty() ? 0 : 1;
        break;
    case Gives::OtherTypes:
        for (ULONG& tag : all)
            tag = CHANGE_PROP_TYPE(tag, otherType(PROP_TYPE(tag)));
        break;
    default:
        break;
    }
}

void spoilValues(SPropValue** values, ULONG& count) noexcept
{
    if (Call::gives() == Gives::Nothing)
        (void)memory::free(std::exchange(*values, nullptr));
    else if (Call::gives() == Gives::Empty)
        count = 0;
    else
        spoilElements(*values, count);
}

void spoilRows(SRowSet** rows) noexcept
{
    if (Call::gives() == Gives::Nothing)
    {
        (void)freeRows(std::exchange(*rows, nullptr));
        return;
    }
    for (SRow& row : std::span((*rows)->aRow, (*rows)->cRows))
    {
        if (Call::gives() == Gives::Empty)
            (void)memory::free(row.lpProps);
        else
            spoilElements(row.lpProps, row.cValues);
    }
    if (Call::gives() == Gives::Empty)
        (*rows)->cRows = 0;
}
} // namespace sandbox
