// TableObject.h: an opened table.
#pragma once

#include <memory>
#include <vector>

#include "sandbox/mailbox/model/MailboxObject.h"
#include "sandbox/runtime/objects/ComObject.h"
#include "sandbox/runtime/objects/Refusals.h"
#include "sandbox/runtime/objects/SessionState.h"

namespace sandbox
{
/// Where a table comes from: what it shows, and whose it is.
struct TableSource
{
    TableKind kind;
    std::shared_ptr<MailboxObject> owner; // null: the session
};

/// Each row is an object. The objects are those that there were when the table was made; which of them pass a filter is
/// decided when that is set, and their values are those of the moment of the question.
class TableObject final : public RefusingTable<ComObject<IMAPITable>>
{
public:
    using Rows = std::vector<std::shared_ptr<MailboxObject>>;

    TableObject(std::shared_ptr<SessionState> session, TableSource source, Rows rows);

    HRESULT STDMETHODCALLTYPE SetColumns(SPropTagArray* tags, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetRowCount(ULONG flags, ULONG* count) override;
    /// Forward from BOOKMARK_BEGINNING or BOOKMARK_CURRENT.
    HRESULT STDMETHODCALLTYPE FindRow(SRestriction* restriction, BOOKMARK origin, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE Restrict(SRestriction* restriction, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE QueryRows(LONG count, ULONG flags, SRowSet** rows) override;

protected:
    [[nodiscard]] CallTarget target() const override;
    [[nodiscard]] void* interfaceFor(REFIID iid) noexcept override;

private:
    /// Runs the body of a method with the mailbox locked, which guards the table as well.
    template <class Describe, class Work>
    [[nodiscard]] HRESULT served(const char* name, Describe&& describe, Work&& work) noexcept;

    [[nodiscard]] SPropValue* makeRow(const MailboxObject& object) const;

    const std::shared_ptr<SessionState> m_session;
    const TableSource m_source;
    const Rows m_allRows;
    Rows m_rows; // those that pass the filter
    std::size_t m_cursor = 0;
    std::vector<ULONG> m_columns;
};
} // namespace sandbox
