// SessionObject.h: a session, as MAPILogonEx gives it out, with its fast shutdown.
#pragma once

#include <memory>

#include "sandbox/runtime/objects/ComObject.h"
#include "sandbox/runtime/objects/Refusals.h"
#include "sandbox/runtime/objects/SessionState.h"

namespace sandbox
{
class SessionObject final : public RefusingSession<ComObject<IMAPISession>>
{
public:
    explicit SessionObject(std::shared_ptr<Mailbox> mailbox);

    HRESULT STDMETHODCALLTYPE GetMsgStoresTable(ULONG flags, IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE OpenMsgStore(ULONG_PTR window, ULONG entryIdSize, ENTRYID* entryId, const IID* iid,
                                           ULONG flags, IMsgStore** store) override;
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                        ULONG* objectType, IUnknown** object) override;
    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG size1, ENTRYID* entryId1, ULONG size2, ENTRYID* entryId2,
                                              ULONG flags, ULONG* result) override;
    HRESULT STDMETHODCALLTYPE Logoff(ULONG_PTR window, ULONG flags, ULONG reserved) override;

protected:
    [[nodiscard]] void* interfaceFor(REFIID iid) noexcept override;

private:
    /// The session's second interface. It shares the session's references and identity.
    class ClientShutdown final : public IMAPIClientShutdown
    {
    public:
        explicit ClientShutdown(SessionObject& session) noexcept : m_session(session) {}

        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
        ULONG STDMETHODCALLTYPE AddRef() override;
        ULONG STDMETHODCALLTYPE Release() override;
        HRESULT STDMETHODCALLTYPE QueryFastShutdown() override;
        HRESULT STDMETHODCALLTYPE NotifyProcessShutdown() override;
        HRESULT STDMETHODCALLTYPE DoFastShutdown() override;

    private:
        SessionObject& m_session; // contains this object
    };

    /// Runs the body of a method with the mailbox locked.
    template <class Describe, class Work>
    [[nodiscard]] HRESULT served(const char* name, Describe&& describe, Work&& work) noexcept;
    /// The same for a method that opens an object.
    template <class Describe, class Work>
    [[nodiscard]] HRESULT servedOpening(const char* name, ULONG size, const ENTRYID* entryId, Describe&& describe,
                                        Work&& work) noexcept;

    const std::shared_ptr<SessionState> m_state;
    ClientShutdown m_shutdown{*this};
};
} // namespace sandbox
