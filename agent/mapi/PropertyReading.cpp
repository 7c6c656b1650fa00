#include "agent/mapi/PropertyReading.h"

#include "mapiabi/MapiTags.h"

#include <span>
#include <vector>

#include "agent/mapi/ValuePtr.h"
#include "utilities/Failure.h"

HRESULT readProperties(IMAPIPropPtr object, SPropTagArray* tags, const PropertyVisitor& visitor)
{
    if (!object)
        return E_INVALIDARG;

    ULONG count = 0;
    SPropValue* array = nullptr;
    const HRESULT result = object->GetProps(tags, MAPI_UNICODE, &count, &array);
    if (result != S_OK && result != MAPI_W_ERRORS_RETURNED)
        return result;

    const mapi::ValuePtr<_SPropValue> values(array);
    if (count != 0 && !values)
        return MAPI_E_CALL_FAILED;
    if (visitor && count != 0)
    {
        for (const SPropValue& value : std::span(values.get(), count))
            visitor(value);
    }
    return result;
}

HRESULT getNamedPropertyTags(std::initializer_list<LONG> numbers, IMAPIPropPtr object, mapi::PropTagArray& tags)
{
    GUID propertySet = PSETID_Address;
    std::vector<MAPINAMEID> names;
    for (const LONG number : numbers)
    {
        MAPINAMEID name{};
        name.lpguid = &propertySet;
        name.ulKind = MNID_ID;
        name.Kind.lID = number;
        names.push_back(name);
    }
    std::vector<MAPINAMEID*> pointers;
    pointers.reserve(names.size());
    for (MAPINAMEID& name : names)
        pointers.push_back(&name);

    SPropTagArray* array = nullptr;
    const HRESULT result =
        object->GetIDsFromNames(utilities::narrow_cast<ULONG>(pointers.size()), pointers.data(), MAPI_CREATE, &array);
    if (SUCCEEDED(result))
        tags.reset(array);
    return result;
}
