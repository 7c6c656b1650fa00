#include "sandbox/mailbox/model/AddressEntry.h"

#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/EntryIds.h"
#include "sandbox/mailbox/model/SandboxTags.h"
#include "sandbox/mailbox/model/Text.h"

namespace sandbox
{
AddressEntry::AddressEntry(AddressEntryDescription description)
    : MailboxObject(std::move(description.object)),
      m_displayName(std::move(description.displayName)),
      m_address(std::move(description.address)),
      m_smtpAddress(std::move(description.smtpAddress))
{
}

Bytes AddressEntry::generatedEntryId() const
{
    return addressBookEntryId(toUtf8(m_address));
}

std::optional<Property> AddressEntry::builtIn(ULONG id) const
{
    switch (id)
    {
    case PROP_ID(PR_ENTRYID):
        return Property{PR_ENTRYID, entryId()};
    case PROP_ID(PR_OBJECT_TYPE):
        return Property{PR_OBJECT_TYPE, static_cast<std::int32_t>(MAPI_MAILUSER)};
    case PROP_ID(PR_DISPLAY_NAME_W):
        return Property{PR_DISPLAY_NAME_W, m_displayName};
    case PROP_ID(PR_ADDRTYPE_W):
        return Property{PR_ADDRTYPE_W, std::wstring(L"EX")};
    case PROP_ID(PR_EMAIL_ADDRESS_W):
        return Property{PR_EMAIL_ADDRESS_W, m_address};
    case PROP_ID(PR_SMTP_ADDRESS_W):
        return m_smtpAddress ? std::optional(Property{PR_SMTP_ADDRESS_W, *m_smtpAddress}) : std::nullopt;
    default:
        return std::nullopt;
    }
}

std::vector<ULONG> AddressEntry::builtInIds() const
{
    return {PROP_ID(PR_ENTRYID),    PROP_ID(PR_OBJECT_TYPE),     PROP_ID(PR_DISPLAY_NAME_W),
            PROP_ID(PR_ADDRTYPE_W), PROP_ID(PR_EMAIL_ADDRESS_W), PROP_ID(PR_SMTP_ADDRESS_W)};
}
} // namespace sandbox
