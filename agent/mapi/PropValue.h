// PropValue.h: one property value in MAPI memory, read from an object or made here.
#pragma once

#include <string>

#include "agent/mapi/MapiPointers.h"
#include "agent/mapi/ValuePtr.h"

namespace mapi
{
/// Owns one SPropValue with all that hangs on it.
class PropValue : public ValuePtr<_SPropValue>
{
public:
    using ValuePtr::ValuePtr;

    /// A text of its own block, of a PT_UNICODE tag.
    [[nodiscard]] static PropValue makeText(ULONG tag, const std::wstring& text);
    /// A boolean of its own block, of a PT_BOOLEAN tag.
    [[nodiscard]] static PropValue makeBoolean(ULONG tag, bool isTrue);

    /// Frees what it holds and reads one property of the object by HrGetOneProp. Throws when the object does not have
    /// it, and for a null object; warnings pass.
    void read(IMAPIPropPtr object, ULONG tag);
};

/// A deep copy of the value: chained to `parent`, or, when that is null, a block of its own that the caller owns. Null
/// for null. PT_LONG, PT_BOOLEAN, PT_UNICODE and PT_BINARY only; throws for any other type.
[[nodiscard]] SPropValue* copyPropValue(const SPropValue* source, void* parent);
} // namespace mapi
