#include "agent/mapi/Rowset.h"

#include "agent/mapi/MapiRuntime.h"
#include "utilities/Failure.h"
#include "utilities/ScopeGuard.h"
#include "utilities/StopRequested.h"

namespace mapi
{
namespace
{
constexpr std::wstring_view enumerateName = L"mapi::Rowset::enumerate";
}

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
    SRowSet* rows = nullptr;
    const utilities::ScopeGuard freeRows(
        [&rows]
        {
            if (rows != nullptr)
                FreeProws(rows);
        });

    // A table that MAPI does not deliver ends quietly; a consumer that fails, and a stop request, end loudly below.
    try
    {
        utilities::checkHresult(enumerateName, table->SetColumns(columns, 0));
        const ULONG count = tableRowCount(table);
        if (count == 0)
            return;
        utilities::checkHresult(enumerateName, table->QueryRows(static_cast<LONG>(count), TBL_NOADVANCE, &rows));
    }
    catch (const utilities::exception& caught)
    {
        utilities::reportException(caught, enumerateName);
        return;
    }

    for (ULONG index = 0; rows != nullptr && index < rows->cRows; ++index)
    {
        if (utilities::stopRequested)
            throw utilities::cancelled(enumerateName);
        rowFunction(TableRow(rows->aRow[index]));
    }
}

ULONG tableRowCount(IMAPITablePtr table)
{
    if (!table)
        return 0;
    ULONG count = 0;
    utilities::checkHresult(L"mapi::tableRowCount", table->GetRowCount(0, &count));
    return count;
}
} // namespace mapi
