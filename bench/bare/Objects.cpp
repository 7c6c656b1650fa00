#include "bench/bare/Objects.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace bare
{
namespace
{
/// The tags of the named properties: their numbers, in the range of such tags.
[[nodiscard]] ULONG namedTag(LONG number)
{
    return PROP_TAG(PT_UNSPECIFIED, static_cast<ULONG>(number));
}

[[nodiscard]] SPropTagArray* tagArray(std::size_t count)
{
    auto* const array = static_cast<SPropTagArray*>(allocate(sizeof(SPropTagArray) + count * sizeof(ULONG)));
    array->cValues = static_cast<ULONG>(count);
    return array;
}
} // namespace

void* allocate(std::size_t size)
{
    return std::malloc(size);
}

HRESULT giveProperties(std::span<const SPropValue> all, const SPropTagArray& tags, ULONG* count, SPropValue** values)
{
    *count = tags.cValues;
    *values = static_cast<SPropValue*>(allocate(tags.cValues * sizeof(SPropValue)));
    HRESULT result = S_OK;
    for (ULONG index = 0; index < tags.cValues; ++index)
    {
        const ULONG tag = tags.aulPropTag[index];
        const auto found = std::ranges::find(all, tag, &SPropValue::ulPropTag);
        SPropValue& value = (*values)[index];
        if (found != all.end())
            value = *found;
        else
        {
            value.ulPropTag = CHANGE_PROP_TYPE(tag, PT_ERROR);
            value.Value.err = MAPI_E_NOT_FOUND;
            result = MAPI_W_ERRORS_RETURNED;
        }
    }
    return result;
}

HRESULT giveList(std::span<const SPropValue> all, SPropTagArray** tags)
{
    *tags = tagArray(all.size());
    std::ranges::transform(all, (*tags)->aulPropTag, &SPropValue::ulPropTag);
    return S_OK;
}

HRESULT giveNames(std::span<MAPINAMEID* const> names, SPropTagArray** tags)
{
    *tags = tagArray(names.size());
    std::ranges::transform(names, (*tags)->aulPropTag, [](const MAPINAMEID* name) { return namedTag(name->Kind.lID); });
    return S_OK;
}

HRESULT Table::QueryRows(LONG, ULONG, SRowSet** rows)
{
    // One block: the rows, their values, and the identifiers.
    const ULONG idSize = m_row.front().Value.bin.cb;
    const std::size_t valuesSize = m_row.size_bytes();
    auto* const set = static_cast<SRowSet*>(allocate(sizeof(SRowSet) + m_count * (sizeof(SRow) + valuesSize + idSize)));
    auto* values = reinterpret_cast<SPropValue*>(set->aRow + m_count);
    auto* id = reinterpret_cast<BYTE*>(values + m_count * m_row.size());
    set->cRows = m_count;
    for (ULONG index = 0; index < m_count; ++index)
    {
        std::ranges::copy(m_row, values);
        std::memcpy(id, m_row.front().Value.bin.lpb, idSize);
        std::memcpy(id + idSize - sizeof(index), &index, sizeof(index));
        values->Value.bin.lpb = id;
        set->aRow[index] = {0, static_cast<ULONG>(m_row.size()), values};
        values += m_row.size();
        id += idSize;
    }
    *rows = set;
    return S_OK;
}
} // namespace bare
