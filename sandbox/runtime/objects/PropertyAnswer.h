// PropertyAnswer.h: a property as a request asks for it, and as MAPI memory tells it.
#pragma once

#include <optional>
#include <span>

#include "sandbox/mailbox/model/Property.h"

namespace sandbox
{
/// What a request for `requestedTag` gets: the property under the requested type, or PT_ERROR with the requested
/// identifier. Text is given in either width. A request for PT_UNSPECIFIED gets the property's own type, text in the
/// width that `unicode` says.
[[nodiscard]] Property answerFor(const std::optional<Property>& found, ULONG requestedTag, bool unicode);

/// A property's own tag, with text in the width that `unicode` says.
[[nodiscard]] ULONG tagInWidth(ULONG tag, bool unicode) noexcept;

[[nodiscard]] inline bool isError(const Property& answer) noexcept
{
    return PROP_TYPE(answer.tag) == PT_ERROR;
}

/// The answers in one MAPI block that the client frees. Throws std::bad_alloc.
[[nodiscard]] SPropValue* toMapiMemory(std::span<const Property> answers);

/// A value out of a client's memory, as the mailbox holds it; text becomes wide. None if the type is not served.
[[nodiscard]] std::optional<Value> fromMapiMemory(const SPropValue& value);
} // namespace sandbox
