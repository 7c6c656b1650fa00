// MapiValues.h: property values, rows and tag lists as tests write them, put into MAPI memory as a provider does it.
// All blocks are those of the current TestRuntime.
#pragma once

#include "mapiabi/MapiTypes.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "agent/mapi/EntryId.h"
#include "tests/support/MapiMocks.h"

namespace support
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

/// A block with these values in this order; null for none.
[[nodiscard]] SPropValue* makeValues(const Properties& properties);
/// A block with these tags.
[[nodiscard]] SPropTagArray* makeTags(const std::vector<ULONG>& tags);
/// A row set: each row a block of its own.
[[nodiscard]] SRowSet* makeRows(const std::vector<Properties>& rows);

/// The tags of an array.
[[nodiscard]] std::vector<ULONG> tagsOf(const SPropTagArray* tags);

/// The result that TestRuntime has planned for the next call of an interface: a fault, or S_OK.
[[nodiscard]] HRESULT interfaceFault();

/// What GetPropList gives: the tags of the properties.
[[nodiscard]] HRESULT getPropList(const Properties& properties, SPropTagArray** tags);
/// What GetProps gives for the tags asked for: the properties, or an error for those that are missing.
[[nodiscard]] HRESULT getProps(const Properties& properties, const SPropTagArray* tags, ULONG* count,
                               SPropValue** values);

/// Expects any number of calls of GetPropList and GetProps, and answers them from these properties. Calls that the test
/// expects later on take precedence.
template <class Mock>
void giveProperties(const Mocked<Mock>& mock, const Properties& properties)
{
    using testing::_;
    EXPECT_CALL(*mock, GetPropList(_, _))
        .Times(testing::AnyNumber())
        .WillRepeatedly([properties](ULONG, SPropTagArray** tags) { return getPropList(properties, tags); });
    EXPECT_CALL(*mock, GetProps(_, _, _, _))
        .Times(testing::AnyNumber())
        .WillRepeatedly([properties](SPropTagArray* tags, ULONG, ULONG* count, SPropValue** values)
                        { return getProps(properties, tags, count, values); });
}

/// Expects the calls by which a table is read, any number of times, and answers them: for each row the columns that were
/// set, in their order, with an error for a value that the row lacks.
void giveRows(const Mocked<MockTable>& table, const std::vector<Properties>& rows);

/// An action for IMAPITable::QueryRows: gives these rows as they are, whatever the columns.
[[nodiscard]] inline auto givesRows(std::vector<Properties> rows, HRESULT result = S_OK)
{
    return [rows = std::move(rows), result](LONG, ULONG, SRowSet** set)
    {
        *set = makeRows(rows);
        return result;
    };
}

/// Expects any number of comparisons; identifiers are the same when their bytes are, or when `aliases` holds them as a
/// pair.
void giveComparisons(const Mocked<MockSession>& session, std::vector<std::pair<EntryId, EntryId>> aliases = {});
} // namespace support
