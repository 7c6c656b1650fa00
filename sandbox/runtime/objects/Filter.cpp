#include "sandbox/runtime/objects/Filter.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "sandbox/runtime/objects/MapiFailure.h"
#include "sandbox/runtime/objects/PropertyAnswer.h"
#include "sandbox/runtime/objects/TextFolding.h"

namespace sandbox
{
namespace
{
constexpr int s_deepestNesting = 256;

template <class Ordered>
[[nodiscard]] int order(const Ordered& a, const Ordered& b) noexcept
{
    return a < b ? -1 : a > b ? 1 : 0;
}

[[nodiscard]] ULONG textAsWide(ULONG type) noexcept
{
    return (type & ~MV_FLAG) == PT_STRING8 ? (type & MV_FLAG) | PT_UNICODE : type;
}

[[nodiscard]] bool goTogether(ULONG typeA, ULONG typeB) noexcept
{
    return textAsWide(typeA) == textAsWide(typeB);
}

[[nodiscard]] bool holds(ULONG relation, int order) noexcept
{
    switch (relation)
    {
    case RELOP_LT:
        return order < 0;
    case RELOP_LE:
        return order <= 0;
    case RELOP_GT:
        return order > 0;
    case RELOP_GE:
        return order >= 0;
    case RELOP_EQ:
        return order == 0;
    default:
        return order != 0; // RELOP_NE; others were refused
    }
}

void requireRelation(ULONG relation)
{
    require(relation <= RELOP_NE, MAPI_E_TOO_COMPLEX);
}

/// How much memory the value takes: the bytes of a text with its end, of a binary value, of a number.
[[nodiscard]] ULONG sizeOf(const Property& property) noexcept
{
    return std::visit(
        [&](const auto& value) -> ULONG
        {
            using Held = std::decay_t<decltype(value)>;
            const auto total = [&](auto sizeOfOne)
            {
                std::size_t sum = 0;
                for (const auto& element : value)
                    sum += sizeOfOne(element);
                return static_cast<ULONG>(sum);
            };
            if constexpr (std::is_same_v<Held, std::wstring>)
                return static_cast<ULONG>((value.size() + 1) *
                                          (PROP_TYPE(property.tag) == PT_STRING8 ? 1 : sizeof(WCHAR)));
            else if constexpr (std::is_same_v<Held, Bytes> || std::is_same_v<Held, std::string>)
                return static_cast<ULONG>(value.size());
            else if constexpr (std::is_same_v<Held, std::vector<std::int32_t>>)
                return total([](std::int32_t) { return sizeof(LONG); });
            else if constexpr (std::is_same_v<Held, std::vector<std::wstring>>)
                return total([](const std::wstring& text) { return (text.size() + 1) * sizeof(WCHAR); });
            else if constexpr (std::is_same_v<Held, std::vector<Bytes>>)
                return total([](const Bytes& bytes) { return bytes.size(); });
            else if constexpr (std::is_same_v<Held, bool> || std::is_same_v<Held, std::int32_t>)
                return PROP_TYPE(property.tag) == PT_LONG ? 4 : 2;
            else if constexpr (std::is_same_v<Held, std::monostate> || std::is_same_v<Held, PropertyError>)
                return 0;
            else
                return static_cast<ULONG>(sizeof(Held));
        },
        property.value);
}

/// Runs `test` on the value, or on the elements of a multi-valued one until it holds for one.
template <class Test>
[[nodiscard]] bool anyElement(const Value& value, Test test)
{
    if (const auto* numbers = std::get_if<std::vector<std::int32_t>>(&value))
        return std::ranges::any_of(*numbers, [&](std::int32_t number) { return test(Value(number)); });
    if (const auto* texts = std::get_if<std::vector<std::wstring>>(&value))
        return std::ranges::any_of(*texts, [&](const std::wstring& text) { return test(Value(text)); });
    if (const auto* binaries = std::get_if<std::vector<Bytes>>(&value))
        return std::ranges::any_of(*binaries, [&](const Bytes& bytes) { return test(Value(bytes)); });
    return test(value);
}

template <class Sequence>
[[nodiscard]] bool contentMatches(ULONG fuzzyLevel, const Sequence& whole, const Sequence& wanted)
{
    switch (fuzzyLevel & 0xFFFF)
    {
    case FL_FULLSTRING:
        return std::ranges::equal(whole, wanted);
    case FL_PREFIX:
        return whole.size() >= wanted.size() && std::equal(wanted.begin(), wanted.end(), whole.begin());
    default: // FL_SUBSTRING; others were refused
        return std::search(whole.begin(), whole.end(), wanted.begin(), wanted.end()) != whole.end() || wanted.empty();
    }
}

[[nodiscard]] bool contentMatches(ULONG fuzzyLevel, const Value& value, const Value& wanted)
{
    const auto* text = std::get_if<std::wstring>(&value);
    const auto* wantedText = std::get_if<std::wstring>(&wanted);
    if (text != nullptr && wantedText != nullptr)
    {
        const bool ignoreCase = (fuzzyLevel & (FL_IGNORECASE | FL_LOOSE)) != 0;
        const bool ignoreMarks = (fuzzyLevel & (FL_IGNORENONSPACE | FL_LOOSE)) != 0;
        return contentMatches(fuzzyLevel, foldText(*text, ignoreCase, ignoreMarks),
                              foldText(*wantedText, ignoreCase, ignoreMarks));
    }
    const auto* bytes = std::get_if<Bytes>(&value);
    const auto* wantedBytes = std::get_if<Bytes>(&wanted);
    return bytes != nullptr && wantedBytes != nullptr && contentMatches(fuzzyLevel, *bytes, *wantedBytes);
}

/// A property that is there, can be read and has the type that the restriction speaks of.
[[nodiscard]] std::optional<Property> comparable(const RowProperties& row, ULONG tag)
{
    std::optional<Property> property = row(PROP_ID(tag));
    if (property && (std::holds_alternative<PropertyError>(property->value) ||
                     !goTogether(PROP_TYPE(property->tag), PROP_TYPE(tag))))
        property.reset();
    return property;
}
} // namespace

struct Filter::Node
{
    ULONG kind = 0;
    ULONG relation = 0; // RELOP_*, BMR_* or FL_*
    ULONG tag = 0;
    ULONG otherTag = 0;
    ULONG number = 0; // a mask or a size
    Value value;
    std::vector<std::unique_ptr<const Node>> children;

    [[nodiscard]] static std::unique_ptr<const Node> from(const SRestriction& restriction, int depth);
    [[nodiscard]] bool matches(const RowProperties& row) const;

private:
    void takeChildren(ULONG count, const SRestriction* restrictions, int depth);
    void takeValue(const SPropValue* wanted);
};

std::unique_ptr<const Filter::Node> Filter::Node::from(const SRestriction& restriction, int depth)
{
    require(depth <= s_deepestNesting, MAPI_E_TOO_COMPLEX);
    auto node = std::make_unique<Node>();
    node->kind = restriction.rt;
    const auto& res = restriction.res;
    switch (restriction.rt)
    {
    case RES_AND:
        node->takeChildren(res.resAnd.cRes, res.resAnd.lpRes, depth);
        break;
    case RES_OR:
        node->takeChildren(res.resOr.cRes, res.resOr.lpRes, depth);
        break;
    case RES_NOT:
        node->takeChildren(1, res.resNot.lpRes, depth);
        break;
    case RES_COMMENT: // a remark for people; the restriction below it counts
        node->takeChildren(res.resComment.lpRes != nullptr ? 1 : 0, res.resComment.lpRes, depth);
        break;
    case RES_CONTENT:
    {
        node->relation = res.resContent.ulFuzzyLevel;
        node->tag = res.resContent.ulPropTag;
        const ULONG type = textAsWide(PROP_TYPE(node->tag)) & ~MV_FLAG;
        require((node->relation & 0xFFFF) <= FL_PREFIX && (type == PT_UNICODE || type == PT_BINARY),
                MAPI_E_TOO_COMPLEX);
        node->takeValue(res.resContent.lpProp);
        break;
    }
    case RES_PROPERTY:
        node->relation = res.resProperty.relop;
        node->tag = res.resProperty.ulPropTag;
        requireRelation(node->relation);
        node->takeValue(res.resProperty.lpProp);
        break;
    case RES_COMPAREPROPS:
        node->relation = res.resCompareProps.relop;
        node->tag = res.resCompareProps.ulPropTag1;
        node->otherTag = res.resCompareProps.ulPropTag2;
        requireRelation(node->relation);
        require(goTogether(PROP_TYPE(node->tag), PROP_TYPE(node->otherTag)) && (PROP_TYPE(node->tag) & MV_FLAG) == 0,
                MAPI_E_TOO_COMPLEX);
        break;
    case RES_BITMASK:
        node->relation = res.resBitMask.relBMR;
        node->tag = res.resBitMask.ulPropTag;
        node->number = res.resBitMask.ulMask;
        require(node->relation <= BMR_NEZ && PROP_TYPE(node->tag) == PT_LONG, MAPI_E_TOO_COMPLEX);
        break;
    case RES_SIZE:
        node->relation = res.resSize.relop;
        node->tag = res.resSize.ulPropTag;
        node->number = res.resSize.cb;
        requireRelation(node->relation);
        break;
    case RES_EXIST:
        node->tag = res.resExist.ulPropTag;
        break;
    default:
        throw MapiFailure(MAPI_E_TOO_COMPLEX);
    }
    return node;
}

void Filter::Node::takeChildren(ULONG count, const SRestriction* restrictions, int depth)
{
    require(count == 0 || restrictions != nullptr);
    for (ULONG index = 0; index < count; ++index)
        children.push_back(from(restrictions[index], depth + 1));
}

void Filter::Node::takeValue(const SPropValue* wanted)
{
    require(wanted != nullptr);
    // A multi-valued property is compared with one value: any of its elements may hold.
    require(goTogether(PROP_TYPE(tag) & ~MV_FLAG, PROP_TYPE(wanted->ulPropTag)), MAPI_E_TOO_COMPLEX);
    std::optional<Value> taken = fromMapiMemory(*wanted);
    require(taken.has_value(), MAPI_E_TOO_COMPLEX);
    value = *std::move(taken);
}

bool Filter::Node::matches(const RowProperties& row) const
{
    const auto childMatches = [&row](const std::unique_ptr<const Node>& child)
    {
        return child->matches(row);
    };
    switch (kind)
    {
    case RES_AND:
    case RES_COMMENT:
        return std::ranges::all_of(children, childMatches);
    case RES_OR:
        return std::ranges::any_of(children, childMatches);
    case RES_NOT:
        return !children.front()->matches(row);
    case RES_EXIST:
    {
        const std::optional<Property> property = row(PROP_ID(tag));
        return property && (PROP_TYPE(tag) == PT_UNSPECIFIED || goTogether(PROP_TYPE(property->tag), PROP_TYPE(tag)));
    }
    default:
        break;
    }

    const std::optional<Property> property = comparable(row, tag);
    if (!property)
        return false;
    switch (kind)
    {
    case RES_CONTENT:
        return anyElement(property->value,
                          [this](const Value& element) { return contentMatches(relation, element, value); });
    case RES_PROPERTY:
        return anyElement(property->value,
                          [this](const Value& element)
                          {
                              const std::optional<int> ordered = compareValues(element, value);
                              return ordered && holds(relation, *ordered);
                          });
    case RES_COMPAREPROPS:
    {
        const std::optional<Property> other = comparable(row, otherTag);
        const std::optional<int> ordered = other ? compareValues(property->value, other->value) : std::nullopt;
        return ordered && holds(relation, *ordered);
    }
    case RES_BITMASK:
    {
        const auto* bits = std::get_if<std::int32_t>(&property->value);
        return bits != nullptr && ((static_cast<ULONG>(*bits) & number) != 0) == (relation == BMR_NEZ);
    }
    default: // RES_SIZE; others were refused
        return holds(relation, order(sizeOf(*property), number));
    }
}

Filter::Filter(const SRestriction& restriction) : m_root(Node::from(restriction, 1)) {}

Filter::Filter(Filter&&) noexcept = default;
Filter::~Filter() = default;

bool Filter::matches(const RowProperties& row) const
{
    return m_root->matches(row);
}

std::optional<int> compareValues(const Value& a, const Value& b) noexcept
{
    if (a.index() != b.index())
        return std::nullopt;
    return std::visit(
        [&b](const auto& left) -> std::optional<int>
        {
            using Held = std::decay_t<decltype(left)>;
            const Held& right = std::get<Held>(b);
            if constexpr (std::is_arithmetic_v<Held> || std::is_same_v<Held, std::wstring> ||
                          std::is_same_v<Held, Bytes>)
                return order(left, right);
            else if constexpr (std::is_same_v<Held, GUID>)
                return std::memcmp(&left, &right, sizeof(GUID));
            else
                return std::nullopt;
        },
        a);
}

int compareForSorting(const std::optional<Property>& a, const std::optional<Property>& b)
{
    if (!a || !b)
        return order(a.has_value(), b.has_value());
    const auto folded = [](const Value& value)
    {
        const auto* text = std::get_if<std::wstring>(&value);
        return text != nullptr ? Value(foldText(*text, true, false)) : value;
    };
    return compareValues(folded(a->value), folded(b->value)).value_or(0);
}
} // namespace sandbox
