// MailUserObject.h: an opened user of the address book.
#pragma once

#include "sandbox/mailbox/model/AddressEntry.h"
#include "sandbox/runtime/objects/PropObject.h"

namespace sandbox
{
class MailUserObject final : public PropObject<IMAPIProp>
{
public:
    MailUserObject(std::shared_ptr<SessionState> session, std::shared_ptr<AddressEntry> entry) noexcept
        : PropObject("IMailUser", std::move(session), std::move(entry), nullptr)
    {
    }

protected:
    [[nodiscard]] void* interfaceFor(REFIID iid) noexcept override
    {
        return isOneOf(iid, IID_IUnknown, IID_IMAPIProp, IID_IMailUser) ? static_cast<IMAPIProp*>(this) : nullptr;
    }
};
} // namespace sandbox
