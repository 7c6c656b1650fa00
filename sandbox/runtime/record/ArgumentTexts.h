// ArgumentTexts.h: the arguments of a call as the journal tells them, each as a JSON text.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <type_traits>

#include "mapiabi/MapiInterfaces.h"
#include "sandbox/runtime/record/Journal.h"

namespace sandbox
{
// They read a client's memory as the called method would, and throw std::bad_alloc.

[[nodiscard]] std::string unsignedHexText(std::uint64_t number);
/// A number, in hexadecimal: "0x1F"; a negative one by its bits.
template <std::integral Number>
[[nodiscard]] std::string hexText(Number number)
{
    return unsignedHexText(static_cast<std::make_unsigned_t<Number>>(number));
}

/// An entry identifier in hexadecimal; "" for a null pointer.
[[nodiscard]] std::string entryIdText(ULONG size, const ENTRYID* entryId);
/// The published name of an interface, "{...}" for one that is unknown here; null for a null pointer.
[[nodiscard]] std::string interfaceText(const IID* iid);
/// @param text  UTF-16 if the flags have MAPI_UNICODE, else in the system's code page; null for a null pointer.
[[nodiscard]] std::string textText(const void* text, ULONG flags);
/// The tags as a list; null for a null pointer. Likewise the next three, with the published names of their fields.
[[nodiscard]] std::string tagsText(const SPropTagArray* tags);
[[nodiscard]] std::string namesText(ULONG count, MAPINAMEID** names);
[[nodiscard]] std::string sortOrderText(const SSortOrderSet* order);
[[nodiscard]] std::string restrictionText(const SRestriction* restriction);
/// "wrapped" or "unwrapped", by HrThisThreadAdviseSink; null for a null pointer.
[[nodiscard]] std::string sinkText(const IMAPIAdviseSink* sink);

// What `serve` takes, for the commonest arguments.

[[nodiscard]] inline Arguments noArguments()
{
    return {};
}
[[nodiscard]] inline auto onlyFlags(ULONG flags)
{
    return [flags]
    {
        return Arguments{{"ulFlags", hexText(flags)}};
    };
}
} // namespace sandbox
