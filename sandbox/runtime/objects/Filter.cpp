#include "sandbox/runtime/objects/Filter.h"

#include <algorithm>
#include <concepts>
#include <utility>

#include "sandbox/runtime/record/ArgumentTexts.h"
#include "sandbox/runtime/record/MapiFailure.h"
#include "sandbox/runtime/record/PropertyMemory.h"

namespace sandbox
{
namespace
{
/// Text goes together in either width.
[[nodiscard]] bool goTogether(ULONG tag, ULONG other) noexcept
{
    const auto wide = [](ULONG type)
    {
        return type == PT_STRING8 ? PT_UNICODE : type;
    };
    return wide(PROP_TYPE(tag)) == wide(PROP_TYPE(other));
}

[[nodiscard]] bool areEqual(const Value& value, const Value& other)
{
    return std::visit(
        [&other](const auto& held)
        {
            using Held = std::decay_t<decltype(held)>;
            const auto* otherHeld = std::get_if<Held>(&other);
            if constexpr (std::equality_comparable<Held>)
                return otherHeld != nullptr && held == *otherHeld;
            else
                return false;
        },
        value);
}

[[nodiscard]] std::vector<Filter> makeFilters(ULONG count, const SRestriction* restrictions, int depth)
{
    require(count == 0 || restrictions != nullptr);
    std::vector<Filter> filters;
    for (ULONG index = 0; index < count; ++index)
        filters.push_back(makeFilter(restrictions[index], depth + 1));
    return filters;
}

[[nodiscard]] Filter makeEquality(const _SPropertyRestriction& restriction)
{
    require(restriction.lpProp != nullptr);
    const ULONG tag = restriction.ulPropTag;
    require(restriction.relop == RELOP_EQ && goTogether(tag, restriction.lpProp->ulPropTag), MAPI_E_TOO_COMPLEX);
    std::optional<Value> wanted = fromMapiMemory(*restriction.lpProp);
    require(wanted.has_value(), MAPI_E_TOO_COMPLEX);
    return [tag, value = *std::move(wanted)](const MailboxObject& object)
    {
        const std::optional<Property> found = object.rowProperty(PROP_ID(tag));
        return found && goTogether(found->tag, tag) && areEqual(found->value, value);
    };
}
} // namespace

Filter makeFilter(const SRestriction& restriction, int depth)
{
    require(depth <= deepestRestriction, MAPI_E_TOO_COMPLEX);
    const auto& res = restriction.res;
    switch (restriction.rt)
    {
    case RES_AND:
        return [parts = makeFilters(res.resAnd.cRes, res.resAnd.lpRes, depth)](const MailboxObject& object)
        {
            return std::ranges::all_of(parts, [&](const Filter& part) { return part(object); });
        };
    case RES_OR:
        return [parts = makeFilters(res.resOr.cRes, res.resOr.lpRes, depth)](const MailboxObject& object)
        {
            return std::ranges::any_of(parts, [&](const Filter& part) { return part(object); });
        };
    case RES_NOT:
        return [parts = makeFilters(1, res.resNot.lpRes, depth)](const MailboxObject& object)
        {
            return !parts.front()(object);
        };
    case RES_EXIST:
        return [tag = res.resExist.ulPropTag](const MailboxObject& object)
        {
            const std::optional<Property> found = object.rowProperty(PROP_ID(tag));
            return found && goTogether(found->tag, tag);
        };
    case RES_PROPERTY:
        return makeEquality(res.resProperty);
    default:
        throw MapiFailure(MAPI_E_TOO_COMPLEX);
    }
}
} // namespace sandbox
