// ArgumentTexts.h: the arguments of a call as the journal has them.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <type_traits>

#include "mapiabi/MapiInterfaces.h"
#include "sandbox/runtime/record/Journal.h"

namespace sandbox
{
/// The most levels of a restriction that are looked at, here and where it is evaluated.
constexpr int deepestRestriction = 256;

// All read a client's memory as the called method would, and throw std::bad_alloc.

[[nodiscard]] std::string unsignedHexText(std::uint64_t number);
/// A number: "0x1F"; a negative one by its bits.
template <std::integral Number>
[[nodiscard]] std::string hexText(Number number)
{
    return unsignedHexText(static_cast<std::make_unsigned_t<Number>>(number));
}

/// An entry identifier in hexadecimal; "" for a null pointer.
[[nodiscard]] std::string entryIdText(ULONG size, const ENTRYID* entryId);
/// The published name of an interface, "{...}" for one that is unknown here; null for a null pointer.
[[nodiscard]] Json interfaceText(const IID* iid);
/// @param text  UTF-16 if the flags have MAPI_UNICODE, else in the system's code page; null for a null pointer.
[[nodiscard]] Json textText(const void* text, ULONG flags);
/// The tags as a list; null for a null pointer. Likewise the next two, with the published names of their fields.
[[nodiscard]] Json tagsText(const SPropTagArray* tags);
[[nodiscard]] Json namesText(ULONG count, MAPINAMEID** names);
[[nodiscard]] Json restrictionText(const SRestriction* restriction, int depth = 1);

// Whole sets of arguments, or for `serve` what gives them.

[[nodiscard]] inline Arguments noArguments()
{
    return Arguments::object();
}
[[nodiscard]] inline auto onlyFlags(ULONG flags)
{
    return [flags]
    {
        return Arguments{{"ulFlags", hexText(flags)}};
    };
}

/// Those of OpenEntry.
[[nodiscard]] inline Arguments openEntryArguments(ULONG size, const ENTRYID* entryId, const IID* iid, ULONG flags)
{
    return {
        {"lpEntryID", entryIdText(size, entryId)}, {"lpInterface", interfaceText(iid)}, {"ulFlags", hexText(flags)}};
}
} // namespace sandbox
