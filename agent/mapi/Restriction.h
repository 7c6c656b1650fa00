// Restriction.h: filters of MAPI tables, composed of ordinary values and built into one MAPI block when they are used.
#pragma once

#include <memory>
#include <vector>

#include "agent/mapi/PropValue.h"
#include "agent/mapi/ValuePtr.h"

namespace mapi
{
/// A filter, or none. A value type: copying copies all that it holds. Belongs to one thread.
class Restriction
{
public:
    /// No restriction.
    Restriction();
    Restriction(const Restriction& other);
    Restriction(Restriction&& other) noexcept;
    Restriction& operator=(const Restriction& other);
    Restriction& operator=(Restriction&& other) noexcept;
    ~Restriction();

    /// The object has the property.
    [[nodiscard]] static Restriction exists(ULONG tag);

    /// The object's property equals the value (RELOP_EQ), which holds the tag as well. Keeps a copy of the value;
    /// throws for null and for a type that copyPropValue does not copy.
    [[nodiscard]] static Restriction equals(PropValue value);

    /// At least one of them holds; those that hold no restriction are left out.
    [[nodiscard]] static Restriction anyOf(std::vector<Restriction> restrictions);

    /// The opposite; no restriction stays none.
    [[nodiscard]] static Restriction negate(Restriction restriction);

    /// The tree as MAPI takes it, all of it chained to one block and copied, so that it shares nothing with the handle.
    /// Null for no restriction.
    [[nodiscard]] static ValuePtr<_SRestriction> build(const Restriction& restriction);

private:
    struct Content;
    explicit Restriction(std::unique_ptr<Content> content);

    std::unique_ptr<Content> m_content; // null only when moved from, which counts as no restriction
};
} // namespace mapi
