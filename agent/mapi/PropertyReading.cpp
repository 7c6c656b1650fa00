#include "agent/mapi/PropertyReading.h"

#include <span>

#include "agent/mapi/ValuePtr.h"

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
