// ComObject.h: reference counting and QueryInterface of every object that the runtime gives out, written once.
#pragma once

#include <atomic>
#include <memory>

#include "mapiabi/MapiInterfaces.h"
#include "sandbox/runtime/record/ArgumentTexts.h"
#include "sandbox/runtime/record/Call.h"
#include "sandbox/runtime/record/Ledger.h"
#include "sandbox/runtime/record/MapiFailure.h"
#include "sandbox/runtime/record/Spoiling.h"

namespace sandbox
{
/// An object with one reference, which belongs to whoever made it. It is entered in the ledger under the interface's
/// name and the call during which it was made.
/// @tparam Interface  the most derived interface of the object.
template <class Interface>
class ComObject : public Interface
{
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        return serveCall(
            "IUnknown::QueryInterface", [&] { return Arguments{{"riid", interfaceText(&iid)}}; },
            [&]
            {
                require(object != nullptr);
                *object = interfaceFor(iid);
                require(*object != nullptr, MAPI_E_INTERFACE_NOT_SUPPORTED);
                addReference();
                spoilObject(reinterpret_cast<IUnknown**>(object));
                return S_OK;
            });
    }

    ULONG STDMETHODCALLTYPE AddRef() override { return addReference(); }

    ULONG STDMETHODCALLTYPE Release() override { return releaseReference(); }

protected:
    /// @param interfaceName  for the end report; lives as long as the process.
    explicit ComObject(const char* interfaceName) noexcept
        : m_account(ledger::objectsOf(interfaceName, Call::current()))
    {
        ++m_account.objects;
        ++m_account.references;
    }

    /// By releaseReference, or by a derived constructor that failed and leaves the first reference.
    virtual ~ComObject()
    {
        m_account.references -= m_references.load();
        --m_account.objects;
    }

    /// What calls of this object are about. Called without the mailbox locked.
    [[nodiscard]] virtual CallTarget target() const { return {}; }

    /// Runs the body of a method, as `serve` does.
    template <class Describe, class Work>
    [[nodiscard]] HRESULT serveCall(const char* name, Describe&& describe, Work&& work) noexcept
    {
        return serve(name, [this] { return target(); }, std::forward<Describe>(describe), std::forward<Work>(work));
    }

    /// The same for a method that opens an object.
    /// @param identifyOpened  gives the long-term identifier of that object, as `target` is called.
    template <class Identify, class Describe, class Work>
    [[nodiscard]] HRESULT serveOpening(const char* name, Identify&& identifyOpened, Describe&& describe,
                                       Work&& work) noexcept
    {
        const auto identify = [&]
        {
            CallTarget all = target();
            all.opens = identifyOpened();
            return all;
        };
        return serve(name, identify, std::forward<Describe>(describe), std::forward<Work>(work));
    }

    /// The answer of everything that the sandbox does not serve.
    [[nodiscard]] HRESULT refuse(const char* name) noexcept
    {
        return serveCall(name, noArguments, [] { return MAPI_E_NO_SUPPORT; });
    }

    /// The object as the interface asked for, without a reference added; null if it doesn't have it. For IID_IUnknown
    /// always the same pointer.
    [[nodiscard]] virtual void* interfaceFor(REFIID iid) noexcept = 0;

    ULONG addReference() noexcept
    {
        ++m_account.references;
        return ++m_references;
    }

    ULONG releaseReference() noexcept
    {
        --m_account.references;
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

private:
    ObjectAccount& m_account;
    std::atomic<ULONG> m_references{1};
};

struct ReleaseReference
{
    void operator()(IUnknown* object) const noexcept { object->Release(); }
};

/// One reference, released with its owner.
template <class Interface>
using Reference = std::unique_ptr<Interface, ReleaseReference>;

[[nodiscard]] inline bool isOneOf(REFIID) noexcept
{
    return false;
}

/// Whether `iid` is one of the others.
template <class... Iids>
[[nodiscard]] bool isOneOf(REFIID iid, const IID& first, const Iids&... others) noexcept
{
    return IsEqualIID(iid, first) != 0 || isOneOf(iid, others...);
}
} // namespace sandbox
