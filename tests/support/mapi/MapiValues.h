// MapiValues.h: property values, rows and tag lists as tests write them, put into the runtime's memory as a provider does.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gmock/gmock.h>

#include "agent/mapi/EntryId.h"
#include "mapiabi/MapiTypes.h"

namespace tests
{
/// One property of an object, or one value of a row.
class Property
{
public:
    static Property text(ULONG tag, std::wstring value) { return {tag, std::move(value)}; }
    static Property nullText(ULONG tag) { return {tag, std::nullopt}; }
    static Property number(ULONG tag, LONG value) { return {tag, value}; }
    static Property flag(ULONG tag, bool value) { return {tag, value}; }
    static Property bytes(ULONG tag, EntryId value) { return {tag, std::move(value)}; }
    /// Has its tag, and gives an error when it is read: what a table delivers for a column that the object lacks.
    static Property error(ULONG tag, SCODE code = MAPI_E_NOT_FOUND) { return {tag, Error{code}}; }

    [[nodiscard]] ULONG tag() const noexcept { return m_tag; }
    [[nodiscard]] bool isError() const noexcept { return std::holds_alternative<Error>(m_content); }
    /// Fills `value`; what hangs on it is chained to `root`.
    void writeTo(SPropValue& value, void* root) const;

private:
    struct Error
    {
        SCODE code;
    };
    using Content = std::variant<std::nullopt_t, LONG, bool, std::wstring, EntryId, Error>;
    Property(ULONG tag, Content content) : m_tag(tag), m_content(std::move(content)) {}

    ULONG m_tag;
    Content m_content;
};
using Properties = std::vector<Property>;

/// A block of the runtime with room for so many; with a root it is chained to it.
[[nodiscard]] void* makeBlock(std::size_t size, void* root = nullptr);
/// A block with these values in this order; null for none.
[[nodiscard]] SPropValue* makeValues(const Properties& properties);
/// A block with these tags.
[[nodiscard]] SPropTagArray* makeTags(const std::vector<ULONG>& tags);
/// A row set: each row a block of its own.
[[nodiscard]] SRowSet* makeRows(const std::vector<Properties>& rows);

/// The tags of an array.
[[nodiscard]] std::vector<ULONG> tagsOf(const SPropTagArray* tags);

/// What GetProps gives for the tags asked for: the properties, or an error for those that are missing.
HRESULT getProps(const Properties& properties, const SPropTagArray* tags, ULONG* count, SPropValue** values);

/// Has a mock answer GetPropList and GetProps from these properties.
template <class Mock>
void giveProperties(const Mock& mock, const Properties& properties)
{
    using testing::_;
    ON_CALL(*mock, GetPropList(_, _))
        .WillByDefault(
            [properties](ULONG, SPropTagArray** tags)
            {
                std::vector<ULONG> list;
                for (const Property& property : properties)
                    list.push_back(property.tag());
                *tags = makeTags(list);
                return S_OK;
            });
    ON_CALL(*mock, GetProps(_, _, _, _))
        .WillByDefault([properties](SPropTagArray* tags, ULONG, ULONG* count, SPropValue** values)
                       { return getProps(properties, tags, count, values); });
}

/// Has a mock of a table give these rows as they are, whatever the columns.
template <class Mock>
void giveRows(const Mock& table, const std::vector<Properties>& rows, HRESULT result = S_OK)
{
    using testing::_;
    ON_CALL(*table, GetRowCount(_, _))
        .WillByDefault(testing::DoAll(testing::SetArgPointee<1>(static_cast<ULONG>(rows.size())),
                                      testing::Return(result < 0 ? S_OK : result)));
    ON_CALL(*table, QueryRows(_, _, _))
        .WillByDefault(
            [rows, result](LONG, ULONG, SRowSet** set)
            {
                *set = makeRows(rows);
                return result;
            });
}
} // namespace tests
