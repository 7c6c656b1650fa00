#include "sandbox/runtime/objects/TableObject.h"

#include <algorithm>
#include <cstddef>

#include "mapiabi/MapiTags.h"
#include "sandbox/runtime/objects/PropServing.h"
#include "sandbox/runtime/objects/PropertyAnswer.h"
#include "sandbox/runtime/record/Memory.h"

namespace sandbox
{
namespace
{
constexpr ULONG s_noWait = 0x1; // TBL_NOWAIT: all is done at once here anyway

/// The name that planned answers have for the table, with its dot.
[[nodiscard]] std::string_view nameOf(TableKind kind) noexcept
{
    switch (kind)
    {
    case TableKind::Stores:
        return "StoresTable.";
    case TableKind::Contents:
        return "ContentsTable.";
    default:
        return "HierarchyTable.";
    }
}

/// The columns that a table has before anyone sets others.
[[nodiscard]] std::vector<ULONG> columnsOf(TableKind kind, bool unicode)
{
    std::vector<ULONG> columns = {PR_ENTRYID, PR_INSTANCE_KEY, PR_RECORD_KEY, PR_OBJECT_TYPE, PR_DISPLAY_NAME_W};
    switch (kind)
    {
    case TableKind::Stores:
        columns.insert(columns.end(),
                       {PR_DEFAULT_STORE, PR_MDB_PROVIDER, PR_PROVIDER_DISPLAY_W, PR_RESOURCE_FLAGS, PR_RESOURCE_TYPE});
        break;
    case TableKind::Contents:
        columns.insert(columns.end(), {PR_MESSAGE_CLASS_W, PR_MESSAGE_FLAGS});
        break;
    case TableKind::Hierarchy:
        columns.insert(columns.end(), {PR_DEPTH, PR_FOLDER_TYPE, PR_CONTAINER_CLASS_W, PR_SUBFOLDERS});
        break;
    }
    for (ULONG& tag : columns)
        tag = tagInWidth(tag, unicode);
    return columns;
}

/// A row set that frees itself, with the rows made so far, unless it is given away.
class RowSetOwner
{
public:
    explicit RowSetOwner(std::size_t capacity)
    {
        const std::size_t size = offsetof(SRowSet, aRow) + capacity * sizeof(SRow);
        m_rows = static_cast<SRowSet*>(memory::allocate(std::max(size, sizeof(SRowSet))));
        m_rows->cRows = 0;
    }
    RowSetOwner(const RowSetOwner&) = delete;
    RowSetOwner& operator=(const RowSetOwner&) = delete;
    ~RowSetOwner()
    {
        if (m_rows == nullptr)
            return;
        for (ULONG index = 0; index < m_rows->cRows; ++index)
            (void)memory::free(m_rows->aRow[index].lpProps);
        (void)memory::free(m_rows);
    }

    void add(SPropValue* values, std::size_t count) noexcept
    {
        m_rows->aRow[m_rows->cRows++] = {0, static_cast<ULONG>(count), values};
    }
    SRowSet* release() noexcept { return std::exchange(m_rows, nullptr); }

private:
    SRowSet* m_rows;
};
} // namespace

TableObject::TableObject(std::shared_ptr<SessionState> session, TableSource source, std::vector<TableRow> rows,
                         ULONG flags)
    : RefusingTable("IMAPITable"),
      m_session(std::move(session)),
      m_source(std::move(source)),
      m_unicode((flags & MAPI_UNICODE) != 0),
      m_allColumns(columnsOf(m_source.kind, m_unicode)),
      m_columns(m_allColumns),
      m_table(std::move(rows))
{
}

template <class Describe, class Work>
HRESULT TableObject::served(const char* name, Describe&& describe, Work&& work) noexcept
{
    const auto findPlanned = [&]
    {
        const Results& results = m_source.owner ? m_source.owner->results() : m_session->mailbox().results();
        return results.find(nameOf(m_source.kind), bareName(name));
    };
    return serveCall(name, describe, [&] { return m_session->locked(findPlanned, work); });
}

CallTarget TableObject::target() const
{
    if (m_source.owner == nullptr)
        return {{}, {}, m_source.kind};
    const std::lock_guard lock(m_session->mailbox().mutex());
    return {m_source.owner->entryId(), {}, m_source.kind};
}

HRESULT STDMETHODCALLTYPE TableObject::SetColumns(SPropTagArray* tags, ULONG flags)
{
    return served(
        "IMAPITable::SetColumns",
        [&] { return Arguments{{"lpPropTagArray", tagsText(tags)}, {"ulFlags", hexText(flags)}}; },
        [&]
        {
            require(tags != nullptr && tags->cValues != 0);
            requireFlags(flags, s_noWait | TBL_BATCH);
            m_columns.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE TableObject::QueryColumns(ULONG flags, SPropTagArray** tags)
{
    return served("IMAPITable::QueryColumns", onlyFlags(flags),
                  [&]
                  {
                      require(tags != nullptr);
                      *tags = nullptr;
                      requireFlags(flags, TBL_ALL_COLUMNS);
                      *tags = toTagArray((flags & TBL_ALL_COLUMNS) != 0 ? m_allColumns : m_columns);
                      return S_OK;
                  });
}

HRESULT STDMETHODCALLTYPE TableObject::GetRowCount(ULONG flags, ULONG* count)
{
    return served("IMAPITable::GetRowCount", onlyFlags(flags),
                  [&]
                  {
                      require(count != nullptr);
                      requireFlags(flags, s_noWait);
                      *count = static_cast<ULONG>(m_table.count());
                      return S_OK;
                  });
}

HRESULT STDMETHODCALLTYPE TableObject::SeekRow(BOOKMARK origin, LONG rows, LONG* sought)
{
    return served(
        "IMAPITable::SeekRow", [&] { return Arguments{{"bkOrigin", hexText(origin)}, {"lRowCount", hexText(rows)}}; },
        [&]
        {
            const auto from = static_cast<std::int64_t>(m_table.positionOf(origin));
            const auto last = static_cast<std::int64_t>(m_table.count());
            const std::int64_t to = std::clamp<std::int64_t>(from + rows, 0, last);
            m_table.setCursor(static_cast<std::size_t>(to));
            if (sought != nullptr)
                *sought = static_cast<LONG>(to - from);
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE TableObject::QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator)
{
    return served("IMAPITable::QueryPosition", noArguments,
                  [&]
                  {
                      require(row != nullptr && numerator != nullptr && denominator != nullptr);
                      *row = static_cast<ULONG>(m_table.cursor());
                      *numerator = *row;
                      *denominator = std::max<ULONG>(1, static_cast<ULONG>(m_table.count()));
                      return S_OK;
                  });
}

HRESULT STDMETHODCALLTYPE TableObject::FindRow(SRestriction* restriction, BOOKMARK origin, ULONG flags)
{
    return served(
        "IMAPITable::FindRow",
        [&]
        {
            return Arguments{{"lpRestriction", restrictionText(restriction)},
                             {"bkOrigin", hexText(origin)},
                             {"ulFlags", hexText(flags)}};
        },
        [&]
        {
            require(restriction != nullptr);
            requireFlags(flags, DIR_BACKWARD);
            const Filter filter(*restriction);
            const std::optional<std::size_t> found =
                m_table.find(filter, m_table.positionOf(origin), (flags & DIR_BACKWARD) != 0);
            require(found.has_value(), MAPI_E_NOT_FOUND);
            m_table.setCursor(*found);
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE TableObject::Restrict(SRestriction* restriction, ULONG flags)
{
    return served(
        "IMAPITable::Restrict",
        [&] { return Arguments{{"lpRestriction", restrictionText(restriction)}, {"ulFlags", hexText(flags)}}; },
        [&]
        {
            requireFlags(flags, s_noWait | TBL_BATCH);
            std::optional<Filter> filter;
            if (restriction != nullptr)
                filter.emplace(*restriction);
            m_table.setFilter(std::move(filter));
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE TableObject::CreateBookmark(BOOKMARK* position)
{
    return served("IMAPITable::CreateBookmark", noArguments,
                  [&]
                  {
                      require(position != nullptr);
                      *position = m_table.makeBookmark();
                      return S_OK;
                  });
}

HRESULT STDMETHODCALLTYPE TableObject::FreeBookmark(BOOKMARK position)
{
    return served(
        "IMAPITable::FreeBookmark", [&] { return Arguments{{"bkPosition", hexText(position)}}; },
        [&]
        {
            m_table.freeBookmark(position);
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE TableObject::SortTable(SSortOrderSet* order, ULONG flags)
{
    return served(
        "IMAPITable::SortTable",
        [&] { return Arguments{{"lpSortCriteria", sortOrderText(order)}, {"ulFlags", hexText(flags)}}; },
        [&]
        {
            require(order != nullptr);
            requireFlags(flags, s_noWait | TBL_BATCH);
            require(order->cCategories == 0 && order->cExpanded == 0, MAPI_E_TOO_COMPLEX);
            std::vector<SSortOrder> levels(order->aSort, order->aSort + order->cSorts);
            for (const SSortOrder& level : levels)
                require(level.ulOrder <= TABLE_SORT_DESCEND && (PROP_TYPE(level.ulPropTag) & MV_FLAG) == 0,
                        MAPI_E_TOO_COMPLEX);
            m_table.setOrder(std::move(levels));
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE TableObject::QueryRows(LONG count, ULONG flags, SRowSet** rows)
{
    return served(
        "IMAPITable::QueryRows", [&] { return Arguments{{"lRowCount", hexText(count)}, {"ulFlags", hexText(flags)}}; },
        [&]
        {
            require(rows != nullptr && count != 0);
            *rows = nullptr;
            requireFlags(flags, TBL_NOADVANCE);

            const std::size_t total = m_table.count();
            const std::size_t cursor = m_table.cursor();
            std::size_t wanted = static_cast<std::size_t>(count < 0 ? -static_cast<std::int64_t>(count) : count);
            if (const std::uint32_t limit = m_session->mailbox().rowsPerQuery(); limit != 0)
                wanted = std::min<std::size_t>(wanted, limit);
            // A negative count steps back first, and delivers forward all the same.
            const std::size_t first = count < 0 ? cursor - std::min(wanted, cursor) : cursor;
            const std::size_t end = count < 0 ? cursor : first + std::min(wanted, total - first);

            RowSetOwner owner(end - first);
            for (std::size_t position = first; position < end; ++position)
                owner.add(makeRow(m_table.row(position)), m_columns.size());
            if ((flags & TBL_NOADVANCE) == 0)
                m_table.setCursor(count < 0 ? first : end);
            *rows = owner.release();
            return S_OK;
        });
}

SPropValue* TableObject::makeRow(const TableRow& row) const
{
    std::vector<Property> answers;
    answers.reserve(m_columns.size());
    for (const ULONG tag : m_columns)
        answers.push_back(answerFor(row.property(PROP_ID(tag)), tag, m_unicode));
    return toMapiMemory(answers);
}

void* TableObject::interfaceFor(REFIID iid) noexcept
{
    return isOneOf(iid, IID_IUnknown, IID_IMAPITable) ? static_cast<IMAPITable*>(this) : nullptr;
}
} // namespace sandbox
