// ContactNames.h: the named properties of a contact's first e-mail slot.
#pragma once

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/NameMapping.h"

namespace sandbox
{
constexpr LONG PidLidEmail1DisplayName = 0x8080;

/// The name with this number in PSETID_Address.
[[nodiscard]] inline PropertyName addressProperty(LONG number)
{
    return {PSETID_Address, number};
}
} // namespace sandbox
