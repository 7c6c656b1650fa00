// Plan.h: what calls to come are to answer, how slowly, and what they do on their way.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "mapiabi/MapiTypes.h"
#include "sandbox/mailbox/model/Bytes.h"

namespace sandbox
{
/// What a table shows.
enum class TableKind
{
    Stores,
    Contents,
    Hierarchy
};

/// What a call is about, beside its name.
struct CallTarget
{
    Bytes on;                       // long-term identifier of the object, for a table that of its folder; may be empty
    Bytes opens;                    // long-term identifier of the object that it opens; empty if it opens none
    std::optional<TableKind> table; // for a method of a table
};

/// In what that which a call gives differs from what it has made.
enum class Gives
{
    AsMade,
    Nothing,    // a null pointer in place of an object, a block or an array
    Empty,      // none of an array's elements, or 0
    Fewer,      // one less: without the first element, or of rows without the first column
    OtherTypes, // properties of another type, with a value of that
    NullValues, // null pointers in texts and bytes
    Huge        // the largest number
};

/// A plan as docs/sandbox-control.md has it.
struct Plan
{
    std::string method;      // "IMAPIProp::GetProps", "MAPIAllocateBuffer"; empty for any that opens
    CallTarget target;       // what is empty in it goes for any
    std::uint64_t call = 1;  // the first call that it applies to, counted from when it was made
    std::uint64_t times = 1; // for so many calls; 0: for all that follow
    std::optional<HRESULT> result;
    Gives gives = Gives::AsMade;
    std::chrono::milliseconds delay{0};
    std::string hold;     // calls wait until this is released; empty: they don't
    bool deliver = false; // then they hand over what waits for wrapped sinks of their thread
};
} // namespace sandbox
