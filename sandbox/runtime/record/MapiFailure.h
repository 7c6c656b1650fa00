// MapiFailure.h: a failure on its way to the client, as the result that it becomes there.
#pragma once

#include "mapiabi/MapiTypes.h"

namespace sandbox
{
/// Thrown inside the runtime only; the shell around each call turns it into the call's result.
class MapiFailure
{
public:
    explicit MapiFailure(HRESULT result) noexcept : m_result(result) {}
    [[nodiscard]] HRESULT result() const noexcept { return m_result; }

private:
    HRESULT m_result;
};

/// Throws unless the condition holds.
inline void require(bool condition, HRESULT otherwise = MAPI_E_INVALID_PARAMETER)
{
    if (!condition)
        throw MapiFailure(otherwise);
}

/// Throws MAPI_E_UNKNOWN_FLAGS unless all flags are among the known ones.
inline void requireFlags(ULONG flags, ULONG known)
{
    require((flags & ~known) == 0, MAPI_E_UNKNOWN_FLAGS);
}
} // namespace sandbox
