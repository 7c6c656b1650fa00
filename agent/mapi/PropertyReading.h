// PropertyReading.h: reads many properties of an object at once.
#pragma once

#include "mapiabi/MapiTags.h"

#include <array>
#include <cstddef>
#include <functional>

#include "agent/mapi/MapiPointers.h"
#include "agent/mapi/PropTagArray.h"

using PropertyVisitor = std::function<void(const SPropValue&)>;

/// Asks for the properties in one call (IMAPIProp::GetProps) and, when it gave S_OK or MAPI_W_ERRORS_RETURNED, calls
/// the visitor for each value in the order returned; the values are valid during that call only. Any other result
/// delivers nothing (settled behaviour 18). Gives the result of the call; E_INVALIDARG for a null object, and
/// MAPI_E_CALL_FAILED when a count comes without values.
HRESULT readProperties(IMAPIPropPtr object, SPropTagArray* tags, const PropertyVisitor& visitor);

/// Puts the tags of the numbered properties of PSETID_Address into `tags`, in the order of the numbers and of no type
/// (IMAPIProp::GetIDsFromNames); names that the store does not have yet are created (settled behaviour 16). On
/// failure `tags` stays as it is.
/// Gives the result of the call.
template <std::size_t count>
HRESULT getNamedPropertyTags(const LONG (&numbers)[count], IMAPIPropPtr object, mapi::PropTagArray& tags)
{
    GUID propertySet = PSETID_Address;
    std::array<MAPINAMEID, count> names{};
    std::array<MAPINAMEID*, count> pointers{};
    for (std::size_t index = 0; index < count; ++index)
    {
        names[index].lpguid = &propertySet;
        names[index].ulKind = MNID_ID;
        names[index].Kind.lID = numbers[index];
        pointers[index] = &names[index];
    }

    SPropTagArray* array = nullptr;
    const HRESULT result = object->GetIDsFromNames(ULONG{count}, pointers.data(), MAPI_CREATE, &array);
    if (SUCCEEDED(result))
        tags.reset(array);
    return result;
}
