// PropReaders.h: typed reads of a value, and of one property of an object.
#pragma once

#include <span>
#include <string>

#include "agent/mapi/EntryId.h"
#include "agent/mapi/MapiPointers.h"

namespace mapi
{
namespace impl
{
/// The member of a value that a property type names. Throws for a null value and for a value of another type, such as
/// the PT_ERROR that stands in for a missing property.
template <ULONG Type, int>
struct PropValueAccessorT;

template <>
struct PropValueAccessorT<PT_LONG, 0>
{
    [[nodiscard]] static LONG read(const SPropValue* value);
};

template <>
struct PropValueAccessorT<PT_UNICODE, 0>
{
    [[nodiscard]] static const wchar_t* read(const SPropValue* value); // borrowed from the value
};

template <>
struct PropValueAccessorT<PT_BINARY, 0>
{
    [[nodiscard]] static SBinary read(const SPropValue* value); // its bytes are borrowed from the value
};

/// Turns the member of a value into a type of our own. Throws for a null value, and as its accessor does.
template <class Value, class Member>
struct Reader;

template <>
struct Reader<_SPropValue, SBinary>
{
    [[nodiscard]] static EntryId read(const SPropValue* value);
};

template <>
struct Reader<_SPropValue, wchar_t*>
{
    [[nodiscard]] static std::wstring read(const SPropValue* value); // empty for a null string
};

template <>
struct Reader<_SPropValue, LONG>
{
    [[nodiscard]] static LONG read(const SPropValue* value);
};
} // namespace impl

/// The bytes of a value, in its own memory; none for a null address. Throws for a value of another type.
[[nodiscard]] std::span<const BYTE> viewBinary(const SPropValue& value);

/// The bytes or the text of a value. Throw for a value of another type.
[[nodiscard]] EntryId readBinary(const SPropValue& value);
[[nodiscard]] std::wstring readText(const SPropValue& value); // empty for a null string

/// Read one property of the object (HrGetOneProp). Each throws when the property is missing or of another type.
[[nodiscard]] EntryId readBinary(IMAPIPropPtr object, ULONG tag);
[[nodiscard]] std::wstring readText(IMAPIPropPtr object, ULONG tag);
[[nodiscard]] LONG readLong(IMAPIPropPtr object, ULONG tag);
} // namespace mapi
