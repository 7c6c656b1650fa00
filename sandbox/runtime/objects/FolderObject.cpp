#include "sandbox/runtime/objects/FolderObject.h"

#include "sandbox/mailbox/model/Message.h"
#include "sandbox/mailbox/model/Store.h"
#include "sandbox/runtime/objects/Opening.h"
#include "sandbox/runtime/objects/TableObject.h"

namespace sandbox
{
namespace
{
constexpr ULONG s_showSoftDeletes = 0x2; // SHOW_SOFT_DELETES

/// The folders below `folder`, and with `deep` all below those, each before its own.
void addFolderRows(const Folder& folder, std::int32_t depth, bool deep, std::vector<TableRow>& rows)
{
    for (const std::shared_ptr<Folder>& below : folder.folders())
    {
        rows.push_back({below, depth});
        if (deep)
            addFolderRows(*below, depth + 1, deep, rows);
    }
}
} // namespace

FolderObject::FolderObject(std::shared_ptr<SessionState> session, std::shared_ptr<Folder> folder) noexcept
    : RefusingFolder("IMAPIFolder", std::move(session), folder, &folder->store().names()), m_folder(std::move(folder))
{
}

HRESULT STDMETHODCALLTYPE FolderObject::GetContentsTable(ULONG flags, IMAPITable** table)
{
    return served("IMAPIContainer::GetContentsTable", onlyFlags(flags),
                  [&]
                  {
                      require(table != nullptr);
                      *table = nullptr;
                      requireFlags(flags, MAPI_UNICODE | MAPI_ASSOCIATED | MAPI_DEFERRED_ERRORS | s_showSoftDeletes);
                      std::vector<TableRow> rows;
                      const bool ordinary = (flags & (MAPI_ASSOCIATED | s_showSoftDeletes)) == 0; // there are no others
                      if (ordinary)
                      {
                          rows.reserve(m_folder->messages().size());
                          for (const std::shared_ptr<Message>& message : m_folder->messages())
                              rows.push_back({message, 0});
                      }
                      *table = new TableObject(session(), {TableKind::Contents, m_folder}, std::move(rows), flags);
                      return S_OK;
                  });
}

HRESULT STDMETHODCALLTYPE FolderObject::GetHierarchyTable(ULONG flags, IMAPITable** table)
{
    return served("IMAPIContainer::GetHierarchyTable", onlyFlags(flags),
                  [&]
                  {
                      require(table != nullptr);
                      *table = nullptr;
                      requireFlags(flags, MAPI_UNICODE | CONVENIENT_DEPTH | MAPI_DEFERRED_ERRORS | s_showSoftDeletes);
                      std::vector<TableRow> rows;
                      if ((flags & s_showSoftDeletes) == 0)
                          addFolderRows(*m_folder, 0, (flags & CONVENIENT_DEPTH) != 0, rows);
                      *table = new TableObject(session(), {TableKind::Hierarchy, m_folder}, std::move(rows), flags);
                      return S_OK;
                  });
}

HRESULT STDMETHODCALLTYPE FolderObject::OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                                  ULONG* objectType, IUnknown** object)
{
    return servedOpening(
        "IMAPIContainer::OpenEntry", m_folder->store(), entryIdSize, entryId,
        [&]
        {
            return Arguments{{"lpEntryID", entryIdText(entryIdSize, entryId)},
                             {"lpInterface", interfaceText(iid)},
                             {"ulFlags", hexText(flags)}};
        },
        [&]
        {
            return openEntryOfStore(session(), m_folder->store(), entryIdSize, entryId, iid, flags, objectType, object);
        });
}

void* FolderObject::interfaceFor(REFIID iid) noexcept
{
    const bool known = isOneOf(iid, IID_IUnknown, IID_IMAPIProp, IID_IMAPIContainer, IID_IMAPIFolder);
    return known ? static_cast<IMAPIFolder*>(this) : nullptr;
}
} // namespace sandbox
