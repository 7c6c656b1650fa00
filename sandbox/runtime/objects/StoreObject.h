// StoreObject.h: an opened message store.
#pragma once

#include "sandbox/mailbox/model/Store.h"
#include "sandbox/runtime/objects/PropObject.h"

namespace sandbox
{
class StoreObject final : public RefusingStore<PropObject<IMsgStore>>
{
public:
    StoreObject(std::shared_ptr<SessionState> session, std::shared_ptr<Store> store) noexcept;

    HRESULT STDMETHODCALLTYPE Advise(ULONG entryIdSize, ENTRYID* entryId, ULONG eventMask, IMAPIAdviseSink* sink,
                                     ULONG_PTR* connection) override;
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR connection) override;
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                        ULONG* objectType, IUnknown** object) override;

protected:
    [[nodiscard]] void* interfaceFor(REFIID iid) noexcept override;

private:
    const std::shared_ptr<Store> m_store;
};
} // namespace sandbox
