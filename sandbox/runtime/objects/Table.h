// Table.h: the rows behind an IMAPITable: which there are, in which order, and where the cursor stands.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "sandbox/mailbox/model/MailboxObject.h"
#include "sandbox/runtime/objects/Filter.h"

namespace sandbox
{
/// One row: an object, and how deep below the table's own folder it lies.
struct TableRow
{
    std::shared_ptr<MailboxObject> object;
    std::int32_t depth = 0;

    [[nodiscard]] std::optional<Property> property(ULONG id) const;
};

/// A table's view of its rows. The rows are those that there were when the table was made; their values are those of the
/// moment of the question. Positions count from 0 to the number of rows in the view, which is the end.
class Table
{
public:
    explicit Table(std::vector<TableRow> rows);

    /// Each replaces what was set before, puts the cursor to the start and discards all bookmarks.
    void setFilter(std::optional<Filter> filter);
    void setOrder(std::vector<SSortOrder> order);

    [[nodiscard]] std::size_t count();
    [[nodiscard]] const TableRow& row(std::size_t position);

    [[nodiscard]] std::size_t cursor() const noexcept { return m_cursor; }
    void setCursor(std::size_t position) noexcept { m_cursor = position; }

    /// The position of a bookmark, predefined or made; throws MapiFailure MAPI_E_INVALID_BOOKMARK for any other.
    [[nodiscard]] std::size_t positionOf(BOOKMARK bookmark);
    /// A bookmark for the cursor's position.
    [[nodiscard]] BOOKMARK makeBookmark();
    void freeBookmark(BOOKMARK bookmark);

    /// The nearest row that matches, from `position` on or, backward, from the row there to the first one.
    [[nodiscard]] std::optional<std::size_t> find(const Filter& filter, std::size_t position, bool backward);

private:
    void startAnew() noexcept;
    void makeView();

    const std::vector<TableRow> m_rows;
    std::optional<Filter> m_filter;
    std::vector<SSortOrder> m_order;
    std::optional<std::vector<std::size_t>> m_view; // indexes into m_rows; none: not worked out yet
    std::size_t m_cursor = 0;
    std::map<BOOKMARK, std::size_t> m_bookmarks;
    BOOKMARK m_lastBookmark;
};
} // namespace sandbox
