// PropObject.h: the properties of an object of the mailbox, as clients ask for them.
#pragma once

#include <memory>
#include <utility>

#include "sandbox/mailbox/model/MailboxObject.h"
#include "sandbox/mailbox/model/NameMapping.h"
#include "sandbox/runtime/objects/ComObject.h"
#include "sandbox/runtime/objects/Refusals.h"
#include "sandbox/runtime/objects/SessionState.h"

namespace sandbox
{
/// What a request for `requestedTag` gets: the property under the requested type, or PT_ERROR with the requested
/// identifier. Text is given in either width. A request for PT_UNSPECIFIED gets the property's own type, text in the
/// width that `unicode` says.
[[nodiscard]] Property answerFor(const std::optional<Property>& found, ULONG requestedTag, bool unicode);

// The methods of IMAPIProp that are served. All are called with the mailbox locked, and throw MapiFailure or std::bad_alloc.

[[nodiscard]] HRESULT getProps(const MailboxObject& object, const SPropTagArray* tags, ULONG flags, ULONG* count,
                               SPropValue** values);
[[nodiscard]] HRESULT getPropList(const MailboxObject& object, ULONG flags, SPropTagArray** tags);
[[nodiscard]] HRESULT getIDsFromNames(NameMapping& mapping, ULONG count, MAPINAMEID** names, ULONG flags,
                                      SPropTagArray** tags);

/// Serves the properties of one object of the mailbox; read-only.
/// @tparam Interface  IMAPIProp or an interface derived from it.
template <class Interface>
class PropObject : public RefusingProp<ComObject<Interface>>
{
public:
    HRESULT STDMETHODCALLTYPE GetProps(SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values) override
    {
        return served(
            "IMAPIProp::GetProps",
            [&] { return Arguments{{"lpPropTagArray", tagsText(tags)}, {"ulFlags", hexText(flags)}}; },
            [&] { return getProps(*m_object, tags, flags, count, values); });
    }

    HRESULT STDMETHODCALLTYPE GetPropList(ULONG flags, SPropTagArray** tags) override
    {
        return served("IMAPIProp::GetPropList", onlyFlags(flags), [&] { return getPropList(*m_object, flags, tags); });
    }

    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                                              SPropTagArray** tags) override
    {
        return served(
            "IMAPIProp::GetIDsFromNames",
            [&]
            {
                return Arguments{{"cPropNames", hexText(count)},
                                 {"lppPropNames", namesText(count, names)},
                                 {"ulFlags", hexText(flags)}};
            },
            [&]
            {
                require(m_names != nullptr, MAPI_E_NO_SUPPORT);
                return getIDsFromNames(*m_names, count, names, flags, tags);
            });
    }

protected:
    /// @param names  the mapping of the object's store, which outlives the session; null for an object without one.
    PropObject(const char* interfaceName, std::shared_ptr<SessionState> session, std::shared_ptr<MailboxObject> object,
               NameMapping* names) noexcept
        : RefusingProp<ComObject<Interface>>(interfaceName),
          m_session(std::move(session)),
          m_object(std::move(object)),
          m_names(names)
    {
    }

    [[nodiscard]] CallTarget target() const override
    {
        const std::lock_guard lock(m_session->mailbox().mutex());
        return {m_object->entryId(), {}, {}};
    }

    /// Runs the body of a method with the mailbox locked.
    template <class Describe, class Work>
    [[nodiscard]] HRESULT served(const char* name, Describe&& describe, Work&& work) noexcept
    {
        return this->serveCall(name, describe, [&] { return m_session->locked(work); });
    }

    /// The same for OpenEntry of a store and of its folders.
    template <class Describe, class Work>
    [[nodiscard]] HRESULT servedOpening(const char* name, const Store& store, ULONG size, const ENTRYID* entryId,
                                        Describe&& describe, Work&& work) noexcept
    {
        return this->serveOpening(
            name, [&] { return m_session->openedId(&store, size, entryId); }, describe,
            [&] { return m_session->locked(work); });
    }

    /// As `served`, but without the lock, for what calls a client.
    template <class Describe, class Work>
    [[nodiscard]] HRESULT servedUnlocked(const char* name, Describe&& describe, Work&& work) noexcept
    {
        return this->serveCall(name, describe, [&] { return m_session->unlocked(work); });
    }

    [[nodiscard]] const std::shared_ptr<SessionState>& session() const noexcept { return m_session; }

private:
    const std::shared_ptr<SessionState> m_session;
    const std::shared_ptr<MailboxObject> m_object;
    NameMapping* const m_names; // borrowed from the store, which the session's mailbox owns
};
} // namespace sandbox
