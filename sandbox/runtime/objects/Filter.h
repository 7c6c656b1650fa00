// Filter.h: a restriction, taken over from the client's memory and evaluated on the rows of a table.
#pragma once

#include <functional>

#include "sandbox/mailbox/model/MailboxObject.h"

namespace sandbox
{
/// Whether an object's row passes. Called with the mailbox locked.
using Filter = std::function<bool(const MailboxObject& object)>;

/// Copies all that it needs. Served are RES_AND, RES_OR, RES_NOT, RES_EXIST, and RES_PROPERTY with RELOP_EQ, which
/// compares text by its UTF-16 units; a row that lacks the property, or can't read it, doesn't equal anything.
/// Throws MapiFailure: MAPI_E_TOO_COMPLEX for any other form or types that don't go together, MAPI_E_INVALID_PARAMETER
/// for a missing part.
[[nodiscard]] Filter makeFilter(const SRestriction& restriction, int depth = 1);
} // namespace sandbox
