#include "agent/mapi/PropValue.h"

#include <cstring>
#include <cwchar>

#include "agent/mapi/MapiMemory.h"
#include "utilities/Failure.h"

namespace mapi
{
namespace
{
[[nodiscard]] wchar_t* copyString(const wchar_t* source, void* owner)
{
    if (source == nullptr)
        return nullptr;
    const auto size = utilities::narrow_cast<ULONG>(std::wcslen(source) + 1);
    const auto copy = allocate<wchar_t>(size, owner);
    std::wmemcpy(copy, source, size);
    return copy;
}
} // namespace

PropValue PropValue::makeText(ULONG tag, const std::wstring& text)
{
    PropValue value(allocate<SPropValue>(1, nullptr));
    value->ulPropTag = tag;
    value->Value.lpszW = copyString(text.c_str(), value.get());
    return value;
}

PropValue PropValue::makeBoolean(ULONG tag, bool isTrue)
{
    PropValue value(allocate<SPropValue>(1, nullptr));
    value->ulPropTag = tag;
    value->Value.b = isTrue ? 1 : 0;
    return value;
}

void PropValue::read(IMAPIPropPtr object, ULONG tag)
{
    constexpr std::wstring_view function = L"mapi::PropValue::read";
    SPropValue** const value = put();
    utilities::checkHresult(function, object ? HrGetOneProp(object, tag, value) : MAPI_E_INVALID_PARAMETER);
}

SPropValue* copyPropValue(const SPropValue* source, void* parent)
{
    constexpr std::wstring_view function = L"mapi::copyPropValue";
    if (source == nullptr)
        return nullptr;

    const auto copy = allocate<SPropValue>(1, parent);
    *copy = *source;
    void* const owner = parent != nullptr ? parent : copy;
    switch (PROP_TYPE(source->ulPropTag))
    {
    case PT_LONG:
    case PT_BOOLEAN:
        break;
    case PT_UNICODE:
        copy->Value.lpszW = copyString(source->Value.lpszW, owner);
        break;
    case PT_BINARY:
        if (const SBinary& bytes = source->Value.bin; bytes.cb != 0 && bytes.lpb != nullptr)
        {
            copy->Value.bin.lpb = allocate<BYTE>(bytes.cb, owner);
            std::memcpy(copy->Value.bin.lpb, bytes.lpb, bytes.cb);
        }
        break;
    default:
        // The block stays allocated: settled behaviour 48.
        throw utilities::exception(utilities::formatMessage(function, L"Unsupported value type."));
    }
    return copy;
}
} // namespace mapi
