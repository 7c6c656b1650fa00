#include "sandbox/mailbox/model/ContactGenerator.h"

#include <array>
#include <string>
#include <string_view>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/MailboxError.h"

namespace sandbox
{
namespace
{
// Written as escapes where they leave ASCII, so that no compiler has to guess the file's encoding.
constexpr std::array<std::wstring_view, 16> givenNames = {L"Ada",
                                                          L"Bj\u00F6rn",
                                                          L"Chlo\u00E9",
                                                          L"\u0414\u0430\u0440\u044C\u044F",
                                                          L"Eleni",
                                                          L"Farid",
                                                          L"\u0393\u03B9\u03CE\u03C1\u03B3\u03BF\u03C2",
                                                          L"\u6625\u5B50",
                                                          L"\u0130pek",
                                                          L"Jo\u00E3o",
                                                          L"Katarzyna",
                                                          L"\u0141ukasz",
                                                          L"Mei",
                                                          L"Noor",
                                                          L"\u00D8ystein",
                                                          L"\uC18C\uC5F0"};
constexpr std::array<std::wstring_view, 16> surnames = {L"Abara",       L"Brand\u00E3o", L"\u010Capek", L"D\u00EDaz",
                                                        L"Eriksen",     L"Fontaine",     L"Gr\u00FCn",  L"Horv\u00E1th",
                                                        L"Ivanova",     L"\uAE40",       L"Kova\u010D", L"L\u00F3pez",
                                                        L"M\u00FCller", L"Nguy\u1EC5n",  L"O'Shea",     L"Papadakis"};

[[nodiscard]] std::wstring padded(std::uint32_t number, std::size_t width)
{
    const std::wstring digits = std::to_wstring(number);
    return digits.size() < width ? std::wstring(width - digits.size(), L'0') + digits : digits;
}

/// A number of the range that is kept free for fiction.
[[nodiscard]] std::wstring phone(std::wstring_view range, std::uint64_t number)
{
    return std::wstring(range) + padded(static_cast<std::uint32_t>(number % 1000), 3);
}

[[nodiscard]] ULONG textTag(NameMapping& names, LONG number)
{
    const std::optional<ULONG> id = names.findOrCreate(addressProperty(number));
    if (!id)
        throw MailboxRuleError("the store has no identifier left for a named property");
    return PROP_TAG(PT_UNICODE, *id);
}
} // namespace

ContactGenerator::ContactGenerator(std::uint32_t seed, NameMapping& names)
    : m_seed(seed),
      m_addressTypeTag(textTag(names, PidLidEmail1AddressType)),
      m_emailAddressTag(textTag(names, PidLidEmail1EmailAddress))
{
}

std::optional<Property> ContactGenerator::property(std::uint32_t index, ULONG id) const
{
    const std::uint64_t seeded = static_cast<std::uint64_t>(index) + m_seed;
    const std::wstring_view givenName = givenNames[seeded % givenNames.size()];
    const std::wstring_view surname = surnames[(static_cast<std::uint64_t>(index / 16) + m_seed) % surnames.size()];
    const auto text = [](ULONG tag, std::wstring value)
    {
        return Property{tag, std::move(value)};
    };

    if (const bool isType = id == PROP_ID(m_addressTypeTag); isType || id == PROP_ID(m_emailAddressTag))
    {
        if (index % 10 == 9)
            return std::nullopt;
        if (isType)
            return text(m_addressTypeTag, L"SMTP");
        return text(m_emailAddressTag,
                    L"contact-" + padded(index + 1, 6) + L"-" + std::to_wstring(m_seed) + L"@example.com");
    }

    switch (id)
    {
    case PROP_ID(PR_MESSAGE_CLASS_W):
        return text(PR_MESSAGE_CLASS_W, L"IPM.Contact");
    case PROP_ID(PR_DISPLAY_NAME_W):
        return text(PR_DISPLAY_NAME_W,
                    std::wstring(givenName) + L" " + std::wstring(surname) + L" " + padded(index + 1, 6));
    case PROP_ID(PR_GIVEN_NAME_W):
        return text(PR_GIVEN_NAME_W, std::wstring(givenName));
    case PROP_ID(PR_SURNAME_W):
        return text(PR_SURNAME_W, std::wstring(surname));
    case PROP_ID(PR_MIDDLE_NAME_W):
        return index % 5 == 4 ? std::optional(text(PR_MIDDLE_NAME_W, L"Q.")) : std::nullopt;
    case PROP_ID(PR_COMPANY_NAME_W):
        return text(PR_COMPANY_NAME_W, L"Example Trading " + std::to_wstring(index % 97));
    case PROP_ID(PR_BUSINESS_TELEPHONE_NUMBER_W):
        return text(PR_BUSINESS_TELEPHONE_NUMBER_W, phone(L"+44 1632 960", index));
    case PROP_ID(PR_MOBILE_TELEPHONE_NUMBER_W):
        return text(PR_MOBILE_TELEPHONE_NUMBER_W, phone(L"+44 7700 900", seeded));
    case PROP_ID(PR_HOME_TELEPHONE_NUMBER_W):
        return index % 2 == 0
                   ? std::optional(text(PR_HOME_TELEPHONE_NUMBER_W, phone(L"+44 1632 960", std::uint64_t(index) + 500)))
                   : std::nullopt;
    case PROP_ID(PR_BUSINESS_FAX_NUMBER_W):
        return index % 8 == 0
                   ? std::optional(text(PR_BUSINESS_FAX_NUMBER_W, phone(L"+44 1632 960", std::uint64_t(index) + 250)))
                   : std::nullopt;
    default:
        return std::nullopt;
    }
}

std::vector<ULONG> ContactGenerator::ids() const
{
    return {PROP_ID(PR_MESSAGE_CLASS_W),
            PROP_ID(PR_DISPLAY_NAME_W),
            PROP_ID(PR_GIVEN_NAME_W),
            PROP_ID(PR_SURNAME_W),
            PROP_ID(PR_MIDDLE_NAME_W),
            PROP_ID(PR_COMPANY_NAME_W),
            PROP_ID(PR_BUSINESS_TELEPHONE_NUMBER_W),
            PROP_ID(PR_MOBILE_TELEPHONE_NUMBER_W),
            PROP_ID(PR_HOME_TELEPHONE_NUMBER_W),
            PROP_ID(PR_BUSINESS_FAX_NUMBER_W),
            PROP_ID(m_addressTypeTag),
            PROP_ID(m_emailAddressTag)};
}
} // namespace sandbox
