// Property.h: one property of a mailbox object, and a set of such.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "mapiabi/MapiTypes.h"
#include "sandbox/mailbox/model/Bytes.h"

namespace sandbox
{
/// Stands in the place of a value that can't be read.
struct PropertyError
{
    HRESULT code = S_OK;
};

/// A value. Which alternative holds the type in the tag says: nothing for PT_OBJECT, 32 bits for PT_I2 and
/// PT_LONG, 64 bits for PT_I8 and PT_SYSTIME (100-nanosecond steps since 1601), UTF-16 for PT_UNICODE, and the system's
/// code page for PT_STRING8.
using Value =
    std::variant<std::monostate, PropertyError, bool, std::int32_t, std::int64_t, double, std::wstring, std::string,
                 Bytes, GUID, std::vector<std::int32_t>, std::vector<std::wstring>, std::vector<Bytes>>;

struct Property
{
    ULONG tag = 0;
    Value value;
    /// The tag under which requests are answered, whatever they asked for; 0 for the ordinary way.
    ULONG answersAs = 0;
};

/// What is said about single properties of an object: a value, or that it has none. At most one word for each property
/// identifier. Kept sorted, since there are as many of these sets as messages.
class PropertySet
{
public:
    struct Entry
    {
        ULONG id = 0;
        std::optional<Property> property; // none: the object does not have it
    };

    /// Null if nothing is said about it.
    [[nodiscard]] const Entry* find(ULONG id) const noexcept;

    /// Both replace what was said before.
    void set(Property property);
    void setAbsent(ULONG id);
    /// Says all that `other` says, in place of what was said before about the same properties.
    void merge(const PropertySet& other);
    /// Nothing is said about the property any more.
    void forget(ULONG id);

    [[nodiscard]] std::span<const Entry> entries() const noexcept { return m_entries; }

private:
    void put(Entry entry);

    std::vector<Entry> m_entries;
};
} // namespace sandbox
