// PropertyReading.h: reads many properties of an object at once.
#pragma once

#include <functional>
#include <initializer_list>

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
HRESULT getNamedPropertyTags(std::initializer_list<LONG> numbers, IMAPIPropPtr object, mapi::PropTagArray& tags);
