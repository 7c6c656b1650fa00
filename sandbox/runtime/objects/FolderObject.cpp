#include "sandbox/runtime/objects/FolderObject.h"

#include "sandbox/mailbox/model/Message.h"
#include "sandbox/mailbox/model/Store.h"
#include "sandbox/runtime/objects/Opening.h"
#include "sandbox/runtime/objects/TableObject.h"
#include "sandbox/runtime/record/Spoiling.h"

namespace sandbox
{
FolderObject::FolderObject(std::shared_ptr<SessionState> session, std::shared_ptr<Folder> folder) noexcept
    : RefusingFolder("IMAPIFolder", std::move(session), folder, &folder->store().names()), m_folder(std::move(folder))
{
}

HRESULT STDMETHODCALLTYPE FolderObject::GetContentsTable(ULONG flags, IMAPITable** table)
{
    return served("IMAPIContainer::GetContentsTable", onlyFlags(flags),
                  [&] { return giveTable({TableKind::Contents, m_folder}, m_folder->messages(), flags, table); });
}

HRESULT STDMETHODCALLTYPE FolderObject::GetHierarchyTable(ULONG flags, IMAPITable** table)
{
    return served("IMAPIContainer::GetHierarchyTable", onlyFlags(flags),
                  [&] { return giveTable({TableKind::Hierarchy, m_folder}, m_folder->folders(), flags, table); });
}

template <class Objects>
HRESULT FolderObject::giveTable(TableSource source, const Objects& objects, ULONG flags, IMAPITable** table)
{
    require(table != nullptr);
    *table = nullptr;
    requireFlags(flags, MAPI_UNICODE | MAPI_DEFERRED_ERRORS);
    *table = new TableObject(session(), std::move(source), {objects.begin(), objects.end()});
    spoilObject(table);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FolderObject::OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                                  ULONG* objectType, IUnknown** object)
{
    return servedOpening(
        "IMAPIContainer::OpenEntry", m_folder->store(), entryIdSize, entryId,
        [&] { return openEntryArguments(entryIdSize, entryId, iid, flags); },
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
