#include "sandbox/runtime/objects/TableObject.h"

#include <algorithm>
#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/runtime/objects/Filter.h"
#include "sandbox/runtime/objects/PropObject.h"
#include "sandbox/runtime/record/PropertyMemory.h"
#include "sandbox/runtime/record/Spoiling.h"

namespace sandbox
{
namespace
{
} // namespace

TableObject::TableObject(std::shared_ptr<SessionState> session, TableSource source, Rows rows)
    : RefusingTable("IMAPITable"),
      m_session(std::move(session)),
      m_source(std::move(source)),
      m_allRows(std::move(rows)),
      m_rows(m_allRows),
      m_columns{PR_ENTRYID, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE}
{
}

template <class Describe, class Work>
HRESULT TableObject::served(const char* name, Describe&& describe, Work&& work) noexcept
{
    return serveCall(name, describe, [&] { return m_session->locked(work); });
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
            requireFlags(flags, TBL_BATCH);
            m_columns.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
            return S_OK;
        });
}

HRESULT STDMETHODCALLTYPE TableObject::GetRowCount(ULONG flags, ULONG* count)
{
    return served("IMAPITable::GetRowCount", onlyFlags(flags),
                  [&]
                  {
                      require(count != nullptr);
                      requireFlags(flags, 0);
                      *count = static_cast<ULONG>(m_rows.size());
                      spoilNumber(*count);
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
            requireFlags(flags, 0);
            require(origin == BOOKMARK_BEGINNING || origin == BOOKMARK_CURRENT, MAPI_E_INVALID_BOOKMARK);
            const Filter filter = makeFilter(*restriction);
            const std::size_t first = origin == BOOKMARK_CURRENT ? m_cursor : 0;
            const auto found = std::find_if(m_rows.begin() + static_cast<std::ptrdiff_t>(first), m_rows.end(),
                                            [&](const auto& row) { return filter(*row); });
            require(found != m_rows.end(), MAPI_E_NOT_FOUND);
            m_cursor = static_cast<std::size_t>(found - m_rows.begin());
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
            requireFlags(flags, TBL_BATCH);
            Rows rows = m_allRows;
            if (restriction != nullptr)
                std::erase_if(rows, [filter = makeFilter(*restriction)](const auto& row) { return !filter(*row); });
            m_rows = std::move(rows);
            m_cursor = 0;
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
            require(count > 0, MAPI_E_NO_SUPPORT);

            std::size_t wanted = std::min(static_cast<std::size_t>(count), m_rows.size() - m_cursor);
            if (const std::uint32_t limit = m_session->mailbox().rowsPerQuery(); limit != 0)
                wanted = std::min<std::size_t>(wanted, limit);
            RowSet made = makeRowSet(wanted);
            for (std::size_t index = m_cursor; index < m_cursor + wanted; ++index)
            {
                SPropValue* const values = makeRow(*m_rows[index]);
                made->aRow[made->cRows++] = {0, static_cast<ULONG>(m_columns.size()), values};
            }
            if ((flags & TBL_NOADVANCE) == 0)
                m_cursor += wanted;
            *rows = made.release();
            spoilRows(rows);
            return S_OK;
        });
}

SPropValue* TableObject::makeRow(const MailboxObject& object) const
{
    std::vector<Property> answers;
    answers.reserve(m_columns.size());
    for (const ULONG tag : m_columns)
        answers.push_back(answerFor(object.rowProperty(PROP_ID(tag)), tag, true));
    return toMapiMemory(answers);
}

void* TableObject::interfaceFor(REFIID iid) noexcept
{
    return isOneOf(iid, IID_IUnknown, IID_IMAPITable) ? static_cast<IMAPITable*>(this) : nullptr;
}
} // namespace sandbox
