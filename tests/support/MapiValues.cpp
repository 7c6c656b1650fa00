#include "tests/support/MapiValues.h"

#include <algorithm>
#include <memory>

#include "tests/support/TestRuntime.h"

namespace support
{
namespace
{
template <class... Functions>
struct Overloaded : Functions...
{
    using Functions::operator()...;
};
template <class... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

const Property* find(const Properties& properties, ULONG tag)
{
    const auto found = std::ranges::find(properties, tag, &Property::tag);
    return found != properties.end() ? std::to_address(found) : nullptr;
}

/// The properties that the tags ask for, in their order, with an error for those that are missing.
Properties select(const Properties& properties, const std::vector<ULONG>& tags)
{
    Properties selected;
    for (const ULONG tag : tags)
    {
        const Property* const found = find(properties, tag);
        selected.push_back(found != nullptr ? *found : Property::error(tag));
    }
    return selected;
}
} // namespace

void Property::writeTo(SPropValue& value, void* root) const
{
    auto& runtime = TestRuntime::current();
    value = {};
    value.ulPropTag = m_tag;
    std::visit(
        Overloaded{
            [&value](std::nullopt_t) { value.Value.lpszW = nullptr; },
            [&value](LONG number) { value.Value.l = number; },
            [&value](bool flag) { value.Value.b = flag ? 1 : 0; },
            [&](const std::wstring& text)
            {
                value.Value.lpszW = runtime.allocate<wchar_t>(static_cast<ULONG>(text.size() + 1), root);
                std::copy_n(text.c_str(), text.size() + 1, value.Value.lpszW);
            },
            [&](const EntryId& bytes)
            {
                value.Value.bin.cb = static_cast<ULONG>(bytes.size());
                value.Value.bin.lpb = runtime.allocate<BYTE>(static_cast<ULONG>(bytes.size()), root);
                std::ranges::copy(bytes, value.Value.bin.lpb);
            },
            [&value](const Error& error)
            {
                value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, PT_ERROR);
                value.Value.err = error.code;
            },
        },
        m_content);
}

SPropValue* makeValues(const Properties& properties)
{
    if (properties.empty())
        return nullptr;
    const auto values = TestRuntime::current().allocate<SPropValue>(static_cast<ULONG>(properties.size()));
    for (std::size_t index = 0; index < properties.size(); ++index)
        properties[index].writeTo(values[index], values);
    return values;
}

SPropTagArray* makeTags(const std::vector<ULONG>& tags)
{
    const auto count = static_cast<ULONG>(tags.size());
    const auto block = TestRuntime::current().allocate(static_cast<ULONG>(sizeof(ULONG) * (1 + count)));
    const auto array = static_cast<SPropTagArray*>(block);
    array->cValues = count;
    std::ranges::copy(tags, array->aulPropTag);
    return array;
}

SRowSet* makeRows(const std::vector<Properties>& rows)
{
    const auto count = static_cast<ULONG>(rows.size());
    const auto block =
        TestRuntime::current().allocate(static_cast<ULONG>(offsetof(SRowSet, aRow) + count * sizeof(SRow)));
    const auto set = static_cast<SRowSet*>(block);
    set->cRows = count;
    for (ULONG index = 0; index < count; ++index)
        set->aRow[index] = {0, static_cast<ULONG>(rows[index].size()), makeValues(rows[index])};
    return set;
}

std::vector<ULONG> tagsOf(const SPropTagArray* tags)
{
    if (tags == nullptr)
        return {};
    return {tags->aulPropTag, tags->aulPropTag + tags->cValues};
}

HRESULT interfaceFault()
{
    return TestRuntime::current().plannedResult(TestRuntime::Call::Interface);
}

HRESULT getPropList(const Properties& properties, SPropTagArray** tags)
{
    if (const HRESULT fault = interfaceFault(); fault < 0)
        return fault;
    std::vector<ULONG> list;
    for (const Property& property : properties)
        list.push_back(property.tag());
    *tags = makeTags(list);
    return S_OK;
}

HRESULT getProps(const Properties& properties, const SPropTagArray* tags, ULONG* count, SPropValue** values)
{
    if (const HRESULT fault = interfaceFault(); fault < 0)
        return fault;
    if (tags == nullptr || tags->cValues == 0)
        return MAPI_E_INVALID_PARAMETER;
    const auto asked = tagsOf(tags);
    *values = makeValues(select(properties, asked));
    *count = tags->cValues;
    const bool complete =
        std::ranges::all_of(asked, [&properties](ULONG tag) { return find(properties, tag) != nullptr; });
    return complete ? S_OK : MAPI_W_ERRORS_RETURNED;
}

void giveRows(const Mocked<MockTable>& table, const std::vector<Properties>& rows)
{
    using testing::_;
    using testing::AnyNumber;
    const auto columns = std::make_shared<std::vector<ULONG>>();
    EXPECT_CALL(*table, SetColumns(_, _))
        .Times(AnyNumber())
        .WillRepeatedly(
            [columns](SPropTagArray* tags, ULONG)
            {
                if (const HRESULT fault = interfaceFault(); fault < 0)
                    return fault;
                *columns = tagsOf(tags);
                return S_OK;
            });
    EXPECT_CALL(*table, GetRowCount(_, _))
        .Times(AnyNumber())
        .WillRepeatedly(
            [size = rows.size()](ULONG, ULONG* count)
            {
                if (const HRESULT fault = interfaceFault(); fault < 0)
                    return fault;
                *count = static_cast<ULONG>(size);
                return S_OK;
            });
    EXPECT_CALL(*table, QueryRows(_, _, _))
        .Times(AnyNumber())
        .WillRepeatedly(
            [columns, rows](LONG count, ULONG, SRowSet** set)
            {
                if (const HRESULT fault = interfaceFault(); fault < 0)
                    return fault;
                std::vector<Properties> selected;
                for (std::size_t index = 0; index < rows.size() && static_cast<LONG>(index) < count; ++index)
                    selected.push_back(select(rows[index], *columns));
                *set = makeRows(selected);
                return S_OK;
            });
}

void giveComparisons(const Mocked<MockSession>& session, std::vector<std::pair<EntryId, EntryId>> aliases)
{
    using testing::_;
    EXPECT_CALL(*session, CompareEntryIDs(_, _, _, _, _, _))
        .Times(testing::AnyNumber())
        .WillRepeatedly(
            [aliases = std::move(aliases)](ULONG size1, ENTRYID* bytes1, ULONG size2, ENTRYID* bytes2, ULONG,
                                           ULONG* result)
            {
                if (const HRESULT fault = interfaceFault(); fault < 0)
                    return fault;
                const EntryId first = mapi::makeEntryId(size1, bytes1);
                const EntryId second = mapi::makeEntryId(size2, bytes2);
                const auto isPair = [&](const auto& pair)
                {
                    return (pair.first == first && pair.second == second) ||
                           (pair.first == second && pair.second == first);
                };
                *result = first == second || std::ranges::any_of(aliases, isPair) ? 1 : 0;
                return S_OK;
            });
}
} // namespace support
