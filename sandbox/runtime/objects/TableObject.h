// TableObject.h: an opened table.
#pragma once

#include <memory>
#include <vector>

#include "sandbox/mailbox/model/MailboxObject.h"
#include "sandbox/runtime/objects/ComObject.h"
#include "sandbox/runtime/objects/Refusals.h"
#include "sandbox/runtime/objects/SessionState.h"
#include "sandbox/runtime/objects/Table.h"

namespace sandbox
{
/// Where a table comes from: what it shows, and whose planned answers hold for it.
struct TableSource
{
    TableKind kind;
    std::shared_ptr<MailboxObject> owner; // null: the session
};

class TableObject final : public RefusingTable<ComObject<IMAPITable>>
{
public:
    /// @param flags  those of the call that gives the table out; MAPI_UNICODE decides the width of its own columns.
    TableObject(std::shared_ptr<SessionState> session, TableSource source, std::vector<TableRow> rows, ULONG flags);

    HRESULT STDMETHODCALLTYPE SetColumns(SPropTagArray* tags, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE QueryColumns(ULONG flags, SPropTagArray** tags) override;
    HRESULT STDMETHODCALLTYPE GetRowCount(ULONG flags, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE SeekRow(BOOKMARK origin, LONG rows, LONG* sought) override;
    HRESULT STDMETHODCALLTYPE QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) override;
    HRESULT STDMETHODCALLTYPE FindRow(SRestriction* restriction, BOOKMARK origin, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE Restrict(SRestriction* restriction, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE CreateBookmark(BOOKMARK* position) override;
    HRESULT STDMETHODCALLTYPE FreeBookmark(BOOKMARK position) override;
    HRESULT STDMETHODCALLTYPE SortTable(SSortOrderSet* order, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE QueryRows(LONG count, ULONG flags, SRowSet** rows) override;

protected:
    [[nodiscard]] CallTarget target() const override;
    [[nodiscard]] void* interfaceFor(REFIID iid) noexcept override;

private:
    /// Runs the body of a method with the mailbox locked, which guards the table as well.
    template <class Describe, class Work>
    [[nodiscard]] HRESULT served(const char* name, Describe&& describe, Work&& work) noexcept;

    [[nodiscard]] SPropValue* makeRow(const TableRow& row) const;

    const std::shared_ptr<SessionState> m_session;
    const TableSource m_source;
    const bool m_unicode;
    const std::vector<ULONG> m_allColumns;
    std::vector<ULONG> m_columns;
    Table m_table;
};
} // namespace sandbox
