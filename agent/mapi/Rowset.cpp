#include "agent/mapi/Rowset.h"

#include <algorithm>

#include "agent/mapi/MapiRuntime.h"
#include "utilities/Failure.h"
#include "utilities/ScopeGuard.h"
#include "utilities/StopRequested.h"

namespace mapi
{
namespace
{
/// Whether a row counts values and has none.
[[nodiscard]] bool isBroken(const SRow& row)
{
    return row.cValues != 0 && row.lpProps == nullptr;
}
} // namespace

const SPropValue& Rowset::TableRow::operator[](std::size_t index) const
{
    if (index >= m_row->cValues)
        throw utilities::exception(L"rowset::table_row::operator []: index out of bounds.");
    return m_row->lpProps[index];
}

std::span<const SPropValue> Rowset::TableRow::values() const noexcept
{
    return {m_row->lpProps, m_row->cValues};
}

void Rowset::enumerate(IMAPITablePtr& table, SPropTagArray* columns, const RowFunction& rowFunction)
{
    constexpr std::wstring_view function = L"mapi::Rowset::enumerate";
    SRowSet* rows = nullptr;
    const utilities::ScopeGuard freeRows(
        [&rows]
        {
            if (rows != nullptr)
                FreeProws(rows);
        });

    // A table that MAPI does not deliver ends quietly; a consumer that fails, and a stop request, end loudly below:
    // settled behaviour 41.
    try
    {
        utilities::checkHresult(function, table->SetColumns(columns, 0));
        const ULONG count = tableRowCount(table);
        if (count == 0)
            return;
        utilities::checkHresult(function, table->QueryRows(static_cast<LONG>(count), TBL_NOADVANCE, &rows));
        if (rows != nullptr && std::any_of(rows->aRow, rows->aRow + rows->cRows, isBroken))
            utilities::checkHresult(function, MAPI_E_CALL_FAILED);
    }
    catch (const utilities::exception& caught)
    {
        utilities::reportException(caught, function);
        return;
    }

    for (ULONG index = 0; rows != nullptr && index < rows->cRows; ++index)
    {
        if (utilities::stopRequested)
            throw utilities::cancelled(function);
        rowFunction(TableRow(rows->aRow[index]));
    }
}

ULONG tableRowCount(IMAPITablePtr table)
{
    constexpr std::wstring_view function = L"mapi::tableRowCount";
    if (!table)
        return 0;
    ULONG count = 0;
    utilities::checkHresult(function, table->GetRowCount(0, &count));
    return count;
}
} // namespace mapi
