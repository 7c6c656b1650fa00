// CallNames.h: the calls that a client can make of the sandbox, by the names under which plans and the journal know them.
#pragma once

#include <string>
#include <string_view>

namespace sandbox
{
/// Whether there is such a function ("MAPIAllocateBuffer") or such a method, with the interface to which it belongs
/// ("IMAPIProp::GetProps", also for a folder).
[[nodiscard]] bool isCallName(std::string_view name);

/// The names of methods that end in the same bare name, for a person who has written another interface; empty if none does.
[[nodiscard]] std::string callNamesLike(std::string_view name);
} // namespace sandbox
