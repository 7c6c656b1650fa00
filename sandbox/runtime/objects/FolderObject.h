// FolderObject.h: an opened folder.
#pragma once

#include "sandbox/mailbox/model/Folder.h"
#include "sandbox/runtime/objects/PropObject.h"
#include "sandbox/runtime/objects/TableObject.h"

namespace sandbox
{
class FolderObject final : public RefusingFolder<PropObject<IMAPIFolder>>
{
public:
    FolderObject(std::shared_ptr<SessionState> session, std::shared_ptr<Folder> folder) noexcept;

    HRESULT STDMETHODCALLTYPE GetContentsTable(ULONG flags, IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE GetHierarchyTable(ULONG flags, IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                        ULONG* objectType, IUnknown** object) override;

protected:
    [[nodiscard]] void* interfaceFor(REFIID iid) noexcept override;

private:
    template <class Objects>
    [[nodiscard]] HRESULT giveTable(TableSource source, const Objects& objects, ULONG flags, IMAPITable** table);

    const std::shared_ptr<Folder> m_folder;
};
} // namespace sandbox
