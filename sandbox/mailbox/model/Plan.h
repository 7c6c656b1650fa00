// Plan.h: what calls to come are to answer, and how slowly.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "mapiabi/MapiTypes.h"
#include "sandbox/mailbox/model/Bytes.h"

namespace sandbox
{
/// A plan as docs/sandbox-control.md tells it.
struct Plan
{
    std::string method;      // "IMAPIProp::GetProps", "MAPIAllocateBuffer"
    Bytes on;                // long-term identifier of the one object that is meant; empty for any
    std::uint64_t call = 1;  // the first call that it applies to, counted from when it was made
    std::uint64_t times = 1; // for so many calls; 0: for all that follow
    std::optional<HRESULT> result;
    std::chrono::milliseconds delay{0};
    std::string hold; // calls wait until this is released; empty: they don't
};
} // namespace sandbox
