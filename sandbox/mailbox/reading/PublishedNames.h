// PublishedNames.h: the published names by which a mailbox file speaks of properties, property sets and results.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sandbox/mailbox/model/NameMapping.h"

namespace sandbox
{
/// The tag of a property's name, PR_..., with or without the _W of text properties.
[[nodiscard]] std::optional<ULONG> propertyTagOf(std::string_view name);

/// A named property with a published name of its own, PidLid....
struct KnownNamedProperty
{
    PropertyName name;
    ULONG type = 0;
};
[[nodiscard]] std::optional<KnownNamedProperty> namedPropertyOf(std::string_view name);

/// A property set by its name (PSETID_..., PS_...) or written as {xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}.
[[nodiscard]] std::optional<GUID> propertySetOf(std::string_view text);
[[nodiscard]] std::optional<GUID> guidOf(std::string_view text);

/// A result by its name (MAPI_E_..., S_OK, ...) or written as 0x and eight digits at most.
[[nodiscard]] std::optional<HRESULT> resultOf(std::string_view text);

/// The number of a text "0x" and one to eight hexadecimal digits.
[[nodiscard]] std::optional<ULONG> hexNumberOf(std::string_view text);
} // namespace sandbox
