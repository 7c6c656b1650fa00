#include "agent/mapi/PropTagArray.h"

#include "agent/mapi/MapiMemory.h"
#include "utilities/Failure.h"

namespace mapi
{
PropTagArray::PropTagArray(std::span<const ULONG> tags)
{
    constexpr std::wstring_view function = L"mapi::PropTagArray::PropTagArray";
    if (tags.empty())
        utilities::checkHresult(function, MAPI_E_INVALID_PARAMETER);
    const auto count = utilities::narrow_cast<ULONG>(tags.size());
    reset(allocate<SPropTagArray>(count));
    get()->cValues = count;
    for (std::size_t index = 0; index < tags.size(); ++index)
        at(index) = tags[index];
}

PropTagArray::PropTagArray(std::initializer_list<ULONG> tags) : PropTagArray(std::span(tags.begin(), tags.size())) {}

ULONG& PropTagArray::at(std::size_t index) const
{
    constexpr std::wstring_view function = L"mapi::PropTagArray::at";
    SPropTagArray* const array = get();
    if (array == nullptr || array->cValues == 0 || index >= array->cValues || index == npos)
        throw utilities::exception(utilities::formatMessage(function, L"index is out of scope"));
    return array->aulPropTag[index];
}
} // namespace mapi
