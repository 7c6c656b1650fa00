// Rowset.h: reads a whole MAPI table.
#pragma once

#include <cstddef>
#include <functional>
#include <span>

#include "agent/mapi/MapiPointers.h"

namespace mapi
{
/// The one way in which the agent reads rows. Used by the worker.
class Rowset
{
public:
    /// A read-only view of one row; valid during the row function's call only.
    class TableRow
    {
    public:
        /// Borrows the row.
        explicit TableRow(const SRow& row) noexcept : m_row(&row) {}

        /// The value at the index, in the order of the columns. Throws when the row has none there.
        [[nodiscard]] const SPropValue& operator[](std::size_t index) const;

        /// All values of the row, in the order of the columns.
        [[nodiscard]] std::span<const SPropValue> values() const noexcept;

    private:
        const SRow* m_row;
    };

    using RowFunction = std::function<void(const TableRow&)>;

    /// Sets the columns, reads all rows in one batch (settled behaviour 40) and calls the function for each, in order.
    /// A table that can't be read, or gives a row that counts values and has none, is logged and looks like an empty
    /// one. What the row function throws passes, and so does the cancellation that is thrown before a row when
    /// `stopRequested` is set. The rows are freed on every way out.
    static void enumerate(IMAPITablePtr& table, SPropTagArray* columns, const RowFunction& rowFunction);
};

/// The number of rows; 0 for a null table. Throws when the call fails.
[[nodiscard]] ULONG tableRowCount(IMAPITablePtr table);
} // namespace mapi
