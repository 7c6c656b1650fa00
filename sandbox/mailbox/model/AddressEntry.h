// AddressEntry.h: a user of the mailbox's address book.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/mailbox/model/MailboxObject.h"

namespace sandbox
{
struct AddressEntryDescription
{
    ObjectDescription object;
    std::wstring displayName;
    std::wstring address; // the Exchange address, ASCII
    std::optional<std::wstring> smtpAddress;
};

/// An Exchange user. The session opens it by its entry identifier, which contacts keep as original entry identifier.
class AddressEntry final : public MailboxObject
{
public:
    explicit AddressEntry(AddressEntryDescription description);

    [[nodiscard]] ULONG type() const noexcept override { return MAPI_MAILUSER; }
    [[nodiscard]] const std::wstring& address() const noexcept { return m_address; }

protected:
    [[nodiscard]] Bytes generatedEntryId() const override;
    [[nodiscard]] std::optional<Property> builtIn(ULONG id) const override;
    [[nodiscard]] std::vector<ULONG> builtInIds() const override;

private:
    const std::wstring m_displayName;
    const std::wstring m_address;
    const std::optional<std::wstring> m_smtpAddress;
};

/// The users that contacts may refer to, by their keys in the mailbox file.
using AddressBook = std::map<std::string, std::shared_ptr<AddressEntry>, std::less<>>;
} // namespace sandbox
