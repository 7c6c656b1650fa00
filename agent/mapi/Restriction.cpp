#include "agent/mapi/Restriction.h"

#include <optional>
#include <utility>
#include <variant>

#include "agent/mapi/MapiMemory.h"
#include "utilities/Failure.h"

namespace mapi
{
namespace impl
{
struct Alternative;

/// What all kinds of filters share. T is the published structure that the kind fills.
template <class T>
class RestrictionArgument
{
public:
    RestrictionArgument() = default;
    RestrictionArgument(const RestrictionArgument&) = default;
    RestrictionArgument(RestrictionArgument&&) noexcept = default;
    RestrictionArgument& operator=(const RestrictionArgument&) = default;
    RestrictionArgument& operator=(RestrictionArgument&&) noexcept = default;
    virtual ~RestrictionArgument() = default;

    bool negated = false;
};

class ResProperty : public RestrictionArgument<_SPropertyRestriction>
{
public:
    ResProperty(ULONG relation, PropValue propValue) : relop(relation), value(std::move(propValue)) {}
    /// Each owns a block of its own.
    ResProperty(const ResProperty& other)
        : RestrictionArgument(other), relop(other.relop), value(copyPropValue(other.value.get(), nullptr))
    {
    }
    ResProperty(ResProperty&&) = default;
    ResProperty& operator=(const ResProperty& other) { return *this = ResProperty(other); }
    ResProperty& operator=(ResProperty&&) = default;
    ~ResProperty() override = default;

    ULONG relop;
    PropValue value; // holds the property tag as well
};

class ResExist : public RestrictionArgument<_SExistRestriction>
{
public:
    explicit ResExist(ULONG propTag) : tag(propTag) {}

    ULONG tag;
};

/// A filter of other filters. What an Alternative is has to be known where its members are defined.
template <class T>
class CompoundRestriction : public RestrictionArgument<T>
{
public:
    CompoundRestriction();
    CompoundRestriction(const CompoundRestriction&);
    CompoundRestriction(CompoundRestriction&&) noexcept;
    CompoundRestriction& operator=(const CompoundRestriction&);
    CompoundRestriction& operator=(CompoundRestriction&&) noexcept;
    ~CompoundRestriction() override;

    std::vector<Alternative> items;
};

class ResAnd : public CompoundRestriction<_SAndRestriction>
{
};

class ResOr : public CompoundRestriction<_SOrRestriction>
{
};

/// One filter of any kind.
struct Alternative
{
    std::variant<ResProperty, ResExist, ResAnd, ResOr> kind;
};

template <class T>
CompoundRestriction<T>::CompoundRestriction() = default;
template <class T>
CompoundRestriction<T>::CompoundRestriction(const CompoundRestriction&) = default;
template <class T>
CompoundRestriction<T>::CompoundRestriction(CompoundRestriction&&) noexcept = default;
template <class T>
CompoundRestriction<T>& CompoundRestriction<T>::operator=(const CompoundRestriction&) = default;
template <class T>
CompoundRestriction<T>& CompoundRestriction<T>::operator=(CompoundRestriction&&) noexcept = default;
template <class T>
CompoundRestriction<T>::~CompoundRestriction() = default;

/// Writes the tree. Its first node is the block that everything else is chained to.
class RestrictionBuilder : public ValuePtr<_SRestriction>
{
public:
    void build(const Alternative& alternative)
    {
        reset(allocate<SRestriction>(1, nullptr));
        root = get();
        write(get(), alternative);
    }

private:
    /// Writes a filter into a node that exists.
    void write(SRestriction* node, const Alternative& alternative)
    {
        std::visit([this, node](const auto& argument) { fill(node, argument); }, alternative.kind);
    }

    /// The node to fill: the given one, or below it when the filter is negated.
    [[nodiscard]] SRestriction* prepare(SRestriction* node, bool negated, ULONG type)
    {
        if (negated)
        {
            node->rt = RES_NOT;
            node->res.resNot.lpRes = allocate<SRestriction>(1, root);
            node = node->res.resNot.lpRes;
        }
        node->rt = type;
        return node;
    }

    void fill(SRestriction* node, const ResProperty& argument)
    {
        auto& target = prepare(node, argument.negated, RES_PROPERTY)->res.resProperty;
        target.relop = argument.relop;
        target.ulPropTag = argument.value->ulPropTag;
        target.lpProp = copyPropValue(argument.value.get(), root);
    }

    void fill(SRestriction* node, const ResExist& argument)
    {
        prepare(node, argument.negated, RES_EXIST)->res.resExist.ulPropTag = argument.tag;
    }

    void fill(SRestriction* node, const ResAnd& argument)
    {
        fillItems(prepare(node, argument.negated, RES_AND)->res.resAnd, argument.items);
    }

    void fill(SRestriction* node, const ResOr& argument)
    {
        fillItems(prepare(node, argument.negated, RES_OR)->res.resOr, argument.items);
    }

    template <class Target>
    void fillItems(Target& target, const std::vector<Alternative>& items)
    {
        target.cRes = utilities::narrow_cast<ULONG>(items.size());
        target.lpRes = allocate<SRestriction>(target.cRes, root);
        for (std::size_t index = 0; index < items.size(); ++index)
            write(&target.lpRes[index], items[index]);
    }

    SRestriction* root = nullptr;
};
} // namespace impl

struct Restriction::Content
{
    std::optional<impl::Alternative> alternative;
};

Restriction::Restriction() : m_content(std::make_unique<Content>()) {}

Restriction::Restriction(std::unique_ptr<Content> content) : m_content(std::move(content)) {}

Restriction::Restriction(const Restriction& other)
    : m_content(other.m_content ? std::make_unique<Content>(*other.m_content) : std::make_unique<Content>())
{
}

Restriction::Restriction(Restriction&& other) noexcept = default;

Restriction& Restriction::operator=(const Restriction& other)
{
    return *this = Restriction(other);
}

Restriction& Restriction::operator=(Restriction&& other) noexcept = default;

Restriction::~Restriction() = default;

Restriction Restriction::exists(ULONG tag)
{
    return Restriction(std::make_unique<Content>(Content{impl::Alternative{impl::ResExist(tag)}}));
}

Restriction Restriction::equals(PropValue value)
{
    constexpr std::wstring_view function = L"mapi::Restriction::equals";
    if (!value)
        utilities::checkHresult(function, MAPI_E_INVALID_PARAMETER);
    PropValue copy(copyPropValue(value.get(), nullptr));
    return Restriction(
        std::make_unique<Content>(Content{impl::Alternative{impl::ResProperty(RELOP_EQ, std::move(copy))}}));
}

Restriction Restriction::anyOf(std::vector<Restriction> restrictions)
{
    impl::ResOr any;
    for (Restriction& restriction : restrictions)
    {
        if (restriction.m_content && restriction.m_content->alternative)
            any.items.push_back(std::move(*restriction.m_content->alternative));
    }
    return Restriction(std::make_unique<Content>(Content{impl::Alternative{std::move(any)}}));
}

Restriction Restriction::negate(Restriction restriction)
{
    Restriction result(std::move(restriction));
    if (result.m_content && result.m_content->alternative)
        std::visit([](auto& argument) { argument.negated = !argument.negated; }, result.m_content->alternative->kind);
    return result;
}

ValuePtr<_SRestriction> Restriction::build(const Restriction& restriction)
{
    impl::RestrictionBuilder builder;
    if (restriction.m_content && restriction.m_content->alternative)
        builder.build(*restriction.m_content->alternative);
    return ValuePtr<_SRestriction>(builder.release());
}
} // namespace mapi
