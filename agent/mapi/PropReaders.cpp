#include "agent/mapi/PropReaders.h"

#include "agent/mapi/PropValue.h"
#include "utilities/Failure.h"

namespace mapi
{
namespace
{
[[noreturn]] void fail(std::wstring_view function, std::wstring_view text)
{
    throw utilities::exception(utilities::formatMessage(function, text));
}

void requireValue(const SPropValue* value, std::wstring_view function)
{
    if (value == nullptr)
        fail(function, L"Input value is null");
}

/// What each accessor does before it touches the value's union.
void requireType(const SPropValue* value, ULONG expected, std::wstring_view function)
{
    requireValue(value, function);
    const ULONG type = PROP_TYPE(value->ulPropTag);
    if (type == expected)
        return;
    const auto hex = [](ULONG number)
    {
        return utilities::toHexNumber(std::uint64_t{number});
    };
    fail(function, L"Incompatible property type. proptag=0x" + hex(value->ulPropTag) + L"provided proptype=" +
                       hex(type) + L", expected proptype=" + hex(expected));
}

template <class Member>
[[nodiscard]] auto readProperty(IMAPIPropPtr object, ULONG tag)
{
    PropValue value;
    value.read(object, tag);
    return impl::Reader<_SPropValue, Member>::read(value.get());
}
} // namespace

namespace impl
{
LONG PropValueAccessorT<PT_LONG, 0>::read(const SPropValue* value)
{
    constexpr std::wstring_view function = L"mapi::impl::PropValueAccessorT<3,0>::read";
    requireType(value, PT_LONG, function);
    return value->Value.l;
}

const wchar_t* PropValueAccessorT<PT_UNICODE, 0>::read(const SPropValue* value)
{
    constexpr std::wstring_view function = L"mapi::impl::PropValueAccessorT<31,0>::read";
    requireType(value, PT_UNICODE, function);
    return value->Value.lpszW;
}

SBinary PropValueAccessorT<PT_BINARY, 0>::read(const SPropValue* value)
{
    constexpr std::wstring_view function = L"mapi::impl::PropValueAccessorT<258,0>::read";
    requireType(value, PT_BINARY, function);
    return value->Value.bin;
}

EntryId Reader<_SPropValue, SBinary>::read(const SPropValue* value)
{
    constexpr std::wstring_view function = L"mapi::impl::Reader<struct _SPropValue,struct _SBinary>::read";
    requireValue(value, function);
    const SBinary bytes = PropValueAccessorT<PT_BINARY, 0>::read(value);
    return makeEntryId(bytes.cb, bytes.lpb);
}

std::wstring Reader<_SPropValue, wchar_t*>::read(const SPropValue* value)
{
    constexpr std::wstring_view function = L"mapi::impl::Reader<struct _SPropValue,wchar_t *>::read";
    requireValue(value, function);
    const wchar_t* const text = PropValueAccessorT<PT_UNICODE, 0>::read(value);
    return text != nullptr ? std::wstring(text) : std::wstring();
}

LONG Reader<_SPropValue, LONG>::read(const SPropValue* value)
{
    constexpr std::wstring_view function = L"mapi::impl::Reader<struct _SPropValue,long>::read";
    requireValue(value, function);
    return PropValueAccessorT<PT_LONG, 0>::read(value);
}
} // namespace impl

std::span<const BYTE> viewBinary(const SPropValue& value)
{
    const SBinary bytes = impl::PropValueAccessorT<PT_BINARY, 0>::read(&value);
    return {bytes.lpb, bytes.lpb != nullptr ? bytes.cb : 0};
}

EntryId readBinary(const SPropValue& value)
{
    return impl::Reader<_SPropValue, SBinary>::read(&value);
}

std::wstring readText(const SPropValue& value)
{
    return impl::Reader<_SPropValue, wchar_t*>::read(&value);
}

EntryId readBinary(IMAPIPropPtr object, ULONG tag)
{
    return readProperty<SBinary>(object, tag);
}

std::wstring readText(IMAPIPropPtr object, ULONG tag)
{
    return readProperty<wchar_t*>(object, tag);
}

LONG readLong(IMAPIPropPtr object, ULONG tag)
{
    return readProperty<LONG>(object, tag);
}
} // namespace mapi
