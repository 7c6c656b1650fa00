#include "sandbox/runtime/objects/Table.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/runtime/objects/MapiFailure.h"

namespace sandbox
{
namespace
{
// Bookmarks have 64 bits. A client that keeps 32 of them is left with none of the predefined ones either.
constexpr BOOKMARK s_firstBookmark = 0x1'0000'1000;

[[nodiscard]] RowProperties propertiesOf(const TableRow& row)
{
    return [&row](ULONG id)
    {
        return row.property(id);
    };
}
} // namespace

std::optional<Property> TableRow::property(ULONG id) const
{
    std::optional<Property> found = object->rowProperty(id);
    if (!found && id == PROP_ID(PR_DEPTH) && object->type() == MAPI_FOLDER)
        return Property{PR_DEPTH, depth};
    return found;
}

Table::Table(std::vector<TableRow> rows) : m_rows(std::move(rows)), m_lastBookmark(s_firstBookmark) {}

void Table::setFilter(std::optional<Filter> filter)
{
    m_filter.reset();
    if (filter)
        m_filter.emplace(*std::move(filter));
    startAnew();
}

void Table::setOrder(std::vector<SSortOrder> order)
{
    m_order = std::move(order);
    startAnew();
}

std::size_t Table::count()
{
    makeView();
    return m_view->size();
}

const TableRow& Table::row(std::size_t position)
{
    makeView();
    return m_rows[(*m_view)[position]];
}

std::size_t Table::positionOf(BOOKMARK bookmark)
{
    switch (bookmark)
    {
    case BOOKMARK_BEGINNING:
        return 0;
    case BOOKMARK_CURRENT:
        return m_cursor;
    case BOOKMARK_END:
        return count();
    default:
        break;
    }
    const auto place = m_bookmarks.find(bookmark);
    require(place != m_bookmarks.end(), MAPI_E_INVALID_BOOKMARK);
    return place->second;
}

BOOKMARK Table::makeBookmark()
{
    m_bookmarks[++m_lastBookmark] = m_cursor;
    return m_lastBookmark;
}

void Table::freeBookmark(BOOKMARK bookmark)
{
    if (bookmark <= BOOKMARK_END)
        return; // the predefined ones can't be freed, and asking for it is no mistake
    require(m_bookmarks.erase(bookmark) == 1, MAPI_E_INVALID_BOOKMARK);
}

std::optional<std::size_t> Table::find(const Filter& filter, std::size_t position, bool backward)
{
    const std::size_t rows = count();
    if (!backward)
    {
        for (; position < rows; ++position)
        {
            if (filter.matches(propertiesOf(row(position))))
                return position;
        }
        return std::nullopt;
    }
    for (std::size_t left = std::min(position + 1, rows); left-- > 0;)
    {
        if (filter.matches(propertiesOf(row(left))))
            return left;
    }
    return std::nullopt;
}

void Table::startAnew() noexcept
{
    m_view.reset();
    m_cursor = 0;
    m_bookmarks.clear();
}

void Table::makeView()
{
    if (m_view)
        return;
    std::vector<std::size_t> view(m_rows.size());
    std::iota(view.begin(), view.end(), std::size_t(0));
    if (m_filter)
        std::erase_if(view, [this](std::size_t index) { return !m_filter->matches(propertiesOf(m_rows[index])); });
    for (std::size_t level = m_order.size(); level-- > 0;)
    {
        // The least significant level goes first, and no level disturbs the one before it.
        const ULONG id = PROP_ID(m_order[level].ulPropTag);
        const bool descending = m_order[level].ulOrder == TABLE_SORT_DESCEND;
        std::ranges::stable_sort(view,
                                 [&](std::size_t a, std::size_t b)
                                 {
                                     const int order =
                                         compareForSorting(m_rows[a].property(id), m_rows[b].property(id));
                                     return descending ? order > 0 : order < 0;
                                 });
    }
    m_view = std::move(view);
}
} // namespace sandbox
